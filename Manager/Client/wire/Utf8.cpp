#include "Client/wire/Utf8.h"

#include "Platform/Utf8.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ryn::wire {

bool isUtf8(std::string_view bytes) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    while (!bytes.empty()) {
        // Nearly all text here is ASCII: eight bytes at a time, and the rest at once.
        std::uint64_t word = 0;
        const std::size_t length = std::min(bytes.size(), sizeof word);
        std::memcpy(&word, bytes.data(), length);
        if ((word & kHighBits) == 0) {
            bytes.remove_prefix(length);
            continue;
        }
        const platform::Utf8Piece piece = platform::firstUtf8Piece(bytes);
        if (!piece.valid) {
            return false;
        }
        bytes.remove_prefix(piece.length);
    }
    return true;
}

}  // namespace ryn::wire
