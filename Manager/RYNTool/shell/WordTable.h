#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

/// What words stand for, each word once. @tparam Word std::string, or std::string_view where something else keeps the text.
///
/// Made for the tables of a command node: a dozen words at the most, entered at every start of the tool and looked up once or
/// never. So a lookup scans, and order is made for who prints: a map would cost a one-shot run a fifth more instructions.
template <typename Word, typename Value>
class WordTable {
public:
    using Entry = std::pair<Word, Value>;

    bool empty() const { return entries_.empty(); }
    /// @return nullptr when the word is not there.
    const Value* find(std::string_view word) const {
        const auto found = position(entries_, word);
        return found == entries_.end() ? nullptr : &found->second;
    }
    /// Enters a word that is not there with an empty value.
    Value& operator[](std::string_view word) {
        if (entries_.empty()) {
            entries_.reserve(kUsualSize);
        }
        const auto found = position(entries_, word);
        return found == entries_.end() ? entries_.emplace_back(word, Value()).second : found->second;
    }
    /// Copies in the ascending byte-wise order of their words.
    std::map<Word, Value> ordered() const { return {entries_.begin(), entries_.end()}; }

private:
    static constexpr std::size_t kUsualSize = 9;  // no group has more

    static auto position(auto& entries, std::string_view word) {
        return std::find_if(entries.begin(), entries.end(), [word](const Entry& entry) { return entry.first == word; });
    }

    std::vector<Entry> entries_;
};
