#include "Corvane/traces/TraceProperty.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

using corvane::TraceProperty;

std::string valuesOf(const TraceProperty& property) {
    if (property.keeping == TraceProperty::Keeping::ReadOnly) {
        return "read only";
    }
    std::string choices;
    for (const auto& choice : property.choices) {
        choices += (choices.empty() ? "" : ", ") + choice;
    }
    switch (property.form) {
        case TraceProperty::Form::Flag:
            return "true, false";
        case TraceProperty::Form::Number:
            return std::to_string(property.lowest) + " to " + std::to_string(property.highest);
        case TraceProperty::Form::Choice:
            return choices.size() > 16 ? "0 to " + std::to_string(property.choices.size() - 1) : choices;
        case TraceProperty::Form::FileName:
            return "file name";
    }
    return {};
}

TEST(TracePropertyListTest, ManualAndCompletionHaveThoseOfTheManager) {
    std::set<std::string> rows;
    std::map<std::string, std::set<std::string>> names;
    for (const auto& property : corvane::supportedTraceProperties()) {
        const std::string trace = ryn::trace::typeAsString(property.trace);
        rows.insert(trace + " " + property.name + " Ta " + valuesOf(property) + " Ta " + property.byDefault);
        names[trace].insert(property.name);
    }

    std::set<std::string> described;
    std::istringstream lines(support::readFile(SOURCE_FOLDER "/Packaging/man/Corvane.8"));
    for (std::string line; std::getline(lines, line);) {
        static const std::regex kRow(R"(\.It (\w+ [A-Z]\w+ Ta .+ Ta .+))");
        if (std::smatch match; std::regex_match(line, match, kRow)) {
            described.insert(match[1]);
        }
    }
    EXPECT_THAT(described, testing::ContainerEq(rows));

    std::string table;
    for (const auto& [trace, properties] : names) {
        char separator = ' ';
        table += trace;
        for (const auto& name : properties) {
            table += separator + name;
            separator = ',';
        }
        table += "\n";
    }
    EXPECT_EQ(support::readFile(SOURCE_FOLDER "/Packaging/completion/traces"), table);
}

}  // namespace
