#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace corvane::simulated {

/// Writes fields of bits, the most significant bit first, as ASN.1's unaligned packed encoding rules (UPER, X.691) do.
class BitWriter {
public:
    BitWriter& bits(unsigned count, std::uint64_t value) {
        while (count > 0) {
            --count;
            if (used_ % 8 == 0) {
                bytes_ += '\0';
            }
            const auto bit = static_cast<unsigned>(value >> count & 1);
            bytes_.back() = static_cast<char>(static_cast<unsigned char>(bytes_.back()) | bit << (7 - used_ % 8));
            ++used_;
        }
        return *this;
    }
    /// An octet string without a size constraint, shorter than 128 bytes.
    BitWriter& octets(std::string_view octets) {
        bits(8, octets.size());
        for (const char octet : octets) {
            bits(8, static_cast<unsigned char>(octet));
        }
        return *this;
    }
    /// What was written, filled up with zeros to whole bytes.
    std::string take() { return std::move(bytes_); }

private:
    std::string bytes_;
    std::size_t used_ = 0;
};

}  // namespace corvane::simulated
