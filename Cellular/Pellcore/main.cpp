#include "Pellcore/CellularService.h"
#include "Pellcore/Log.h"
#include "Platform/vsk/ProcessPresence.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "platform/console/StandardStreams.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const char* kHelp =
    R"(Usage: Pellcore [OPTION]
The cellular service: brings the baseband online whenever it has booted.

  --help     print this and exit
  --version  print the version and exit

The manager is found as ryntool finds it: at $CORVANE_SOCKET, else at $XDG_RUNTIME_DIR/corvane/manager.sock
if it exists, else at /run/corvane/manager.sock.
)";

/// Answers words that ask for something else than the service. @return the exit status; nullopt: there are none
std::optional<int> answerOptions(const std::vector<std::string>& words) {
    if (words.empty()) {
        return std::nullopt;
    }
    const bool isHelp = words.front() == "--help";
    const bool isKnown = isHelp || words.front() == "--version";
    if (isKnown && words.size() == 1) {
        std::fputs(isHelp ? kHelp : "Pellcore " PELLCORE_VERSION "\n", stdout);
        return 0;
    }
    std::fprintf(stderr, "Pellcore: unexpected '%s'; it takes --help, --version or nothing\n", words[isKnown ? 1 : 0].c_str());
    return 2;
}

/// The signals that end the service; blocked, so that threads started from here on leave them to the main thread.
sigset_t blockEndSignals() {
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    platform::openStandardStreams();
    if (const auto status = answerOptions({arguments + 1, arguments + argumentCount})) {
        return *status;
    }
    std::signal(SIGPIPE, SIG_IGN);  // a log that nobody reads any more
    const sigset_t signals = blockEndSignals();
    const vsk::ProcessAnnouncement announcement("Pellcore");
    std::thread(CFRunLoopRun).detach();

    const auto service = std::make_shared<pellcore::CellularService>();
    service->start();
    int signal = 0;
    sigwait(&signals, &signal);
    pellcore::log(std::string("ended by ") + strsignal(signal));
    return 0;
}
