#include "Client/TestClient.h"
#include "support/Test.h"

namespace {

/// Set while the kernel is to lack memory for a packet.
bool lacksBuffers = false;

TEST(Events, ComeInOrderAndOutliveTheManager) {
    const TempFolder folder;
    TestClient client(folder / "s");
    Lines lines;
    client.manager().addEventHandler("E", [&lines](const xpc::Object& payload) { lines.add(to_string(payload)); });
    client.manager().addEventHandler("E", [&lines](const xpc::Object&) { lines.add("again"); });
    client.manager().addConnectionHandler([&lines](const xpc::Object&) { lines.add("connected"); });
    client.manager().setEvents(true);
    // Nobody sends a command: the run loop connects, also behind a manager that was absent, and switches events on again.
    for (std::size_t round = 0; round < 2; ++round) {
        ScriptedManager manager(kEcho, folder / "s");
        ASSERT_THAT(manager.packets(2), ElementsAre("hello 1 tester", "events on"));
        manager.broadcast("E", support::number(1));
        manager.broadcast("Other", support::number(2));
        manager.broadcast("E");
        const auto seen = lines.wait(5 * (round + 1));
        ASSERT_EQ(seen.size(), 5 * (round + 1));
        EXPECT_THAT(std::vector(seen.end() - 5, seen.end()), ElementsAre("connected", "1", "again", "null", "again"));
    }
}

TEST(Events, AreSwitchedOffAndOn) {
    ScriptedManager manager([](const auto& connection, const auto& request) {
        request.command == "Drop" ? connection.drop()
                                  : connection.reply(request.id, 0, support::text(to_string(request.argument)));
    });
    TestClient client(manager.path());
    EXPECT_EQ(client.perform("First"), "0 \"null\"");
    client.manager().setEvents(false);  // as they are
    client.manager().setEvents(true);
    client.manager().setEvents(false);
    client.manager().setEvents(true);
    EXPECT_EQ(client.perform("Last"), "0 \"null\"");
    EXPECT_THAT(manager.packets(), ElementsAre("hello 1 tester", "request 1 First null", "events on", "events off", "events on",
                                               "request 2 Last null"));
    client.manager().setEvents(false);
    Lines lines;
    client.manager().perform(
        "Drop", {}, [&lines](int, const xpc::Object&) { lines.add("lost"); }, TestClient::kLong);
    EXPECT_THAT(lines.wait(1), ElementsAre("lost"));
    EXPECT_EQ(client.manager().interest().deadline, std::chrono::steady_clock::time_point::max());
    client.manager().setEvents(true);  // the run loop has looked, and sleeps without a connection
    EXPECT_EQ(manager.packets(10).back(), "events on");
    const TempFolder empty;
    const dispatch::Queue queue("test.queue");
    ryn::client::Manager alone("tester", queue.get(), ryn::client::SocketPath(empty / "s"));
    const auto begin = ryn::client::Clock::now();
    alone.setEvents(true);
    alone.serve(0);
    EXPECT_GE(alone.interest().deadline, begin + 100ms) << "it has failed";
    alone.setEvents(false);
    alone.setEvents(true);
    EXPECT_LE(alone.interest().deadline, ryn::client::Clock::now());
}

TEST(Events, BeyondMeasureEndTheConnection) {
    const xpc::Object empties = xpc::array(std::vector<xpc::Object>(500, xpc::dictionary()));
    const struct {
        const char* what;
        xpc::Object payload;
        int events;
    } kFloods[] = {{"long texts", support::text(std::string(100'000, 'x')), 200},
                   {"many small objects", empties, 1'500},  // half the size where an address has 32 bits
                   {"events without a payload", {}, 80'000}};
    for (const auto& flood : kFloods) {
        SCOPED_TRACE(flood.what);
        ScriptedManager manager([&flood](const auto& connection, const auto& request) {
            for (int event = 0; request.command == "Flood" && event < flood.events; ++event) {
                connection.event("E", flood.payload);
            }
            connection.reply(request.id, 0);
        });
        TestClient client(manager.path());
        const auto flooded =
            " at " + manager.path() + " sent more events than could be handled, so the connection was closed.\"}";
        const auto blocked = std::make_shared<std::mutex>();  // what is still on the queue outlives this round
        client.manager().addEventHandler("E", [blocked](const xpc::Object&) { const std::lock_guard wait(*blocked); });
        client.manager().setEvents(true);
        {
            const std::lock_guard block(*blocked);
            EXPECT_THAT(client.perform("Flood"), AllOf(testing::StartsWith(std::to_string(ryn::client::kResultConnectionLost)),
                                                       testing::HasSubstr(flooded)));
        }
        EXPECT_THAT(client.perform("After"), testing::StartsWith("0 "));
    }
}

TEST(Link, KeepsItsConnectionWhileTheKernelLacksMemory) {
    const ScriptedManager manager(kEcho);
    ryn::client::Link link("tester", ryn::client::SocketPath(manager.path()), ryn::client::Greeting::Unanswered, [] {});
    for (const auto outcome : {ryn::client::Link::Outcome::Busy, ryn::client::Link::Outcome::Sent}) {
        lacksBuffers = outcome == ryn::client::Link::Outcome::Busy;
        EXPECT_EQ(link.send({}), outcome);
    }
}

TEST(Link, ConnectsInTheBackgroundLaterEachTimeUntilItSucceeds) {
    using ryn::client::Link;
    const TempFolder folder;
    Link link("tester", ryn::client::SocketPath(folder / "s"), ryn::client::Greeting::Unanswered, [] {});
    auto now = ryn::client::Clock::now();
    EXPECT_EQ(link.sendDue(now), Link::Outcome::Sent) << "nothing is due while no events are wanted";
    link.wantEvents(true);
    for (const auto delay : {100ms, 200ms, 400ms, 800ms, 1600ms, 3200ms, 5000ms, 5000ms}) {
        EXPECT_EQ(link.sendDue(now), Link::Outcome::NotConnected);
        EXPECT_EQ(link.nextAttempt() - now, delay);
        EXPECT_EQ(link.sendDue(link.nextAttempt() - 1ns), Link::Outcome::Sent) << "not due yet";
        now = link.nextAttempt();
    }
    ScriptedManager manager(kEcho, folder / "s");
    EXPECT_EQ(link.sendDue(now), Link::Outcome::Sent);
    EXPECT_THAT(manager.packets(2), ElementsAre("hello 1 tester", "events on"));
    const std::pair<bool, std::chrono::milliseconds> kEnds[] = {{false, 5000ms}, {true, 100ms}};
    for (const auto& [hasReceived, delay] : kEnds) {  // a connection that failed at once is no success
        ASSERT_EQ(link.send({}), Link::Outcome::Sent);
        if (hasReceived) {
            link.setReceived();
        }
        now = ryn::client::Clock::now();
        link.close();
        EXPECT_LT(link.nextAttempt() - now - delay, 4s);  // on a slow machine too
        EXPECT_GE(link.nextAttempt() - now, delay);
    }
}

}  // namespace

extern "C" ssize_t send(int socket, const void* bytes, std::size_t size, int flags) {
    errno = ENOBUFS;
    return lacksBuffers ? -1 : ::sendto(socket, bytes, size, flags, nullptr, 0);
}
