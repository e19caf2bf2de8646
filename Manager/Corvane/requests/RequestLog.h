#pragma once

#include "Client/wire/Packet.h"

#include <cstdint>
#include <string_view>

/// Shows in the log what clients send and are answered, when it is switched on.
namespace corvane::requestlog {

void switchOn();
bool isOn();

void request(std::string_view client, const ryn::wire::Request& request);
void reply(std::string_view client, std::uint64_t id, std::int32_t result, const xpc::Object& object);

}  // namespace corvane::requestlog
