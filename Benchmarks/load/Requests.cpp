// Clients that each have one request outstanding, as redis-benchmark without pipelining has them: one thread, one epoll.
//
//     $ load_requests manager /run/corvane/manager.sock 1234 50 100000
//     {"requests_a_second": 118321.4, "server_cpu_us": 4.210}

#include "load/Connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Load {
    int socketType;
    load::Bytes greeting;  ///< empty: none
    load::Bytes request;
};

load::Bytes bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

Load loadFor(std::string_view server) {
    if (server == "redis") {
        return {SOCK_STREAM, {}, bytes("*1\r\n$4\r\nPING\r\n")};
    }
    return {SOCK_SEQPACKET, load::greeting(), load::question()};
}

class Clients {
public:
    Clients(const Load& load, const std::string& path, int count)
        : request_(load.request), poller_(epoll_create1(EPOLL_CLOEXEC)) {
        for (int index = 0; index < count; ++index) {
            const load::Connection& client = clients_.emplace_back(path, load.socketType);
            if (!load.greeting.empty()) {
                client.send(load.greeting);
            }
            epoll_event interest{};
            interest.events = EPOLLIN;
            interest.data.u32 = static_cast<std::uint32_t>(index);
            epoll_ctl(poller_, EPOLL_CTL_ADD, client.descriptor(), &interest);
        }
    }
    ~Clients() { close(poller_); }
    Clients(const Clients&) = delete;
    Clients& operator=(const Clients&) = delete;

    /// Every client asks, and asks again when it is answered, until `requests` are answered.
    void ask(long requests) {
        long left = requests;
        long unanswered = 0;
        for (const load::Connection& client : clients_) {
            if (left > 0) {
                client.send(request_);
                --left;
                ++unanswered;
            }
        }
        std::array<std::uint8_t, 4096> answer{};
        std::array<epoll_event, 64> ready{};
        while (unanswered > 0) {
            const int count = epoll_wait(poller_, ready.data(), static_cast<int>(ready.size()), -1);
            for (int index = 0; index < count; ++index) {
                const load::Connection& client = clients_[ready[static_cast<std::size_t>(index)].data.u32];
                if (recv(client.descriptor(), answer.data(), answer.size(), 0) <= 0) {
                    throw std::runtime_error("the server has ended a connection");
                }
                --unanswered;
                if (left > 0) {
                    client.send(request_);
                    --left;
                    ++unanswered;
                }
            }
        }
    }

private:
    load::Bytes request_;
    int poller_;
    std::vector<load::Connection> clients_;
};

void run(const std::vector<std::string>& words) {
    const pid_t server = std::stoi(words[3]);
    Clients clients(loadFor(words[1]), words[2], std::stoi(words[4]));
    const long requests = std::stol(words[5]);
    clients.ask(requests / 10);  // connections accepted, caches warm

    const std::int64_t cpuBefore = load::cpuTime(server);
    const auto before = std::chrono::steady_clock::now();
    clients.ask(requests);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - before;
    const auto cpu = static_cast<double>(load::cpuTime(server) - cpuBefore);
    const auto count = static_cast<double>(requests);
    std::printf(R"({"requests_a_second": %.1f, "server_cpu_us": %.3f})", count / taken.count(), cpu / count / 1000);
}

}  // namespace

int main(int count, char** words) {
    if (count != 6) {
        std::fprintf(stderr, "usage: load_requests manager|redis SOCKET SERVER-PID CLIENTS REQUESTS\n");
        return 2;
    }
    load::raiseDescriptorLimit();
    try {
        run({words, words + count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "load_requests: %s\n", error.what());
        return 1;
    }
    return 0;
}
