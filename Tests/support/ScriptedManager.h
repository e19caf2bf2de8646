#pragma once

#include "Client/Render.h"
#include "Platform/FileDescriptor.h"
#include "platform/xpc/Values.h"
#include "support/Standard.h"

namespace support {

/// accept(2) and recv(2) of the socket fail when they have waited for as long as the test's patience.
inline void bound(const platform::FileDescriptor& socket) {
    const timeval patience{kPatience.count(), 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

/// A socket that is bound to `path`, in place of what is there, and listens when `backlog` is not negative.
/// @throw std::system_error
inline platform::FileDescriptor bindTo(const std::string& path, int type, int backlog) {
    platform::FileDescriptor descriptor(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(path.c_str());
    if (bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        (backlog >= 0 && listen(descriptor.get(), backlog) != 0)) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    bound(descriptor);
    return descriptor;
}

/// What threads leave for the test's own to wait for, line by line.
class Lines {
public:
    void add(std::string line) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(std::move(line));
        added_.notify_all();
    }
    /// What there is when there are `count`, or when the test's patience is over.
    std::vector<std::string> wait(std::size_t count) {
        std::unique_lock lock(mutex_);
        added_.wait_for(lock, kPatience, [&] { return lines_.size() >= count; });
        return lines_;
    }

private:
    std::mutex mutex_;
    std::condition_variable added_;
    std::vector<std::string> lines_;
};

/// A manager that answers as a test tells it, on a real socket, from a thread of its own.
class ScriptedManager {
public:
    using Request = ryn::wire::Request;
    /// One client's connection, to be used within a responder only.
    struct Connection {
        platform::FileDescriptor descriptor;
        bool eventsOn = false;

        void reply(std::uint64_t id, std::int32_t result, const xpc::Object& object = {}) const {
            packet(ryn::wire::Reply{id, result, object});
        }
        void event(const std::string& name, const xpc::Object& payload = {}) const { packet(ryn::wire::Event{name, payload}); }
        void packet(const ryn::wire::Packet& packet) const {
            std::vector<std::uint8_t> bytes;
            if (ryn::wire::encode(packet, bytes)) {
                raw(bytes);
            }
        }
        /// Any bytes, as one packet.
        void raw(const std::vector<std::uint8_t>& bytes) const {
            send(descriptor.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        }
        void drop() const { ::shutdown(descriptor.get(), SHUT_RDWR); }
    };
    using Responder = std::function<void(const Connection& connection, const Request& request)>;

    /// Listens at once, in a folder of its own when no path is given.
    explicit ScriptedManager(Responder responder, const std::string& path = "")
        : path_(path.empty() ? folder_ / "s" : path),
          responder_(std::move(responder)),
          listener_(bindTo(path_, SOCK_SEQPACKET, 64)),
          thread_([this] { serve(); }) {}
    ~ScriptedManager() {
        ::shutdown(listener_.get(), SHUT_RDWR);  // which ends the thread
        thread_.join();
        unlink(path_.c_str());
    }

    const std::string& path() const { return path_; }
    /// Sends an event to every connection that has events on.
    void broadcast(const std::string& name, const xpc::Object& payload = {}) {
        const std::lock_guard lock(mutex_);
        for (const Connection& client : clients_) {
            if (client.eventsOn) {
                client.event(name, payload);
            }
        }
    }
    /// What has come, as it is rendered, in the order of arrival over all connections: at least `count` packets.
    std::vector<std::string> packets(std::size_t count = 0) { return packets_.wait(count); }

private:
    void serve() {
        for (;;) {
            std::vector<pollfd> waits{{listener_.get(), POLLIN, 0}};
            for (const Connection& client : clients_) {
                waits.push_back({client.descriptor.get(), POLLIN, 0});
            }
            poll(waits.data(), waits.size(), -1);
            if ((waits[0].revents & POLLHUP) != 0) {
                return;
            }
            const std::lock_guard lock(mutex_);
            std::size_t index = 1;
            std::erase_if(clients_, [&](Connection& client) { return waits[index++].revents != 0 && !receive(client); });
            if (waits[0].revents != 0) {
                clients_.push_back({platform::FileDescriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC))});
            }
        }
    }
    /// @return false when the connection has ended or sends what is malformed
    bool receive(Connection& client) {
        std::vector<std::uint8_t> buffer(ryn::wire::kMaxPacketSize);
        const ssize_t length = recv(client.descriptor.get(), buffer.data(), buffer.size(), 0);
        const auto packet = ryn::wire::decode({buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))});
        if (!packet) {
            return false;
        }
        packets_.add(render(*packet));
        const auto* const hello = std::get_if<ryn::wire::Hello>(&*packet);
        if (hello != nullptr && hello->highestVersion) {
            client.reply(0, 0, xpc::dictionary({{"KeyCorvaneVersion", xpc::text("scripted")}}));
        } else if (const auto* events = std::get_if<ryn::wire::Events>(&*packet)) {
            client.eventsOn = events->on;
        } else if (const auto* request = std::get_if<Request>(&*packet)) {
            responder_(client, *request);
        }
        return true;
    }

    const TempFolder folder_;
    const std::string path_;
    Responder responder_;
    platform::FileDescriptor listener_;
    Lines packets_;
    std::mutex mutex_;
    std::vector<Connection> clients_;
    std::thread thread_;
};

using xpc::dictionary;
using xpc::number;
using xpc::text;

}  // namespace support
