#include "Corvane/baseband/modemmanager/ModeWish.h"

#include "Corvane/baseband/Baseband.h"
#include "Platform/File.h"

#include <cstdint>
#include <utility>

namespace corvane::modemmanager {
namespace {

constexpr std::string_view kName = "modem-mode";

/// Another one each time that the machine boots (random(4)).
const std::string& bootId() {
    static const std::string kId = [] {
        constexpr std::size_t kLongest = 64;
        const std::string line = platform::readFile("/proc/sys/kernel/random/boot_id", kLongest).bytes;
        return line.substr(0, line.find('\n'));
    }();
    return kId;
}

/// What follows the mode's digit in a wish for this modem.
std::string keyOf(const std::string& modem) {
    return " " + bootId() + " " + modem;
}

}  // namespace

ModeWish::ModeWish(SettingsStore& store, Log log)
    : store_(store), log_(std::move(log)), wish_(store.get(kBasebandArea, kName).value_or("")) {}

std::optional<OperatingMode> ModeWish::of(const std::string& modem) const {
    if (wish_.empty() || wish_.substr(1) != keyOf(modem)) {
        return std::nullopt;
    }
    return static_cast<OperatingMode>(wish_.front() - '0');
}

void ModeWish::set(const std::string& modem, std::optional<OperatingMode> mode) {
    std::string wish = mode ? std::to_string(static_cast<std::int32_t>(*mode)) + keyOf(modem) : "";
    if (isStored_ && wish == wish_) {
        return;
    }
    wish_ = std::move(wish);
    const Result<void> stored = store_.store(kBasebandArea, kName, wish_);
    isStored_ = static_cast<bool>(stored);
    if (!stored) {
        log_("The operating mode that was asked for won't outlive a restart: " + stored.refusal().sentence);
    }
}

}  // namespace corvane::modemmanager
