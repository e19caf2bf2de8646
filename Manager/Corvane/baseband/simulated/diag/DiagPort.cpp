#include "Corvane/baseband/simulated/diag/DiagPort.h"

#include <algorithm>
#include <utility>

namespace corvane::simulated {
namespace {

constexpr std::size_t kBufferSize = 65536;

}  // namespace

void DiagPort::configure(const DiagSettings& settings) {
    settings_ = settings;
    if (!isHolding() && (!settings_.useThreshold || !isOn())) {
        drain();
    }
}

void DiagPort::setAsleep(bool asleep) {
    const bool wasHolding = isHolding();
    asleep_ = asleep;
    if (wasHolding && !isHolding()) {
        drain();
    }
}

void DiagPort::send(std::chrono::system_clock::time_point time, std::string packet) {
    if (!settings_.useThreshold && !isHolding()) {
        onRecord_({ryn::trace::Type::DIAG, time, std::move(packet)});
        return;
    }
    filled_ += packet.size();
    buffer_.push_back({ryn::trace::Type::DIAG, time, std::move(packet)});
    if (isHolding()) {
        // What happened last is worth most.
        while (filled_ > kBufferSize) {
            filled_ -= buffer_.front().content.size();
            buffer_.pop_front();
        }
    } else if (filled_ >= kBufferSize * settings_.highWatermark / 100) {
        drainTo(kBufferSize * std::min(settings_.lowWatermark, settings_.highWatermark) / 100);
    }
}

void DiagPort::drainTo(std::size_t bytes) {
    while (!buffer_.empty() && (filled_ > bytes || bytes == 0)) {
        const TraceRecord message = std::move(buffer_.front());
        filled_ -= message.content.size();
        buffer_.pop_front();
        onRecord_(message);
    }
}

}  // namespace corvane::simulated
