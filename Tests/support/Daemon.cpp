#include "support/Daemon.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace support {

namespace {

/// The receiving end of sd_notify(3).
class ReadySocket {
public:
    explicit ReadySocket(const std::string& path) : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        unlink(path.c_str());
        if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("can't bind " + path);
        }
    }
    ~ReadySocket() { close(descriptor_); }
    ReadySocket(const ReadySocket&) = delete;
    ReadySocket& operator=(const ReadySocket&) = delete;

    bool waitForReady() const {
        for (;;) {
            pollfd wait{descriptor_, POLLIN, 0};
            if (poll(&wait, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) <= 0) {
                return false;
            }
            std::array<char, 4096> message{};
            const ssize_t length = recv(descriptor_, message.data(), message.size(), 0);
            if (length > 0 &&
                std::string_view(message.data(), static_cast<std::size_t>(length)).find("READY=1") != std::string_view::npos) {
                return true;
            }
        }
    }

private:
    int descriptor_;
};

}  // namespace

Daemon::Daemon(Arguments options, Environment environment) : options_(std::move(options)), extra_(std::move(environment)) {
    std::filesystem::create_directory(folder_ / "config");
    start();
}

void Daemon::start() {
    const ReadySocket ready(folder_ / "notify");
    Arguments arguments{kDaemon, "--socket", socketPath(), "--state", statePath()};
    arguments.insert(arguments.end(), options_.begin(), options_.end());
    Environment all = environment();
    all["NOTIFY_SOCKET"] = folder_ / "notify";
    all.insert(extra_.begin(), extra_.end());
    process_ = std::make_unique<Process>(arguments, all);
    if (!ready.waitForReady()) {
        throw std::runtime_error("the manager did not become ready: " + process_->finish().err);
    }
}

Outcome Daemon::stop(int signal) {
    process_->signal(signal);
    return process_->finish();
}

Environment Daemon::environment() const {
    return {
        {"CORVANE_SOCKET", socketPath()}, {"XDG_CONFIG_HOME", folder_ / "config"}, {"XDG_RUNTIME_DIR", folder_.path().string()}};
}

Outcome Daemon::tool(const Arguments& words, std::string_view input) const {
    Arguments arguments{kTool};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return run(arguments, environment(), input);
}

}  // namespace support
