#include "commands/Groups.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

namespace {

constexpr const char* kDefault = "default";

struct Filter {
    const char* word;
    const char* const* key;
    unsigned highest;     ///< the lowest value is 0
    const char* title;    ///< in the messages of "remove"
    const char* setting;  ///< in the message of a failed "add"
    const char* value;    ///< in the message of a refused value
    const char* label;
    const char* unit;
    const char* end;  ///< of a line that shows the value
};

constexpr Filter kFilters[] = {
    {"freespace", &ryn::kTraceFilterFreeSpacePercentage, 100, "'Free-space'", "'Free-space'", "free-space percentage",
     "Free-space filter: ", " %", " "},
    {"maxlog", &ryn::kTraceFilterMaxLogLimit, std::numeric_limits<int>::max(), "'Max-log'", "'Max-log' limit", "max-log limit",
     "Max-log limit filter: ", "", ""},
};

/// The number when the whole word is one and the filter takes it: blanks, a sign, then 0x for hexadecimal, 0 for octal, or
/// decimal. The conversions of the C library would read 0b as well, where it is new.
std::optional<unsigned> numberFor(const Filter& filter, std::string_view word) {
    word.remove_prefix(std::min(word.find_first_not_of(" \t\n\v\f\r"), word.size()));
    const bool isNegative = word.starts_with('-');
    word.remove_prefix(isNegative || word.starts_with('+') ? 1 : 0);
    int base = word.starts_with('0') ? 8 : 10;
    if (word.starts_with("0x") || word.starts_with("0X")) {
        base = 16;
        word.remove_prefix(2);
    }
    unsigned number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number, base);
    const bool isWhole = error == std::errc() && end == word.data() + word.size();
    return isWhole && number <= (isNegative ? 0 : filter.highest) ? std::optional(number) : std::nullopt;
}

/// "trace filter": the manager's free-space and max-log filters of trace logs.
struct TraceFilterCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerLeaf<&TraceFilterCommand::add>(
            "add", "[ freespace { 0..100 | default } | maxlog { 0.. | default } ] add trace log filter");
        registerLeaf<&TraceFilterCommand::remove>("remove", "[ freespace | maxlog | all ] remove trace log filter(s)");
        registerLeaf<&TraceFilterCommand::status>("status",
                                                  "status of trace log filter (if not set, default values are returned)");
    }

    /// An unknown filter is refused without a message. More words than a value ask for the default.
    bool add(const Group&, const Words& words) {
        if (words.empty()) {
            output::printError({"\nPass filter type to be added."});
            return failWithHelp();
        }
        const auto* const filter =
            std::find_if(std::begin(kFilters), std::end(kFilters), [&](const Filter& row) { return words.front() == row.word; });
        if (filter == std::end(kFilters)) {
            return false;
        }
        const std::string word = words.size() == 2 ? words[1] : kDefault;
        auto value = xpc::null();
        if (word != kDefault) {
            const auto number = numberFor(*filter, word);
            if (!number) {
                output::printError({"\nInvalid ", filter->value, " [ ", word, filter->unit, " ] passed"});
                return failWithHelp();
            }
            value = xpc::number(*number);
        }
        if (ryn::client::AddTraceFilter(manager(), *filter->key, value) != 0) {
            return fail({"Failed to set trace filter ", filter->setting, " to '", word, filter->unit, "'"});
        }
        return succeed({filter->label, word, filter->unit, filter->end});
    }

    bool remove(const Group&, const Words& words) {
        if (words.size() != 1) {
            output::printLine({"\nInvalid input. Pass a filter to be removed."});
            return failWithHelp();
        }
        const std::string& word = words.front();
        bool isKnown = false;
        bool ok = true;
        for (const Filter& filter : kFilters) {
            if (word != filter.word && word != "all") {
                continue;
            }
            isKnown = true;
            if (ryn::client::RemoveTraceFilter(manager(), *filter.key) != 0) {
                ok = fail({"Failed to removed ", filter.title, " filter"});
            } else {
                output::printLine({"Removed ", filter.title, " filter"});
            }
        }
        if (!isKnown) {
            output::printError({"\nInvalid filter option '", word, "' passed"});
            return failWithHelp();
        }
        return ok;
    }

    bool status(const Group&, const Words&) {
        xpc::Object filters;
        if (ryn::client::GetTraceFilters(manager(), filters) != 0) {
            return fail({"Failed to get trace filter status"});
        }
        if (!filters.isDictionary() || xpc_dictionary_get_count(filters.get()) == 0) {
            return succeed({"No trace log filters were configured"});
        }
        for (const Filter& filter : kFilters) {
            if (xpc_dictionary_get_value(filters.get(), *filter.key) != nullptr) {
                const std::string number = output::number(readInteger(filters, *filter.key, 0));
                output::printLine({filter.label, number, filter.unit, filter.end});
            }
        }
        return true;
    }
};

}  // namespace

NodeFactory* const createTraceFilterCommand = create<TraceFilterCommand>;
