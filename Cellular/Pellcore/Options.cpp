#include "Pellcore/Options.h"

namespace pellcore {
namespace {

constexpr const char* kHelp =
    R"(Usage: Pellcore [OPTION]
The cellular service: brings the baseband online whenever it has booted.

  --help     print this and exit
  --version  print the version and exit

The manager is found as ryntool finds it: at $CORVANE_SOCKET, else at $XDG_RUNTIME_DIR/corvane/manager.sock
if it exists, else at /run/corvane/manager.sock.
)";

}  // namespace

std::optional<Exit> parseOptions(const std::vector<std::string>& words) {
    if (words.empty()) {
        return std::nullopt;
    }
    if (words.size() == 1 && words.front() == "--help") {
        return Exit{0, kHelp};
    }
    if (words.size() == 1 && words.front() == "--version") {
        return Exit{0, "Pellcore " PELLCORE_VERSION "\n"};
    }
    const bool known = words.front() == "--help" || words.front() == "--version";
    return Exit{2, "Pellcore: unexpected '" + words[known ? 1 : 0] + "'; it takes --help, --version or nothing\n"};
}

}  // namespace pellcore
