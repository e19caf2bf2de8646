#include "Torture.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace torture {

namespace {

/// Of a thread, as /proc/PID/schedstat tells them: how long it has run, and how long it could have run and had no processor. 0
/// where no kernel tells.
struct Schedule {
    explicit Schedule(const std::string& path) {
        std::ifstream file(path);
        file >> ran >> queued;
    }
    long long ran = 0;
    long long queued = 0;
};

}  // namespace

int Run::random(int lowest, int highest) {
    const std::lock_guard lock(mutex_);
    return std::uniform_int_distribution(lowest, highest)(random_);
}

void Run::figure(const std::string& line) {
    const std::lock_guard lock(mutex_);
    std::printf("  %s\n", line.c_str());
    std::fflush(stdout);
}

bool Run::expect(bool kept, const std::string& what) {
    if (!kept) {
        ++broken_;
        figure("BROKEN: " + what);
    }
    return kept;
}

bool isSanitized() {
    return !std::string_view(RYN_SANITIZER).empty();
}

void expectClean(Run& run, const support::Outcome& outcome, const std::string& who, int status) {
    run.expect(outcome.status == status, who + " ended with " + std::to_string(outcome.status) + ": " + outcome.err);
    for (const char* report : {"Sanitizer", "runtime error:", "terminate called"}) {
        run.expect(outcome.err.find(report) == std::string::npos, who + " reported: " + outcome.err);
    }
}

std::chrono::microseconds Latencies::quantile(double share) const {
    if (all_.empty()) {
        return {};
    }
    std::vector<Clock::duration> sorted = all_;
    std::ranges::sort(sorted);
    const auto index = static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1));
    return std::chrono::duration_cast<std::chrono::microseconds>(sorted[index]);
}

std::string Latencies::describe() const {
    return "median " + milliseconds(quantile(0.5)) + ", 99 % " + milliseconds(quantile(0.99)) + ", longest " +
           milliseconds(quantile(1));
}

long kilobytes(pid_t process, const std::string& line) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        if (word == line + ":") {
            long amount = 0;
            status >> amount;
            return amount;
        }
    }
    return -1;
}

std::string milliseconds(Clock::duration duration) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f ms", std::chrono::duration<double, std::milli>(duration).count());
    return text;
}

Waits::Waits(pid_t manager) : schedule_("/proc/" + std::to_string(manager) + "/schedstat") {}

Clock::duration Waits::timeInQueues() const {
    return std::chrono::nanoseconds(Schedule(schedule_).queued + Schedule("/proc/thread-self/schedstat").queued);
}

Clock::duration Waits::timeOfWork() const {
    return std::chrono::nanoseconds(Schedule(schedule_).ran);
}

void Waits::add(Clock::duration wait, Clock::duration queued) {
    asTheyWere_.add(wait);
    ofTheManager_.add(std::max(wait - queued, Clock::duration()));
}

}  // namespace torture
