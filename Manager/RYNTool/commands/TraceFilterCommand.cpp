#include "commands/TraceFilterCommand.h"

#include "commands/Payload.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>

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

/// The number when the whole word is one and the filter takes it, in automatic base: 0x and 0 lead hexadecimal and octal.
std::optional<int> numberFor(const Filter& filter, const std::string& word) {
    try {
        std::size_t used = 0;
        const int number = std::stoi(word, &used, 0);
        // Negative numbers are large ones here.
        if (used == word.size() && static_cast<unsigned>(number) <= filter.highest) {
            return number;
        }
    } catch (const std::logic_error&) {
        // No digits, or beyond an int.
    }
    return std::nullopt;
}

}  // namespace

void TraceFilterCommand::registerCommands() {
    registerCommand(
        "add", [this](const auto&, const Words& words) { return add(words); },
        "[ freespace { 0..100 | default } | maxlog { 0.. | default } ] add trace log filter");
    registerCommand(
        "remove", [this](const auto&, const Words& words) { return remove(words); },
        "[ freespace | maxlog | all ] remove trace log filter(s)");
    registerCommand(
        "status", [this](const auto&, const Words&) { return status(); },
        "status of trace log filter (if not set, default values are returned)");
}

bool TraceFilterCommand::add(const Words& words) {
    if (words.empty()) {
        output::printLine(stderr, {"\nPass filter type to be added."});
        printHelp();
        return false;
    }
    const auto* const filter =
        std::find_if(std::begin(kFilters), std::end(kFilters), [&](const Filter& row) { return words.front() == row.word; });
    if (filter == std::end(kFilters)) {
        return false;
    }
    const std::string word = words.size() == 2 ? words[1] : kDefault;
    auto value = payload::null();
    if (word != kDefault) {
        const auto number = numberFor(*filter, word);
        if (!number) {
            output::printLine(stderr, {"\nInvalid ", filter->value, " [ ", word, filter->unit, " ] passed"});
            printHelp();
            return false;
        }
        value = payload::integer(*number);
    }
    if (ryn::client::AddTraceFilter(manager(), *filter->key, value) != 0) {
        output::printLine(stderr, {"Failed to set trace filter ", filter->setting, " to '", word, filter->unit, "'"});
        return false;
    }
    output::printLine(stdout, {filter->label, word, filter->unit, filter->end});
    return true;
}

bool TraceFilterCommand::remove(const Words& words) {
    if (words.size() != 1) {
        output::printLine(stdout, {"\nInvalid input. Pass a filter to be removed."});
        printHelp();
        return false;
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
            output::printLine(stderr, {"Failed to removed ", filter.title, " filter"});
            ok = false;
        } else {
            output::printLine(stdout, {"Removed ", filter.title, " filter"});
        }
    }
    if (!isKnown) {
        output::printLine(stderr, {"\nInvalid filter option '", word, "' passed"});
        printHelp();
        return false;
    }
    return ok;
}

bool TraceFilterCommand::status() const {
    xpc::Object filters;
    if (ryn::client::GetTraceFilters(manager(), filters) != 0) {
        output::printLine(stderr, {"Failed to get trace filter status"});
        return false;
    }
    if (!filters.isDictionary() || xpc_dictionary_get_count(filters.get()) == 0) {
        output::printLine(stdout, {"No trace log filters were configured"});
        return true;
    }
    for (const Filter& filter : kFilters) {
        if (xpc_dictionary_get_value(filters.get(), *filter.key) != nullptr) {
            const std::string number = output::number(payload::readInteger(filters, *filter.key, 0));
            output::printLine(stdout, {filter.label, number, filter.unit, filter.end});
        }
    }
    return true;
}
