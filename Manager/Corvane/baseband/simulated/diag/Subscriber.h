#pragma once

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

}  // namespace corvane::simulated
