#include "Torture.h"

#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

namespace torture {

namespace wire = ryn::wire;

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;

/// The manager is started so that it never answers this one.
constexpr const char* kUnanswered = "GetBasebandTimeCommand";

/// What an attack works with, until it is told to stop.
struct Field {
    Run& run;
    const support::Daemon& daemon;
    const std::atomic<bool>& stop;

    std::string socket() const { return daemon.socketPath(); }
};

Bytes encoded(const wire::Packet& packet) {
    Bytes bytes;
    wire::encode(packet, bytes);
    return bytes;
}

Bytes request(std::uint64_t id, const std::string& command, const xpc::Object& argument) {
    return encoded(wire::Request{id, command, argument});
}

xpc::Object nothing() {
    return xpc::null();
}

/// Connections that say nothing at all, up to the manager's limit for them.
void stayHalfOpen(const Field& field) {
    std::vector<Peer> peers;
    while (!field.stop) {
        if (peers.size() < 500) {
            peers.emplace_back(field.socket(), Peer::Greeting::None);
        } else {
            std::this_thread::yield();
        }
    }
}

/// One packet that ends the connection, at most with a reply that says why, again and again.
void sendFatal(const Field& field, Peer::Greeting greeting, const std::function<Bytes()>& packet) {
    while (!field.stop) {
        Peer peer(field.socket(), greeting);
        peer.send(packet());
        const std::string said = peer.receive();
        field.run.expect(said == "closed" || (said.starts_with("reply 0 ") && peer.isClosed()),
                         "a connection outlives what should end it");
    }
}

/// Valid packets with a few bytes changed, cut or added.
void sendRandom(const Field& field) {
    const Bytes valid[] = {
        request(1, "SetTracePropertyCommand", property("DIAG", "Low_Watermark", "7")),
        request(2, "BasebandDiagnosticsCommand",
                support::dictionary({{"KeyBasebandDiagnosticsOptions", support::dictionary({{"k", support::number(1)}})}})),
        encoded(wire::Events{false}),
    };
    while (!field.stop) {
        Peer peer(field.socket());
        bool open = true;
        for (int count = 0; count < 50 && open; ++count) {
            Bytes packet = valid[field.run.random(0, 2)];
            for (int change = field.run.random(0, 3); change > 0; --change) {
                packet[static_cast<std::size_t>(field.run.random(0, static_cast<int>(packet.size()) - 1))] =
                    static_cast<std::uint8_t>(field.run.random(0, 255));
            }
            packet.resize(packet.size() - static_cast<std::size_t>(field.run.random(0, 1)));
            open = peer.send(packet);
        }
    }
}

/// Requests as fast as the kernel takes them from so many connections; no answer is read.
void flood(const Field& field, const Bytes& packet, std::size_t connections = 8) {
    std::vector<Peer> peers;
    peers.reserve(connections);
    while (peers.size() < connections) {
        peers.emplace_back(field.socket());
    }
    while (!field.stop) {
        for (Peer& peer : peers) {
            if (!peer.send(packet)) {
                std::this_thread::yield();
            }
        }
    }
}

/// What costs the manager most: as many values as may be, behind as much text as fits. It is unknown, so the answer is short.
Bytes costliestRequest() {
    const auto list = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (unsigned count = 3; count < wire::kMaxValues; ++count) {
        xpc_array_append_value(list.get(), support::dictionary({}).get());
    }
    std::string text;
    while (text.size() < 120'000) {
        text += "\u00fc";
    }
    return request(1, "Unknown", support::dictionary({{"list", list}, {"text", support::text(text)}}));
}

/// As many values as fit a packet: an empty map is one byte in it.
Bytes manyValues() {
    constexpr std::uint8_t kEmptyMap = 0xA0;
    const Bytes head = {0x84, 0x01, 0x01, 0x61, 'x', 0x9A, 0x00, 0x01, 0xFF, 0x00};
    Bytes packet(head.size() + 0x1FF00, kEmptyMap);
    std::ranges::copy(head, packet.begin());
    return packet;
}

/// Each change of a setting is on disk before it is answered.
void changeSettings(const Field& field) {
    constexpr std::size_t kWriters = 64;
    std::vector<Peer> peers;
    peers.reserve(kWriters);
    while (peers.size() < kWriters) {
        peers.emplace_back(field.socket());
    }
    for (std::uint64_t id = 1; !field.stop;) {
        for (const Peer& peer : peers) {
            const std::string value = std::to_string(++id % 100 + 1);
            peer.send(request(id, "SetTracePropertyCommand", property("DIAG", "Low_Watermark", value)));
        }
        for (Peer& peer : peers) {
            field.run.expect(peer.receive().find(" 0") != std::string::npos, "a setting isn't stored");
        }
    }
}

void connectTwoThousand(const Field& field) {
    std::vector<Peer> peers;
    while (!field.stop) {
        if (peers.size() < 2000) {
            peers.emplace_back(field.socket());
        } else {
            peers.clear();
        }
    }
}

/// As many as may, that switch events on and read none, while the mode changes; until all have lost their connections.
void watchWithoutReading(const Field& field) {
    constexpr int kWatchers = 900;
    std::vector<Peer> deaf;
    for (int count = 0; count < kWatchers; ++count) {
        deaf.emplace_back(field.socket()).send(wire::Packet(wire::Events{true}));
    }
    const auto clients = support::dictionary({{"KeyReportingModuleType", support::number(2)}});
    Peer changer(field.socket());
    for (int change = 0; field.run.kept(); ++change) {
        changer.ask("SetBasebandOperatingModeCommand",
                    support::dictionary({{"KeyBasebandOperatingMode", support::number(change % 2)}}));
        if (change > 0 && changer.ask("GetStatisticsCommand", clients).find(R"("WatchingEvents":0)") != std::string::npos) {
            return;
        }
        field.run.expect(change < 10'000, "watchers that never read keep their connections");
    }
}

/// Large arguments and timers that must wait: the baseband boots, as long as somebody resets it. No answer is read.
void pileUp(const Field& field) {
    constexpr std::size_t kPeers = 64;
    std::vector<Peer> peers;
    peers.reserve(kPeers);
    while (peers.size() < kPeers) {
        peers.emplace_back(field.socket());
    }
    const auto reset = support::dictionary({{"KeyBasebandResetType", support::text("Soft reset")},
                                            {"KeyBasebandResetReason", support::text(std::string(1000, 'r'))}});
    const auto sync = support::dictionary(
        {{"KeyFSSyncWaitForCompletion", support::boolean(true)}, {"ballast", support::text(std::string(100'000, 'b'))}});
    const auto mode =
        support::dictionary({{"KeyBasebandOperatingMode", support::number(1)}, {"KeyTimeout", support::number(3600)}});
    for (std::uint64_t id = 1; !field.stop;) {
        for (Peer& peer : peers) {
            peer.send(request(++id, "ResetBasebandCommand", reset));
            peer.send(request(++id, "BasebandSyncFSCommand", sync));
            while (id % 64 != 0 && peer.send(request(++id, "SetBasebandOperatingModeCommand", mode))) {
            }
        }
        std::this_thread::yield();
    }
}

void sendLongTexts(const Field& field) {
    const std::string text(100'000, 'x');
    Peer peer(field.socket());
    while (!field.stop) {
        for (const auto& [command, argument] : {
                 std::pair("SetTracePropertyCommand", property("DIAG", "SecondaryDMCFile", text)),
                 std::pair("SetTracePropertyCommand", property(text, "Enabled", "true")),
                 std::pair("CollectTraceLogsCommand", support::dictionary({{"KeyTraceLogsReason", support::text(text)}})),
                 std::pair("AddTraceFilterCommand", support::dictionary({{"KeyTraceFilterName", support::text(text)},
                                                                         {"KeyTraceFilterValue", support::number(1)}})),
             }) {
            const std::string answer = peer.ask(command, argument);
            field.run.expect(answer.starts_with("0xE020E101") && answer.size() < 1000, "100 KB of text are answered " + answer);
        }
        field.run.expect(peer.ask(text).starts_with("0xE020E100"), "a command of 100 KB is not refused");
    }
}

/// A user that is neither root nor the manager's, and in no group that may.
void comeAsAnotherUser(const Field& field) {
    constexpr uid_t kNobody = 65534;
    chmod(field.daemon.folder().path().c_str(), 0755);
    chmod((field.daemon.folder() / "corvane").c_str(), 0755);
    chmod(field.socket().c_str(), 0666);
    const pid_t child = fork();
    if (child == 0) {
        if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) {
            _exit(1);
        }
        while (Peer(field.socket()).ask("GetCorvaneInfoCommand").starts_with("reply 0 0xE020E10C ")) {
        }
        _exit(2);
    }
    while (!field.stop && waitpid(child, nullptr, WNOHANG) == 0) {
        std::this_thread::yield();
    }
    field.run.expect(static_cast<bool>(field.stop), "another user was served, or none could be tried");
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

struct Attack {
    const char* name;
    std::function<void(const Field&)> run;
    bool needsRoot = false;
    bool endsItself = false;  ///< it goes on until it has done what it wants
    // What the manager may work before it answers: other than the wait, it doesn't depend on the machine's other work.
    std::chrono::milliseconds longest{250};       ///< for a connected client
    std::chrono::milliseconds longestOfNew{500};  ///< for one that connects
};

const Attack kAttacks[] = {
    {"nobody", [](const Field&) {}},
    {"half-open connections", stayHalfOpen},
    {"no hello",
     [](const Field& field) {
         sendFatal(field, Peer::Greeting::None, [] { return request(1, "GetCorvaneInfoCommand", nothing()); });
     }},
    {"another version",
     [](const Field& field) { sendFatal(field, Peer::Greeting::None, [] {
                                  return Bytes{0x83, 0x00, 0x02, 0x61, 'x'};
                              }); }},
    {"oversized packets",
     [](const Field& field) { sendFatal(field, Peer::Greeting::Sent, [] { return Bytes(wire::kMaxPacketSize + 1); }); }},
    {"nested packets", [](const Field& field) { sendFatal(field, Peer::Greeting::Sent, [] { return Bytes(100'000, 0x81); }); }},
    {"truncated packets",
     [](const Field& field) {
         sendFatal(field, Peer::Greeting::Sent, [] {
             Bytes packet = request(1, "GetCorvaneInfoCommand", nothing());
             packet.pop_back();
             return packet;
         });
     }},
    {"random packets", sendRandom},
    {"ids that wait already",
     [](const Field& field) {
         const Bytes waiting = request(9, kUnanswered, nothing());
         while (!field.stop) {
             Peer peer(field.socket());
             peer.send(waiting);
             peer.send(waiting);
             field.run.expect(peer.isClosed(), "an id may be used twice");
         }
     }},
    {"floods of requests", [](const Field& field) { flood(field, request(1, "GetStatisticsCommand", support::dictionary({}))); }},
    {"floods of \"events\"", [](const Field& field) { flood(field, encoded(wire::Events{false})); }},
    {"packets of 130,000 values", [](const Field& field) { sendFatal(field, Peer::Greeting::Sent, manyValues); }},
    {"the costliest packets, 64 connections", [](const Field& field) { flood(field, costliestRequest(), 64); }, false, false,
     50ms, 100ms},
    {"the costliest packets, 1,000 connections", [](const Field& field) { flood(field, costliestRequest(), 1000); }, false, false,
     500ms, 500ms},
    {"64 writers of settings", changeSettings},
    {"texts of 100 KB", sendLongTexts},
    {"waiting requests", pileUp},
    {"2,000 connections", connectTwoThousand, false, false, 500ms, 500ms},
    {"watchers that never read", watchWithoutReading, false, true},
    {"another user", comeAsAnotherUser, true},
};

/// From here on VmHWM is of what comes (proc(5), clear_refs).
void forgetPeak(pid_t process) {
    support::writeFile("/proc/" + std::to_string(process) + "/clear_refs", "5");
}

/// What a client that behaves meets, for so many rounds and until `over`; each answer must be right. One in a hundred connects
/// for it.
void measure(Run& run, const std::string& socket, Peer& peer, int rounds, const std::atomic<bool>& over, Waits& connected,
             Waits& connecting) {
    for (int round = 0; (round < rounds || !over) && run.kept(); ++round) {
        const bool isProperty = round % 2 == 0;
        const std::string answer = connected.measure([&] {
            return isProperty ? peer.ask("GetTracePropertyCommand", property("DIAG", "History"))
                              : peer.ask("GetTraceFiltersCommand");
        });
        run.expect(isProperty ? answer == valueReply("17") : answer.starts_with("0 {"), "the other client is answered " + answer);
        if (round % 100 == 0) {
            const std::string reply = connecting.measure([&] { return Peer(socket).ask("GetTraceFiltersCommand"); });
            run.expect(reply.starts_with("0 {") || reply.starts_with("reply 0 0xE020E10A"), "a new client is answered " + reply);
        }
    }
}

}  // namespace

void hostileClients(Run& run) {
    constexpr long kMostKilobytes = 48L * 1024;
    constexpr long kMostLeftBehind = 2L * 1024;
    const rlimit descriptors{8192, 8192};
    if (setrlimit(RLIMIT_NOFILE, &descriptors) != 0) {
        throw Skipped{"this user may not open 2,000 connections"};
    }
    support::Daemon daemon({"--fault", std::string(kUnanswered) + "=hang"});
    Peer behaved(daemon.socketPath());
    behaved.ask("SetTracePropertyCommand", property("DIAG", "History", "17"));
    const pid_t manager = daemon.process().pid();
    const long atRest = kilobytes(manager, "VmRSS");
    run.figure("memory at rest " + std::to_string(atRest) + " KB");
    if (Waits(manager).timeOfWork() == Clock::duration()) {
        throw Skipped{"this kernel doesn't tell how long a process has run"};
    }
    long highest = 0;
    for (const Attack& attack : kAttacks) {
        if (attack.needsRoot && geteuid() != 0) {
            run.figure(std::string(attack.name) + ": not tried, only root can act as one");
            continue;
        }
        forgetPeak(manager);
        std::atomic<bool> stop = false;
        std::atomic<bool> over = !attack.endsItself;
        std::thread attacker([&] {
            attack.run({run, daemon, stop});
            over = true;
        });
        Waits connected(manager);
        Waits connecting(manager);
        measure(run, daemon.socketPath(), behaved, run.times(3000, 30'000), over, connected, connecting);
        stop = true;
        attacker.join();
        const long peak = kilobytes(manager, "VmHWM");
        highest = std::max(highest, peak);
        const auto ofConnected = connected.workOfTheManager().quantile(1);
        const auto ofConnecting = connecting.workOfTheManager().quantile(1);
        run.figure(std::string(attack.name) + ": " + connected.asTheyWere().describe() + " (the manager worked " +
                   milliseconds(ofConnected) + "), of a new client " + milliseconds(connecting.asTheyWere().quantile(1)) + " (" +
                   milliseconds(ofConnecting) + "); memory " + std::to_string(peak) + " KB");
        run.expect(isSanitized() || ofConnected < attack.longest, "the other client waits");
        run.expect(isSanitized() || ofConnecting < attack.longestOfNew, "a new client waits");
    }
    std::this_thread::sleep_for(2s);
    const long leftBehind = kilobytes(manager, "VmRSS") - atRest;
    run.figure("memory left behind " + std::to_string(leftBehind) + " KB");
    run.expect(isSanitized() || leftBehind < kMostLeftBehind, "the manager keeps memory");
    run.figure("highest memory of the manager " + std::to_string(highest) + " KB");
    run.expect(isSanitized() || highest < kMostKilobytes, "the manager's memory");
    expectClean(run, daemon.stop(SIGTERM), "the manager");
}

}  // namespace torture
