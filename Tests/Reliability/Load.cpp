#include "Client/TestClient.h"
#include "Corvane/Peer.h"
#include "Torture.h"
#include "support/Daemon.h"

#include <csignal>
#include <future>
#include <memory>
#include <thread>

namespace torture {

namespace {

struct Ask {
    const char* command;
    xpc::Object argument;
};

/// Commands of every kind; many exclude each other, so a refusal of the manager is an answer too.
std::vector<Ask> mixedCommands() {
    using support::dictionary;
    using support::number;
    using support::text;
    return {
        {"GetCorvaneInfoCommand", dictionary({})},
        {"GetTracePropertyCommand", property("DIAG", "History")},
        {"SetTracePropertyCommand", property("DIAG", "History", "33")},
        {"SetTracePropertyCommand", property("RYN", "History", "6")},
        {"SetTracePropertyCommand", property("DIAG", "Mode", "nonsense")},
        {"GetBasebandBootStateCommand", dictionary({})},
        {"GetBasebandTimeCommand", dictionary({})},
        {"SetBasebandOperatingModeCommand", dictionary({{"KeyBasebandOperatingMode", number(0)}})},
        {"SetBasebandOperatingModeCommand", dictionary({{"KeyBasebandOperatingMode", number(1)}, {"KeyTimeout", number(1)}})},
        {"BasebandSyncFSCommand", dictionary({{"KeyFSSyncWaitForCompletion", support::boolean(true)}})},
        {"BasebandDiagnosticsCommand", dictionary({{"KeyBasebandDiagnosticsAction", text("BasebandDiagnosticsActionAbort")}})},
        {"SimulatePowerNotificationCommand", dictionary({{"KeyPowerNotificationMessage", number(0x10)}})},
        {"GetStatisticsCommand", dictionary({})},
        {"AddTraceFilterCommand", dictionary({{"KeyTraceFilterName", text("MaxLogLimit")}, {"KeyTraceFilterValue", number(2)}})},
        {"GetTraceFiltersCommand", dictionary({})},
        {"CollectTraceLogsCommand", dictionary({{"KeyTraceLogsReason", text("load")}})},
        {"NoSuchCommand", dictionary({})},
    };
}

/// Now and then a reset, for which most others must wait.
Ask choose(Run& run, const std::vector<Ask>& commands) {
    if (run.random(0, 999) == 0) {
        return {"ResetBasebandCommand", support::dictionary({{"KeyBasebandResetType", support::text("Soft reset")},
                                                             {"KeyBasebandResetReason", support::text("load")}})};
    }
    return commands[static_cast<std::size_t>(run.random(0, static_cast<int>(commands.size()) - 1))];
}

/// 0, or one that the manager makes itself.
bool isAnswer(int result) {
    constexpr auto kManagers = 0xE020E1U;
    return result == 0 || static_cast<std::uint32_t>(result) >> 8U == kManagers;
}

/// One client of the library: threads of its own for its replies, synchronous and asynchronous commands, events on and off.
int beClient(Run& run, const std::string& socket, Clock::time_point end) {
    const auto commands = mixedCommands();
    TestClient client(socket);
    // What is on the queue when the client goes is handled all the same.
    const auto events = std::make_shared<std::atomic<int>>(0);
    client.manager().addEventHandler("BasebandOperatingModeChangeNotification", [events](const xpc::Object&) { ++*events; });
    int answered = 0;
    while (Clock::now() < end && run.kept()) {
        const Ask ask = choose(run, commands);
        int result = 0;
        if (run.random(0, 3) == 0) {
            client.manager().setEvents(run.random(0, 1) == 0);
        }
        if (run.random(0, 1) == 0) {
            xpc::Object reply;
            result = client.manager().perform(ask.command, ask.argument, reply, TestClient::kLong);
        } else {
            const auto promise = std::make_shared<std::promise<int>>();
            client.manager().perform(
                ask.command, ask.argument, [promise](int given, const xpc::Object&) { promise->set_value(given); },
                TestClient::kLong);
            result = promise->get_future().get();
        }
        run.expect(isAnswer(result), std::string(ask.command) + " ends with " + std::to_string(result));
        ++answered;
    }
    return answered;
}

/// Many requests under way at a time, answered in any order.
int bePeer(Run& run, const std::string& socket, Clock::time_point end) {
    const auto commands = mixedCommands();
    Peer peer(socket);
    std::uint64_t id = 0;
    int answered = 0;
    while (Clock::now() < end && run.kept()) {
        const int burst = run.random(1, 30);
        for (int count = 0; count < burst; ++count) {
            const Ask ask = choose(run, commands);
            peer.send(ryn::wire::Packet(ryn::wire::Request{++id, ask.command, ask.argument}));
        }
        for (int count = 0; count < burst; ++count) {
            const std::string packet = peer.receive();
            run.expect(packet.starts_with("reply "), "a client with many requests is answered " + packet);
        }
        answered += burst;
    }
    return answered;
}

/// The real tool, one run after another.
int beTool(Run& run, const support::Daemon& daemon, Clock::time_point end) {
    const support::Arguments commands[] = {{"info"},
                                           {"trace", "set", "DIAG", "History", "5", "--", "trace", "get", "DIAG", "History"},
                                           {"baseband", "state", "0"},
                                           {"trace", "dump"},
                                           {"stats", "get-statistics"},
                                           {"baseband", "diagnostics", "abort"}};
    int ended = 0;
    while (Clock::now() < end && run.kept()) {
        const auto outcome = daemon.tool(commands[run.random(0, 5)]);
        expectClean(run, outcome, "the tool", outcome.status == 0 ? 0 : 1);
        ++ended;
    }
    return ended;
}

}  // namespace

void load(Run& run) {
    support::Daemon daemon;
    const auto end = Clock::now() + std::chrono::seconds(run.times(5, 60));
    std::atomic<int> answered = 0;
    std::atomic<int> tools = 0;
    std::vector<std::thread> clients;
    for (int count = 0; count < 32; ++count) {
        clients.emplace_back([&] { answered += beClient(run, daemon.socketPath(), end); });
        if (count % 4 == 3) {
            clients.emplace_back([&] { tools += beTool(run, daemon, end); });
        } else {
            clients.emplace_back([&] { answered += bePeer(run, daemon.socketPath(), end); });
        }
    }
    // Meanwhile somebody reads what the manager says, as a terminal would.
    std::atomic<bool> over = false;
    std::thread reader([&] {
        while (!over) {
            daemon.process().waitForOutput("nothing of the kind", std::chrono::milliseconds(100));
        }
    });
    for (std::thread& client : clients) {
        client.join();
    }
    over = true;
    reader.join();
    run.figure(std::to_string(clients.size()) + " clients; " + std::to_string(answered) + " commands answered, and " +
               std::to_string(tools) + " runs of the tool" + (isSanitized() ? ", under " RYN_SANITIZER " sanitizers" : ""));
    expectClean(run, daemon.stop(SIGTERM), "the manager");
}

}  // namespace torture
