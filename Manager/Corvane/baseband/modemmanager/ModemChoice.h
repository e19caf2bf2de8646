#pragma once

#include "Corvane/baseband/modemmanager/ModemObjects.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace corvane::modemmanager {

using Log = std::function<void(const std::string& sentence)>;

/// Which of the modems is the baseband: the one with the name, without a name the first. The baseband is bound to the modem that
/// was found, by its IMEI or else by its device, and stays so while that modem is away. Only with kAny another modem takes its
/// place.
class ModemChoice {
public:
    /// The name that stands for whatever modem is there.
    static constexpr std::string_view kAny = "any";

    using Modems = std::map<std::int64_t, const Modem*>;

    /// @param name index, object path, device, primary port, IMEI or kAny; empty: none.
    explicit ModemChoice(std::string name, Log log) : name_(std::move(name)), log_(std::move(log)) {}

    /// The chosen one of `modems`; nullptr when it isn't among them.
    const Modem* choose(const Modems& modems);
    /// "There is no modem \"5\"", or "The modem Acme Modem 1, IMEI ... isn't there" once it was found.
    std::string describeAbsence() const;
    /// IMEI or else device of the modem that the baseband is bound to; empty before one was found.
    const std::string& identity() const { return imei_.empty() ? device_ : imei_; }
    /// How often the choice has become another modem, as it may with kAny.
    std::int64_t replacements() const { return replacements_; }

private:
    bool wasFound() const { return !device_.empty(); }
    bool isBound() const { return wasFound() && name_ != kAny; }
    bool matches(const Modem& modem) const { return isBound() ? isLast(modem) : isNamed(modem); }
    /// Whether it is the modem of the last choice.
    bool isLast(const Modem& modem) const;
    bool isNamed(const Modem& modem) const;
    void bind(const Modem& modem, const Modems& modems);

    const std::string name_;
    const Log log_;
    std::string path_;  ///< of the present choice
    std::string imei_;  ///< of the last choice, so are the next two; empty when the modem has none of its own
    std::string device_;
    std::string description_;
    std::int64_t replacements_ = 0;
};

}  // namespace corvane::modemmanager
