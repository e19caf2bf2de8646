#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace corvane::simulated {

/// What a SIM and a network know of each other: test network 001 01.
struct Subscriber {
    std::string imsi;               ///< 15 digits
    std::uint32_t temporaryId = 0;  ///< M-TMSI, new with each attach
    std::uint8_t mmeCode = 1;
    std::uint16_t mmeGroup = 0x8001;
};

/// A cell of the test network.
struct Cell {
    std::uint32_t identity = 0;  ///< 28 bits
    std::uint16_t trackingArea = 0;
    std::uint16_t arfcn = 0;
    std::uint8_t band = 0;
};

inline constexpr std::array<Cell, 4> kCells{{
    {0x0A1C401, 0x002B, 1300, 3},
    {0x0A1C402, 0x002B, 1300, 3},
    {0x0A1D101, 0x002C, 6300, 20},
    {0x0A1D203, 0x002D, 2850, 7},
}};

}  // namespace corvane::simulated
