#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/loop/Timer.h"
#include "Corvane/traces/LiveStream.h"
#include "Corvane/traces/TraceRecorders.h"
#include "Corvane/traces/TraceSettings.h"

#include <functional>
#include <memory>
#include <string>

namespace corvane {

/// The DIAG trace: has the baseband send the messages that its properties choose, and takes them to the recorder or to the live
/// stream. "Enabled_Temp" and "Mode_Temp" are what counts; setting "Enabled" or "Mode" sets them too.
class DiagTrace {
public:
    /// Where readers of the live stream connect.
    struct StreamAccess {
        std::function<Result<ListeningSocket>()> listen;
        std::function<bool(int socket)> admits;
    };
    struct Surroundings {
        Loop& loop;
        TraceSettings& settings;
        TraceRecorders& recorders;
        StreamAccess streamAccess;
        std::function<void()> resetBaseband;
    };

    /// What the surroundings refer to outlives this.
    DiagTrace(Surroundings surroundings, const std::filesystem::path& stateFolder);
    ~DiagTrace();

    /// Refuses a value of the right form that names no readable DMC file.
    Result<void> check(const TraceProperty& property, std::string_view value) const;
    /// Before the baseband is started. @param baseband outlives this.
    void start(Baseband& baseband);
    void settingChanged(const TraceProperty& property);
    void bootStateChanged(BootState state);
    void sleepChanged(bool asleep);
    void record(const TraceRecord& message);

    /// A snapshot is taken between the two.
    void beginSnapshot();
    void endSnapshot();

private:
    enum class Target { Nowhere, Disk, Stream };

    std::string value(const char* property) const;
    std::uint64_t number(const char* property) const;
    bool isSet(const char* property) const { return value(property) == "true"; }
    Target target() const;
    DiagGroups groups(const char* property) const;
    DiagSettings basebandSettings() const;

    void apply();
    void followTarget();
    void updateStatus();
    void watchForStall();
    void checkForStall();
    void recover();

    Surroundings around_;
    const std::filesystem::path dmcFolder_;
    Baseband* baseband_ = nullptr;
    Timer stallTimer_;
    std::unique_ptr<LiveStream> stream_;  ///< while the trace is streamed, and to the end of the turn in which that stops
    Target target_ = Target::Nowhere;
    DiagSettings applied_;
    bool ready_ = false;
    bool asleep_ = false;
    bool stalled_ = false;
    bool heard_ = false;  ///< a message since the last check for a stall
    unsigned snapshots_ = 0;
};

}  // namespace corvane
