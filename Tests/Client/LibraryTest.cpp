#include "Client/TestClient.h"
#include "ryn/Client.h"
#include "support/Test.h"

#include <spawn.h>

namespace {

TEST(Library, CarriesEveryKindOfValue) {
    const ScriptedManager manager([](const auto& connection, const auto& request) {
        connection.reply(request.id, request.command == "Fail" ? -7 : 0, request.argument);
    });
    ryn::Client client({.name = "library", .socket = manager.path()});
    for (const char* greeting : {"waited for", "known"}) {
        const ryn::Reply greeted = client.connect();
        EXPECT_TRUE(greeted) << greeting;
        EXPECT_EQ(greeted.value.toJson(), R"({"KeyCorvaneVersion":"scripted"})") << greeting;
    }
    const ryn::Value value = ryn::Dictionary{
        {"array", ryn::Array{1, -2, true, "text", {}}}, {"bytes", std::string("\xFF\0", 2)}, {"dictionary", ryn::Dictionary{}}};
    const ryn::Reply echoed = client.perform("Echo", value);
    EXPECT_TRUE(echoed);
    EXPECT_EQ(echoed.value.toJson(), "{\"array\":[1,-2,true,\"text\",null],\"bytes\":\"\xEF\xBF\xBD\\u0000\",\"dictionary\":{}}");
    EXPECT_EQ(*echoed.value["bytes"].string(), std::string("\xFF\0", 2));
    EXPECT_TRUE(echoed.value["nothing"]["below"].isNull());
    const ryn::Reply failed = client.perform("Fail", ryn::Dictionary{{"KeyErrorString", "It must."}});
    EXPECT_EQ(failed.result, 0xFFFFFFF9);
    EXPECT_EQ(failed.sentence, "It must.");
    EXPECT_EQ(client.perform("Fail").sentence, "The manager gave no reason.");
    const ryn::Reply unsent = client.perform("A" + std::string(80, 'C'), std::string(200'000, 'x'));
    EXPECT_EQ(unsent.result, ryn::kRequestTooLarge);
    EXPECT_EQ(unsent.sentence, "A" + std::string(79, 'C') +
                                   " can't be sent: its argument must fit 131072 bytes, be nested at most 16 "
                                   "deep, hold at most 1024 values and have keys in UTF-8.");
}

TEST(Library, WaitsForAState) {
    using enum ryn::BootState;
    // What the manager does when it is asked: a state is its answer, "drop" ends the connection, "" is silence; behind "!" comes
    // an event.
    const struct {
        std::vector<std::string> answers;  ///< the last one is repeated
        std::uint32_t result;
        const char* sentence;
        std::chrono::milliseconds patience = support::kPatience;
        ryn::BootState state = Ready;
    } kCases[] = {
        {{"Ready"}, 0, ""},
        {{"Booting!", "Ready"}, 0, "", std::chrono::milliseconds::max()},
        {{"Ready!", "Off (sim-missing)"}, 0, "", support::kPatience, Off},
        {{"drop", "drop", "Booting!", "drop", "Ready"}, 0, ""},
        {{"Booting"}, ryn::kTimedOut, "The baseband was not Off within 0.3 s: it was Booting last.", 300ms, Off},
        {{""}, ryn::kTimedOut, "The baseband was not Resetting within 0.3 s: the manager did not answer.", 300ms, Resetting},
        {{"drop"}, ryn::kTimedOut, "was Corvane stopped?", 300ms, Booting},
        {{"refuse"}, 0xE020E102, "There is none."},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::PrintToString(row.answers));
        std::atomic<std::size_t> asked = 0;
        const ScriptedManager manager([&](const auto& connection, const auto& request) {
            std::string answer = row.answers[std::min(asked++, row.answers.size() - 1)];
            const bool isFollowed = answer.ends_with('!');
            answer.resize(answer.size() - (isFollowed ? 1 : 0));
            if (answer == "drop") {
                connection.drop();
            } else if (!answer.empty()) {
                connection.reply(request.id, answer == "refuse" ? static_cast<std::int32_t>(0xE020E102) : 0,
                                 support::dictionary({{"KeyBasebandBootState", support::text(answer)},
                                                      {"KeyErrorString", support::text("There is none.")}}));
            }
            if (isFollowed) {
                connection.event("BasebandBootStateChangeNotification");
            }
        });
        ryn::Client client({.name = "library", .socket = manager.path()});
        const ryn::Reply reply = client.waitForState(row.state, row.patience);
        EXPECT_EQ(reply.result, row.result);
        EXPECT_THAT(reply.sentence, EndsWith(row.sentence));
    }
}

/// Requests that wait when the program that carries them is killed, or when their client goes.
TEST(Library, EndsEachRequestOfACutConnection) {
    const support::TempFolder folder;
    const ScriptedManager manager(kAnswerAny);
    const std::string bridge = "echo $$ > " + (folder / "pid") + "; CORVANE_SOCKET=" + manager.path() + " exec " BRIDGE_PATH;
    Lines lines;
    Lines ends;
    const auto note = [&lines](const ryn::Reply& reply) { lines.add(reply.sentence); };
    ryn::Client* user = nullptr;
    const ryn::Client::Completion tryAgain = [&](const ryn::Reply& reply) {
        ends.add(reply.sentence);
        ends.add(user->perform("Any").sentence);
        user->perform("Any", {}, tryAgain);
    };
    {
        ryn::Client client({.name = "library", .bridge = {"sh", "-c", bridge}});
        EXPECT_TRUE(client.perform("Any"));
        for (int count = 0; count < 3; ++count) {
            client.perform("Never", {}, note);
        }
        EXPECT_TRUE(client.perform("Any"));
        ASSERT_EQ(::kill(std::stoi(support::readFile(folder / "pid")), SIGKILL), 0);
        EXPECT_THAT(lines.wait(3), AllOf(testing::SizeIs(3), Each(HasSubstr("closed the connection before it answered"))));
        EXPECT_TRUE(client.perform("Any", {}, std::chrono::milliseconds::max())) << "through a new bridge";
        user = &client;
        client.perform("Never", {}, tryAgain);
        client.perform("Never", {}, note);
    }
    EXPECT_THAT(lines.wait(0), testing::SizeIs(4)) << "the client waits for its completions";
    EXPECT_THAT(ends.wait(0), AllOf(testing::SizeIs(testing::Ge(4)), Each(EndsWith(" was closed by its client."))))
        << "and for theirs";
    pid_t program = -1;
    char* words[] = {nullptr};
    if (::posix_spawn(&program, "/nonexistent", nullptr, nullptr, words, environ) == 0) {
        GTEST_SKIP() << "what remains needs a real kernel: an emulator doesn't tell posix_spawn of a missing program";
    }
    const ryn::Reply missing = ryn::Client({.name = "library", .bridge = {"/nonexistent/bridge"}}).perform("Any");
    EXPECT_EQ(missing.result, ryn::kNotConnected);
    EXPECT_EQ(missing.sentence, "The program '/nonexistent/bridge' could not be started; is it installed?");
}

}  // namespace
