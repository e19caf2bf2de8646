#include "Corvane/support/MemoryReserve.h"

#include <array>
#include <cstdlib>
#include <new>

namespace corvane::memory {
namespace {

/// Each small enough for what a client that ends leaves free.
constexpr std::size_t kBlock = std::size_t{1} << 15U;
std::array<void*, 32> blocks{};
std::size_t held = 0;  ///< of them, from the first
/// More than serving one packet takes. It isn't all of them: after a lack of memory, what stays allocated may lie between the
/// free pieces, so that the last blocks are never found again.
constexpr std::size_t kEnough = blocks.size() / 2;

/// Called by operator new, which tries again when this returns.
void releaseReserve() {
    if (held == 0) {
        throw std::bad_alloc();
    }
    while (held > 0) {
        std::free(blocks[--held]);
    }
}

}  // namespace

void reserve() {
    std::set_new_handler(releaseReserve);
    while (held < blocks.size() && (blocks[held] = std::malloc(kBlock)) != nullptr) {
        ++held;
    }
}

bool isShort() {
    return held < kEnough;
}

}  // namespace corvane::memory
