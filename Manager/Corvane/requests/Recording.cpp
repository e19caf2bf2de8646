#include "Corvane/requests/Recording.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/UtcTime.h"
#include "Corvane/support/Values.h"
#include "Platform/FileDescriptor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace corvane::recording {
namespace {

using Clock = std::chrono::steady_clock;

constexpr mode_t kMode = 0600;  // what passed between others is nobody else's

struct State {
    platform::FileDescriptor file;  ///< none: nothing is recorded
    Clock::time_point began;
    bool isShownInLog = false;
};
State state;

void write(const std::string& line) {
    auto& file = state.file;
    const ssize_t written = ::write(file.get(), line.data(), line.size());
    if (written != static_cast<ssize_t>(line.size())) {
        log::error(fmt::format("the recording ends here: {}", std::strerror(written < 0 ? errno : ENOSPC)));
        file = {};
    }
}

/// @param entry the members of the line beyond its time
void writeAt(const std::string& entry) {
    const auto at = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - state.began);
    write(fmt::format("{{\"ms\":{},{}}}\n", at.count(), entry));
}

std::string json(std::string_view bytes) {
    return xpc::to_string(text(bytes));
}

/// ",\"key\":..." for what there is.
std::string member(const char* key, const xpc::Object& object) {
    return object ? fmt::format(",\"{}\":{}", key, xpc::to_string(object)) : "";
}

}  // namespace

Result<void> begin(const std::string& file) {
    state.file = platform::FileDescriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, kMode));
    if (!state.file) {
        return Refusal::storageFailed(fmt::format("can't record in {}: {}", file, std::strerror(errno)));
    }
    state.began = Clock::now();
    write(
        fmt::format("{{\"recording\":{},\"version\":{},\"time\":{}}}\n", kVersion, json(CORVANE_VERSION), json(utcTimeStamp())));
    return {};
}

void showInLog() {
    state.isShownInLog = true;
}

bool isShownInLog() {
    return state.isShownInLog;
}

void request(const Requester& client, const ryn::wire::Request& request) {
    if (state.isShownInLog) {
        log::info(fmt::format("{} #{} > {} {}", client.name, request.id, request.command, xpc::to_string(request.argument)));
    }
    if (state.file) {
        writeAt(fmt::format("\"client\":{},\"name\":{},\"id\":{},\"request\":{}{}", client.connection, json(client.name),
                            request.id, json(request.command), member("argument", request.argument)));
    }
}

void reply(const Requester& client, const ryn::wire::Reply& reply) {
    if (state.isShownInLog) {
        const std::string code = reply.result == 0 ? "0" : fmt::format("0x{:08X}", static_cast<std::uint32_t>(reply.result));
        log::info(
            fmt::format("{} #{} < {}{}", client.name, reply.id, code, reply.object ? " " + xpc::to_string(reply.object) : ""));
    }
    if (state.file) {
        writeAt(fmt::format("\"client\":{},\"id\":{},\"result\":{}{}", client.connection, reply.id, reply.result,
                            member("reply", reply.object)));
    }
}

void event(const ryn::wire::Event& event) {
    if (state.file) {
        writeAt(fmt::format("\"event\":{}{}", json(event.name), member("payload", event.payload)));
    }
}

}  // namespace corvane::recording
