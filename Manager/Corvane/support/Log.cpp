#include "Corvane/support/Log.h"

#include "Corvane/support/Text.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <algorithm>
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
    std::vector<const Copy*> copies;
    RateLimited* limit = nullptr;  ///< of what is being served
};

State& state() {
    static State instance;
    return instance;
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

namespace {

bool isCopied(Level level) {
    return !state().copies.empty() && level <= Level::Info;
}

std::string printable(std::string_view line) {
    return std::string(cut(escaped(cut(line, kLongestLine)), kLongestLine));
}

void print(Level level, const std::string& printable) {
    pollfd stream{STDERR_FILENO, POLLOUT, 0};
    if (isOn(level) && poll(&stream, 1, 0) == 1 && (stream.revents & POLLOUT) != 0) {
        const std::string text =
            (state().journal ? fmt::format("<{}>", static_cast<int>(level)) : "Corvane: ") + printable + '\n';
        // Nothing can be done about a log that can't be written.
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    }
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

/// @return whether the journal has taken it.
bool sendToJournal(std::string_view line, std::span<const std::string> fields) {
    std::vector<std::string> all{fmt::format("MESSAGE={}", line), fmt::format("PRIORITY={}", static_cast<int>(Level::Notice))};
    all.insert(all.end(), fields.begin(), fields.end());
    std::vector<iovec> vectors;
    vectors.reserve(all.size());
    for (std::string& field : all) {
        vectors.push_back({field.data(), field.size()});
    }
    return sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size())) == 0;
}

}  // namespace

void write(Level level, std::string_view line) {
    if (state().limit != nullptr) {
        state().limit->write(level, line);
    } else if (isOn(level) || isCopied(level)) {
        writeLine(level, line);
    }
}

void entry(std::string_view line, std::span<const std::string> fields) {
    if (!state().journal || !sendToJournal(line, fields)) {
        print(Level::Notice, printable(line));
    }
}

RateLimited::Scope::Scope(RateLimited* limit) {
    state().limit = limit;
}

RateLimited::Scope::~Scope() {
    state().limit = nullptr;
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
