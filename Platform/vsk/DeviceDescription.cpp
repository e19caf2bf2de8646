#include "Platform/vsk/DeviceDescription.h"

#include "Platform/Environment.h"
#include "Platform/File.h"
#include "Platform/Report.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <limits>

namespace vsk {
namespace {

using Json = nlohmann::json;

// How a member is read: false when it is not what is accepted, and the description is dropped.

bool readBuild(const Json& value, DeviceDescription& description) {
    constexpr const char* kBuilds[] = {"internal", "carrier", "vendor", "customer"};  // in the order of Build
    static_assert(std::size(kBuilds) == static_cast<std::size_t>(Build::Customer) + 1);
    const auto* const build = std::find(std::begin(kBuilds), std::end(kBuilds), value);
    description.build = static_cast<Build>(build - kBuilds);
    return build != std::end(kBuilds);
}

bool readTraceAllowed(const Json& value, DeviceDescription& description) {
    description.traceAllowed = value == true;
    return value.is_boolean();
}

template <std::uint32_t DeviceDescription::*number>
bool readNumber(const Json& value, DeviceDescription& description) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
        return false;
    }
    description.*number = value.get<std::uint32_t>();
    return true;
}

struct Member {
    const char* name;
    bool (*read)(const Json& value, DeviceDescription& description);
    const char* accepted;
};
constexpr const char* kNumber = "an integer from 0 to 4294967295";
constexpr Member kMembers[] = {
    {"build", readBuild, R"("internal", "carrier", "vendor" or "customer")"},
    {"traceAllowed", readTraceAllowed, "true or false"},
    {"radio", readNumber<&DeviceDescription::radio>, kNumber},
    {"radioVendor", readNumber<&DeviceDescription::radioVendor>, kNumber},
    {"product", readNumber<&DeviceDescription::product>, kNumber},
    {"coreDumpPersonality", readNumber<&DeviceDescription::coreDumpPersonality>, kNumber},
};

DeviceDescription readDescription() {
    constexpr std::size_t kLargestFile = 1 << 20;
    const auto named = platform::environment("SORVEX_DEVICE_FILE");
    const std::string path(named.empty() ? "/etc/corvane/device.json" : named);
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
    for (const Member& member : kMembers) {
        const auto value = object.find(member.name);
        if (value != object.end() && !member.read(*value, description)) {
            return {{}, '"' + std::string(member.name) + "\" must be " + member.accepted};
        }
    }
    return {description, {}};
}

const DeviceDescription& deviceDescription() {
    static const DeviceDescription description = readDescription();
    return description;
}

}  // namespace vsk
