#pragma once

#include <cstdint>
#include <random>

namespace corvane::simulated {

/// How well the serving cell is heard, a measurement a second: near its mean, as a walk that a seed determines.
class RadioSignal {
public:
    explicit RadioSignal(std::uint64_t seed) : random_(static_cast<std::mt19937::result_type>(seed)) {}

    /// Makes the next measurement.
    void measure() {
        deviation_ = deviation_ * 3 / 4 + static_cast<int>(random_() % 7) - 3;
        fade_ += fade_ < fadeTo_ ? 1 : fade_ > fadeTo_ ? -1 : 0;
    }
    /// From now on the signal loses a decibel with each measurement until it has lost `decibels`, or comes back as slowly.
    void fadeTo(int decibels) { fadeTo_ = decibels; }

    int rsrpDbm() const { return kMeanRsrpDbm + deviation_ - fade_; }
    int rsrqDb() const { return kMeanRsrqDb - fade_ / 6 + deviation_ / 4; }
    int snrDb() const { return kMeanSnrDb - fade_ / 2 + deviation_; }
    /// Too weak to stay registered.
    bool isLost() const { return rsrpDbm() < kWeakestRsrpDbm; }

private:
    static constexpr int kMeanRsrpDbm = -92;
    static constexpr int kMeanRsrqDb = -9;
    static constexpr int kMeanSnrDb = 14;
    static constexpr int kWeakestRsrpDbm = -128;

    std::mt19937 random_;
    int deviation_ = 0;
    int fade_ = 0;
    int fadeTo_ = 0;
};

}  // namespace corvane::simulated
