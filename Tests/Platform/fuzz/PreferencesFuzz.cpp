#include "Platform/CoreFoundation/PreferencesFile.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdlib>

/// Whatever counts as preferences can be changed, written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto tree = platform::parsePreferences({reinterpret_cast<const char*>(data), size});
    if (!tree) {
        return 0;
    }
    (*tree)["CurrentUser"]["CurrentHost"]["Trace::RYN::History"] = 5;
    if (!platform::parsePreferences(tree->dump(2))) {
        std::abort();
    }
    return 0;
}
