#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/loop/Loop.h"
#include "Corvane/traces/Recorder.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>

namespace corvane {

/// The traces of the baseband that are recorded on this machine, each in a folder of its own below the state folder's "Scratch".
///
/// Records are written once a turn of the loop, after what was asked in it is answered.
class TraceRecorders {
public:
    /// @param loop outlives this.
    TraceRecorders(Loop& loop, const std::filesystem::path& scratch);

    /// Called when a trace can't be written any more, and when it can again. Set before anything is recorded.
    void setOnFailing(std::function<void()> onFailing) { onFailing_ = std::move(onFailing); }

    void record(const TraceRecord& record);
    /// Of a kind that is recorded.
    void setLimits(ryn::trace::Type trace, Recorder::Limits limits) { recorders_.at(trace)->setLimits(limits); }
    /// What is recorded of each kind, by its name.
    xpc::Object bytes() const;
    bool isFailing(ryn::trace::Type trace) const { return recorders_.at(trace)->isFailing(); }

    /// Puts hard links to what is recorded into a folder a kind, below `folder`. A refusal is a clause.
    Result<void> link(const std::filesystem::path& folder);
    /// Removes what was linked. What has been recorded since stays.
    void removeLinked();

private:
    void flush();

    Loop& loop_;
    std::map<ryn::trace::Type, std::unique_ptr<Recorder>> recorders_;
    std::function<void()> onFailing_;
    bool flushing_ = false;  ///< a flush is due in this turn
};

}  // namespace corvane
