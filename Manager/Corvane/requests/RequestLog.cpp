#include "Corvane/requests/RequestLog.h"

#include "Corvane/support/Log.h"

#include <fmt/format.h>

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
    log::info(fmt::format("{} #{} > {} {}", client, request.id, request.command, xpc::to_string(request.argument)));
}

void reply(std::string_view client, std::uint64_t id, std::int32_t result, const xpc::Object& object) {
    const std::string code = result == 0 ? "0" : fmt::format("0x{:08X}", static_cast<std::uint32_t>(result));
    log::info(fmt::format("{} #{} < {}{}", client, id, code, object ? " " + xpc::to_string(object) : ""));
}

}  // namespace corvane::requestlog
