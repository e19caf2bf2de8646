#include "Client/Render.h"

#include <cstdlib>

namespace wire = ryn::wire;

/// What can be decoded can be encoded, and says the same when it is decoded again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto packet = wire::decode({data, size});
    if (!packet) {
        return 0;
    }
    std::vector<std::uint8_t> encoded;
    if (!wire::encode(*packet, encoded)) {
        std::abort();
    }
    const auto again = wire::decode(encoded);
    if (!again || render(*again) != render(*packet)) {
        std::abort();
    }
    return 0;
}
