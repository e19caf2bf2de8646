#include "Platform/Json.h"

namespace platform {

nlohmann::json parseJson(std::string_view text, int deepest) {
    using Event = nlohmann::json::parse_event_t;
    bool isTooDeep = false;
    const auto limitDepth = [&](int depth, Event event, const nlohmann::json&) {
        const bool begins = event == Event::object_start || event == Event::array_start;
        isTooDeep = isTooDeep || (begins && depth >= deepest);
        return !isTooDeep;
    };
    auto parsed = nlohmann::json::parse(text, limitDepth, false);
    return isTooDeep ? nlohmann::json() : parsed;
}

}  // namespace platform
