#include "load/Connection.h"

#include "platform/ryn/constants.h"
#include "platform/xpc/Values.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace load {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Connection::Connection(const std::string& path, int type) : descriptor_(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::length_error(path + ": too long for a socket");
    }
    std::copy(path.begin(), path.end(), std::begin(address.sun_path));
    if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        fail(path);
    }
}

Connection::~Connection() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

Connection::Connection(Connection&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

void Connection::send(const Bytes& bytes) const {
    if (::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
        fail("send");
    }
}

Bytes Connection::receive() const {
    Bytes bytes(4096);
    const ssize_t size = recv(descriptor_, bytes.data(), bytes.size(), 0);
    if (size <= 0) {
        throw std::runtime_error("the server has ended the connection");
    }
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

Bytes encoded(const ryn::wire::Packet& packet) {
    Bytes bytes;
    if (!ryn::wire::encode(packet, bytes)) {
        throw std::logic_error("a packet of the bench can't be encoded");
    }
    return bytes;
}

Bytes greeting() {
    return encoded(ryn::wire::Hello{ryn::wire::kProtocolVersion, "bench"});
}

Bytes question() {
    const auto argument = xpc::dictionary(
        {{ryn::kKeyTraceName, xpc::text(ryn::kTraceCoreDump)}, {ryn::kKeyTracePropertyName, xpc::text("Enabled")}});
    return encoded(ryn::wire::Request{1, ryn::kCommandGetTraceProperty, argument});
}

std::int64_t cpuTime(pid_t process) {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("no processor time of process " + std::to_string(process));
    }
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

void raiseDescriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace load
