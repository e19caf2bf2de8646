#pragma once

#include "Client/wire/Packet.h"
#include "support/Process.h"
#include "support/ScriptedManager.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

/// A client that may send anything, in any order.
class Peer {
public:
    enum class Greeting { Sent, None };
    explicit Peer(const std::string& path, Greeting greeting = Greeting::Sent);
    ~Peer();
    Peer(Peer&& other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    bool connected() const { return descriptor_ >= 0; }
    /// @return whether the kernel took it at once.
    bool send(const std::vector<std::uint8_t>& packet) const;
    bool send(const ryn::wire::Packet& packet) const;

    /// Sends a request and waits for its answer, past events: "0", "0 {...}" or "closed". The code of a refusal is shown as
    /// 0xE020E1xx.
    std::string ask(const std::string& command, const xpc::Object& argument = xpc::null());
    /// The next packet: "reply ID RESULT OBJECT", "event NAME PAYLOAD", "malformed", "closed", or "nothing" when none comes in
    /// time.
    std::string receive(std::chrono::milliseconds patience = support::kPatience);
    bool isClosed() { return receive() == "closed"; }

private:
    int descriptor_ = -1;
    std::uint64_t lastId_ = 1000;
};

/// Arguments of the two commands of trace properties.
xpc::Object property(const std::string& trace, const std::string& name);
xpc::Object property(const std::string& trace, const std::string& name, const std::string& value);
/// The answer to a question for a property that has `value`.
std::string valueReply(const std::string& value);
