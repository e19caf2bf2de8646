#include "Corvane/baseband/modemmanager/MessageLog.h"

#include "Corvane/baseband/modemmanager/BusRefusal.h"
#include "Corvane/loop/Timer.h"
#include "Corvane/loop/Watch.h"
#include "Corvane/support/Journal.h"
#include "Corvane/support/Text.h"

#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;
using journal::field;

constexpr std::size_t kLongestLine = 4096;
constexpr int kLinesATurn = 200;
constexpr const char* kEverything = "DEBUG";

/// The level that a ModemManager with this command line begins with.
std::string levelOf(std::string_view commandLine) {
    std::string_view level = "INFO";
    bool isNext = false;
    for (const std::string_view word : split(commandLine, ' ')) {
        constexpr std::string_view kLevel = "--log-level";
        if (std::exchange(isNext, word == kLevel)) {
            level = word;
        } else if (word == "--debug") {
            level = kEverything;
        } else if (word.starts_with(kLevel) && word[kLevel.size()] == '=') {
            level = word.substr(kLevel.size() + 1);
        }
    }
    return std::string(level);
}

}  // namespace

/// Records what ModemManager writes to the journal from now on.
class MessageLog::Reader {
public:
    Reader(Loop& loop, const OnRecord& onRecord) : onRecord_(onRecord), more_(loop) {
        const auto opened = journal::openAtEnd().into(journal_);
        // The journal itself says whose an entry is: a field that begins with "_" can't be forged.
        if (!opened || sd_journal_add_match(journal_.get(), "_COMM=ModemManager", 0) < 0) {
            return;
        }
        if (sd_journal_previous(journal_.get()) > 0) {
            level_ = levelOf(field(journal_.get(), "_CMDLINE"));
        }
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        sd_journal_seek_realtime_usec(
            journal_.get(), static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count()));
        if (const int descriptor = sd_journal_get_fd(journal_.get()); descriptor >= 0) {
            watch_ = std::make_unique<Watch>(loop, descriptor, Watch::Order::Fair, [this] { read(); });
        }
    }

    /// A turn of the loop takes a few entries only, so that clients don't wait.
    void read() {
        sd_journal_process(journal_.get());
        for (int count = 0; count < kLinesATurn; ++count) {
            if (sd_journal_next(journal_.get()) <= 0) {
                return;
            }
            tell();
        }
        more_.set(0ms, [this] { read(); });
    }

    /// Of ModemManager, before the trace was switched on.
    const std::string& level() const { return level_; }

private:
    void tell() const {
        std::uint64_t microseconds = 0;
        if (sd_journal_get_realtime_usec(journal_.get(), &microseconds) >= 0) {
            onRecord_({ryn::trace::Type::BasebandIPC,
                       std::chrono::system_clock::time_point(std::chrono::microseconds(microseconds)),
                       escaped(cut(field(journal_.get(), "MESSAGE"), kLongestLine))});
        }
    }

    const OnRecord& onRecord_;
    journal::Journal journal_;
    std::string level_ = levelOf({});
    std::unique_ptr<Watch> watch_;
    Timer more_;
};

MessageLog::MessageLog(Loop& loop, ModemFollower& follower, OnRecord onRecord, Log log)
    : ModemTrace(follower, std::move(log)), loop_(loop), onRecord_(std::move(onRecord)) {}

MessageLog::~MessageLog() = default;

std::string MessageLog::source() const {
    return follower_.isServed() ? "ModemManager" : "";
}

Result<void> MessageLog::check() const {
    return follower_.isServed() ? journal::checkReadable("BasebandIPC") : follower_.absence();
}

void MessageLog::begin(Completion<void> done) {
    if (!reader_) {
        reader_ = std::make_shared<Reader>(loop_, onRecord_);
    }
    setLevel(kEverything, std::move(done));
}

void MessageLog::end() {
    if (reader_) {
        if (follower_.isServed()) {
            setLevel(reader_->level(), [this](const Result<void>& done) { complain(done); });
        }
        // Its watch may be the one that is being served.
        loop_.defer([gone = std::exchange(reader_, nullptr)] {});
    }
}

void MessageLog::setLevel(const std::string& level, Completion<void> done) {
    const auto answered = [done = std::move(done)](const BusReply& reply) {
        done(reply.error ? refusalFor(*reply.error, MM_DBUS_INTERFACE, "have its messages logged", nullptr) : Result<void>());
    };
    follower_.callManager("SetLogging", answered, "s", level.c_str());
}

void MessageLog::read() {
    if (reader_) {
        reader_->read();
    }
}

}  // namespace corvane::modemmanager
