#include "Corvane/loop/Loop.h"

#include "Corvane/loop/Timer.h"
#include "Corvane/loop/Watch.h"
#include "Corvane/support/MemoryReserve.h"
#include "support/Test.h"

#include <sys/eventfd.h>

#include <deque>

namespace corvane {
namespace {

struct LoopTest : testing::Test {
    /// A descriptor that can always be read, and takes this long whenever it is served. One of `Ahead` ends the turn().
    struct Busy {
        Busy(Loop& loop, std::chrono::microseconds lasts, Watch::Order order = Watch::Order::Fair)
            : watch(loop, descriptor.get(), order, [this, &loop, lasts, order] {
                  ++served;
                  if (order == Watch::Order::Ahead) {
                      loop.rearm();
                  }
                  for (const auto end = std::chrono::steady_clock::now() + lasts; std::chrono::steady_clock::now() < end;) {
                  }
              }) {}
        platform::FileDescriptor descriptor{eventfd(1, EFD_CLOEXEC)};
        int served = 0;
        Watch watch;
    };
    std::unique_ptr<Loop> loop = std::move(*Loop::make());
    std::string shown;
};

TEST_F(LoopTest, ServesThoseThatTakeLittleInEveryTurnAndTheOthersInTheirOrder) {
    std::deque<Busy> costly;
    for (int count = 0; count < 40; ++count) {
        costly.emplace_back(*loop, 1ms);
    }
    Busy quick(*loop, 0us), urgent(*loop, 0us, Watch::Order::Ahead);
    for (int turn = 1; turn <= 160; ++turn) {
        loop->turn();
        EXPECT_EQ(urgent.served, turn);
    }
    EXPECT_GE(quick.served, 90) << "a busy machine makes it seem to take more";
    EXPECT_GE(std::ranges::min_element(costly, {}, &Busy::served)->served, 3);
    EXPECT_TRUE(loop->isShared());
    EXPECT_TRUE(loop->isLate());
}

TEST_F(LoopTest, RunsTimersAsTheyAreDueAndWhatIsDeferredBeforeItWaits) {
    Timer first(*loop), second(*loop), cancelled(*loop), again(*loop);
    bool done = false;
    second.set(500ms, [&] {
        shown += "2 ";
        loop->defer([&] {
            shown += "deferred ";
            loop->defer([&] {
                again.set(0ms, [&] {
                    done = true;
                    loop->rearm();
                });
            });
        });
    });
    first.set(60s, [&] { shown += "late "; });
    first.set(1ms, [&] {
        shown += "1 ";
        cancelled.cancel();
        again.set(-1s, [&] { shown += "again "; });
    });
    cancelled.set(2ms, [&] { shown += "cancelled "; });
    const auto begin = std::chrono::steady_clock::now();
    while (!done && std::chrono::steady_clock::now() < begin + support::kPatience) {
        loop->turn();
    }
    EXPECT_TRUE(done);
    EXPECT_EQ(shown, "1 again 2 deferred ");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 500ms);
    EXPECT_FALSE(first.isSet() || second.isSet() || cancelled.isSet() || again.isSet());
}

TEST_F(LoopTest, KeepsWhatWaitsForTheDiskForALullButNotForLong) {
    const Busy urgent(*loop, 0us, Watch::Order::Ahead);
    std::deque<Busy> many;
    for (int count = 0; count < 17; ++count) {
        many.emplace_back(*loop, 0us);
    }
    loop->turn();
    for (const char* task : {"1 ", "2 "}) {
        loop->deferToLull([this, task] { shown += task; });
    }
    for (int turn = 0; turn < 10; ++turn) {
        shown += "- ";
        loop->turn();
    }
    EXPECT_EQ(shown, "- - - - - 1 - - - - - 2 ");
    many.pop_back();
    shown.clear();
    loop->deferToLull([this] { shown += "at once"; });
    loop->turn();
    EXPECT_EQ(shown, "at once");
}

TEST_F(LoopTest, GivesUpWhatFindsNoMemoryAndIsRelievedAfterTheTurn) {
    int relieved = 0;
    loop->setRelief([&] { ++relieved; });
    memory::reserve();
    EXPECT_FALSE(memory::isShort());
    const std::new_handler lack = std::get_new_handler();  // what an allocation calls that finds no memory
    loop->defer([lack] {
        lack();
        lack();
    });
    loop->defer([this] { shown = "the next one"; });
    const Busy urgent(*loop, 0us, Watch::Order::Ahead);
    loop->turn();
    loop->turn();
    EXPECT_EQ(shown, "the next one");
    EXPECT_EQ(relieved, 2) << "once for each turn without a reserve";
    memory::reserve();
    loop->turn();
    EXPECT_EQ(relieved, 2);
}

TEST_F(LoopTest, LeavesMuchThatWaitsForLaterOnceATurnIsLong) {
    const auto filled = [](std::size_t bytes) {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        EXPECT_EQ(write(ends[1], std::string(bytes, 'x').data(), bytes), static_cast<ssize_t>(bytes));
        return std::pair(platform::FileDescriptor(ends[0]), platform::FileDescriptor(ends[1]));
    };
    const auto much = filled(65536), little = filled(1);
    const Busy busy(*loop, 3ms), urgent(*loop, 0us, Watch::Order::Ahead);
    int served = 0, servedLittle = 0;
    const Watch watch(*loop, much.first.get(), Watch::Order::Fair, [&] { ++served; });
    const Watch other(*loop, little.first.get(), Watch::Order::Fair, [&] { ++servedLittle; });
    loop->turn();
    EXPECT_EQ(busy.served, 1);
    EXPECT_EQ(served, 0);
    EXPECT_EQ(servedLittle, 1);
    for (int turn = 0; turn < 100 && served == 0; ++turn) {
        loop->turn();
    }
    EXPECT_EQ(served, 1);
}

}  // namespace
}  // namespace corvane
