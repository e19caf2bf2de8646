#include "Corvane/Server.h"

#include "Corvane/Dispatcher.h"
#include "Corvane/Listener.h"
#include "Corvane/Manager.h"
#include "Corvane/Peer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

sd_event* newLoop() {
    sd_event* loop = nullptr;
    sd_event_new(&loop);
    return loop;
}

/// The server on a loop that the test turns.
class ServerTest : public testing::Test {
protected:
    static std::unique_ptr<corvane::SettingsStore> openStore(const support::TempFolder& folder) {
        return std::get<std::unique_ptr<corvane::SettingsStore>>(corvane::SettingsStore::open(folder.path()));
    }

    const support::TempFolder folder_;
    const std::string path_ = folder_ / "manager.sock";
    const corvane::EventLoop loop_{newLoop()};
    const corvane::PeerPolicy policy_;
    const std::unique_ptr<corvane::SettingsStore> store_ = openStore(folder_);
    corvane::LoopUse loopUse_;
    corvane::Manager manager_{*store_, folder_.path(), loopUse_};
    corvane::Dispatcher dispatcher_{manager_, {}};
    corvane::Listener listener_ = std::get<corvane::Listener>(corvane::Listener::open(path_, policy_));
};

TEST_F(ServerTest, EndsAClientThatSendsNoHelloInTimeAndSleepsForGoodThen) {
    corvane::Server server(*loop_, loopUse_, listener_.takeSocket(), policy_, dispatcher_, manager_.clientFigures(),
                           {10, 10, 0s});
    Peer polite(path_);
    Peer silent(path_, Peer::Greeting::None);
    while (manager_.clientFigures().ended == 0) {
        ASSERT_TRUE(server.turn());
    }
    EXPECT_TRUE(silent.isClosed());
    EXPECT_EQ(polite.receive(0ms), "nothing");
    EXPECT_EQ(manager_.clientFigures().connected, 1U);
    // Nothing is left that would wake the loop.
    EXPECT_EQ(sd_event_run(loop_.get(), 0), 0);
}

}  // namespace
