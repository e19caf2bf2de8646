#include "Corvane/baseband/simulated/scenario/JsonPlaces.h"

#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace corvane::simulated {

using nlohmann::json;

namespace {

/// The library's sentence without its own name and its own place: "[json.exception.x] parse error at line 1, column 2: ..."
std::string reason(const json::exception& error) {
    constexpr std::string_view kPlace = "parse error at ";
    constexpr std::size_t kLongest = 200;
    std::string_view text = error.what();
    text.remove_prefix(std::min(text.find(' ') + 1, text.size()));
    if (text.starts_with(kPlace)) {
        text.remove_prefix(text.find(": ") + 2);
    }
    return escaped(cut(text, kLongest));
}

/// An iterator over a text that counts the ends of lines it has passed.
class LineCounter {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineCounter(const char* at, std::size_t& line) : at_(at), line_(&line) {}
    const char& operator*() const { return *at_; }
    LineCounter& operator++() {
        *line_ += *at_++ == '\n' ? 1U : 0U;
        return *this;
    }
    bool operator==(const LineCounter& other) const { return at_ == other.at_; }

private:
    const char* at_;
    std::size_t* line_;
};

}  // namespace

Result<json> JsonPlaces::parse(std::string_view text) {
    const auto callback = [&](int depth, json::parse_event_t event, const json& parsed) {
        hear(depth, event, parsed);
        return true;
    };
    try {
        json read = json::parse(LineCounter(text.data(), line_), LineCounter(text.data() + text.size(), line_), callback);
        return unique_ ? Result(std::move(read)) : unique_.refusal();
    } catch (const json::exception& error) {
        return Refusal::invalidArgument(fmt::format("line {}: this is no JSON: {}", line_, reason(error)));
    }
}

std::size_t JsonPlaces::lineOf(std::size_t index, const std::string& key) const {
    const auto found = lines_.find({index, key});
    const auto place = found == lines_.end() ? lines_.find({index, ""}) : found;
    return place == lines_.end() ? 1 : place->second;
}

void JsonPlaces::hear(int depth, json::parse_event_t event, const json& parsed) {
    constexpr int kItemDepth = 2;
    const bool isEnd = event == json::parse_event_t::object_end || event == json::parse_event_t::array_end;
    if (depth == kItemDepth && !isEnd && event != json::parse_event_t::key) {
        lines_[{++item_, ""}] = line_;
    }
    if (event == json::parse_event_t::object_start) {
        keys_.emplace_back();
    } else if (event == json::parse_event_t::object_end) {
        keys_.pop_back();
    } else if (event == json::parse_event_t::key) {
        const auto& key = parsed.get_ref<const std::string&>();
        if (!keys_.back().insert(key).second && unique_) {
            unique_ =
                Refusal::invalidArgument(fmt::format("line {}: the key \"{}\" stands twice in an object", line_, escaped(key)));
        }
        if (depth == 1 || depth == kItemDepth + 1) {
            lines_[{depth == 1 ? kNoItem : item_, key}] = line_;
        }
    }
}

}  // namespace corvane::simulated
