#include "Corvane/baseband/modemmanager/ModeWish.h"

#include "Platform/File.h"

#include <cstdint>
#include <utility>

namespace corvane::modemmanager {
namespace {

constexpr std::string_view kArea = "baseband";
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

ModeWish::ModeWish(SettingsStore& store) : store_(store), stored_(store.get(kArea, kName).value_or("")) {}

std::optional<OperatingMode> ModeWish::of(const std::string& modem) const {
    if (stored_.empty() || stored_.substr(1) != keyOf(modem)) {
        return std::nullopt;
    }
    return static_cast<OperatingMode>(stored_.front() - '0');
}

bool ModeWish::set(const std::string& modem, std::optional<OperatingMode> mode) {
    std::string wish = mode ? std::to_string(static_cast<std::int32_t>(*mode)) + keyOf(modem) : "";
    return std::exchange(stored_, wish) == wish || static_cast<bool>(store_.store(kArea, kName, wish));
}

}  // namespace corvane::modemmanager
