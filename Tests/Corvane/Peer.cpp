#include "Corvane/Peer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace wire = ryn::wire;

namespace {

std::string show(std::int32_t result) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), result == 0 ? "%u" : "0x%08X", static_cast<unsigned>(result));
    return text.data();
}

std::string show(const xpc::Object& object) {
    return object ? " " + to_string(object) : "";
}

}  // namespace

Peer::Peer(const std::string& path, Greeting greeting) : descriptor_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(descriptor_);
        descriptor_ = -1;
    } else if (greeting == Greeting::Sent) {
        send(wire::Packet(wire::Hello{wire::kProtocolVersion, "peer"}));
    }
}

Peer::~Peer() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

bool Peer::send(const std::vector<std::uint8_t>& packet) const {
    return ::send(descriptor_, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

bool Peer::send(const wire::Packet& packet) const {
    std::vector<std::uint8_t> bytes;
    return wire::encode(packet, bytes) && send(bytes);
}

std::string Peer::ask(const std::string& command, const xpc::Object& argument) {
    const std::uint64_t id = ++lastId_;
    send(wire::Packet(wire::Request{id, command, argument}));
    const std::string mine = "reply " + std::to_string(id) + " ";
    for (;;) {
        const std::string packet = receive();
        if (!packet.starts_with("event ")) {
            return packet.starts_with(mine) ? packet.substr(mine.size()) : packet;
        }
    }
}

std::string Peer::receive(std::chrono::milliseconds patience) {
    pollfd wait{descriptor_, POLLIN, 0};
    if (poll(&wait, 1, static_cast<int>(patience.count())) <= 0) {
        return "nothing";
    }
    std::vector<std::uint8_t> buffer(wire::kMaxPacketSize + 1);
    const ssize_t length = recv(descriptor_, buffer.data(), buffer.size(), 0);
    if (length <= 0) {
        return "closed";
    }
    const auto packet = wire::decode(std::span(buffer).first(static_cast<std::size_t>(length)));
    if (packet && std::holds_alternative<wire::Reply>(*packet)) {
        const auto& reply = std::get<wire::Reply>(*packet);
        return "reply " + std::to_string(reply.id) + " " + show(reply.result) + show(reply.object);
    }
    if (packet && std::holds_alternative<wire::Event>(*packet)) {
        const auto& event = std::get<wire::Event>(*packet);
        return "event " + std::string(event.name) + show(event.payload);
    }
    return "malformed";
}

xpc::Object property(const std::string& trace, const std::string& name) {
    return support::dictionary({{"KeyTraceName", support::text(trace)}, {"KeyTracePropertyName", support::text(name)}});
}

xpc::Object property(const std::string& trace, const std::string& name, const std::string& value) {
    xpc::Object argument = property(trace, name);
    xpc_dictionary_set_value(argument.get(), "KeyTracePropertyValue", support::text(value).get());
    return argument;
}

std::string valueReply(const std::string& value) {
    return R"(0 {"KeyTracePropertyValue":")" + value + R"("})";
}
