// Waits for the baseband, brings it online and resets it, and prints its changes.
// usage: wait-ready [BRIDGE...]     for instance: wait-ready ssh bench corvane-bridge
#include <ryn/Client.h>

#include <iostream>
#include <string>

/// A line at a time, since events come in another thread.
static void print(const std::string& line) {
    std::cout << line + '\n' << std::flush;
}

int main(int argumentCount, char** arguments) {
    using namespace std::chrono_literals;
    ryn::Client client({.name = "wait-ready", .bridge = {arguments + 1, arguments + argumentCount}});
    const auto done = [](const char* step, const ryn::Reply& reply) {
        print(std::string(step) + ": " + (reply ? reply.value.toJson() : reply.sentence));
        return static_cast<bool>(reply);
    };
    const ryn::Reply manager = client.connect();
    if (!manager) {
        std::cerr << manager.sentence << '\n';
        return 1;
    }
    std::cout << "Corvane " << *manager.value["KeyCorvaneVersion"].string() << '\n';

    client.onEvent("BasebandBootStateChangeNotification", [](const ryn::Value& payload) { print("event: " + payload.toJson()); });
    const ryn::Value reset = ryn::Dictionary{{"KeyBasebandResetType", "Soft reset"},
                                             {"KeyBasebandResetSubType", "UserTriggered"},
                                             {"KeyBasebandResetReason", "example"}};
    const bool isDone =
        done("ready", client.waitForState(ryn::BootState::Ready, 30s)) &&
        done("online", client.perform("SetBasebandOperatingModeCommand", ryn::Dictionary{{"KeyBasebandOperatingMode", 0}})) &&
        done("reset", client.perform("ResetBasebandCommand", reset));
    done("a mode that there isn't",
         client.perform("SetBasebandOperatingModeCommand", ryn::Dictionary{{"KeyBasebandOperatingMode", 99}}));
    return isDone ? 0 : 1;
}
