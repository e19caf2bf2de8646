#pragma once

#include "Client/wire/Packet.h"

#include <string>

namespace ryn::wire {

inline std::string render(const Hello& hello) {
    const std::string highest = hello.highestVersion ? " to " + std::to_string(*hello.highestVersion) : "";
    return "hello " + std::to_string(hello.version) + highest + " " + std::string(hello.clientName);
}
inline std::string render(const Request& request) {
    return "request " + std::to_string(request.id) + " " + std::string(request.command) + " " + to_string(request.argument);
}
inline std::string render(const Reply& reply) {
    const std::string object = reply.object ? " " + to_string(reply.object) : "";
    return "reply " + std::to_string(reply.id) + " " + std::to_string(reply.result) + object;
}
inline std::string render(const Events& events) {
    return events.on ? "events on" : "events off";
}
inline std::string render(const Event& event) {
    return "event " + std::string(event.name) + (event.payload ? " " + to_string(event.payload) : "");
}
inline std::string render(const Packet& packet) {
    return std::visit([](const auto& content) { return render(content); }, packet);
}

}  // namespace ryn::wire
