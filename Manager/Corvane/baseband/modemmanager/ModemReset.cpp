#include "Corvane/baseband/modemmanager/ModemReset.h"

#include "Corvane/baseband/modemmanager/ModemStates.h"

#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

/// Modems on USB are gone within a second or two; one that is still there after this has reset without leaving the bus.
constexpr std::chrono::seconds kLeaveLimit = 10s;
/// A little less than a client waits by default.
constexpr std::chrono::seconds kReturnLimit = 55s;

}  // namespace

void ModemReset::begin(const std::string& path, Completion<void> ended) {
    path_ = path;
    ended_ = std::move(ended);
    accepted_ = false;
    left_ = false;
    result_ = {};
    return_.set(kReturnLimit, [this] {
        end(Refusal::timedOut("The modem was told to reset but isn't back yet; \"baseband state watch\" shows when it is."));
    });
}

void ModemReset::replied(const Result<void>& result, bool mayHaveLeft) {
    if (!underWay() || left_) {
        return;
    }
    if (!result && !mayHaveLeft) {
        end(result);
        return;
    }
    accepted_ = true;
    result_ = result;
    leave_.set(kLeaveLimit, [this] { end(Result<void>(result_)); });
}

void ModemReset::modemChanged(const Modem* modem) {
    if (!underWay()) {
        return;
    }
    if (modem == nullptr || modem->path != path_) {
        left_ = true;
        leave_.cancel();
    }
    if (!left_ || modem == nullptr) {
        return;
    }
    if (isFailed(*modem)) {
        end(Refusal::basebandFailed("The modem was reset and came back as " + describe(bootStatusOf(*modem)) + "."));
    } else if (isBooted(*modem)) {
        end({});
    }
}

void ModemReset::stop() {
    if (underWay()) {
        end(Refusal::aborted("The manager stopped before the modem was back."));
    }
}

void ModemReset::end(const Result<void>& result) {
    leave_.cancel();
    return_.cancel();
    std::exchange(ended_, nullptr)(result);
}

}  // namespace corvane::modemmanager
