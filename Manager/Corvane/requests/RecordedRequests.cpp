#include "Corvane/requests/RecordedRequests.h"

#include "Client/wire/Packet.h"
#include "Corvane/requests/Recording.h"
#include "Corvane/support/Json.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "Platform/File.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

namespace corvane {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kLargestRecording = std::size_t{1} << 28U;
constexpr std::int64_t kLongestRecording = std::int64_t{1} << 40U;  // in milliseconds: 35 years

/// The line's own object around a packet's values.
constexpr int kDeepestLine = 1 + static_cast<int>(ryn::wire::kMaxNesting);

xpc::Object at(const xpc::Object& entry, const char* key) {
    return xpc::Object::share(xpc_dictionary_get_value(entry.get(), key));
}

/// Takes one line after the other.
class Reader {
public:
    /// A refusal is a clause about the line.
    Result<void> take(const xpc::Object& entry, std::size_t line) {
        if (!entry.isDictionary()) {
            return Refusal::invalidArgument("is no object of JSON with a packet's values");
        }
        if (line == 1) {
            return numberAt(entry, "recording") == recording::kVersion
                       ? Result<void>()
                       : Refusal::invalidArgument(fmt::format("begins no recording of version {}", recording::kVersion));
        }
        const auto time = numberAt(entry, "ms");
        if (!time || *time < 0 || *time > kLongestRecording) {
            return Refusal::invalidArgument(fmt::format("has no time \"ms\" from 0 to {}", kLongestRecording));
        }
        const std::pair client(numberAt(entry, "client"), numberAt(entry, "id"));
        if (const auto command = textAt(entry, "request")) {
            last_ = std::make_shared<RecordedRequest>(
                RecordedRequest{line, milliseconds(*time), describeRequest(*command, at(entry, "argument"))});
            unanswered_[client] = last_;
            requests[textAt(entry, "name").value_or("")].push_back(last_);
        } else if (const auto result = numberAt(entry, "result")) {
            if (const auto request = unanswered_.extract(client)) {
                add(*request.mapped(), *time, {}, static_cast<std::int32_t>(*result), at(entry, "reply"));
            }
        } else if (const auto event = textAt(entry, "event")) {
            if (last_) {
                add(*last_, *time, *event, 0, at(entry, "payload"));
            }
        } else {
            return Refusal::invalidArgument("is neither a request, a reply nor an event");
        }
        return {};
    }

    RecordedRequests requests;

private:
    static void add(RecordedRequest& request, std::int64_t time, std::string event, std::int32_t result, xpc::Object object) {
        request.steps.push_back({milliseconds(time) - request.at, std::move(event), result, std::move(object)});
    }

    std::map<std::pair<std::optional<std::int64_t>, std::optional<std::int64_t>>, std::shared_ptr<RecordedRequest>> unanswered_;
    std::shared_ptr<RecordedRequest> last_;
};

}  // namespace

std::string describeRequest(std::string_view command, const xpc::Object& argument) {
    return fmt::format("{} {}", command, xpc::to_string(argument));
}

Result<RecordedRequests> readRecording(const std::string& file) {
    const platform::FileContent content = platform::readFile(file, kLargestRecording);
    if (content.missing || !content.problem.empty()) {
        return Refusal::invalidArgument(
            fmt::format("can't read the recording {}: {}", file, content.missing ? "there is none" : content.problem));
    }
    Reader reader;
    const auto lines = split(content.bytes, '\n');
    std::size_t number = 0;
    for (const std::string_view& line : lines) {
        const xpc::Object entry = parseJson(line, kDeepestLine);
        if (!entry && &line == &lines.back()) {
            break;
        }
        ++number;
        if (const auto taken = reader.take(entry, number); !taken) {
            return Refusal::invalidArgument(
                fmt::format("line {} of the recording {} {}", number, file, taken.refusal().sentence));
        }
    }
    if (number == 0) {
        return Refusal::invalidArgument(fmt::format("the recording {} is empty", file));
    }
    return std::move(reader.requests);
}

}  // namespace corvane
