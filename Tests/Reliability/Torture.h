#pragma once

#include "support/Process.h"

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <string_view>

/// What the programs of script/torture share. Each stands for one promise, and runs in a process of its own.
namespace torture {

using Clock = std::chrono::steady_clock;

/// One run of a program. Its operations may be called from any thread.
class Run {
public:
    Run(bool isShort, std::uint32_t seed) : isShort_(isShort), random_(seed) {}

    /// How often something is done: in the short form, or in full.
    int times(int shortForm, int full) const { return isShort_ ? shortForm : full; }
    /// From `lowest` to `highest`.
    int random(int lowest, int highest);
    /// What the run has shown, for the person who reads it.
    void figure(const std::string& line);
    /// Prints `what` as broken unless `kept`. @return kept
    bool expect(bool kept, const std::string& what);
    bool kept() const { return broken_ == 0; }

private:
    const bool isShort_;
    std::mutex mutex_;
    std::mt19937 random_;
    std::atomic<int> broken_ = 0;
};

/// A promise can't be tried here; not a failure.
struct Skipped {
    std::string why;
};

/// Whether memory and time say nothing about the programs themselves.
bool isSanitized();
/// A program of ours has ended as asked, and no sanitizer has reported.
void expectClean(Run& run, const support::Outcome& outcome, const std::string& who, int status = 0);

/// Durations in the order in which they are measured.
class Latencies {
public:
    void add(Clock::duration duration) { all_.push_back(duration); }
    /// @param share 0.5 for the median, 1 for the longest.
    std::chrono::microseconds quantile(double share) const;
    std::string describe() const;

private:
    std::vector<Clock::duration> all_;
};

std::string milliseconds(Clock::duration duration);

/// A line of /proc/PID/status, in kilobytes.
long kilobytes(pid_t process, const std::string& line);

/// What a client meets at a manager: each wait as it was, without the time for which the machine, busy with other work, let the
/// manager or this thread stand in the queue for a processor, and what the manager worked meanwhile, which is what it did before
/// it answered. The first are figures, the others can be held against a bar.
class Waits {
public:
    explicit Waits(pid_t manager);

    template <typename Ask>
    auto measure(const Ask& ask) {
        const Clock::duration queued = timeInQueues();
        const Clock::duration worked = timeOfWork();
        const auto begin = Clock::now();
        auto answer = ask();
        add(Clock::now() - begin, timeInQueues() - queued);
        workOfTheManager_.add(timeOfWork() - worked);
        return answer;
    }

    const Latencies& asTheyWere() const { return asTheyWere_; }
    const Latencies& ofTheManager() const { return ofTheManager_; }
    const Latencies& workOfTheManager() const { return workOfTheManager_; }
    /// That of the manager, since it started.
    Clock::duration timeOfWork() const;

private:
    Clock::duration timeInQueues() const;
    void add(Clock::duration wait, Clock::duration queued);

    std::string schedule_;
    Latencies asTheyWere_;
    Latencies ofTheManager_;
    Latencies workOfTheManager_;
};

// The programs, each in the file of its name.
void hostileClients(Run& run);
void hostileManager(Run& run);
void scarceMemory(Run& run);
void slowDisk(Run& run);
void load(Run& run);

}  // namespace torture
