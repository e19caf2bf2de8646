#include "Corvane/traces/DiagTrace.h"

#include "Corvane/support/Log.h"
#include "Corvane/traces/DMCFiles.h"
#include "config/DiagConfig.h"

#include <fmt/format.h>

#include <utility>

namespace corvane {

namespace fs = std::filesystem;
namespace diag = ::diag::config;

namespace {

using ryn::trace::Type;

constexpr const char* kFiles[] = {diag::kPrimaryDMCFileKey, diag::kSecondaryDMCFileKey, diag::kExtraDMCFileKey};

}  // namespace

DiagTrace::DiagTrace(Surroundings surroundings, const fs::path& stateFolder)
    : around_(std::move(surroundings)), dmcFolder_(stateFolder / "DMC"), stallTimer_(around_.loop) {
    around_.recorders.setOnFailing([this] { updateStatus(); });
}

DiagTrace::~DiagTrace() = default;

Result<void> DiagTrace::check(const TraceProperty& property, std::string_view value) const {
    if (property.trace != Type::DIAG || property.form != TraceProperty::Form::FileName) {
        return {};
    }
    DiagGroups selected = 0;
    return readDMCFile(dmcFolder_, value).into(selected);
}

void DiagTrace::start(Baseband& baseband) {
    baseband_ = &baseband;
    around_.settings.setReadOnly(Type::DIAG, diag::kTempEnabledKey, value(diag::kEnabledKey));
    around_.settings.setReadOnly(Type::DIAG, diag::kTempModeKey, value(diag::kModeKey));
    apply();
}

void DiagTrace::settingChanged(const TraceProperty& property) {
    if (property.trace != Type::DIAG) {
        return;
    }
    const std::string_view name = property.name;
    if (name == diag::kEnabledKey || name == diag::kModeKey) {
        around_.settings.setReadOnly(Type::DIAG, name == diag::kModeKey ? diag::kTempModeKey : diag::kTempEnabledKey,
                                     value(property.name));
    }
    apply();
}

std::string DiagTrace::value(const char* property) const {
    return around_.settings.value(Type::DIAG, property);
}

std::uint64_t DiagTrace::number(const char* property) const {
    return around_.settings.number(Type::DIAG, property);
}

DiagTrace::Target DiagTrace::target() const {
    if (!isSet(diag::kTempEnabledKey)) {
        return Target::Nowhere;
    }
    const std::string mode = value(diag::kTempModeKey);
    if (mode == diag::toString(diag::Mode::PassiveExternalThroughSoftware)) {
        return Target::Stream;
    }
    const bool isHere = mode == diag::toString(diag::Mode::ActiveOnAP) || mode == diag::toString(diag::Mode::PassiveOnAP);
    return isHere ? Target::Disk : Target::Nowhere;
}

/// A file that has gone or was damaged since it was set selects nothing.
DiagGroups DiagTrace::groups(const char* property) const {
    const auto groups = readDMCFile(dmcFolder_, value(property));
    if (!groups) {
        log::warning(groups.refusal().sentence);
    }
    return groups ? *groups : DiagGroups();
}

DiagSettings DiagTrace::basebandSettings() const {
    DiagSettings settings;
    if (target_ == Target::Nowhere) {
        return settings;
    }
    for (const char* file : kFiles) {
        settings.awake |= groups(file);
    }
    const std::string duringSleep = value(diag::kEnabledDuringSleepKey);
    if (duringSleep == diag::toString(diag::DuringAPSleep::Full)) {
        settings.asleep = settings.awake;
    } else if (duringSleep == diag::toString(diag::DuringAPSleep::Lite)) {
        settings.asleep = groups(diag::kSleepDMCFileKey);
    }
    // What is streamed is to be seen as it happens.
    settings.useThreshold = target_ == Target::Disk && isSet(diag::kUseThresholdKey);
    settings.lowWatermark = static_cast<unsigned>(number(diag::kLowWatermarkKey));
    settings.highWatermark = static_cast<unsigned>(number(diag::kHighWatermarkKey));
    settings.holdUntilAwake = isSet(diag::kBufferingOnAPAwake);
    settings.hold = snapshots_ > 0 && isSet(diag::kStopReaderKey);
    return settings;
}

void DiagTrace::apply() {
    if (baseband_ == nullptr) {
        return;
    }
    around_.recorders.setLimits(Type::DIAG, {number(diag::kHistoryKey) * kMegabyte});
    const Target before = target_;
    const Target now = target();
    if (before != now) {
        // Messages that the baseband still holds go to the old target.
        baseband_->drainDiag();
    }
    target_ = now;
    followTarget();
    if (const DiagSettings settings = basebandSettings(); settings != applied_) {
        baseband_->configureDiag(settings);
        applied_ = settings;
    }
    watchForStall();
    updateStatus();
}

/// Opens the live stream, or closes it once no watch is being served. A stream that is wanted again by then goes on: its socket
/// can't be opened a second time before it is closed.
void DiagTrace::followTarget() {
    const bool isStreamed = target_ == Target::Stream;
    if (isStreamed == (stream_ != nullptr)) {
        return;
    }
    if (!isStreamed) {
        around_.loop.defer([this] {
            if (target_ != Target::Stream) {
                stream_.reset();
            }
        });
        return;
    }
    auto listening = around_.streamAccess.listen();
    if (!listening) {
        log::warning(listening.refusal().sentence);
        return;
    }
    stream_ = std::make_unique<LiveStream>(around_.loop, std::move(*listening), around_.streamAccess.admits);
    stream_->setOnReaders([this] { updateStatus(); });
}

void DiagTrace::record(const TraceRecord& message) {
    heard_ = true;
    if (std::exchange(stalled_, false)) {
        log::notice("the DIAG trace goes on");
    }
    if (target_ == Target::Stream && stream_) {
        stream_->send(message.time, message.content);
    } else if (target_ == Target::Disk) {
        around_.recorders.record(message);
    }
}

void DiagTrace::bootStateChanged(BootState state) {
    ready_ = state == BootState::Ready;
    watchForStall();
}

void DiagTrace::sleepChanged(bool asleep) {
    asleep_ = asleep;
    watchForStall();
    updateStatus();
}

void DiagTrace::beginSnapshot() {
    baseband_->drainDiag();
    ++snapshots_;
    apply();
}

void DiagTrace::endSnapshot() {
    --snapshots_;
    apply();
}

void DiagTrace::updateStatus() {
    const bool isSilent = snapshots_ > 0 ? applied_.hold : asleep_ && (applied_.holdUntilAwake || applied_.asleep == 0);
    const bool isWritable = !around_.recorders.isFailing(Type::DIAG);
    const bool isTaken =
        (target_ == Target::Disk && isWritable) || (target_ == Target::Stream && stream_ && stream_->hasReaders());
    around_.settings.setReadOnly(Type::DIAG, diag::kDumpStateKey,
                                 isTaken && !isSilent ? TraceProperty::kDumping : TraceProperty::kIdle);
}

void DiagTrace::watchForStall() {
    // A sleeping application processor may rightly hear nothing.
    if (target_ == Target::Nowhere || !ready_ || asleep_ || applied_.hold || !isSet(diag::kStallDetectionKey)) {
        stallTimer_.cancel();
    } else if (!stallTimer_.isSet()) {
        heard_ = false;
        stallTimer_.set(baseband_->longestSilence(), [this] { checkForStall(); });
    }
}

void DiagTrace::checkForStall() {
    if (!heard_) {
        // They may be waiting for the baseband's buffer to fill.
        baseband_->drainDiag();
    }
    if (!heard_ && !stalled_) {
        stalled_ = true;
        log::warning(fmt::format("the DIAG trace has stalled: no message for {} s",
                                 std::chrono::duration<double>(baseband_->longestSilence()).count()));
        recover();
    }
    watchForStall();
}

void DiagTrace::recover() {
    const std::string recovery = value(diag::kStallDetectionRecoveryKey);
    if (recovery == diag::toString(diag::Recovery::ResetBaseband)) {
        around_.resetBaseband();
    } else if (recovery == diag::toString(diag::Recovery::Reconfigure)) {
        baseband_->configureDiag(applied_);
    }
}

}  // namespace corvane
