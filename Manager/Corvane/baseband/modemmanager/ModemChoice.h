#pragma once

#include "Corvane/baseband/modemmanager/ModemObjects.h"

#include <functional>
#include <map>
#include <string>

namespace corvane::modemmanager {

/// Which of the modems is the baseband.
///
/// A name that stays with a modem (IMEI, device, port) is looked for at all times. An index or object path changes each time the
/// modem is plugged in, so it is looked for until it is found once; from then on that modem is, by its IMEI or else its device.
/// Without a name the first is taken and kept for as long as it is there.
class ModemChoice {
public:
    using Modems = std::map<std::int64_t, const Modem*>;
    using Log = std::function<void(const std::string& sentence)>;

    /// @param name index, object path, device, primary port or IMEI; empty: none.
    explicit ModemChoice(std::string name, Log log) : name_(std::move(name)), log_(std::move(log)) {}

    /// The chosen one of `modems`; nullptr when it isn't among them.
    const Modem* choose(const Modems& modems);
    /// "ModemManager has no modem", or which ones it has when none has the name.
    std::string describeAbsence(const Modems& modems) const;

private:
    bool matches(const Modem& modem) const;
    const Modem* find(const Modems& modems) const;
    void follow(const Modem& modem, std::size_t count);

    const std::string name_;
    const Log log_;
    std::string path_;  ///< of the present choice
    std::string imei_;  ///< of the last choice, so is `device_`
    std::string device_;
};

}  // namespace corvane::modemmanager
