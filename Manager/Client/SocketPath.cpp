#include "Client/SocketPath.h"

#include <unistd.h>

#include <cstdlib>

namespace ryn::client {
namespace {

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace

SocketPath::SocketPath() : chosen_(environment("CORVANE_SOCKET")) {
    const std::string runtimeFolder = environment("XDG_RUNTIME_DIR");
    if (!runtimeFolder.empty()) {
        perUser_ = runtimeFolder + "/corvane/manager.sock";
    }
}

std::string SocketPath::current() const {
    if (!chosen_.empty()) {
        return chosen_;
    }
    return !perUser_.empty() && ::access(perUser_.c_str(), F_OK) == 0 ? perUser_ : "/run/corvane/manager.sock";
}

}  // namespace ryn::client
