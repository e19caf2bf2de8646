#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <span>
#include <vector>

namespace corvane {

/// What one client is sent: at once when its socket takes it, else when it is ready for more.
class Outbox {
public:
    /// Of memory, beyond what the kernel buffers.
    static constexpr std::size_t kMaxBytes = 32768;

    enum class Sent {
        Ok,    ///< or held back
        Full,  ///< the client lets too much pile up
        Lost,  ///< the socket takes nothing any more
    };

    /// @param socket outlives this.
    explicit Outbox(int socket) : socket_(socket) {}

    /// One packet is always held back, whatever its size: its client may be only slow.
    Sent send(std::span<const std::uint8_t> packet);
    /// Sends what was held back.
    Sent flush();

    bool isEmpty() const { return packets_.empty(); }
    std::size_t bytes() const { return bytes_; }

private:
    int socket_;
    std::list<std::vector<std::uint8_t>> packets_;  ///< few clients ever have one: an empty list takes no memory
    std::size_t bytes_ = 0;
};

}  // namespace corvane
