#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <fstream>
#include <optional>

namespace {

namespace wire = ryn::wire;
using support::Daemon;
using testing::StartsWith;

using Bytes = std::vector<std::uint8_t>;

constexpr const char* kInfo = "GetCorvaneInfoCommand";

wire::Packet request(std::uint64_t id, const std::string& command, const xpc::Object& argument = xpc::null()) {
    return wire::Request{id, command, argument};
}

/// The manager's memory in kilobytes.
long residentKilobytes(const Daemon& daemon) {
    std::ifstream status("/proc/" + std::to_string(const_cast<Daemon&>(daemon).process().pid()) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            long kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    }
    return -1;
}

TEST(HostileClient, LosesItsConnectionAndNoOtherDoes) {
    struct Case {
        const char* what;
        Peer::Greeting greeting;
        Bytes packet;
    };
    const Case cases[] = {
        {"a request before hello", Peer::Greeting::None, {0x84, 0x01, 0x01, 0x61, 'x', 0xF6}},
        {"events before hello", Peer::Greeting::None, {0x82, 0x03, 0xF5}},
        {"another version", Peer::Greeting::None, {0x83, 0x00, 0x02, 0x61, 'x'}},
        {"a second hello", Peer::Greeting::Sent, {0x83, 0x00, 0x01, 0x61, 'x'}},
        {"an empty packet", Peer::Greeting::Sent, {}},
        {"random bytes", Peer::Greeting::Sent, {0xFF, 0x13, 0x37}},
        {"a truncated request", Peer::Greeting::Sent, {0x84, 0x01, 0x01, 0x78, 0x40, 'G'}},
        {"bytes behind the item", Peer::Greeting::Sent, {0x82, 0x03, 0xF5, 0x00}},
        {"deep nesting", Peer::Greeting::Sent, Bytes(40, 0x81)},
        {"an oversized packet", Peer::Greeting::Sent, Bytes(wire::kMaxPacketSize + 1)},
        {"a manager's packet", Peer::Greeting::Sent, {0x83, 0x02, 0x01, 0x00}},
    };
    const Daemon daemon;
    Peer other(daemon.socketPath());
    for (const Case& row : cases) {
        Peer peer(daemon.socketPath(), row.greeting);
        EXPECT_TRUE(peer.send(row.packet)) << row.what;
        EXPECT_TRUE(peer.isClosed()) << row.what;
        EXPECT_THAT(other.ask(kInfo), StartsWith("0 ")) << row.what;
    }
}

TEST(HostileClient, MayNotUseAnIdTwiceNorHaveMoreThan256RequestsOutstanding) {
    const Daemon daemon({"--fault", std::string(kInfo) + "=hang"});
    Peer twice(daemon.socketPath());
    twice.send(request(7, kInfo));
    twice.send(request(7, "GetTraceFiltersCommand"));
    EXPECT_TRUE(twice.isClosed());
    Peer many(daemon.socketPath());
    for (std::uint64_t id = 1; id <= 256; ++id) {
        many.send(request(id, kInfo));
    }
    many.send(request(257, "GetTraceFiltersCommand"));
    EXPECT_THAT(many.receive(), StartsWith("reply 257 0xE020E10A"));
}

/// Answers come to those that ask while one client floods, and the flood costs no more than what the kernel buffers.
TEST(HostileClient, ThatFloodsWithoutReadingIsHeldBack) {
    const Daemon daemon;
    Peer other(daemon.socketPath());
    EXPECT_THAT(other.ask(kInfo), StartsWith("0 "));
    const long before = residentKilobytes(daemon);
    Peer flood(daemon.socketPath());
    std::uint64_t id = 0;
    for (int round = 0; round < 200; ++round) {
        while (flood.send(request(++id, "GetTraceFiltersCommand"))) {
        }
        EXPECT_THAT(other.ask("GetTraceFiltersCommand"), StartsWith("0 "));
    }
    EXPECT_LT(residentKilobytes(daemon) - before, 1024);
}

TEST(HostileClient, ThatGoesAwayTakesItsOutstandingRequestsWithIt) {
    const Daemon daemon;
    const auto soft = support::dictionary({{"KeyBasebandResetType", support::text("Soft reset")}});
    std::optional<Peer> leaving(std::in_place, daemon.socketPath());
    Peer watcher(daemon.socketPath());
    watcher.send(wire::Packet(wire::Events{true}));
    EXPECT_THAT(watcher.ask(kInfo), StartsWith("0 "));
    leaving->send(request(1, "ResetBasebandCommand", soft));
    EXPECT_EQ(watcher.receive(), R"(event BasebandBootStateChangeNotification {"KeyBasebandBootState":"Resetting"})");
    leaving.reset();
    std::string event;
    while (event != R"(event BasebandBootStateChangeNotification {"KeyBasebandBootState":"Ready"})" && event != "nothing") {
        event = watcher.receive();
    }
    EXPECT_THAT(watcher.ask(kInfo), StartsWith("0 "));
}

TEST(HostileClient, BeyondTheLimitIsClosedAndTheOthersAreServed) {
    const rlimit enough{4096, 4096};
    if (setrlimit(RLIMIT_NOFILE, &enough) != 0) {
        GTEST_SKIP() << "this user may not open 2,000 descriptors";
    }
    Daemon daemon;
    std::vector<Peer> peers;
    peers.reserve(1024);
    for (int count = 0; count < 1024; ++count) {
        peers.emplace_back(daemon.socketPath());
    }
    EXPECT_THAT(peers.back().ask(kInfo), StartsWith("0 "));
    Peer tooMany(daemon.socketPath());
    EXPECT_THAT(tooMany.receive(), StartsWith("reply 0 0xE020E10A "));
    EXPECT_TRUE(tooMany.isClosed());
    EXPECT_THAT(peers.front().ask(kInfo), StartsWith("0 "));
    EXPECT_TRUE(daemon.process().waitForError("This manager has 1024 clients, the most that it serves"));
    peers.pop_back();
    // The place is free as soon as the manager has seen the end.
    EXPECT_THAT(peers.front().ask(kInfo), StartsWith("0 "));
    EXPECT_THAT(Peer(daemon.socketPath()).ask(kInfo), StartsWith("0 "));
}

}  // namespace
