#include "Client/Socket.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace ryn::client {
namespace {

constexpr std::chrono::milliseconds kPatienceStep{100};

void setTimeout(int descriptor, int option, std::chrono::microseconds timeout) {
    constexpr std::chrono::microseconds kSecond{std::chrono::seconds(1)};
    const timeval value{timeout / kSecond, (timeout % kSecond).count()};
    ::setsockopt(descriptor, SOL_SOCKET, option, &value, sizeof value);
}

}  // namespace

Socket::Attempt Socket::connect(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return {nullptr, ENAMETOOLONG, path};
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    platform::FileDescriptor descriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!descriptor) {
        return {nullptr, errno, path};
    }
    // The send time-out bounds the wait for a place in a full backlog too (unix(7), connect(2)).
    setTimeout(descriptor.get(), SO_SNDTIMEO, std::chrono::microseconds(1));
    if (::connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return {nullptr, errno, path};
    }
    return {std::make_shared<Socket>(std::move(descriptor)), 0, path};
}

Socket::Sent Socket::send(std::span<const Bytes> packets) const {
    constexpr int kFlags = MSG_NOSIGNAL | MSG_DONTWAIT;
    if (packets.size() == 1) {
        const bool sent = ::send(descriptor(), packets[0].data(), packets[0].size(), kFlags) >= 0;
        return sent ? Sent{1, 0} : Sent{0, errno};
    }
    std::array<iovec, kMostPackets> contents{};
    std::array<mmsghdr, kMostPackets> messages{};
    const std::size_t count = std::min(packets.size(), kMostPackets);
    for (std::size_t index = 0; index < count; ++index) {
        contents[index] = {const_cast<std::uint8_t*>(packets[index].data()), packets[index].size()};
        messages[index].msg_hdr.msg_iov = &contents[index];
        messages[index].msg_hdr.msg_iovlen = 1;
    }
    const int sent = ::sendmmsg(descriptor(), messages.data(), static_cast<unsigned>(count), kFlags);
    if (sent < 0) {
        return {0, errno};
    }
    return {static_cast<std::size_t>(sent), static_cast<std::size_t>(sent) == packets.size() ? 0 : EAGAIN};
}

void Socket::setPatience(Clock::duration patience) {
    if (patience_ >= patience && patience_ - patience <= kPatienceStep) {
        return;
    }
    patience_ = std::chrono::ceil<std::chrono::duration<std::int64_t, std::deci>>(patience);
    setTimeout(descriptor(), SO_RCVTIMEO, std::chrono::duration_cast<std::chrono::microseconds>(patience_));
}

Socket::Received Socket::receive(std::span<std::uint8_t> buffer, Clock::duration patience) {
    const bool wait = patience > Clock::duration::zero();
    if (wait) {
        setPatience(patience);
    }
    const int flags = MSG_TRUNC | (wait ? 0 : MSG_DONTWAIT);
    ssize_t length = ::recv(descriptor(), buffer.data(), buffer.size(), flags);
    if (length < 0 && errno == ECONNRESET) {
        // The peer has closed its end with packets unread (unix(7)). What it said before, such as why, stands behind this error.
        length = ::recv(descriptor(), buffer.data(), buffer.size(), flags);
    }
    if (length < 0) {
        const bool nothing = errno == EAGAIN || errno == EINTR;
        return {nothing ? State::Nothing : State::Closed, {}};
    }
    if (length == 0) {
        return {State::Closed, {}};
    }
    const auto size = static_cast<std::size_t>(length);
    return {State::Packet, size <= buffer.size() ? buffer.first(size) : buffer.first(0)};
}

void Socket::shutdown() const {
    ::shutdown(descriptor(), SHUT_RDWR);
}

}  // namespace ryn::client
