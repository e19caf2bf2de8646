// The check that the cellular service runs, on a machine with few and with many processes. The number of a row is how many
// processes the machine has, as far as more can be started: run in a PID namespace of its own to have few at first.

#include "Platform/vsk/ProcessPresence.h"
#include "platform/vsk/SorvexUtil.h"
#include "support/Standard.h"

#include <benchmark/benchmark.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* kService = "Pellcore";

std::size_t processesOnMachine() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        count += entry.path().filename().string().find_first_not_of("0123456789") == std::string::npos ? 1 : 0;
    }
    return count;
}

/// Children that do nothing, ended together.
class Crowd {
public:
    Crowd() = default;
    ~Crowd() {
        for (const pid_t child : children_) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    /// Returns when the child has run `start`.
    void add(const std::function<void()>& start) {
        std::array<int, 2> started{};
        if (pipe(started.data()) != 0) {
            std::abort();
        }
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            start();
            close(started[0]);
            close(started[1]);
            for (;;) {
                pause();
            }
        }
        close(started[1]);
        char end = 0;
        static_cast<void>(!read(started[0], &end, 1));
        close(started[0]);
        children_.push_back(child);
    }

private:
    std::vector<pid_t> children_;
};

void check(benchmark::State& state, bool announced) {
    const support::TempFolder folder;
    setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
    Crowd crowd;
    const auto wanted = static_cast<std::size_t>(state.range(0));
    for (std::size_t count = processesOnMachine() + 1; count < wanted; ++count) {
        crowd.add([] {});
    }
    crowd.add([announced] {
        prctl(PR_SET_NAME, kService);
        if (announced) {
            static const vsk::ProcessAnnouncement announcement(kService);
        }
    });
    for (auto _ : state) {
        if (!vsk::isProcessRunning(kService)) {
            state.SkipWithError("the service was not found");
            break;
        }
    }
    state.counters["processes"] = static_cast<double>(processesOnMachine());
}

void announcedService(benchmark::State& state) {
    check(state, true);
}
BENCHMARK(announcedService)->Arg(50)->Arg(1000);

void unannouncedService(benchmark::State& state) {
    check(state, false);
}
BENCHMARK(unannouncedService)->Arg(50)->Arg(1000);

}  // namespace

BENCHMARK_MAIN();
