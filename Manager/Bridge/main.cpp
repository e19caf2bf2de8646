#include "Client/SocketPath.h"
#include "Client/wire/Packet.h"
#include "Platform/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace {

constexpr const char* kHelp =
    R"(Usage: corvane-bridge [OPTION]
Carries the manager's protocol over standard input and output, so that a program on another machine is a client of this
one's manager: ssh HOST corvane-bridge. Each packet stands behind its length, 32 bits with the highest byte first.

  --help     print this and exit
  --version  print the version and exit

The manager is found as ryntool finds it: at $CORVANE_SOCKET, else at $XDG_RUNTIME_DIR/corvane/manager.sock
if it exists, else at /run/corvane/manager.sock.
)";

constexpr std::size_t kLengthBytes = 4;
using Frame = std::array<std::uint8_t, kLengthBytes + ryn::wire::kMaxPacketSize>;

[[noreturn]] void fail(const std::string& sentence) {
    std::fputs(("corvane-bridge: " + sentence + "\n").c_str(), stderr);
    std::exit(1);
}

platform::FileDescriptor connectToManager() {
    const std::string path = ryn::client::SocketPath().current();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        fail("the path of the manager's socket is too long: " + path);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    platform::FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("no manager could be reached at " + path + ": " + std::strerror(errno));
    }
    return socket;
}

/// @return false at the end of the input, also where it ends within what is asked for.
bool readWhole(std::uint8_t* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t got = ::read(STDIN_FILENO, bytes, count);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        bytes += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

bool writeWhole(const std::uint8_t* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(STDOUT_FILENO, bytes, count);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

/// Until either side ends.
void carryToManager(int socket) {
    const auto frame = std::make_unique<Frame>();
    while (readWhole(frame->data(), kLengthBytes)) {
        std::size_t length = 0;
        for (std::size_t index = 0; index < kLengthBytes; ++index) {
            length = length << 8 | (*frame)[index];
        }
        if (length == 0 || length > ryn::wire::kMaxPacketSize) {
            fail("a packet of " + std::to_string(length) + " bytes came in; 1 to " + std::to_string(ryn::wire::kMaxPacketSize) +
                 " may");
        }
        if (!readWhole(frame->data(), length) || ::send(socket, frame->data(), length, MSG_NOSIGNAL) < 0) {
            return;
        }
    }
}

/// Until either side ends.
void carryToClient(int socket) {
    const auto frame = std::make_unique<Frame>();
    for (;;) {
        const ssize_t received = ::recv(socket, frame->data() + kLengthBytes, ryn::wire::kMaxPacketSize, 0);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            return;
        }
        const auto length = static_cast<std::size_t>(received);
        for (std::size_t index = 0; index < kLengthBytes; ++index) {
            (*frame)[index] = static_cast<std::uint8_t>(length >> 8 * (kLengthBytes - 1 - index));
        }
        if (!writeWhole(frame->data(), kLengthBytes + length)) {
            return;
        }
    }
}

int printAndExit(std::string_view word) {
    if (word == "--help") {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (word == "--version") {
        std::puts("corvane-bridge " BRIDGE_VERSION);
        return 0;
    }
    std::fputs(("corvane-bridge: unexpected '" + std::string(word) + "'; it takes --help, --version or nothing\n").c_str(),
               stderr);
    return 2;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount > 1) {
        return printAndExit(arguments[1]);
    }
    std::signal(SIGPIPE, SIG_IGN);
    const platform::FileDescriptor socket = connectToManager();
    // A direction each: one that waits for a slow reader doesn't hold up the other. The end of one is the end of the bridge.
    std::thread([&socket] {
        carryToManager(socket.get());
        std::_Exit(0);
    }).detach();
    carryToClient(socket.get());
    return 0;
}
