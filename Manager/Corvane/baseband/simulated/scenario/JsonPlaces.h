#pragma once

#include "Corvane/support/Result.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::simulated {

/// Parses JSON and remembers on which lines its keys stand.
class JsonPlaces {
public:
    /// A refusal is "line 4: ..."; a key that stands twice in an object is one.
    Result<nlohmann::json> parse(std::string_view text);

    /// Of a key of the outermost object.
    std::size_t lineOf(const std::string& key) const { return lineOf(kNoItem, key); }
    /// Of a key of the object at `index` in an array of the outermost object; of the object's beginning when it has no such key.
    std::size_t lineOf(std::size_t index, const std::string& key) const;

private:
    static constexpr std::size_t kNoItem = static_cast<std::size_t>(-1);

    void hear(int depth, nlohmann::json::parse_event_t event, const nlohmann::json& parsed);

    std::size_t line_ = 1;
    std::size_t item_ = kNoItem;  ///< the array's entry that is being read
    std::map<std::pair<std::size_t, std::string>, std::size_t> lines_;
    std::vector<std::set<std::string>> keys_;  ///< of the objects that are being read
    Result<void> unique_;                      ///< a refusal of the first key that stands twice in one of them
};

}  // namespace corvane::simulated
