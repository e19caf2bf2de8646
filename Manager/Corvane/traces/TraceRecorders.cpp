#include "Corvane/traces/TraceRecorders.h"

#include "Corvane/support/Values.h"

#include <utility>

namespace corvane {

namespace fs = std::filesystem;

namespace {

using ryn::trace::Type;

const std::pair<Type, const SegmentFormat&> kKinds[] = {
    {Type::DIAG, kPcapng},       {Type::BasebandIPC, kTextLines}, {Type::KernelPCI, kTextLines},
    {Type::TEMS, kMeasurements}, {Type::CoreDump, kCoreDumps},
};

/// Of a kind that has no property "History".
constexpr Recorder::Limits kLimits{16 * kMegabyte};

}  // namespace

TraceRecorders::TraceRecorders(Loop& loop, const fs::path& scratch) : loop_(loop) {
    for (const auto& [trace, format] : kKinds) {
        const fs::path folder = scratch / (ryn::trace::typeAsString(trace) + ".scratch");
        recorders_.emplace(trace, std::make_unique<Recorder>(folder, format, kLimits));
    }
}

void TraceRecorders::record(const TraceRecord& record) {
    recorders_.at(record.trace)->append(record.time, record.content);
    if (!flushing_) {
        flushing_ = true;
        loop_.defer([this] { flush(); });
    }
}

xpc::Object TraceRecorders::bytes() const {
    xpc::Object sizes = dictionary({});
    for (const auto& [trace, recorder] : recorders_) {
        xpc::set(sizes, ryn::trace::typeAsString(trace).c_str(), number(static_cast<std::int64_t>(recorder->bytes())));
    }
    return sizes;
}

void TraceRecorders::flush() {
    flushing_ = false;
    for (const auto& [trace, recorder] : recorders_) {
        const bool wasFailing = recorder->isFailing();
        recorder->flush();
        if (recorder->isFailing() != wasFailing) {
            onFailing_();
        }
    }
}

Result<void> TraceRecorders::link(const fs::path& folder) {
    for (const auto& [trace, recorder] : recorders_) {
        if (auto linked = recorder->link(folder / ryn::trace::typeAsString(trace)); !linked) {
            return linked;
        }
    }
    return {};
}

void TraceRecorders::removeLinked() {
    for (const auto& [trace, recorder] : recorders_) {
        recorder->removeLinked();
    }
}

}  // namespace corvane
