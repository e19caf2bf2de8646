#include "Corvane/traces/TraceProperty.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    std::set<std::string> traces;
    std::set<std::string> names;
    for (const auto& property : corvane::supportedTraceProperties()) {
        const std::string trace = ryn::trace::typeAsString(property.trace);
        rows.insert(trace + " " + property.name + " Ta " + valuesOf(property) + " Ta " + property.byDefault);
        traces.insert(trace);
        names.insert(property.name);
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

    const auto joined = [](const std::set<std::string>& words) {
        std::string text;
        for (const auto& word : words) {
            text += (text.empty() ? "" : ",") + word;
        }
        return text;
    };
    const std::string choices = joined(traces) + ":" + joined(names);
    EXPECT_THAT(support::readFile(SOURCE_FOLDER "/Packaging/completion/commands"),
                testing::AllOf(testing::HasSubstr("\n/trace/get " + choices + " "),
                               testing::HasSubstr("\n/trace/set " + choices + ":true,false ")));
}

}  // namespace
