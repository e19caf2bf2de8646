#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vsk {

enum class Build : std::uint8_t { Internal, Carrier, Vendor, Customer };

/// What this device is; the member values are those of a device that nothing describes.
struct DeviceDescription {
    Build build = Build::Internal;
    bool traceAllowed = true;
    std::uint32_t radio = 9;
    std::uint32_t radioVendor = 1;
    std::uint32_t product = 1;
    std::uint32_t coreDumpPersonality = 1;
};

/// The description in a JSON object whose members are named like those above; absent ones keep their values, others are ignored.
struct ParsedDescription {
    DeviceDescription description;
    std::string error;  ///< why the text was refused, and what would be accepted; empty when it was read
};
ParsedDescription parseDeviceDescription(std::string_view json);

/// This device's description, read on first use from the file that SORVEX_DEVICE_FILE names, else
/// /etc/corvane/device.json. A file that can't be read or parsed gives a message on standard error and the values above.
const DeviceDescription& deviceDescription();

}  // namespace vsk
