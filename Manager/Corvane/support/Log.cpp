#include "Corvane/support/Log.h"

#include "Corvane/support/Text.h"
#include "Platform/FileDescriptor.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <utility>
#include <vector>

namespace corvane::log {

namespace {

constexpr std::size_t kLongestLine = 2048;  // within PIPE_BUF, so that a line is written whole
constexpr std::int64_t kRateLimitSeconds = 60;

/// Whether standard error is the journal's own stream (systemd.exec(5), $JOURNAL_STREAM).
bool isReadByJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) {
        return false;
    }
    return fmt::format("{}:{}", status.st_dev, status.st_ino) == stream;
}

struct State {
    Level highest = Level::Info;
    bool journal = isReadByJournal();
    std::uint64_t lost = 0;  ///< lines dropped since the last one that standard error took
    std::vector<const Copy*> copies;
    RateLimited* limit = nullptr;  ///< of what is being served
};

State& state() {
    static State instance;
    return instance;
}

bool isCopied(Level level) {
    return !state().copies.empty() && level <= Level::Info;
}

std::string printable(std::string_view line) {
    return std::string(cut(escaped(cut(line, kLongestLine)), kLongestLine));
}

/// @return whether standard error has taken the line.
bool tryToPrint(Level level, const std::string& printable) {
    pollfd stream{STDERR_FILENO, POLLOUT, 0};
    if (poll(&stream, 1, 0) != 1 || (stream.revents & POLLOUT) == 0) {
        return false;
    }
    const std::string text = (state().journal ? fmt::format("<{}>", static_cast<int>(level)) : "Corvane: ") + printable + '\n';
    return ::write(STDERR_FILENO, text.data(), text.size()) > 0;
}

void print(Level level, const std::string& printable) {
    if (!isOn(level)) {
        return;
    }
    if (state().lost > 0 &&
        tryToPrint(Level::Warning, fmt::format("{} lines are missing here: nobody took them", state().lost))) {
        state().lost = 0;
    }
    state().lost += tryToPrint(level, printable) ? 0 : 1;
}

void writeLine(Level level, std::string_view line) {
    const std::string text = printable(line);
    if (isCopied(level)) {
        for (const Copy* copy : state().copies) {
            copy->write(text);
        }
    }
    print(level, text);
}

/// By the journal's own protocol (https://systemd.io/JOURNAL_NATIVE_PROTOCOL), a field a line. sd_journal_sendv(3) would wait for
/// a journal that stands still. @return whether the journal has taken it.
bool sendToJournal(std::string_view line, std::string_view fields) {
    static const platform::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    static constexpr sockaddr_un kJournal{AF_UNIX, "/run/systemd/journal/socket"};
    const std::string entry = fmt::format("MESSAGE={}\nPRIORITY={}\nSYSLOG_IDENTIFIER={}\n{}\n", line,
                                          static_cast<int>(Level::Notice), program_invocation_short_name, fields);
    return sendto(socket.get(), entry.data(), entry.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&kJournal), sizeof kJournal) >= 0;
}

}  // namespace

void setLevel(Level highest) {
    state().highest = highest;
}

bool isOn(Level level) {
    return level <= state().highest;
}

Copy::Copy(Write to) : write(std::move(to)) {
    state().copies.push_back(this);
}

Copy::~Copy() {
    std::erase(state().copies, this);
}

void write(Level level, std::string_view line) {
    if (state().limit != nullptr) {
        state().limit->write(level, line);
    } else if (isOn(level) || isCopied(level)) {
        writeLine(level, line);
    }
}

void entry(const std::string& fields) {
    std::string line = fields;
    std::ranges::replace(line, '\n', ' ');
    if (!state().journal || !sendToJournal(line, fields)) {
        print(Level::Notice, printable(line));
    }
}

RateLimited* RateLimited::current() {
    return state().limit;
}

RateLimited::Scope::Scope(RateLimited* limit) : before_(std::exchange(state().limit, limit)) {}

RateLimited::Scope::~Scope() {
    state().limit = before_;
}

void RateLimited::write(Level level, std::string_view line) {
    if (!isOn(level) && !isCopied(level)) {
        return;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    if (now.tv_sec >= minuteEnds_) {
        minuteEnds_ = now.tv_sec + kRateLimitSeconds;
        written_ = 0;
    }
    if (written_ == linesAMinute_) {
        ++leftOut_;
        return;
    }
    ++written_;
    const auto leftOut = std::exchange(leftOut_, 0);
    writeLine(level, leftOut == 0 ? std::string(line) : fmt::format("{} (and {} more that were left out)", line, leftOut));
}

}  // namespace corvane::log
