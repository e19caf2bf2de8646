#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// The daemon's log: one line an event worth knowing, on standard error, with the journal's priority prefixes when the
/// journal reads it. Never blocks: a line that nobody takes is lost, and the next one that is taken stands behind their number.
namespace corvane::log {

/// Severities of syslog(3).
enum class Level : std::uint8_t { Error = 3, Warning = 4, Notice = 5, Info = 6, Debug = 7 };

/// Up to Info by default.
void setLevel(Level highest);
/// Whether a line of this level goes anywhere; ask before composing one that costs.
bool isOn(Level level);

/// While it stands, every line up to Info is also given to `write`.
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
/// A notice that no limit leaves out and no second taker gets. Where the journal reads the log it has the fields besides.
/// @param fields "NAME=value", a line each.
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

/// Keeps what a client can cause again and again from filling the log: so many lines a minute, then the number left out.
class RateLimited {
public:
    explicit RateLimited(int linesAMinute = 1) : linesAMinute_(linesAMinute) {}
    void write(Level level, std::string_view line);

    /// Of what is being served; none for what no client has caused. For what is to be done for it later.
    static RateLimited* current();

    /// While it stands, every line counts against `limit`, if there is one.
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
    int written_ = 0;              ///< in the minute that ends at
    std::int64_t minuteEnds_ = 0;  ///< in seconds of the monotonic clock
    std::uint64_t leftOut_ = 0;
};

}  // namespace corvane::log
