#include "Platform/vsk/DeviceDescription.h"

#include "Platform/File.h"
#include "Platform/Report.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <limits>

namespace vsk {
namespace {

using Json = nlohmann::json;

constexpr std::pair<const char*, Build> kBuilds[] = {
    {"internal", Build::Internal},
    {"carrier", Build::Carrier},
    {"vendor", Build::Vendor},
    {"customer", Build::Customer},
};

constexpr std::pair<const char*, std::uint32_t DeviceDescription::*> kNumbers[] = {
    {"radio", &DeviceDescription::radio},
    {"radioVendor", &DeviceDescription::radioVendor},
    {"product", &DeviceDescription::product},
    {"coreDumpPersonality", &DeviceDescription::coreDumpPersonality},
};

bool readBuild(const Json& value, DeviceDescription& description) {
    for (const auto& [word, build] : kBuilds) {
        if (value == word) {
            description.build = build;
            return true;
        }
    }
    return false;
}

bool readNumber(const Json& value, std::uint32_t& number) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
        return false;
    }
    number = value.get<std::uint32_t>();
    return true;
}

/// @return what is wrong with the members, empty when nothing is
std::string readMembers(const Json& object, DeviceDescription& description) {
    if (const auto build = object.find("build"); build != object.end() && !readBuild(*build, description)) {
        return R"("build" must be "internal", "carrier", "vendor" or "customer")";
    }
    if (const auto allowed = object.find("traceAllowed"); allowed != object.end()) {
        if (!allowed->is_boolean()) {
            return R"("traceAllowed" must be true or false)";
        }
        description.traceAllowed = allowed->get<bool>();
    }
    for (const auto& [name, member] : kNumbers) {
        const auto value = object.find(name);
        if (value != object.end() && !readNumber(*value, description.*member)) {
            return '"' + std::string(name) + "\" must be an integer from 0 to 4294967295";
        }
    }
    return {};
}

DeviceDescription readDescription() {
    constexpr std::size_t kLargestFile = 1 << 20;
    const char* named = std::getenv("SORVEX_DEVICE_FILE");
    const std::string path = named != nullptr && *named != '\0' ? named : "/etc/corvane/device.json";
    const auto content = platform::readFile(path, kLargestFile);
    if (content.missing) {
        return {};
    }
    const auto parsed = content.problem.empty() ? parseDeviceDescription(content.bytes) : ParsedDescription{{}, content.problem};
    if (!parsed.error.empty()) {
        platform::report(path + ": " + parsed.error + "; the device counts as an internal build with radio 9");
    }
    return parsed.description;
}

}  // namespace

ParsedDescription parseDeviceDescription(std::string_view json) {
    const auto object = Json::parse(json, nullptr, false);
    if (!object.is_object()) {
        return {{}, object.is_discarded() ? "not JSON" : "not a JSON object"};
    }
    DeviceDescription description;
    auto error = readMembers(object, description);
    return {error.empty() ? description : DeviceDescription(), std::move(error)};
}

const DeviceDescription& deviceDescription() {
    static const DeviceDescription description = readDescription();
    return description;
}

}  // namespace vsk
