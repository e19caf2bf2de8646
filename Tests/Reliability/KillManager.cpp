#include "Corvane/Peer.h"
#include "Torture.h"
#include "support/Daemon.h"
#include "support/Pty.h"

#include <csignal>
#include <set>
#include <thread>

namespace torture {

namespace {

/// One setting that one writer changes all the time: what a restarted manager may say of it.
class Setting {
public:
    Setting(std::string name, int lowest, int highest)
        : name_(std::move(name)), value_(lowest), lowest_(lowest), highest_(highest) {}

    const std::string& name() const { return name_; }
    /// What is there before the first change, which a manager killed in that change may still show.
    void startFrom(const std::string& stored) { possible_ = {stored}; }
    /// Begins a change. @return the value to write
    std::string next() {
        value_ = value_ == highest_ ? lowest_ : value_ + 1;
        possible_.insert(std::to_string(value_));
        return std::to_string(value_);
    }
    void acknowledge() { possible_ = {std::to_string(value_)}; }
    /// Whether nothing that was acknowledged is lost. What is there now is what there is.
    bool check(const std::string& stored) {
        const bool expected = possible_.contains(stored);
        possible_ = {stored};
        return expected;
    }

private:
    std::string name_;
    int value_;
    int lowest_;
    int highest_;
    std::set<std::string> possible_;  ///< the last acknowledged one, and one that was under way
};

/// Counts acknowledged writes over all writers, for the one who kills.
class Progress {
public:
    void add(int count) {
        count_ += count;
        count_.notify_all();
    }
    void waitFor(int count) const {
        for (int now = count_; now < count; now = count_) {
            count_.wait(now);
        }
    }

private:
    std::atomic<int> count_ = 0;
};

std::string storedValue(Peer& peer, const Setting& setting) {
    const std::string reply = peer.ask("GetTracePropertyCommand", property("DIAG", setting.name()));
    const std::size_t colon = reply.find(R"(":")") + 3;
    return reply.substr(colon, reply.rfind('"') - colon);
}

constexpr int kOver = 1'000'000;  // a writer that has come to its end: nobody waits for it

void writeAsClient(const std::string& socket, Setting& setting, Progress& progress) {
    Peer peer(socket);
    while (peer.ask("SetTracePropertyCommand", property("DIAG", setting.name(), setting.next())) == "0") {
        setting.acknowledge();
        progress.add(1);
    }
    progress.add(kOver);
}

/// The real tool, at its prompt; it must see the manager's end as a failed command and leave as asked.
void writeWithTool(Run& run, const support::Daemon& daemon, Setting& setting, Progress& progress) {
    support::Process tool({support::kTool}, daemon.environment());
    for (;;) {
        const std::string value = setting.next();
        tool.write("trace set DIAG " + setting.name() + " " + value + "\n");
        // The tool writes a line at once: where its value stands, its end stands too.
        const bool answered = tool.waitForOutput(setting.name() + " = " + value);
        if (!run.expect(answered, "the tool hangs") || tool.output().find(" failed\n") != std::string::npos) {
            break;
        }
        setting.acknowledge();
        progress.add(1);
    }
    progress.add(kOver);
    tool.write("quit\n");
    expectClean(run, tool.finish(), "the tool that writes");
}

/// Each change of the mode must stand in the watching tool's terminal, in order, and once.
void checkEvents(Run& run, Peer& peer, support::Pty& watch) {
    const auto clients = support::dictionary({{"KeyReportingModuleType", support::number(2)}});
    const auto begin = Clock::now();
    while (peer.ask("GetStatisticsCommand", clients).find(R"("WatchingEvents":1)") == std::string::npos) {
        if (!run.expect(Clock::now() - begin < support::kPatience, "the watching tool does not come back")) {
            return;
        }
        std::this_thread::yield();
    }
    std::string lines;
    for (const int mode : {0, 1, 0, 1}) {
        peer.ask("SetBasebandOperatingModeCommand", support::dictionary({{"KeyBasebandOperatingMode", support::number(mode)}}));
        lines += "Operating mode: " + std::to_string(mode) + "\n";
    }
    run.expect(watch.expect(lines), "the watching tool misses events");
}

}  // namespace

void killManager(Run& run) {
    support::Daemon daemon;
    support::Pty watch({support::kTool, "baseband", "state", "watch"}, daemon.environment());
    Setting settings[] = {{"High_Watermark", 0, 100}, {"Low_Watermark", 0, 100}, {"History", 1000, 1999}};
    {
        Peer peer(daemon.socketPath());
        for (Setting& setting : settings) {
            setting.startFrom(storedValue(peer, setting));
        }
    }
    const int kills = run.times(30, 500);
    int acknowledged = 0;
    Clock::duration longestStart{};
    for (int kill = 0; kill < kills && run.kept(); ++kill) {
        {
            Peer peer(daemon.socketPath());
            checkEvents(run, peer, watch);
        }
        const int writes = run.random(1, 100);
        Progress progress;
        std::thread writers[] = {
            std::thread(writeAsClient, daemon.socketPath(), std::ref(settings[0]), std::ref(progress)),
            std::thread(writeAsClient, daemon.socketPath(), std::ref(settings[1]), std::ref(progress)),
            std::thread(writeWithTool, std::ref(run), std::cref(daemon), std::ref(settings[2]), std::ref(progress)),
        };
        progress.waitFor(writes);
        // Any moment of a write, not only its beginning.
        const auto moment = Clock::now() + std::chrono::microseconds(run.random(0, 3000));
        while (Clock::now() < moment) {
        }
        daemon.process().signal(SIGKILL);
        for (std::thread& writer : writers) {
            writer.join();
        }
        daemon.stop(SIGKILL);
        acknowledged += writes;

        const auto begin = Clock::now();
        daemon.start();
        longestStart = std::max(longestStart, Clock::now() - begin);
        run.expect(daemon.process().error().find("damaged") == std::string::npos, "the settings were damaged");
        Peer peer(daemon.socketPath());
        for (Setting& setting : settings) {
            const std::string stored = storedValue(peer, setting);
            run.expect(setting.check(stored), "an acknowledged " + setting.name() + " is lost: there is " + stored);
        }
    }
    watch.type("\x03");
    expectClean(run, watch.finish(), "the watching tool", 128 + SIGINT);
    run.figure(std::to_string(kills) + " kills, more than " + std::to_string(acknowledged) +
               " acknowledged settings, none lost; longest start after a kill " + milliseconds(longestStart));
}

}  // namespace torture
