#pragma once

#include "Corvane/loop/Loop.h"

#include <chrono>
#include <functional>
#include <list>
#include <string>

namespace corvane {

/// The system's journal, for the trace SYSLOG.
class SystemJournal {
public:
    using Time = std::chrono::system_clock::time_point;
    using Then = std::function<void(std::string lines)>;

    /// @param loop outlives this.
    explicit SystemJournal(Loop& loop);
    ~SystemJournal();
    SystemJournal(const SystemJournal&) = delete;
    SystemJournal& operator=(const SystemJournal&) = delete;

    /// Reads what was logged since a time, a line each with the UTC time first: the newest 4 MB of it. When older lines are left
    /// out, the first line says so. Some lines in a turn of the loop, so that nobody waits for it. The text says why when nothing
    /// can be read.
    void read(Time since, Then then);
    /// Hands over what has been read so far.
    void stop();

private:
    class Reading;

    void goOn(std::list<Reading>::iterator reading);
    void finish(std::list<Reading>::iterator reading);

    Loop& loop_;
    std::list<Reading> readings_;
};

}  // namespace corvane
