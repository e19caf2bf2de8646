#include "Client/PacketStream.h"

#include "Client/wire/Packet.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>

namespace ryn::client {
namespace {

constexpr std::size_t kLengthBytes = sizeof(std::uint32_t);
using Frame = std::array<std::uint8_t, kLengthBytes + wire::kMaxPacketSize>;

/// Repeats read(2) or write(2) until all is done. @return false at the end of the stream, also where it ends within what is asked
/// for
template <typename Operation, typename Byte>
bool transferWhole(Operation operation, int stream, Byte* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t done = operation(stream, bytes, count);
        if (done <= 0) {
            return false;
        }
        bytes += done;
        count -= static_cast<std::size_t>(done);
    }
    return true;
}

}  // namespace

bool isPacketLength(std::uint32_t length) {
    return length > 0 && length <= wire::kMaxPacketSize;
}

void carryToStream(int packets, int stream) {
    const auto frame = std::make_unique<Frame>();
    for (;;) {
        const ssize_t received = ::recv(packets, frame->data() + kLengthBytes, wire::kMaxPacketSize, 0);
        if (received < 0 && errno == ECONNRESET) {
            continue;  // behind a reset, which is told once, stands what the peer said before (unix(7))
        }
        if (received <= 0) {
            return;
        }
        const std::uint32_t length = ::htonl(static_cast<std::uint32_t>(received));
        std::memcpy(frame->data(), &length, kLengthBytes);
        if (!transferWhole(::write, stream, frame->data(), kLengthBytes + static_cast<std::size_t>(received))) {
            return;
        }
    }
}

std::uint32_t carryToPackets(int stream, int packets) {
    const auto frame = std::make_unique<Frame>();
    std::uint32_t length = 1;
    while (transferWhole(::read, stream, frame->data(), kLengthBytes)) {
        std::memcpy(&length, frame->data(), kLengthBytes);
        length = ::ntohl(length);
        if (!isPacketLength(length) || !transferWhole(::read, stream, frame->data(), length) ||
            ::send(packets, frame->data(), length, MSG_NOSIGNAL) < 0) {
            break;
        }
    }
    return length;
}

}  // namespace ryn::client
