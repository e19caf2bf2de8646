#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/ModemFollower.h"

#include <string>

namespace corvane::modemmanager {

/// A trace for which ModemManager has to do something, and again whenever it or the modem has come back.
class ModemTrace {
public:
    ModemTrace(const ModemTrace&) = delete;
    ModemTrace& operator=(const ModemTrace&) = delete;
    virtual ~ModemTrace() = default;

    /// Before `start` it waits until there is something to record; after that it is refused when there isn't.
    void switchOn(Completion<void> done);
    void switchOff();
    void start() { started_ = true; }
    /// After whatever may concern the modem.
    void modemChanged();
    /// Leaves ModemManager as it was.
    void stop() { switchOff(); }

protected:
    /// @param follower outlives this.
    ModemTrace(ModemFollower& follower, Log log) : follower_(follower), log_(std::move(log)) {}

    /// A name for what is recorded, such as the modem's path; empty while it isn't there.
    virtual std::string source() const = 0;
    /// Whether it can be recorded.
    virtual Result<void> check() const = 0;
    /// Has ModemManager tell what is to be recorded.
    virtual void begin(Completion<void> done) = 0;
    /// Undoes that, as far as the source is still there.
    virtual void end() = 0;

    void complain(const Result<void>& done) const;

    ModemFollower& follower_;

private:
    void finish(const Result<void>& begun);

    const Log log_;
    bool started_ = false;
    bool on_ = false;
    std::string source_;     ///< for which it was begun
    Completion<void> done_;  ///< of `switchOn`, until the first source has answered
};

}  // namespace corvane::modemmanager
