#include "Client/SocketPath.h"

#include "Platform/Environment.h"

#include <unistd.h>

namespace ryn::client {

SocketPath::SocketPath() : chosen_(platform::environment("CORVANE_SOCKET")) {
    const auto runtimeFolder = platform::environment("XDG_RUNTIME_DIR");
    if (!runtimeFolder.empty()) {
        perUser_.append(runtimeFolder).append("/corvane/manager.sock");
    }
}

std::string SocketPath::current() const {
    if (!chosen_.empty()) {
        return chosen_;
    }
    return !perUser_.empty() && ::access(perUser_.c_str(), F_OK) == 0 ? perUser_ : "/run/corvane/manager.sock";
}

}  // namespace ryn::client
