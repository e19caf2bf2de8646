#pragma once

#include "Client/wire/Packet.h"

#include <cstdint>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace torture {

/// A manager that answers everything with success, but misbehaves once in each connection, at one phase of it.
class HostileServer {
public:
    using Bytes = std::vector<std::uint8_t>;

    enum class Phase { Connect, Hello, Events, Request, Reply };  ///< after each; before the answer to a request
    static constexpr Phase kPhases[] = {Phase::Connect, Phase::Hello, Phase::Events, Phase::Request, Phase::Reply};
    enum class Then { GoOn, Drop };

    struct Conversation {
        int descriptor = -1;
        std::uint64_t id = 1;  ///< of the last request
        /// @return whether the kernel took it at once.
        bool send(const Bytes& packet) const;
    };
    using Misbehaviour = std::function<Then(const Conversation& with)>;

    /// Listens at once; serves one client at a time on a thread of its own.
    HostileServer(const std::string& path, Phase phase, Misbehaviour misbehaviour);
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    void waitForMisbehaviour() { misbehaved_.get_future().wait(); }
    static Bytes encoded(const ryn::wire::Packet& packet);

private:
    void serve();
    void converse(int descriptor);
    bool waitFor(int descriptor) const;

    const Phase phase_;
    const Misbehaviour misbehaviour_;
    int listener_;
    int wake_;
    bool hasMisbehaved_ = false;
    std::promise<void> misbehaved_;
    std::thread thread_;
};

}  // namespace torture
