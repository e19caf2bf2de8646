#include "Platform/vsk/DeviceDescription.h"

#include <cstdint>
#include <cstdlib>

/// A refused description is the default one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto parsed = vsk::parseDeviceDescription({reinterpret_cast<const char*>(data), size});
    if (!parsed.error.empty() && (parsed.description.radio != 9 || parsed.description.build != vsk::Build::Internal)) {
        std::abort();
    }
    return 0;
}
