#include "Pellcore/CellularService.h"

#include "Client/Manager.h"
#include "Pellcore/Log.h"
#include "platform/ryn/constants.h"
#include "platform/xpc/Values.h"

#include <utility>

namespace pellcore {
namespace {

constexpr const char* kBootStateReady = "Ready";
constexpr std::int64_t kOperatingModeOnline = 0;

}  // namespace

template <typename... Arguments>
auto CellularService::whileAlive(void (CellularService::*member)(Arguments...)) {
    return [self = weak_from_this(), member](Arguments... arguments) {
        if (const auto service = self.lock()) {
            (service.get()->*member)(arguments...);
        }
    };
}

void CellularService::start() {
    ryn::client::RegisterEventHandler(manager_, ryn::kEventBasebandBootStateChange, whileAlive(&CellularService::bootStateIs));
    // A new connection may mean that the manager has started; events may have been missed.
    manager_->addConnectionHandler([ask = whileAlive(&CellularService::askBootState)](const xpc::Object&) { ask(); });
    ryn::client::EventsOn(manager_);
    dispatch_async(queue_.get(), whileAlive(&CellularService::askBootState));
}

void CellularService::askBootState() {
    if (std::exchange(asking_, true)) {
        return;
    }
    bootState_.clear();
    ryn::client::PerformCommand(manager_, ryn::kCommandGetBasebandBootState, whileAlive(&CellularService::bootStateAnswered),
                                xpc::null());
}

void CellularService::bootStateAnswered(int result, const xpc::Object& reply) {
    asking_ = false;
    if (result == 0) {
        bootStateIs(reply);
    } else {
        report("can't ask for the boot state: ", reply);
    }
}

void CellularService::bootStateIs(const xpc::Object& payload) {
    std::string state = xpc::textAt(payload, ryn::kKeyBasebandBootState).value_or("");
    if (state == bootState_) {
        return;
    }
    bootState_ = std::move(state);
    lastProblem_.clear();
    log("the baseband's boot state is " + (bootState_.empty() ? ryn::kUnknown : bootState_));
    if (bootState_ != kBootStateReady) {
        return;
    }
    if (xpc_dictionary_get_value(payload.get(), ryn::kKeyBasebandOperatingMode) != nullptr) {
        log("an operating mode was asked for since the baseband has booted; it is left as it is");
    } else {
        bringOnline();
    }
}

void CellularService::bringOnline() {
    const auto argument = xpc::dictionary({{ryn::kKeyBasebandOperatingMode, xpc::number(kOperatingModeOnline)}});
    ryn::client::PerformCommand(manager_, ryn::kCommandSetBasebandOperatingMode, whileAlive(&CellularService::onlineAnswered),
                                argument);
}

void CellularService::onlineAnswered(int result, const xpc::Object& reply) {
    if (result == 0) {
        log("brought the baseband online");
    } else {
        report("can't bring the baseband online: ", reply);
    }
}

void CellularService::report(const std::string& what, const xpc::Object& reply) {
    const std::string why = xpc::textAt(reply, ryn::kKeyErrorString).value_or("");
    std::string problem = what + (why.empty() ? "the manager refused and did not say why" : why);
    if (problem != lastProblem_) {
        log(problem);
        lastProblem_ = std::move(problem);
    }
}

}  // namespace pellcore
