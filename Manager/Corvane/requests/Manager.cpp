#include "Corvane/requests/Manager.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/ReadableJson.h"
#include "Corvane/support/UtcTime.h"
#include "Corvane/support/Values.h"
#include "config/DiagConfig.h"
#include "config/RYNProperties.h"
#include "platform/ryn/constants.h"

namespace corvane {

Manager::Manager(SettingsStore& store, const std::filesystem::path& stateFolder)
    : traceSettings_(store),
      traceFilters_(store),
      bootFigures_(store),
      scratchLog_(stateFolder / "Scratch"),
      traceLogs_(stateFolder / "Snapshots", traceFilters_, scratchLog_) {
    log::alsoTo([this](std::string_view line) { scratchLog_.write(line); });
    traceSettings_.setObserver(
        [this](const TraceProperty& property, const std::string& value) { settingChanged(property, value); });
}

Manager::~Manager() {
    log::alsoTo({});
}

void Manager::start(std::unique_ptr<Baseband> baseband, EventSink events) {
    events_ = std::move(events);
    baseband_ = std::move(baseband);
    baseband_->start(*this);
}

void Manager::stop() {
    baseband_->stop();
}

std::optional<Refusal> Manager::refuseReset() {
    if (!RYNProperties::storedBlockBasebandResets()) {
        return std::nullopt;
    }
    return Refusal{ResultCode::Blocked,
                   "Resets of the baseband are blocked by the preference BlockBasebandResets; unblock them first."};
}

std::optional<Refusal> Manager::unblockResets() {
    if (!RYNProperties::storedBlockBasebandResets() || RYNProperties::storeBlockBasebandResets(false)) {
        return std::nullopt;
    }
    return Refusal{ResultCode::StorageFailed, "The preference BlockBasebandResets could not be written."};
}

std::optional<Refusal> Manager::resetSettings() {
    auto refusal = traceSettings_.reset();
    return refusal ? refusal : traceFilters_.reset();
}

void Manager::settingChanged(const TraceProperty& property, const std::string& value) {
    log::info(ryn::trace::typeAsString(property.trace) + " " + property.name + " is now " + value);
    if (property.name == std::string_view(TraceProperty::kKeepScratchLogs) && value == "false") {
        scratchLog_.clear();
    }
}

void Manager::collectTraceLogs(const std::string& reason, Completion completion) {
    if (auto refusal = traceLogs_.refuseCollection()) {
        completion({std::move(refusal), {}});
        return;
    }
    ++collecting_;
    traceSettings_.tell(ryn::trace::Type::DIAG, diag::config::kDumpStateKey, "Dumping");
    baseband().getVersion([this, reason, completion = std::move(completion)](const Answer& version) {
        baseband().collectSnapshot([this, reason, version, completion](std::vector<SnapshotFile> files) {
            files.push_back(describe(reason, version.reply));
            finishCollection(files, completion);
        });
    });
}

SnapshotFile Manager::describe(const std::string& reason, const xpc::Object& version) {
    const std::string baseband = textAt(version, ryn::kKeyBasebandVersion).value_or(ryn::kUnknown);
    return {"manager.json", readableJson(dictionary({
                                {"Reason", text(reason)},
                                {"Time", text(utcTimeStamp())},
                                {"Versions", dictionary({{"Corvane", text(CORVANE_VERSION)}, {"Baseband", text(baseband)}})},
                                {"Settings", traceSettings_.all()},
                                {"Filters", traceFilters_.all()},
                                {"Commands", commandFigures_.toDictionary()},
                                {"Clients", clientFigures_.toDictionary()},
                            }))};
}

void Manager::finishCollection(const std::vector<SnapshotFile>& files, const Completion& completion) {
    const bool keep = traceSettings_.value(ryn::trace::Type::RYN, TraceProperty::kKeepScratchLogs) == "true";
    auto refusal = traceLogs_.write(files, keep);
    if (--collecting_ == 0) {
        traceSettings_.tell(ryn::trace::Type::DIAG, diag::config::kDumpStateKey, "Idle");
    }
    completion({std::move(refusal), {}});
}

void Manager::basebandEvent(const char* event, const xpc::Object& payload) {
    events_(event, payload);
}

void Manager::basebandLog(std::string_view sentence) {
    log::info(sentence);
}

}  // namespace corvane
