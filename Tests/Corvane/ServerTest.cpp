#include "Corvane/clients/Server.h"

#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Services.h"
#include "Corvane/support/ListeningSocket.h"
#include "support/ScriptedManager.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>

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
    const auto polite = support::connectTo(path);
    const std::array<std::uint8_t, 4> hello{0x83, 0x00, 0x01, 0x60};
    ASSERT_EQ(send(polite.get(), hello.data(), hello.size(), 0), ssize_t{hello.size()});
    const auto silent = support::connectTo(path);
    while (services.clientFigures().ended == 0) {
        ASSERT_TRUE(loop->turn());
    }
    char byte = 0;
    EXPECT_EQ(recv(silent.get(), &byte, 1, 0), 0);
    EXPECT_EQ(recv(polite.get(), &byte, 1, MSG_DONTWAIT), -1);
    EXPECT_EQ(services.clientFigures().connected, 1U);
    // Nothing is left that would wake the loop.
    EXPECT_EQ(sd_event_run(&loop->event(), 0), 0);
}

}  // namespace
}  // namespace corvane
