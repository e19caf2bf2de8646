#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace corvane::simulated {

/// Writes fields of bits, the most significant bit first, as network protocols and ASN.1's unaligned packed encoding rules (UPER,
/// X.691) do.
class BitWriter {
public:
    /// The lowest `count` bits of `value`.
    BitWriter& bits(unsigned count, std::uint64_t value) {
        while (count > 0) {
            if (room_ == 0) {
                bytes_ += '\0';
                room_ = 8;
            }
            const unsigned taken = std::min(count, room_);
            count -= taken;
            room_ -= taken;
            const auto piece = static_cast<unsigned>(value >> count) & ((1U << taken) - 1);
            bytes_.back() = static_cast<char>(static_cast<unsigned char>(bytes_.back()) | piece << room_);
        }
        return *this;
    }
    /// An octet string without a size constraint, shorter than 128 bytes.
    BitWriter& octets(std::string_view octets) { return bits(8, octets.size()).text(octets); }
    BitWriter& text(std::string_view text) {
        for (const char byte : text) {
            bits(8, static_cast<unsigned char>(byte));
        }
        return *this;
    }
    /// What was written, filled up with zeros to whole bytes.
    std::string take() { return std::move(bytes_); }

private:
    std::string bytes_;
    unsigned room_ = 0;  ///< bits of the last byte that aren't written yet
};

}  // namespace corvane::simulated
