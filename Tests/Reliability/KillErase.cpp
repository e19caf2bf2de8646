#include "Corvane/Peer.h"
#include "Torture.h"
#include "support/Daemon.h"

#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace torture {

namespace {

namespace fs = std::filesystem;

/// What an erasure puts back: in the settings, in the preferences, and in the baseband's non-volatile data.
void change(Run& run, Peer& peer) {
    const std::pair<const char*, xpc::Object> changes[] = {
        {"SetTracePropertyCommand", property("DIAG", "History", "17")},
        {"SetTracePropertyCommand", property("RYN", "History", "7")},
        {"AddTraceFilterCommand", support::dictionary({{"KeyTraceFilterName", support::text("MaxLogLimit")},
                                                       {"KeyTraceFilterValue", support::number(3)}})},
        {"SetBasebandOperatingModeCommand", support::dictionary({{"KeyBasebandOperatingMode", support::number(6)}})},
    };
    for (const auto& [command, argument] : changes) {
        const std::string answer = peer.ask(command, argument);
        run.expect(answer == "0", std::string(command) + " is answered " + answer);
    }
}

/// Whether each of them is at its default, after a restart.
std::vector<bool> defaults(Peer& peer) {
    const auto readyMode = [&peer] {
        while (peer.ask("GetBasebandBootStateCommand").find("Ready") == std::string::npos) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return peer.ask("GetBasebandOperatingModeCommand");
    };
    return {peer.ask("GetTracePropertyCommand", property("DIAG", "History")) == valueReply("256"),
            peer.ask("GetTracePropertyCommand", property("RYN", "History")) == valueReply("5"),
            peer.ask("GetTraceFiltersCommand").find(R"("MaxLogLimit":20)") != std::string::npos,
            readyMode().find(":1}") != std::string::npos};
}

}  // namespace

void killErase(Run& run) {
    support::Daemon daemon;
    const int kills = run.times(20, 150);
    int erased = 0;
    for (int kill = 0; kill < kills && run.kept(); ++kill) {
        std::string answer;
        {
            Peer peer(daemon.socketPath());
            change(run, peer);
            std::thread eraser([&] {
                const auto erase = support::dictionary({{"KeyBasebandNVDataAction", support::text("Erase")}});
                answer = peer.ask("BasebandNVDataCommand", erase);
            });
            std::this_thread::sleep_for(std::chrono::microseconds(run.random(0, kill % 2 == 0 ? 1500 : 15000)));
            daemon.process().signal(SIGKILL);
            eraser.join();
        }
        daemon.stop(SIGKILL);
        daemon.start();
        Peer peer(daemon.socketPath());
        const std::vector<bool> found = defaults(peer);
        const bool isErased = found.front();
        run.expect(found == std::vector<bool>(found.size(), isErased), "an erasure is half done");
        run.expect(isErased || answer != "0", "an acknowledged erasure has not happened");
        erased += isErased ? 1 : 0;
    }
    run.figure(std::to_string(kills) + " kills in an erasure: " + std::to_string(erased) + " had happened, the others had not");
}

}  // namespace torture
