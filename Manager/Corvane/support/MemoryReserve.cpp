#include "Corvane/support/MemoryReserve.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>

namespace corvane::memory {
namespace {

/// Together more than serving one packet takes; each small enough for what a client that ends leaves free.
constexpr std::size_t kBlock = std::size_t{1} << 15U;
std::array<void*, 32> held{};
bool isWhole = false;

/// Called by operator new, which tries again when this returns.
void releaseReserve() {
    if (std::ranges::count(held, nullptr) == std::ssize(held)) {
        throw std::bad_alloc();
    }
    isWhole = false;
    for (void*& block : held) {
        std::free(block);
        block = nullptr;
    }
}

}  // namespace

void reserve() {
    std::set_new_handler(releaseReserve);
    for (void*& block : held) {
        block = block == nullptr ? std::malloc(kBlock) : block;
    }
    isWhole = std::ranges::find(held, nullptr) == held.end();
}

bool isShort() {
    return !isWhole;
}

}  // namespace corvane::memory
