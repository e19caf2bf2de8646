// Watchers of events, and one client whose commands cause them: the operating mode goes to and fro.
//
//     $ load_watchers /run/corvane/manager.sock 1234 1000 100
//     {"deliveries": 100000, "server_cpu_us": 1.610}

#include "load/Connection.h"
#include "platform/ryn/constants.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kOnline = 0;
constexpr int kLowPower = 1;

load::Bytes setMode(int mode) {
    auto argument = xpc::Object::adopt(xpc_dictionary_create(nullptr, nullptr, 0));
    xpc_dictionary_set_value(argument.get(), ryn::kKeyBasebandOperatingMode, xpc::Object::adopt(xpc_int64_create(mode)).get());
    return load::encoded(ryn::wire::Request{1, ryn::kCommandSetBasebandOperatingMode, argument});
}

class Watchers {
public:
    Watchers(const std::string& path, int count) : commander_(path, SOCK_SEQPACKET) {
        commander_.send(load::greeting());
        const load::Bytes on = load::encoded(ryn::wire::Events{true});
        for (int index = 0; index < count; ++index) {
            const load::Connection& watcher = watchers_.emplace_back(path, SOCK_SEQPACKET);
            watcher.send(load::greeting());
            watcher.send(on);
            watcher.send(load::question());
            watcher.receive();  // the answer: events are on by now
        }
    }

    /// One change of mode, seen by every watcher.
    void change(const load::Bytes& command) const {
        commander_.send(command);
        const load::Bytes reply = commander_.receive();
        constexpr std::size_t kResult = 3;  // behind array, kind and a one-byte id
        if (reply.size() <= kResult || reply[kResult] != 0) {
            throw std::runtime_error("the change of mode was refused");
        }
        for (const load::Connection& watcher : watchers_) {
            watcher.receive();
        }
    }

    /// Reads what else has come: nothing is owed any more when the next measurement begins.
    void drain() const {
        std::array<std::uint8_t, 4096> event{};
        for (const load::Connection& watcher : watchers_) {
            while (recv(watcher.descriptor(), event.data(), event.size(), MSG_DONTWAIT) > 0) {
            }
        }
    }

private:
    load::Connection commander_;
    std::vector<load::Connection> watchers_;
};

void run(const std::vector<std::string>& words) {
    const pid_t server = std::stoi(words[2]);
    const int count = std::stoi(words[3]);
    const int rounds = std::stoi(words[4]);
    const std::array<load::Bytes, 2> commands = {setMode(kLowPower), setMode(kOnline)};
    const Watchers watchers(words[1], count);
    for (const load::Bytes& command : commands) {
        watchers.change(command);
    }
    watchers.drain();

    const std::int64_t before = load::cpuTime(server);
    for (int round = 0; round < rounds; ++round) {
        watchers.change(commands[static_cast<std::size_t>(round % 2)]);
    }
    const double deliveries = static_cast<double>(count) * rounds;
    std::printf(R"({"deliveries": %.0f, "server_cpu_us": %.3f})", deliveries,
                static_cast<double>(load::cpuTime(server) - before) / deliveries / 1000);
}

}  // namespace

int main(int count, char** words) {
    if (count != 5) {
        std::fprintf(stderr, "usage: load_watchers SOCKET SERVER-PID WATCHERS ROUNDS\n");
        return 2;
    }
    load::raiseDescriptorLimit();
    try {
        run({words, words + count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "load_watchers: %s\n", error.what());
        return 1;
    }
    return 0;
}
