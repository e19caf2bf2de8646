#include "Corvane/requests/RequestLog.h"

#include "Corvane/support/Log.h"

#include <array>
#include <cstdio>
#include <string>

namespace corvane::requestlog {

namespace {

bool switchedOn = false;

}  // namespace

void switchOn() {
    switchedOn = true;
}

bool isOn() {
    return switchedOn;
}

void request(std::string_view client, const ryn::wire::Request& request) {
    log::write(log::Level::Info, std::string(client) + " #" + std::to_string(request.id) + " > " + std::string(request.command) +
                                     " " + xpc::to_string(request.argument));
}

void reply(std::string_view client, std::uint64_t id, std::int32_t result, const xpc::Object& object) {
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), result == 0 ? "%u" : "0x%08X", static_cast<unsigned>(result));
    log::write(log::Level::Info, std::string(client) + " #" + std::to_string(id) + " < " + code.data() +
                                     (object ? " " + xpc::to_string(object) : std::string()));
}

}  // namespace corvane::requestlog
