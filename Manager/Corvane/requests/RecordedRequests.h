#pragma once

#include "Corvane/support/Result.h"
#include "platform/xpc/Object.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// A request of a recording, with what followed it.
struct RecordedRequest {
    /// Its reply, or an event that came before the next request.
    struct Step {
        std::chrono::milliseconds after;
        std::string event;  ///< empty: the reply
        std::int32_t result = 0;
        xpc::Object object;
    };

    std::size_t line = 0;
    std::chrono::milliseconds at;
    std::string request;  ///< as `describeRequest` says
    std::vector<Step> steps = {};
};

/// By the client's name, in their order.
using RecordedRequests = std::map<std::string, std::deque<std::shared_ptr<RecordedRequest>>>;

/// A command with its argument: the same text for the same request.
std::string describeRequest(std::string_view command, const xpc::Object& argument);

/// A last line that was not written whole is left out. A refusal is a clause that names the line.
Result<RecordedRequests> readRecording(const std::string& file);

}  // namespace corvane
