#include "Client/Bridge.h"

#include "Client/PacketStream.h"
#include "Client/SignalsBlocked.h"

#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <thread>

namespace ryn::client {
namespace {

using platform::FileDescriptor;

struct Pair {
    FileDescriptor ours;
    FileDescriptor theirs;
};

Pair makePair(int type) {
    std::array<int, 2> ends{-1, -1};
    ::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data());
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// A running program and the two sockets between which its packets are carried. Whoever drops it last ends the program.
struct Carrier {
    FileDescriptor packets;
    FileDescriptor stream;
    pid_t program = -1;

    Carrier() = default;
    Carrier(const Carrier&) = delete;
    Carrier& operator=(const Carrier&) = delete;
    ~Carrier() {
        if (program > 0) {
            ::kill(program, SIGTERM);
            ::waitpid(program, nullptr, 0);
        }
    }
    void end() const {
        ::shutdown(packets.get(), SHUT_RDWR);
        ::shutdown(stream.get(), SHUT_RDWR);
    }
};

/// @return -1 when it could not be started.
pid_t start(const std::vector<std::string>& command, int standardStreams) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, standardStreams, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, standardStreams, STDOUT_FILENO);
    // The thread that connects again in the background takes no signals; the program does.
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t program = -1;
    const int error = ::posix_spawnp(&program, words.front(), &actions, &attributes, words.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? program : -1;
}

}  // namespace

Socket::Attempt Bridge::operator()() const {
    std::string place = "'";
    for (const std::string& word : command_) {
        place += (place.size() == 1 ? "" : " ") + word;
    }
    place += "'";
    Pair packets = makePair(SOCK_SEQPACKET);
    Pair stream = makePair(SOCK_STREAM);
    if (!packets.ours || !stream.ours) {
        return {nullptr, EMFILE, place};
    }
    const auto carrier = std::make_shared<Carrier>();
    carrier->program = start(command_, stream.theirs.get());
    if (carrier->program < 0) {
        return {nullptr, ENOEXEC, place};
    }
    carrier->packets = std::move(packets.theirs);
    carrier->stream = std::move(stream.ours);
    const SignalsBlocked blocked;
    std::thread([carrier] {
        carryToStream(carrier->packets.get(), carrier->stream.get());
        carrier->end();
    }).detach();
    std::thread([carrier] {
        carryToPackets(carrier->stream.get(), carrier->packets.get());
        carrier->end();
    }).detach();
    return {std::make_shared<Socket>(std::move(packets.ours)), 0, place};
}

}  // namespace ryn::client
