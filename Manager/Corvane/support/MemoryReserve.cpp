#include "Corvane/support/MemoryReserve.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>

namespace corvane::memory {
namespace {

/// Each small enough for what a client that ends leaves free.
constexpr std::size_t kBlock = std::size_t{1} << 15U;
std::array<void*, 32> held{};
/// More than serving one packet takes. Not all of them: once memory was lacking, lasting blocks may divide what is free.
constexpr auto kEnough = std::ssize(held) / 2;
bool isEnough = false;

/// Called by operator new, which tries again when this returns.
void releaseReserve() {
    if (std::ranges::count(held, nullptr) == std::ssize(held)) {
        throw std::bad_alloc();
    }
    isEnough = false;
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
    isEnough = std::ssize(held) - std::ranges::count(held, nullptr) >= kEnough;
}

bool isShort() {
    return !isEnough;
}

}  // namespace corvane::memory
