#include "Client/PacketStream.h"
#include "Client/SocketPath.h"
#include "Client/wire/Packet.h"
#include "Platform/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

/// How long the bridge waits for a place in the manager's backlog. Until it has one it doesn't see that its input has ended.
constexpr timeval kConnectPatience{2, 0};

[[noreturn]] void fail(const std::string& sentence) {
    std::fputs(("corvane-bridge: " + sentence + "\n").c_str(), stderr);
    std::exit(1);
}

void setSendTimeout(int socket, timeval timeout) {
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
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
    setSendTimeout(socket.get(), kConnectPatience);  // which bounds connect(2) too (unix(7))
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail(errno == EAGAIN ? "the manager at " + path + " took no new connection; it may be overloaded or stopped"
                             : "no manager could be reached at " + path + ": " + std::strerror(errno));
    }
    setSendTimeout(socket.get(), {});
    return socket;
}

void carryToManager(int socket) {
    const std::uint32_t length = ryn::client::carryToPackets(STDIN_FILENO, socket);
    if (!ryn::client::isPacketLength(length)) {
        fail("a packet of " + std::to_string(length) + " bytes came in; 1 to " + std::to_string(ryn::wire::kMaxPacketSize) +
             " may");
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
    ryn::client::carryToStream(socket.get(), STDOUT_FILENO);
    return 0;
}
