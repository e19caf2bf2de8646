#include "Corvane/support/MemoryReserve.h"

#include <cstdlib>
#include <new>

namespace corvane::memory {
namespace {

/// More than serving one packet takes.
constexpr std::size_t kSize = std::size_t{1} << 20U;
void* held = nullptr;

/// Called by operator new, which tries again when this returns.
void giveUp() {
    if (held == nullptr) {
        throw std::bad_alloc();
    }
    std::free(held);
    held = nullptr;
}

}  // namespace

void reserve() {
    if (held == nullptr) {
        held = std::malloc(kSize);
        std::set_new_handler(giveUp);
    }
}

bool isShort() {
    return held == nullptr;
}

}  // namespace corvane::memory
