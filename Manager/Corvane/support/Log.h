#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// The daemon's log: one line an event worth knowing, on standard error, with the journal's priority prefixes when the
/// journal reads it. Never blocks: a line that standard error doesn't take is dropped, and the next one is preceded by how many
/// were.
namespace corvane::log {

/// Severities of syslog(3).
enum class Level : std::uint8_t { Error = 3, Warning = 4, Notice = 5, Info = 6, Debug = 7 };

/// Up to Info by default.
void setLevel(Level highest);
/// Whether a line of this level goes anywhere; ask before composing one that costs.
bool isOn(Level level);

/// While it exists, every line up to Info is also given to `write`.
class Copy {
public:
    using Write = std::function<void(std::string_view line)>;
    explicit Copy(Write write);
    ~Copy();
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    Write write;
};

void write(Level level, std::string_view line);
/// Writes a notice that is neither rate-limited nor given to a `Copy`. Where the journal reads the log, the entry also has the
/// fields. @param fields "NAME=value", a line each.
void entry(const std::string& fields);
inline void error(std::string_view line) {
    write(Level::Error, line);
}
inline void warning(std::string_view line) {
    write(Level::Warning, line);
}
inline void notice(std::string_view line) {
    write(Level::Notice, line);
}
inline void info(std::string_view line) {
    write(Level::Info, line);
}
inline void debug(std::string_view line) {
    write(Level::Debug, line);
}

/// Keeps a client from filling the log: writes so many lines a minute, and then how many it has left out.
class RateLimited {
public:
    explicit RateLimited(int linesAMinute = 1) : linesAMinute_(linesAMinute) {}
    void write(Level level, std::string_view line);

    /// The limit of the client that is being served; nullptr when none is. Keep it to run later work under the same limit.
    static RateLimited* current();

    /// While it exists, every line counts against `limit`, if there is one.
    class Scope {
    public:
        explicit Scope(RateLimited* limit);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        RateLimited* before_;
    };

private:
    int linesAMinute_;
    int written_ = 0;              ///< in this minute
    std::int64_t minuteEnds_ = 0;  ///< by the monotonic clock, in seconds
    std::uint64_t leftOut_ = 0;
};

}  // namespace corvane::log
