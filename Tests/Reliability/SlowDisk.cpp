#include "Corvane/Peer.h"
#include "Torture.h"
#include "support/Daemon.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

namespace torture {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kSync{10};
constexpr const char* kSet = "SetTracePropertyCommand";
const xpc::Object kQuestion = property("DIAG", "Mode");

/// Asks again and again while others write.
Waits askQuietly(Run& run, pid_t manager, Peer& peer, int questions) {
    Waits waits(manager);
    for (int count = 0; count < questions; ++count) {
        const std::string answer = waits.measure([&] { return peer.ask("GetTracePropertyCommand", kQuestion); });
        run.expect(answer.starts_with("0 "), "a question is not answered");
        std::this_thread::sleep_for(milliseconds(1));
    }
    return waits;
}

void write(Run& run, const std::string& socket, const std::atomic<bool>& over, std::atomic<int>& written) {
    Peer peer(socket);
    for (int value = 1; !over; value = value % 100 + 1) {
        run.expect(peer.ask(kSet, property("DIAG", "High_Watermark", std::to_string(value))) == "0", "a setting is refused");
        ++written;
    }
}

}  // namespace

void slowDisk(Run& run) {
    if (isSanitized()) {
        throw Skipped{"a sanitizer must be loaded first itself"};
    }
    support::Daemon daemon({}, {{"LD_PRELOAD", RYN_SLOW_SYNC}});
    Peer peer(daemon.socketPath());
    Latencies alone;
    for (int value = 0; value < 20; ++value) {
        const auto begin = Clock::now();
        peer.ask(kSet, property("DIAG", "Low_Watermark", std::to_string(value)));
        alone.add(Clock::now() - begin);
        run.expect(Clock::now() - begin >= kSync, "a setting is acknowledged before it is on disk");
    }
    run.figure("one writer: " + alone.describe());
    constexpr int kWriters = 64;
    std::atomic<bool> over = false;
    std::atomic<int> written = 0;
    std::vector<std::thread> writers;
    for (int count = 0; count < kWriters; ++count) {
        writers.emplace_back([&] { write(run, daemon.socketPath(), over, written); });
    }
    const auto begin = Clock::now();
    const Waits quiet = askQuietly(run, daemon.process().pid(), peer, run.times(200, 2000));
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    const double rate = written / seconds;
    over = true;
    std::ranges::for_each(writers, &std::thread::join);
    run.figure("64 writers: " + std::to_string(static_cast<int>(rate)) +
               " settings a second; a client that only asks: " + quiet.asTheyWere().describe());
    // Once in 128 changes the log is written back too, which is a second sync; the rest is the machine's other work.
    constexpr std::chrono::milliseconds kOtherWork{5};
    run.expect(quiet.ofTheManager().quantile(0.99) <= 2 * kSync + kOtherWork, "writers keep a client that only asks waiting");
    run.expect(rate > 10 * (1000.0 / static_cast<double>(kSync.count())), "each setting has a sync of its own");
    expectClean(run, daemon.stop(SIGTERM), "the manager");
}

}  // namespace torture
