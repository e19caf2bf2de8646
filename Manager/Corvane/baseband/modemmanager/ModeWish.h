#pragma once

#include "Corvane/baseband/OperatingMode.h"
#include "Corvane/baseband/modemmanager/ModemChoice.h"
#include "Corvane/settings/SettingsStore.h"

#include <optional>
#include <string>

namespace corvane::modemmanager {

/// The operating mode that a user asked for, from the request until the modem boots. It is stored, since neither a restart of the
/// manager nor of ModemManager boots the modem; a restart of the machine does.
class ModeWish {
public:
    /// @param store outlives this.
    ModeWish(SettingsStore& store, Log log);

    /// @param modem IMEI or else device; a wish for another modem is none for this one.
    std::optional<OperatingMode> of(const std::string& modem) const;
    /// Where it can't be stored, the log says why, and it holds only while the manager runs.
    /// @param mode nullopt: nothing is wished for.
    void set(const std::string& modem, std::optional<OperatingMode> mode);

private:
    SettingsStore& store_;
    const Log log_;
    std::string wish_;  ///< "3 BOOT-ID IDENTITY"; empty: nothing is wished for
    bool isStored_ = true;
};

}  // namespace corvane::modemmanager
