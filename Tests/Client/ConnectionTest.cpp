#include "Client/Failure.h"
#include "Client/TestClient.h"
#include "platform/ryn/constants.h"
#include "platform/xpc/Values.h"
#include "support/Test.h"

namespace {

using Connection = ScriptedManager::Connection;
using Request = ScriptedManager::Request;

std::string toString(std::int32_t result) {
    return std::to_string(result) + " ";
}
const std::string kNotConnected = toString(ryn::client::kResultNotConnected);
const std::string kLost = toString(ryn::client::kResultConnectionLost);
const std::string kTimedOut = toString(ryn::client::kResultTimedOut);
const std::string kMalformed = toString(ryn::client::kResultMalformedReply);

/// What TestClient::perform gives, by way of a completion that must run once and be disposed of.
std::string performAsynchronously(TestClient& client, const std::string& command, const xpc::Object& argument,
                                  std::chrono::milliseconds patience) {
    Lines lines;
    const auto disposed = std::make_shared<std::promise<void>>();
    std::shared_ptr<void> held(nullptr, [disposed](void*) { disposed->set_value(); });
    client.manager().perform(
        command, argument,
        [&lines, held](int result, const xpc::Object& reply) {
            lines.add(std::to_string(result) + " " + (reply ? to_string(reply) : "\"untouched\""));
        },
        patience);
    held.reset();
    const bool isDisposed = disposed->get_future().wait_for(support::kPatience) == std::future_status::ready;
    const auto answers = lines.wait(isDisposed ? 0 : 1);
    return answers.size() == 1 ? answers.front() : "not exactly one completion";
}

using Way = std::function<std::string(TestClient&, const std::string&, const xpc::Object&, std::chrono::milliseconds)>;
const std::pair<const char*, Way> kWays[] = {
    {"synchronous", [](TestClient& client, const auto&... call) { return client.perform(call...); }},
    {"asynchronous", performAsynchronously},
};

using Responder = ScriptedManager::Responder;

struct Answering {
    const char* name;
    Responder odd;         ///< how the manager answers the command "Odd"
    std::string expected;  ///< what the answer starts with
    std::string sentence;  ///< how it ends behind the manager's path
    int connections;       ///< made when a next command has been answered
    std::chrono::milliseconds patience = TestClient::kLong;
    bool isFirst = false;  ///< of the client's commands, and events are off
};

Responder replies(std::int32_t result, const xpc::Object& object = {}) {
    return [=](const Connection& connection, const Request& request) { connection.reply(request.id, result, object); };
}

/// One packet of any bytes, whatever was asked.
Responder sends(const std::vector<std::uint8_t>& packet) {
    return [packet](const Connection& connection, const Request&) { connection.raw(packet); };
}

const Answering kAnswerings[] = {
    {"with an object", replies(0, support::dictionary({{"k", support::text("\xFFv")}})), "0 {\"k\":\"\xEF\xBF\xBDv\"}", "", 1},
    {"without an object", replies(0), "0 \"untouched\"", "", 1},
    {"by a refusal", replies(-7, support::text("no")), "-7 \"no\"", "", 1},
    {"behind a reply too many and an event",
     [](const Connection& connection, const Request& request) {
         connection.reply(request.id - 1, 5);
         connection.event("Unheard");
         connection.reply(request.id, 0);
         connection.reply(request.id, 1);
     },
     "0 ", "", 1},
    {"behind signals that interrupt what waits",
     [](const Connection& connection, const Request& request) {
         std::signal(SIGUSR1, [](int) {});
         for (int times = 0; times < 100; ++times) {
             ::kill(::getpid(), SIGUSR1);
             std::this_thread::yield();
         }
         connection.reply(request.id, 0);
     },
     "0 ", "", 1},
    {"by its end", [](const Connection& connection, const Request&) { connection.drop(); }, kLost,
     " closed the connection before it answered; was Corvane stopped?", 2},
    {"by silence", [](const Connection&, const Request&) {}, kTimedOut, " did not answer within 0.2 s.", 1, 200ms},
    {"by an event only", sends({0x82, 0x04, 0x60}), kTimedOut, "", 1, 200ms},
    {"by garbage", sends({0xDE, 0xAD}), kMalformed, " sent what the protocol does not allow, so the connection was closed.", 2},
    {"by more than a packet may hold", sends(std::vector<std::uint8_t>(ryn::wire::kMaxPacketSize + 1)), kMalformed, "", 2},
    {"to an id before the first", sends({0x84, 0x02, 0x00, 0x00, 0xF6}), kMalformed, "", 2},
    {"to an id behind the last", sends({0x83, 0x02, 0x17, 0x00}), kMalformed, "", 2},
    {"by a request of its own", sends({0x84, 0x01, 0x01, 0x60, 0xF6}), kMalformed, "", 2},
    {"at first by its end", [](const Connection& connection, const Request&) { connection.drop(); }, kLost,
     " closed the connection before it answered; is Corvane running, and are you in group corvane?", 2, TestClient::kLong, true},
    {"at first by an event", sends({0x82, 0x04, 0x60}), kMalformed, "", 2, TestClient::kLong, true},
    {"at first by a refusal of the connection",
     [](const Connection& connection, const Request&) {
         connection.reply(0, -7, support::dictionary({{"KeyErrorString", support::text("Too many connections.")}}));
         connection.drop();
     },
     R"(-7 {"KeyErrorCode":-7,"KeyErrorString":"Too many connections."})", "", 2, TestClient::kLong, true},
};

/// Answers "Odd" oddly, and everything else with success; "After", on the same connection, behind a late answer to "Odd".
Responder respondTo(const Answering& row) {
    return [&row](const Connection& connection, const Request& request) {
        if (request.command == "Odd") {
            row.odd(connection, request);
            return;
        }
        if (request.command == "After" && row.connections == 1) {
            connection.reply(request.id - 1, 0, support::text("late"));
        }
        connection.reply(request.id, 0, support::text(request.command));
    };
}

TEST(Connection, EndsEachCommandInOneWay) {
    for (const auto& [wayName, perform] : kWays) {
        for (const Answering& row : kAnswerings) {
            SCOPED_TRACE(std::string(row.name) + ", " + wayName);
            ScriptedManager manager(respondTo(row));
            TestClient client(manager.path());
            if (!row.isFirst) {
                client.manager().setEvents(true);
                EXPECT_EQ(client.perform("Before"), "0 \"Before\"");
            }
            const std::string answer = perform(client, "Odd", {}, row.patience);
            EXPECT_THAT(answer, StartsWith(row.expected));
            EXPECT_THAT(answer,
                        HasSubstr(row.sentence.empty() ? "" : "\"The manager at " + manager.path() + row.sentence + "\"}"));
            EXPECT_EQ(perform(client, "After", {}, TestClient::kLong), "0 \"After\"");
            const auto packets = manager.packets();
            EXPECT_EQ(std::count(packets.begin(), packets.end(), "hello 1 tester"), row.connections);
        }
    }
}

/// What the manager said stands behind the error that it has left packets unread.
TEST(Connection, MayEndUnread) {
    const TempFolder folder;
    const auto listener = support::bindTo(folder / "s", SOCK_SEQPACKET, 1);
    TestClient client(folder / "s");
    auto answer = std::async(std::launch::async, [&client] { return client.perform("Any"); });
    platform::FileDescriptor peer(::accept(listener.get(), nullptr, nullptr));
    support::bound(peer);
    std::array<char, 1> unread{};
    for (const int flags : {0, static_cast<int>(MSG_PEEK)}) {  // hello is read, the request is seen to be there
        EXPECT_EQ(::recv(peer.get(), unread.data(), unread.size(), flags), 1);
    }
    const std::array<std::uint8_t, 4> refusal{0x83, 0x02, 0x00, 0x26};
    EXPECT_EQ(::send(peer.get(), refusal.data(), refusal.size(), 0), ssize_t{refusal.size()});
    peer = {};
    EXPECT_THAT(answer.get(), AllOf(StartsWith("-7 "),
                                    HasSubstr("\"The manager at " + (folder / "s") + " does not serve this connection.\"}")));
    ryn::client::Manager alone("tester", dispatch::Queue("test.queue").get(), ryn::client::SocketPath(folder / "s"));
    Lines lines;
    alone.perform(
        "Any", {}, [&lines](int result, const xpc::Object&) { lines.add(toString(result)); }, TestClient::kLong);
    peer = platform::FileDescriptor(::accept(listener.get(), nullptr, nullptr));
    EXPECT_EQ(::send(peer.get(), refusal.data(), refusal.size(), 0), ssize_t{refusal.size()});
    peer = {};
    alone.setEvents(true);  // nobody reads: what can't be sent tells of the end
    EXPECT_THAT(lines.wait(1), ElementsAre("-7 "));
}

TEST(Connection, SaysWhyThereIsNone) {
    const TempFolder folder;
    support::writeFile(folder / "file", "");
    const auto stale = support::bindTo(folder / "stale", SOCK_SEQPACKET, -1);
    const auto stream = support::bindTo(folder / "stream", SOCK_STREAM, 1);
    const auto full = support::bindTo(folder / "full", SOCK_SEQPACKET, 0);
    std::vector<std::shared_ptr<ryn::client::Socket>> waiting;
    while (const auto socket = ryn::client::Socket::connect(folder / "full").socket) {
        waiting.push_back(socket);
    }
    const struct {
        std::string path;
        const char* before;
        const char* behind;
    } kPlaces[] = {
        {folder / "absent", "There is no manager socket ", "; is Corvane running?"},
        {folder / "file", "Nothing listens on ", "; is Corvane running?"},
        {folder / "stale", "Nothing listens on ", "; is Corvane running?"},
        {folder / "stream", "The socket ", " is not a manager's; set CORVANE_SOCKET to the one that Corvane listens on."},
        {folder / "full", "The manager at ", " took no new connection in time; it may be overloaded or stopped."},
        {folder / std::string(120, 'x'), "The socket path ", " is too long: at most 107 bytes can be used."},
        {folder / "file/below", "Can't connect to ", ": Not a directory."},
    };
    for (const auto& place : kPlaces) {
        for (const auto& [wayName, perform] : kWays) {
            SCOPED_TRACE(place.path + ", " + wayName);
            TestClient client(place.path);
            EXPECT_EQ(perform(client, "Any", {}, 100ms),
                      kNotConnected + "{\"KeyErrorCode\":" + std::to_string(ryn::client::kResultNotConnected) +
                          ",\"KeyErrorString\":\"" + place.before + place.path + place.behind + "\"}");
        }
    }
    // Which the superuser does not meet.
    for (const int error : {EACCES, EPERM}) {
        EXPECT_EQ(xpc::textAt(ryn::client::notConnected("/s", error).object, ryn::kKeyErrorString),
                  "No permission to use /s; add yourself to group corvane and log in again.");
    }
    EXPECT_EQ(ryn::client::inSeconds(11s) + ", " + ryn::client::inSeconds(1100ms), "11 s, 1.1 s");
}

TEST(Connection, IsNotHungByAManagerThatReadsNothing) {
    const TempFolder folder;
    const auto deaf = support::bindTo(folder / "deaf", SOCK_SEQPACKET, 4);
    for (const auto& [wayName, perform] : kWays) {
        SCOPED_TRACE(wayName);
        TestClient client(folder / "deaf");
        for (int packet = 0; packet < 4; ++packet) {  // more than the socket's buffer takes
            EXPECT_THAT(perform(client, "Big", support::text(std::string(100'000, 'x')), 50ms), StartsWith(kTimedOut));
        }
    }
}

TEST(Connection, IsMadeAgainByTheNextCommand) {
    for (const auto& [wayName, perform] : kWays) {
        SCOPED_TRACE(wayName);
        const TempFolder folder;
        TestClient client(folder / "s");
        for (int round = 0; round < 3; ++round) {
            ScriptedManager manager(kEcho, folder / "s");
            EXPECT_EQ(perform(client, "First", support::number(round), TestClient::kLong), "0 \"" + std::to_string(round) + "\"");
            EXPECT_EQ(perform(client, "Second", {}, TestClient::kLong), "0 \"null\"");
            EXPECT_THAT(manager.packets(),
                        ElementsAre("hello 1 tester", EndsWith("First " + std::to_string(round)), EndsWith("Second null")));
        }
        EXPECT_THAT(perform(client, "Any", {}, TestClient::kLong), StartsWith(kNotConnected));
    }
}

/// The thread that waits reads the end of the old connection when there is a new one already. The last one goes with its client.
TEST(Connection, IsMadeAgainWhileAnotherThreadReads) {
    ScriptedManager manager(kAnswerAny);
    TestClient client(manager.path());
    for (std::size_t round = 1; round <= 20; ++round) {
        std::thread waiting(
            [&] { EXPECT_THAT(client.perform("Never"), HasSubstr(" at " + manager.path() + " was closed by its client.\"}")); });
        EXPECT_THAT(manager.packets(3 * round - 1).back(), EndsWith("Never null"));
        client.manager().close();
        EXPECT_EQ(client.perform("Any"), "0 \"untouched\"");
        waiting.join();
    }
    Lines lines;
    client.manager().perform(
        "Never", {}, [&lines](int result, const xpc::Object&) { lines.add(toString(result)); }, TestClient::kLong);
    client.forget();
    EXPECT_THAT(lines.wait(1), ElementsAre(kLost));
}

/// Four requests wait for each other, then each is answered, the last one first.
TEST(Connection, GivesEachThreadItsOwnReply) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 50;
    std::vector<Request> held;
    ScriptedManager manager([&held](const Connection& connection, const Request& request) {
        held.push_back(request);
        if (held.size() < kThreads) {
            return;
        }
        for (; !held.empty(); held.pop_back()) {
            connection.event("Unheard");
            connection.reply(held.back().id, 0, support::text(to_string(held.back().argument)));
        }
    });
    TestClient client(manager.path());
    client.manager().setEvents(true);
    std::vector<std::jthread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&client, thread] {
            const Way& perform = kWays[thread % 2].second;
            for (int round = 0; round < kRounds; ++round) {
                const int value = thread * kRounds + round;
                EXPECT_EQ(perform(client, "Echo", support::number(value), TestClient::kLong),
                          "0 \"" + std::to_string(value) + "\"");
            }
        });
    }
}

}  // namespace
