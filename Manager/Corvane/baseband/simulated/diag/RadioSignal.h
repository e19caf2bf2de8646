#pragma once

#include <algorithm>
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
        if (fadeSeconds_ > 0) {
            mean_ += (fadeTo_ - mean_) / fadeSeconds_;
            --fadeSeconds_;
        }
    }
    /// From now on the mean goes to `rsrpDbm`, in so many measurements; 0: at once.
    void fade(int rsrpDbm, int seconds) {
        fadeTo_ = rsrpDbm;
        fadeSeconds_ = seconds;
        mean_ = seconds == 0 ? rsrpDbm : mean_;
    }
    bool isFading() const { return fadeSeconds_ > 0; }

    // The most that the baseband can report (3GPP TS 36.133 section 9.1). It loses the cell before it comes to the least.
    int rsrpDbm() const { return std::min(mean_ + deviation_, -44); }
    int rsrqDb() const { return std::min(kMeanRsrqDb - loss() / 6 + deviation_ / 4, -3); }
    int snrDb() const { return std::min(kMeanSnrDb - loss() / 2 + deviation_, 40); }
    /// Too weak to stay registered.
    bool isLost() const { return mean_ < kWeakestRsrpDbm; }
    /// Strong enough to register.
    bool isFound() const { return mean_ >= kWeakestRsrpDbm + kHysteresisDb; }

private:
    static constexpr int kMeanRsrpDbm = -92;
    static constexpr int kMeanRsrqDb = -9;
    static constexpr int kMeanSnrDb = 14;
    static constexpr int kWeakestRsrpDbm = -124;
    static constexpr int kHysteresisDb = 4;

    int loss() const { return kMeanRsrpDbm - mean_; }

    std::mt19937 random_;
    int deviation_ = 0;
    int mean_ = kMeanRsrpDbm;
    int fadeTo_ = kMeanRsrpDbm;
    int fadeSeconds_ = 0;  ///< that are left
};

}  // namespace corvane::simulated
