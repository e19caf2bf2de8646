#include "Corvane/baseband/simulated/Link.h"

#include <fmt/format.h>

#include <string>

namespace corvane::simulated {
namespace {

using ryn::trace::Type;

constexpr std::uint32_t kRingSize = 256;
constexpr std::uint32_t kDescriptorSize = 16;
/// In bytes, of an exchange.
constexpr std::size_t kHeader = 12;

struct RingInfo {
    const char* direction;  ///< seen from the manager
    std::uint32_t base;     ///< of its descriptors
};
constexpr RingInfo kRings[] = {{"tx", 0x1000}, {"rx", 0x2000}, {"rx", 0x3000}};

}  // namespace

void Link::switchTrace(Type trace, bool on) {
    (trace == Type::BasebandIPC ? exchangesOn_ : transfersOn_) = on;
}

void Link::exchange(Ring ring, std::string_view what, std::string_view details) {
    if (exchangesOn_) {
        std::string line = ring == Ring::Commands ? "command " : "event ";
        line.append(what).append(details.empty() ? "" : ": ").append(details);
        onRecord_({Type::BasebandIPC, std::chrono::system_clock::now(), std::move(line)});
    }
    transfer(ring, kHeader + what.size() + details.size());
}

void Link::transfer(Ring ring, std::size_t size) {
    if (!transfersOn_) {
        return;
    }
    static_assert(std::size(kRings) == kRingCount);
    const auto index = static_cast<std::size_t>(ring);
    const std::uint32_t descriptor = transfers_[index]++ % kRingSize;
    onRecord_({Type::KernelPCI, std::chrono::system_clock::now(),
               fmt::format("{} ring {} descriptor {} at 0x{:x}: {} bytes", kRings[index].direction, index, descriptor,
                           kRings[index].base + descriptor * kDescriptorSize, size)});
}

}  // namespace corvane::simulated
