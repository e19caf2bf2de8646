#include "Corvane/traces/SystemJournal.h"

#include "Corvane/loop/Timer.h"
#include "Corvane/support/Journal.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/UtcTime.h"

#include <fmt/format.h>

#include <deque>
#include <string_view>

namespace corvane {

namespace {

using journal::field;
using journal::Journal;

constexpr std::size_t kLargestText = 4'194'304;
constexpr std::size_t kLongestLine = 4096;
constexpr int kLinesATurn = 200;

/// "2026-11-21T12:34:56.789Z sshd[17]: text"
std::string line(sd_journal* journal, SystemJournal::Time time) {
    const std::string_view identifier = field(journal, "SYSLOG_IDENTIFIER");
    const std::string_view process = field(journal, "_PID");
    return fmt::format("{} {}{}: {}\n", utcTimeStamp(time), escaped(identifier.empty() ? field(journal, "_COMM") : identifier),
                       process.empty() ? "" : fmt::format("[{}]", process),
                       escaped(cut(field(journal, "MESSAGE"), kLongestLine)));
}

}  // namespace

/// From the newest line to the oldest.
class SystemJournal::Reading {
public:
    Reading(Loop& loop, Journal journal, Time since, Then then)
        : timer(loop), then_(std::move(then)), journal_(std::move(journal)), since_(since) {}

    /// @return whether there may be more.
    bool takeOne() {
        std::uint64_t microseconds = 0;
        if (sd_journal_previous(journal_.get()) <= 0 || sd_journal_get_realtime_usec(journal_.get(), &microseconds) < 0) {
            return false;
        }
        const Time time(std::chrono::microseconds{microseconds});
        if (time < since_) {
            return false;
        }
        lines_.push_front(line(journal_.get(), time));
        size_ += lines_.front().size();
        if (size_ >= kLargestText) {
            leaveOutOlder("a snapshot takes no more than 4 MB of them");
        }
        return whyIncomplete_ == nullptr;
    }

    void leaveOutOlder(const char* why) { whyIncomplete_ = why; }

    void handOver() const {
        std::string all = whyIncomplete_ == nullptr ? "" : fmt::format("Older lines are left out: {}\n", whyIncomplete_);
        all.reserve(all.size() + size_);
        for (const std::string& each : lines_) {
            all += each;
        }
        then_(std::move(all));
    }

    Timer timer;  ///< to the next lines

private:
    Then then_;
    Journal journal_;
    Time since_;
    std::deque<std::string> lines_;
    std::size_t size_ = 0;
    const char* whyIncomplete_ = nullptr;  ///< none: every line is there
};

SystemJournal::SystemJournal(Loop& loop) : loop_(loop) {}

SystemJournal::~SystemJournal() = default;

void SystemJournal::read(Time since, Then then) {
    auto journal = journal::openAtEnd();
    if (!journal) {
        then(fmt::format("The journal can't be read: {}\n", journal.refusal().sentence));
        return;
    }
    goOn(readings_.emplace(readings_.end(), loop_, std::move(*journal), since, std::move(then)));
}

void SystemJournal::goOn(std::list<Reading>::iterator reading) {
    bool mayBeMore = true;
    const bool hadMemory = loop_.withinMemory([&] {
        for (int count = 0; count < kLinesATurn && mayBeMore; ++count) {
            mayBeMore = reading->takeOne();
        }
    });
    if (!hadMemory) {
        reading->leaveOutOlder("there was no memory for them");
        finish(reading);
    } else if (mayBeMore) {
        reading->timer.set(std::chrono::milliseconds::zero(), [this, reading] { goOn(reading); });
    } else {
        finish(reading);
    }
}

void SystemJournal::finish(std::list<Reading>::iterator reading) {
    std::list<Reading> done;
    done.splice(done.begin(), readings_, reading);
    reading->handOver();
}

void SystemJournal::stop() {
    while (!readings_.empty()) {
        readings_.front().leaveOutOlder("the manager ended before it had read them");
        finish(readings_.begin());
    }
}

}  // namespace corvane
