#include "Corvane/clients/Server.h"

#include "Corvane/Peer.h"
#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Services.h"
#include "Corvane/support/ListeningSocket.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

namespace corvane {
namespace {

using namespace std::chrono_literals;

/// The server on a loop that the test turns.
TEST(ServerTest, EndsAClientThatSendsNoHelloInTimeAndSleepsForGoodThen) {
    const support::TempFolder folder;
    const std::string path = folder / "manager.sock";
    const auto loop = std::move(*Loop::make());
    const PeerPolicy policy;
    const auto store = std::move(*SettingsStore::open(folder.path()));
    Services services(*store, folder.path(), *loop, {});
    Dispatcher dispatcher(services, {});
    auto listener = std::move(*ListeningSocket::open(path, policy.group(), SOCK_SEQPACKET));
    Server server(*loop, listener.take(), policy, dispatcher, services.clientFigures(), {.greeting = 0s});
    Peer polite(path);
    Peer silent(path, Peer::Greeting::None);
    while (services.clientFigures().ended == 0) {
        ASSERT_TRUE(loop->turn());
    }
    EXPECT_TRUE(silent.isClosed());
    EXPECT_EQ(polite.receive(0ms), "nothing");
    EXPECT_EQ(services.clientFigures().connected, 1U);
    // Nothing is left that would wake the loop.
    EXPECT_EQ(sd_event_run(&loop->event(), 0), 0);
}

}  // namespace
}  // namespace corvane
