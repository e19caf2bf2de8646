#include "Corvane/baseband/modemmanager/ModemChoice.h"

#include <algorithm>

namespace corvane::modemmanager {

const Modem* ModemChoice::choose(const Modems& modems) {
    const Modem* found = find(modems);
    const std::string path = found == nullptr ? std::string() : found->path;
    if (path != path_) {
        path_ = path;
        if (found != nullptr) {
            follow(*found, modems.size());
        } else {
            log_("The modem has gone.");
        }
    }
    return found;
}

const Modem* ModemChoice::find(const Modems& modems) const {
    const auto present = std::ranges::find_if(modems, [this](const auto& entry) { return entry.second->path == path_; });
    if (present != modems.end()) {
        return present->second;
    }
    if (name_.empty()) {
        return modems.empty() ? nullptr : modems.begin()->second;
    }
    const auto named = std::ranges::find_if(modems, [this](const auto& entry) { return matches(*entry.second); });
    return named == modems.end() ? nullptr : named->second;
}

bool ModemChoice::matches(const Modem& modem) const {
    const std::string imei = modem.text("EquipmentIdentifier");
    const std::string device = modem.text("Device");
    const std::string port = modem.text("PrimaryPort");
    if (name_ == imei || name_ == device || name_ == port || name_ == "/dev/" + port) {
        return true;
    }
    if (device_.empty()) {
        return name_ == modem.index() || name_ == modem.path;
    }
    return imei.empty() || imei_.empty() ? device == device_ : imei == imei_;
}

void ModemChoice::follow(const Modem& modem, std::size_t count) {
    imei_ = modem.text("EquipmentIdentifier");
    device_ = modem.text("Device");
    std::string sentence = "The baseband is the modem " + modem.describe();
    if (name_.empty() && count > 1) {
        sentence += ", the first of " + std::to_string(count) + "; --modem chooses another";
    }
    log_(sentence + ".");
}

std::string ModemChoice::describeAbsence(const Modems& modems) const {
    if (modems.empty()) {
        return "ModemManager has no modem.";
    }
    std::string sentence = "ModemManager has no modem \"" + name_ + "\"; it has";
    for (const auto& [index, modem] : modems) {
        sentence += (modem == modems.begin()->second ? " " : ", ") + modem->describe();
    }
    return sentence + ".";
}

}  // namespace corvane::modemmanager
