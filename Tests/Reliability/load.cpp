/// load SOCKET SECONDS SEED: 32 clients of the library at once, each with a thread of its own for its replies. Prints how many
/// commands were answered.

#include "Client/TestClient.h"

#include <random>

namespace {

using Clock = std::chrono::steady_clock;
using support::dictionary;
using support::number;
using support::text;

/// Commands of every kind; many exclude each other, so a refusal of the manager is an answer too. The first is asked for now and
/// then: most others must wait for it.
const std::pair<const char*, xpc::Object> kCommands[] = {
    {"ResetBasebandCommand",
     dictionary({{"KeyBasebandResetType", text("Soft reset")}, {"KeyBasebandResetReason", text("load")}})},
    {"GetCorvaneInfoCommand", {}},
    {"GetBasebandTimeCommand", dictionary({})},
    {"SetBasebandOperatingModeCommand", dictionary({{"KeyBasebandOperatingMode", number(0)}})},
    {"SetBasebandOperatingModeCommand", dictionary({{"KeyBasebandOperatingMode", number(1)}, {"KeyTimeout", number(1)}})},
    {"NoSuchCommand", dictionary({})},
};

/// Synchronous and asynchronous commands, events switched on and off.
int beClient(const std::string& socket, Clock::time_point end, unsigned seed) {
    std::mt19937 random(seed);
    TestClient client(socket);
    // What is on the queue when the client goes is handled all the same.
    const auto events = std::make_shared<std::atomic<int>>(0);
    client.manager().addEventHandler("BasebandOperatingModeChangeNotification", [events](const xpc::Object&) { ++*events; });
    int answered = 0;
    for (; Clock::now() < end; ++answered) {
        const auto& [command, argument] =
            kCommands[random() % 500 == 0 ? random() % 2 : 2 + random() % (std::size(kCommands) - 2)];
        int result = 0;
        if (random() % 4 == 0) {
            client.manager().setEvents(random() % 2 == 0);
        }
        if (random() % 2 == 0) {
            xpc::Object reply;
            result = client.manager().perform(command, argument, reply, TestClient::kLong);
        } else {
            const auto promise = std::make_shared<std::promise<int>>();
            client.manager().perform(
                command, argument, [promise](int given, const xpc::Object&) { promise->set_value(given); }, TestClient::kLong);
            result = promise->get_future().get();
        }
        if (result != 0 && static_cast<std::uint32_t>(result) >> 8U != 0xE020E1U) {  // no answer of the manager's own
            std::printf("%s ends with %d\n", command, result);
            std::_Exit(EXIT_FAILURE);
        }
    }
    return answered;
}

}  // namespace

int main(int, char** words) {
    const auto end = Clock::now() + std::chrono::seconds(std::atoi(words[2]));
    std::atomic<int> answered = 0;
    std::vector<std::thread> clients;
    for (unsigned count = 0; count < 32; ++count) {
        const unsigned seed = static_cast<unsigned>(std::atoi(words[3])) + count;
        clients.emplace_back([&, seed] { answered += beClient(words[1], end, seed); });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    std::printf("%d\n", answered.load());
}
