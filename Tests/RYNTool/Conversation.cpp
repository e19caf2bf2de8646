#include "Conversation.h"

#include "shell/CommandShell.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>

void expectConversations(const std::vector<Conversation>& conversations) {
    support::becomePellcore();
    const support::TempFolder folder;
    for (const Conversation& expected : conversations) {
        SCOPED_TRACE(expected.typed);
        std::size_t answered = 0;
        const support::ScriptedManager manager(
            folder / "manager.sock", [&](support::ScriptedManager::Connection& connection, const auto& request) {
                const Answer answer = answered < expected.answers.size() ? expected.answers[answered] : Answer{};
                ++answered;
                for (const auto& [name, payload] : answer.events) {
                    connection.event(name, payload);
                }
                connection.reply(request.id, answer.result, answer.object);
            });
        Words words = CommandShell::tokenize(expected.typed);
        words.insert(words.begin(), support::kTool);
        const support::Outcome outcome = support::run(words, {{"CORVANE_SOCKET", manager.path()}});
        EXPECT_THAT(manager.requests(), testing::ElementsAreArray(expected.requests));
        EXPECT_EQ(outcome.out, expected.out);
        EXPECT_EQ(outcome.err, expected.err);
        EXPECT_EQ(outcome.status, expected.status);
    }
}

std::string getProperty(const std::string& trace, const std::string& property) {
    return R"(GetTracePropertyCommand {"KeyTraceName":")" + trace + R"(","KeyTracePropertyName":")" + property + "\"}";
}

std::string setProperty(const std::string& trace, const std::string& property, const std::string& value) {
    return R"(SetTracePropertyCommand {"KeyTraceName":")" + trace + R"(","KeyTracePropertyName":")" + property +
           R"(","KeyTracePropertyValue":")" + value + R"(","KeyTracePropertyWaitForCompletion":true})";
}

Answer textAnswer(const std::string& key, const std::string& value) {
    return {0, support::dictionary({{key, support::text(value)}}), {}};
}

Answer valueAnswer(const std::string& value) {
    return textAnswer("KeyTracePropertyValue", value);
}

Answer refusal() {
    return {1, support::dictionary({{"KeyErrorString", support::text("no")}}), {}};
}

std::string helpPage(const std::string& name, const std::vector<std::pair<std::string, std::string>>& leaves,
                     const std::string& children) {
    std::string page = "\nOptions for command '" + name + "':\n\n";
    for (auto [word, text] : leaves) {
        word.resize(18, ' ');
        page.append("\t").append(word).append(text).append("\n");
    }
    return page + "\n" + children +
           "\tcd                <sub-command>\n\thelp              \n\tback              \n\tquit              \n\n";
}

const std::string kResetHelp = helpPage("reset", {{"hard", "hard reset of baseband"},
                                                  {"soft", "soft reset of baseband"},
                                                  {"unblock", "unblock reset, if it was set using preferences (dev use only)"}});
const std::string kDiagnosticsHelp = helpPage(
    "diagnostics", {{"abort", "abort diagnostics test, if it is running"}, {"run", "[rftest] run a specified diagnostics test"}});
const std::string kTraceHelp = helpPage("trace",
                                        {{"dump", "[<reason-string>] dump trace logs"},
                                         {"get", "<trace> <property> get trace property"},
                                         {"keepscratch", "[true|false] keep or discard scratch logs"},
                                         {"set", "<trace> <property> <value> set trace property"}},
                                        "\tfilter            [add|remove|status]\n\n");
const std::string kFilterHelp =
    helpPage("filter", {{"add", "[ freespace { 0..100 | default } | maxlog { 0.. | default } ] add trace log filter"},
                        {"remove", "[ freespace | maxlog | all ] remove trace log filter(s)"},
                        {"status", "status of trace log filter (if not set, default values are returned)"}});
const std::string kTEMSHelp = helpPage("tems", {{"mode", "[hw|off] TEMS mode"}});
