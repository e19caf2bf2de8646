#include "Conversation.h"

#include "shell/Words.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>

namespace {

support::Arguments command(std::string typed) {
    support::Arguments words{support::kTool};
    for (std::size_t end = 0; end != std::string::npos; typed.erase(0, end + 1)) {
        end = typed.find(' ');
        words.push_back(typed.substr(0, end));
    }
    return words;
}

}  // namespace

Conversation when(const std::string& typed, const std::vector<Answer>& answers, const std::vector<std::string>& requests,
                  const std::string& out, const std::string& err, int status) {
    return {typed, answers, requests, out, err, status};
}

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
        const support::Outcome outcome = support::run(command(expected.typed), {{"CORVANE_SOCKET", manager.path()}});
        EXPECT_THAT(manager.requests(), testing::ElementsAreArray(expected.requests));
        EXPECT_EQ(outcome.out, expected.out);
        EXPECT_EQ(outcome.err, expected.err);
        EXPECT_EQ(outcome.status, expected.status);
    }
}

std::string help(const std::string& group) {
    support::becomePellcore();
    return support::run(command(group + " help")).out;
}

std::string getProperty(const std::string& trace, const std::string& property) {
    return R"(GetTracePropertyCommand {"KeyTraceName":")" + trace + R"(","KeyTracePropertyName":")" + property + "\"}";
}

std::string setProperty(const std::string& trace, const std::string& property, const std::string& value) {
    return R"(SetTracePropertyCommand {"KeyTraceName":")" + trace + R"(","KeyTracePropertyName":")" + property +
           R"(","KeyTracePropertyValue":")" + value + R"(","KeyTracePropertyWaitForCompletion":true})";
}

Answer carrying(const std::string& key, const xpc::Object& value) {
    return {0, support::dictionary({{key.c_str(), value}})};
}

Answer valueAnswer(const std::string& value) {
    return carrying("KeyTracePropertyValue", support::text(value));
}

Answer refusal() {
    return {1, support::dictionary({{"KeyErrorString", support::text("no")}})};
}
