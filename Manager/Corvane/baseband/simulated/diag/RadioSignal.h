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

    // Within what the baseband can report (3GPP TS 36.133 section 9.1).
    int rsrpDbm() const { return within(mean_ + deviation_, -140, -44); }
    int rsrqDb() const { return within(kMeanRsrqDb - loss() / 6 + deviation_ / 4, -19, -3); }
    int snrDb() const { return within(kMeanSnrDb - loss() / 2 + deviation_, -20, 40); }
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

    static int within(int value, int low, int high) { return value < low ? low : value > high ? high : value; }
    int loss() const { return kMeanRsrpDbm - mean_; }

    std::mt19937 random_;
    int deviation_ = 0;
    int mean_ = kMeanRsrpDbm;
    int fadeTo_ = kMeanRsrpDbm;
    int fadeSeconds_ = 0;  ///< that are left
};

}  // namespace corvane::simulated
