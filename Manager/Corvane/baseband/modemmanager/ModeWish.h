#pragma once

#include "Corvane/baseband/OperatingMode.h"
#include "Corvane/settings/SettingsStore.h"

#include <optional>
#include <string>

namespace corvane::modemmanager {

/// The operating mode that a user asked for, from the request until the modem boots. It is stored, since neither a restart of the
/// manager nor of ModemManager boots the modem; a restart of the machine does.
class ModeWish {
public:
    /// @param store outlives this.
    explicit ModeWish(SettingsStore& store);

    /// @param modem IMEI or else device; a wish for another modem is none for this one.
    std::optional<OperatingMode> of(const std::string& modem) const;
    /// @param mode nullopt: nothing is wished for. @return false when it could not be stored.
    bool set(const std::string& modem, std::optional<OperatingMode> mode);

private:
    SettingsStore& store_;
    std::string stored_;  ///< "3 BOOT-ID IDENTITY"; empty: nothing is wished for
};

}  // namespace corvane::modemmanager
