#include "HostileServer.h"
#include "Torture.h"
#include "support/ScriptedManager.h"
#include "support/TempFolder.h"

#include <poll.h>

#include <csignal>
#include <deque>
#include <thread>

namespace torture {

namespace wire = ryn::wire;

namespace {

using Misbehaviour = std::function<HostileServer::Then(const HostileServer::Conversation& with)>;
constexpr auto kGoOn = HostileServer::Then::GoOn;
constexpr auto kDrop = HostileServer::Then::Drop;

struct Named {
    const char* name;
    Misbehaviour misbehave;
};

Named sends(const char* name, const wire::Packet& packet) {
    return {name, [bytes = HostileServer::encoded(packet)](const HostileServer::Conversation& with) {
                with.send(bytes);
                return kGoOn;
            }};
}

Named sendsRaw(const char* name, const HostileServer::Bytes& bytes) {
    return {name, [bytes](const HostileServer::Conversation& with) {
                with.send(bytes);
                return kGoOn;
            }};
}

Named answers(const char* name, const xpc::Object& object, std::int32_t result = 0) {
    return {name, [object, result](const HostileServer::Conversation& with) {
                with.send(HostileServer::encoded(wire::Reply{with.id, result, object}));
                return kGoOn;
            }};
}

xpc::Object deepest() {
    xpc::Object object = support::number(1);
    for (int depth = 0; depth < 14; ++depth) {
        object = support::dictionary({{"k", object}});
    }
    return object;
}

std::vector<Named> misbehaviours() {
    constexpr auto kFar = std::uint64_t{1} << 62;
    return {
        {"drops", [](const HostileServer::Conversation&) { return kDrop; }},
        sendsRaw("sends garbage", {0xFF, 0x00, 0x13}),
        sendsRaw("sends an empty packet", {}),
        sendsRaw("sends half a packet", {0x84, 0x02, 0x01}),
        sendsRaw("sends too large a packet", HostileServer::Bytes(wire::kMaxPacketSize + 1)),
        sendsRaw("sends a nested packet", HostileServer::Bytes(100'000, 0x81)),
        sends("answers what was not asked", wire::Reply{kFar, 0, {}}),
        sends("answers the number 0", wire::Reply{0, 0, {}}),
        sends("sends an event", wire::Event{"BasebandBootStateChangeNotification", support::text("not a dictionary")}),
        sends("sends an event of its own", wire::Event{std::string(1000, 'e'), {}}),
        sends("greets", wire::Hello{1, "manager"}),
        sends("asks", wire::Request{1, "GetCorvaneInfoCommand", support::number(1)}),
        sends("switches events on", wire::Events{true}),
        answers("answers twice", support::dictionary({})),
        answers("answers a number", support::number(-1)),
        answers("answers bytes", support::text("\xFF\xFE")),
        answers("answers 120 KB", support::dictionary({{"KeyTracePropertyValue", support::text(std::string(120'000, 'v'))}})),
        answers("answers wrong types",
                support::dictionary({{"KeyTracePropertyValue", support::number(1)},
                                     {"KeyBasebandOperatingMode", support::text("x")},
                                     {"KeyErrorString", deepest()}}),
                -1),
        {"floods with events",
         [](const HostileServer::Conversation& with) {
             const auto event =
                 HostileServer::encoded(wire::Event{"BasebandOperatingModeChangeNotification",
                                                    support::dictionary({{"KeyBasebandOperatingMode", support::number(1)}})});
             for (int count = 0; count < 100'000 && with.send(event); ++count) {
             }
             return kGoOn;
         }},
    };
}

struct Command {
    support::Arguments words;
    bool asks = true;        ///< whether it sends requests
    bool watches = false;    ///< whether it switches events on
    bool endsItself = true;  ///< or by an interrupt
};

const Command kCommands[] = {
    {{"info"}},
    {{"trace", "get", "DIAG", "History"}},
    {{"trace", "set", "DIAG", "History", "9"}},
    {{"baseband", "state", "0"}},
    {{"baseband", "reset", "soft"}},
    {{"trace", "dump"}},
    {{"trace", "filter", "status"}},
    {{"stats", "get-statistics"}},
    {{"tems", "mode"}},
    {{"baseband", "diagnostics", "run", "rftest"}, true, true},
    {{"baseband", "state", "watch"}, false, true, false},
};

struct Case {
    const Command* command;
    HostileServer::Phase phase;
    Named misbehaviour;
};

bool happens(const Command& command, HostileServer::Phase phase) {
    switch (phase) {
        case HostileServer::Phase::Events:
            return command.watches;
        case HostileServer::Phase::Request:
        case HostileServer::Phase::Reply:
            return command.asks;
        default:
            return true;
    }
}

/// @return how long the tool took to end.
Clock::duration tryOut(Run& run, const Case& row) {
    const support::TempFolder folder;
    HostileServer server(folder / "manager.sock", row.phase, row.misbehaviour.misbehave);
    support::Arguments words{support::kTool};
    words.insert(words.end(), row.command->words.begin(), row.command->words.end());
    support::Process tool(words, {{"CORVANE_SOCKET", folder / "manager.sock"}});
    const auto begin = Clock::now();
    if (!row.command->endsItself) {
        // It comes back after each misbehaviour that costs the connection, so it meets the first one for sure.
        server.waitForMisbehaviour();
        tool.signal(SIGINT);
    }
    const support::Outcome outcome = tool.finish();
    const bool ended = outcome.status == 0 || outcome.status == 1;
    std::string who = "\"";
    for (const std::string& word : row.command->words) {
        who += word + " ";
    }
    who += std::string("\" of a manager that ") + row.misbehaviour.name + " (phase " +
           std::to_string(static_cast<int>(row.phase)) + ")";
    const int interrupted = 128 + SIGINT;
    expectClean(run, outcome, who, !row.command->endsItself ? interrupted : ended ? outcome.status : 1);
    return Clock::now() - begin;
}

Named random(Run& run) {
    const auto all = misbehaviours();
    return {"sends random packets", [&run](const HostileServer::Conversation& with) {
                HostileServer::Bytes packet = HostileServer::encoded(
                    wire::Reply{with.id, 0, support::dictionary({{"KeyTracePropertyValue", support::text("value")}})});
                for (int change = run.random(1, 4); change > 0; --change) {
                    packet[static_cast<std::size_t>(run.random(0, static_cast<int>(packet.size()) - 1))] =
                        static_cast<std::uint8_t>(run.random(0, 255));
                }
                with.send(packet);
                return kGoOn;
            }};
}

std::deque<Case> allCases(Run& run) {
    std::deque<Case> cases;
    auto ways = misbehaviours();
    ways.insert(ways.end(), static_cast<std::size_t>(run.times(2, 100)), random(run));
    for (const Command& command : kCommands) {
        for (const auto phase : HostileServer::kPhases) {
            for (const Named& way : ways) {
                if (happens(command, phase)) {
                    cases.push_back({&command, phase, way});
                }
            }
        }
    }
    return cases;
}

/// The answer to a command whose time was over goes to nobody, and the next command gets its own.
void answerTooLate(Run& run) {
    const support::TempFolder folder;
    std::uint64_t late = 0;
    const support::ScriptedManager manager(
        folder / "manager.sock", [&late](support::ScriptedManager::Connection& connection, const auto& request) {
            if (request.command == "SetBasebandOperatingModeCommand") {
                late = request.id;
                return;
            }
            connection.reply(late, 0, support::dictionary({{"KeyTracePropertyValue", support::text("late")}}));
            connection.reply(request.id, 0, support::dictionary({{"KeyTracePropertyValue", support::text("mine")}}));
        });
    const auto outcome = support::run({support::kTool}, {{"CORVANE_SOCKET", manager.path()}},
                                      "baseband state 0 1\ntrace get DIAG History\nquit\n");
    expectClean(run, outcome, "the tool that was answered too late");
    run.expect(
        outcome.out.find("Failed\n") != std::string::npos && outcome.out.find("DIAG: History = mine\n") != std::string::npos,
        "a late answer is taken for another: " + outcome.out);
}

/// Many more values than bytes.
HostileServer::Bytes largestEvent(const char* state) {
    const auto ballast = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (int count = 0; count < 1000; ++count) {
        xpc_array_append_value(ballast.get(), support::dictionary({}).get());
    }
    return HostileServer::encoded(
        wire::Event{"BasebandBootStateChangeNotification",
                    support::dictionary({{"KeyBasebandBootState", support::text(state)}, {"ballast", ballast}})});
}

/// A tool that watches and whose output nobody reads is sent such events as fast as it takes them.
void floodAWatchingTool(Run& run) {
    constexpr long kMostKilobytes = 32L * 1024;
    constexpr int kEvents = 20'000;
    const HostileServer::Bytes events[] = {largestEvent("Ready"), largestEvent("Resetting")};
    const support::TempFolder folder;
    HostileServer server(folder / "manager.sock", HostileServer::Phase::Events, [&](const HostileServer::Conversation& with) {
        bool isTaken = true;
        for (int count = 0; count < kEvents && isTaken; ++count) {
            pollfd room{with.descriptor, POLLOUT, 0};
            isTaken = poll(&room, 1, 1000) == 1 && with.send(events[count % 2]);
        }
        return kGoOn;
    });
    support::Process tool({support::kTool, "baseband", "state", "watch"}, {{"CORVANE_SOCKET", folder / "manager.sock"}});
    server.waitForMisbehaviour();
    const long peak = kilobytes(tool.pid(), "VmHWM");
    run.figure("flooded with events of 1,000 objects, the tool took at most " + std::to_string(peak) + " KB");
    run.expect(isSanitized() || (peak > 0 && peak < kMostKilobytes), "a flood of events takes the tool's memory");
    tool.signal(SIGINT);
    expectClean(run, tool.finish(), "the flooded tool", 128 + SIGINT);
}

}  // namespace

void hostileManager(Run& run) {
    floodAWatchingTool(run);
    std::deque<Case> cases = allCases(run);
    const std::size_t count = cases.size();
    std::mutex mutex;
    Latencies ends;
    std::vector<std::thread> workers;
    workers.emplace_back(answerTooLate, std::ref(run));
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([&] {
            std::unique_lock lock(mutex);
            while (!cases.empty() && run.kept()) {
                const Case next = std::move(cases.front());
                cases.pop_front();
                lock.unlock();
                const auto took = tryOut(run, next);
                lock.lock();
                ends.add(took);
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    run.figure(std::to_string(count) + " conversations of the real tool; it ended by itself after " + ends.describe());
    run.expect(isSanitized() || ends.quantile(1) < std::chrono::seconds(10), "a tool takes too long to end");
}

}  // namespace torture
