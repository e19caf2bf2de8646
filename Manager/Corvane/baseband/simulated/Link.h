#pragma once

#include "Corvane/baseband/Baseband.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace corvane::simulated {

/// The link between manager and baseband: tells of each exchange in the BasebandIPC trace, and of each transfer that carries it
/// in the KernelPCI trace.
class Link {
public:
    explicit Link(OnRecord onRecord) : onRecord_(std::move(onRecord)) {}

    static bool carries(ryn::trace::Type trace) {
        return trace == ryn::trace::Type::BasebandIPC || trace == ryn::trace::Type::KernelPCI;
    }
    /// Of a kind that it carries.
    void switchTrace(ryn::trace::Type trace, bool on);

    /// A command to the baseband. @param details of it, none when empty.
    void command(std::string_view what, std::string_view details = {}) { exchange(Ring::Commands, what, details); }
    /// What the baseband tells by itself.
    void event(std::string_view what, std::string_view details = {}) { exchange(Ring::Events, what, details); }
    /// A diagnostic message, which is no exchange.
    void message(std::size_t size) { transfer(Ring::Messages, size); }

private:
    enum class Ring : std::uint8_t { Commands, Events, Messages };
    static constexpr std::size_t kRingCount = static_cast<std::size_t>(Ring::Messages) + 1;

    void exchange(Ring ring, std::string_view what, std::string_view details);
    void transfer(Ring ring, std::size_t size);

    OnRecord onRecord_;
    bool exchangesOn_ = false;
    bool transfersOn_ = false;
    std::array<std::uint32_t, kRingCount> transfers_{};  ///< so far, on each ring
};

}  // namespace corvane::simulated
