#include "Corvane/Manager.h"

#include "Corvane/Log.h"

namespace corvane {

Manager::Manager(SettingsStore& store) : store_(store), traceSettings_(store_), bootFigures_(store_) {}

void Manager::start(std::unique_ptr<Baseband> baseband, EventSink events) {
    events_ = std::move(events);
    baseband_ = std::move(baseband);
    baseband_->start(*this);
}

void Manager::stop() {
    baseband_->stop();
}

std::optional<Refusal> Manager::refuseReset() {
    return std::nullopt;
}

std::optional<Refusal> Manager::unblockResets() {
    return std::nullopt;
}

std::optional<Refusal> Manager::resetSettings() {
    return traceSettings_.reset();
}

void Manager::basebandEvent(const char* event, const xpc::Object& payload) {
    events_(event, payload);
}

void Manager::basebandLog(std::string_view sentence) {
    log::info(sentence);
}

}  // namespace corvane
