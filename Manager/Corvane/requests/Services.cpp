#include "Corvane/requests/Services.h"

#include "Corvane/requests/Replies.h"
#include "Corvane/support/Journal.h"
#include "Corvane/support/Json.h"
#include "Corvane/support/UtcTime.h"
#include "Corvane/support/Values.h"
#include "config/DiagConfig.h"
#include "config/RYNProperties.h"
#include "platform/ryn/constants.h"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {

namespace {

/// Where the last event of the last self-test is kept.
constexpr std::string_view kLastSelfTest = "baseband.selftest";

const Refusal kUnreadablePreferences =
    Refusal::storageFailed("The preferences can't be read, and they may block resets; the manager's log says why.");

}  // namespace

Services::Services(SettingsStore& store, const std::filesystem::path& stateFolder, Loop& loop,
                   DiagTrace::StreamAccess streamAccess)
    : store_(store),
      group_(store, loop),
      traceSettings_(store, group_),
      traceFilters_(store, group_),
      erasure_(store, group_, traceSettings_, traceFilters_),
      scratchLog_(stateFolder / "Scratch"),
      traceRecorders_(loop, stateFolder / "Scratch"),
      traceLogs_(stateFolder / "Snapshots", traceFilters_, scratchLog_, traceRecorders_),
      journal_(loop),
      traceSwitches_(traceSettings_, traceRecorders_),
      diagTrace_({loop, traceSettings_, traceRecorders_, std::move(streamAccess), [this] { resetStalledBaseband(); }},
                 stateFolder) {
    traceSettings_.setPrepare([this](const TraceProperty& property, std::string_view value, Completion<void> done) {
        prepareSetting(property, value, std::move(done));
    });
    traceSettings_.setOnChange(
        [this](const TraceProperty& property, const std::string& value) { settingChanged(property, value); });
}

Services::~Services() = default;

void Services::start(std::unique_ptr<Baseband> baseband, OnEvent onEvent) {
    onEvent_ = std::move(onEvent);
    baseband_ = std::move(baseband);
    erasure_.finishInterrupted();
    checkJournal();
    traceSwitches_.start(*baseband_);
    diagTrace_.start(*baseband_);
    baseband_->start(*this);
}

void Services::stop() {
    group_.finish();
    baseband_->stop();
    journal_.stop();
    group_.finish();  // the trace logs that waited for one of these
}

Result<void> Services::allowReset() {
    if (!RYNProperties::isReadable()) {
        return kUnreadablePreferences;
    }
    if (RYNProperties::storedBlockBasebandResets()) {
        return Refusal::blocked("Resets of the baseband are blocked by the preference BlockBasebandResets; unblock them first.");
    }
    return {};
}

void Services::unblockResets(const Completion<void>& done) {
    write([this, done] {
        if (!RYNProperties::isReadable()) {
            done(kUnreadablePreferences);
        } else if (RYNProperties::storedBlockBasebandResets()) {
            group_.writePreference([] { return RYNProperties::storeBlockBasebandResets(false); }, done);
        } else {
            done({});
        }
    });
}

void Services::reset(const ResetRequest& request, Completion<void> completion) {
    if (const auto allowed = allowReset(); !allowed) {
        completion(allowed);
        return;
    }
    const auto counted = [this, why = request.subType, completion = std::move(completion)](const Result<void>& done) {
        if (done) {
            commandFigures_.countReset(why);
        }
        completion(done);
    };
    write([this, request, counted] { baseband_->reset(request, counted); });
}

void Services::prepareSetting(const TraceProperty& property, std::string_view value, Completion<void> done) {
    auto possible = property.trace == ryn::trace::Type::SYSLOG && value == "true" ? journal::checkReadable("SYSLOG")
                                                                                  : diagTrace_.check(property, value);
    if (possible) {
        traceSwitches_.prepare(property, value, std::move(done));
    } else {
        done(std::move(possible));
    }
}

void Services::settingChanged(const TraceProperty& property, const std::string& value) {
    log::info(fmt::format("{} {} is now {}", ryn::trace::typeAsString(property.trace), property.name, value));
    if (property.trace == ryn::trace::Type::RYN) {
        scratchLog_.reload();
    }
    if (property.name == std::string_view(TraceProperty::kKeepScratchLogs) && value == "false") {
        scratchLog_.clear();
    }
    traceSwitches_.settingChanged(property);
    diagTrace_.settingChanged(property);
}

void Services::collectTraceLogs(const std::string& reason, Completion<std::filesystem::path> completion) {
    if (const auto allowed = traceLogs_.checkFilters(); !allowed) {
        completion(allowed.refusal());
        return;
    }
    diagTrace_.beginSnapshot();
    baseband().getVersion([this, reason, completion = std::move(completion)](const Result<BasebandVersion>& version) {
        const std::string known = version && !version->text.empty() ? version->text : ryn::kUnknown;
        baseband().collectSnapshot([this, reason, known, completion](Result<SnapshotFiles> collected) {
            SnapshotFiles files = collected ? std::move(*collected) : SnapshotFiles();
            files.push_back(describe(reason, known));
            addJournal(std::move(files), [this, completion](SnapshotFiles all) { finishCollection(std::move(all), completion); });
        });
    });
}

SnapshotFile Services::describe(const std::string& reason, const std::string& basebandVersion) {
    return {"manager.json",
            readableJson(dictionary({
                {"Reason", text(reason)},
                {"Time", text(utcTimeStamp())},
                {"Versions", dictionary({{"Corvane", text(CORVANE_VERSION)}, {"Baseband", text(basebandVersion)}})},
                {"Settings", traceSettings_.all()},
                {"Filters", traceFilters_.all()},
                {"Commands", commandFigures_.toDictionary()},
                {"Clients", clientFigures_.toDictionary()},
            }))};
}

/// The setting may have been stored when the journal could be read, which it can't be now.
void Services::checkJournal() {
    if (traceSettings_.value(ryn::trace::Type::SYSLOG, diag::config::kEnabledKey) != "true") {
        return;
    }
    if (const auto readable = journal::checkReadable("SYSLOG"); !readable) {
        log::warning(readable.refusal().sentence);
        traceSettings_.setReadOnly(ryn::trace::Type::SYSLOG, diag::config::kEnabledKey, "false");
    }
}

void Services::addJournal(SnapshotFiles files, const std::function<void(SnapshotFiles files)>& then) {
    if (traceSettings_.value(ryn::trace::Type::SYSLOG, diag::config::kEnabledKey) != "true") {
        then(std::move(files));
        return;
    }
    const auto since = std::max(traceLogs_.lastCollected(), started_);
    journal_.read(since, [files = std::move(files), then](std::string lines) mutable {
        files.push_back({"system.log", std::move(lines)});
        then(std::move(files));
    });
}

void Services::finishCollection(SnapshotFiles files, const Completion<std::filesystem::path>& completion) {
    if (const auto lastSelfTest = store_.get(kBasebandArea, kLastSelfTest)) {
        files.push_back({"rf-self-test.json", *lastSelfTest});
    }
    const bool keep = traceSettings_.value(ryn::trace::Type::RYN, TraceProperty::kKeepScratchLogs) == "true";
    write([this, files = std::move(files), keep, completion] {
        auto written = traceLogs_.write(files, keep);
        if (written) {
            syncCollection(std::make_shared<TraceLogs::Written>(*std::move(written)), completion);
        } else {
            diagTrace_.endSnapshot();
            completion(written.refusal());
        }
    });
}

void Services::syncCollection(const std::shared_ptr<TraceLogs::Written>& written,
                              const Completion<std::filesystem::path>& completion) {
    group_.runNext([this, written, completion] {
        auto synced = traceLogs_.sync(*written);
        if (synced && !*synced) {
            syncCollection(written, completion);
            return;
        }
        diagTrace_.endSnapshot();
        completion(synced.then([](const auto& folder) { return *folder; }));
    });
}

void Services::bootStateChanged(const BootStatus& status) {
    diagTrace_.bootStateChanged(status.state);
    onEvent_(ryn::kEventBasebandBootStateChange, toReply(status));
}

void Services::operatingModeChanged(OperatingMode mode) {
    onEvent_(ryn::kEventBasebandOperatingModeChange, toReply(mode));
}

void Services::selfTestProgressed(const RFSelfTestEvent& event) {
    const xpc::Object payload = toReply(event);
    if (event.status != RFSelfTestEvent::Status::Running) {
        store_.storeLazily(kBasebandArea, kLastSelfTest, readableJson(payload));
    }
    if (event.status == RFSelfTestEvent::Status::Aborted) {
        log::info(event.error);
    }
    onEvent_(ryn::kEventBasebandDiagnostics, payload);
}

void Services::traceRecorded(const TraceRecord& record) {
    if (record.trace == ryn::trace::Type::DIAG) {
        diagTrace_.record(record);
    } else {
        traceRecorders_.record(record);
    }
}

void Services::resetStalledBaseband() {
    const auto done = [](const Result<void>& reset) {
        if (!reset) {
            log::warning(reset.refusal().sentence);
        }
    };
    reset({ResetType::Soft, "StallRecovery", "the DIAG trace has stalled"}, done);
}

}  // namespace corvane
