#pragma once

#include "Corvane/baseband/modemmanager/ModemTrace.h"
#include "Corvane/loop/Loop.h"

#include <memory>
#include <string>

namespace corvane::modemmanager {

/// The trace BasebandIPC: has ModemManager log each exchange with its modems, and reads that in the system's journal.
class MessageLog final : public ModemTrace {
public:
    MessageLog(Loop& loop, ModemFollower& follower, OnRecord onRecord, Log log);
    ~MessageLog() override;

    /// Records what the journal has by now.
    void read();

private:
    class Reader;

    std::string source() const override;
    Result<void> check() const override;
    void begin(Completion<void> done) override;
    void end() override;
    void setLevel(const std::string& level, Completion<void> done);

    Loop& loop_;
    const OnRecord onRecord_;
    std::shared_ptr<Reader> reader_;  ///< while it is on
};

}  // namespace corvane::modemmanager
