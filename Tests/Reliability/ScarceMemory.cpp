#include "Corvane/Peer.h"
#include "Torture.h"
#include "support/Daemon.h"

#include <sys/resource.h>

#include <csignal>
#include <optional>
#include <string>
#include <vector>

namespace torture {

namespace {

constexpr long kKilobyte = 1024;
/// Of addresses, beyond what the manager has at rest.
constexpr long kLeftKilobytes = 16 * kKilobyte;
constexpr int kWatchers = 900;

/// Until all watchers have lost their connections, which happens at the latest when each is owed too much.
void changeModes(Run& run, const std::string& socket) {
    const auto clients = support::dictionary({{"KeyReportingModuleType", support::number(2)}});
    std::optional<Peer> changer(std::in_place, socket);
    for (int change = 0; run.kept(); ++change) {
        const auto mode = support::dictionary({{"KeyBasebandOperatingMode", support::number(change % 2)}});
        const std::string answer = changer->ask("SetBasebandOperatingModeCommand", mode);
        const bool ended = answer == "closed" || answer == "nothing";
        if (ended) {
            changer.emplace(socket);
        }
        if (change % 50 == 49 &&
            changer->ask("GetStatisticsCommand", clients).find(R"("WatchingEvents":0)") != std::string::npos) {
            return;
        }
        run.expect(change < 10'000, "watchers that never read keep their connections");
    }
}

}  // namespace

void scarceMemory(Run& run) {
    if (isSanitized()) {
        throw Skipped{"a sanitizer takes more addresses than there are left"};
    }
    const rlimit descriptors{4096, 4096};
    if (setrlimit(RLIMIT_NOFILE, &descriptors) != 0) {
        throw Skipped{"this user may not open 1,000 connections"};
    }
    support::Daemon daemon;
    const pid_t manager = daemon.process().pid();
    Peer(daemon.socketPath()).ask("SetTracePropertyCommand", property("DIAG", "History", "17"));
    const long atRest = kilobytes(manager, "VmSize");
    const auto most = static_cast<rlim_t>((atRest + kLeftKilobytes) * kKilobyte);
    const rlimit addresses{most, most};
    if (prlimit(manager, RLIMIT_AS, &addresses, nullptr) != 0) {
        throw Skipped{"the manager's memory can't be limited"};
    }
    std::vector<Peer> deaf;
    deaf.reserve(kWatchers);
    for (int count = 0; count < kWatchers; ++count) {
        deaf.emplace_back(daemon.socketPath()).send(ryn::wire::Packet(ryn::wire::Events{true}));
    }
    changeModes(run, daemon.socketPath());
    run.figure("with " + std::to_string(kLeftKilobytes) + " KB left, " + std::to_string(kWatchers) + " watchers took " +
               std::to_string(kilobytes(manager, "VmPeak") - atRest) + " KB");
    const std::string answer = Peer(daemon.socketPath()).ask("GetTracePropertyCommand", property("DIAG", "History"));
    run.expect(answer == valueReply("17"), "afterwards a client is answered " + answer);
    const auto outcome = daemon.stop(SIGTERM);
    expectClean(run, outcome, "the manager");
    run.expect(outcome.err.find("takes memory that there is not") != std::string::npos, "the memory was never short");
}

}  // namespace torture
