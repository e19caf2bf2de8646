#include "Corvane/baseband/modemmanager/ModemChoice.h"

#include <fmt/format.h>

#include <algorithm>

namespace corvane::modemmanager {

const Modem* ModemChoice::choose(const Modems& modems) {
    const auto isPresent = [this](const auto& entry) { return entry.second->path == path_; };
    if (const auto present = std::ranges::find_if(modems, isPresent); present != modems.end()) {
        return present->second;
    }
    const auto found = std::ranges::find_if(modems, [this](const auto& entry) { return matches(*entry.second); });
    if (found != modems.end()) {
        bind(*found->second, modems);
        return found->second;
    }
    if (!path_.empty()) {
        path_.clear();
        log_("The modem has gone.");
    }
    return nullptr;
}

bool ModemChoice::isLast(const Modem& modem) const {
    const std::string imei = modem.text("EquipmentIdentifier");
    return imei.empty() || imei_.empty() ? modem.text("Device") == device_ : imei == imei_;
}

bool ModemChoice::isNamed(const Modem& modem) const {
    const std::string port = modem.text("PrimaryPort");
    const std::string names[] = {
        modem.text("EquipmentIdentifier"), modem.text("Device"), port, "/dev/" + port, modem.index(), modem.path};
    return name_.empty() || name_ == kAny || std::ranges::find(names, name_) != std::end(names);
}

/// An IMEI that another modem has too, as those that were never given one do, tells nothing.
void ModemChoice::bind(const Modem& modem, const Modems& modems) {
    replacements_ += wasFound() && !isLast(modem) ? 1 : 0;
    path_ = modem.path;
    device_ = modem.text("Device");
    description_ = modem.description();
    imei_ = modem.text("EquipmentIdentifier");
    const auto hasImei = [this](const auto& entry) { return entry.second->text("EquipmentIdentifier") == imei_; };
    if (std::ranges::count_if(modems, hasImei) > 1) {
        imei_.clear();
    }
    std::string sentence = "The baseband is the modem " + modem.describe();
    if (name_.empty() && modems.size() > 1) {
        sentence += fmt::format(", the first of {}; --modem chooses another", modems.size());
    }
    log_(sentence + ".");
}

std::string ModemChoice::describeAbsence() const {
    if (isBound()) {
        return "The modem " + description_ + " isn't there";
    }
    return name_.empty() || name_ == kAny ? "There is no modem" : "There is no modem \"" + name_ + "\"";
}

}  // namespace corvane::modemmanager
