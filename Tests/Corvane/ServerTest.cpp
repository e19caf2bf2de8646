#include "Corvane/clients/Server.h"

#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Services.h"
#include "Corvane/support/ListeningSocket.h"
#include "support/ScriptedManager.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <thread>

namespace corvane {
namespace {

using namespace std::chrono_literals;

/// The server on a loop that the test turns.
TEST(ServerTest, EndsAClientThatSendsNoHelloInItsTimeAndSleepsForGoodThen) {
    constexpr auto kGreeting = 50ms;
    const support::TempFolder folder;
    const std::string path = folder / "manager.sock";
    const auto loop = std::move(*Loop::make());
    const PeerPolicy policy;
    const auto store = std::move(*SettingsStore::open(folder.path()));
    Services services(*store, folder.path(), *loop, {});
    Dispatcher dispatcher(services, {});
    auto listener = std::move(*ListeningSocket::open(path, policy.group(), SOCK_SEQPACKET));
    Server server(*loop, listener.take(), policy, dispatcher, services.clientFigures(), {.greeting = kGreeting});
    const ClientFigures& figures = services.clientFigures();
    const auto turn = [&loop] {
        Timer end(*loop);
        end.set(1ms, [] {});
        ASSERT_TRUE(loop->turn());
    };
    const auto turnUntilConnected = [&](std::uint64_t clients) {
        while (figures.connected != clients) {
            turn();
        }
    };
    char byte = 0;
    const auto polite = support::connectTo(path);
    const std::array<std::uint8_t, 4> hello{0x83, 0x00, 0x01, 0x60};
    ASSERT_EQ(send(polite.get(), hello.data(), hello.size(), 0), ssize_t{hello.size()});
    bool isLaterOneSpared = false;
    for (int tries = 0; tries < 50 && !isLaterOneSpared; ++tries) {  // the machine may be too busy to serve it within its time
        turnUntilConnected(1);
        const auto silent = support::connectTo(path);
        turnUntilConnected(2);
        std::this_thread::sleep_for(kGreeting);
        const auto later = support::connectTo(path);
        for (const auto ended = figures.ended; figures.ended == ended;) {
            turn();
        }
        EXPECT_EQ(recv(silent.get(), &byte, 1, 0), 0);
        isLaterOneSpared = recv(later.get(), &byte, 1, MSG_DONTWAIT) < 0;
    }
    EXPECT_TRUE(isLaterOneSpared);
    turnUntilConnected(1);
    EXPECT_EQ(recv(polite.get(), &byte, 1, MSG_DONTWAIT), -1);
    std::this_thread::sleep_for(2 * kGreeting);
    EXPECT_EQ(sd_event_run(&loop->event(), 0), 0) << "nothing is left that would wake the loop";
}

}  // namespace
}  // namespace corvane
