#pragma once

#include "Client/wire/Packet.h"

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace load {

using Bytes = std::vector<std::uint8_t>;

/// One client's connection, without the client library: a load must cost less than what it loads. Throws std::system_error.
class Connection {
public:
    /// @param type SOCK_SEQPACKET of the manager, SOCK_STREAM of redis
    Connection(const std::string& path, int type);
    ~Connection();
    Connection(Connection&& other) noexcept;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int descriptor() const { return descriptor_; }
    void send(const Bytes& bytes) const;
    /// What comes next, cut to what a reply of this bench needs; waits for it.
    Bytes receive() const;

private:
    int descriptor_;
};

/// A packet of the manager protocol.
Bytes encoded(const ryn::wire::Packet& packet);
Bytes greeting();
/// A request that is answered at once: what limit/Frame.h has.
Bytes question();

/// Nanoseconds of processor time that a process has used so far, as far as the kernel has counted.
std::int64_t cpuTime(pid_t process);

/// Lets this process have as many descriptors as it may.
void raiseDescriptorLimit();

}  // namespace load
