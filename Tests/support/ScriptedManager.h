#pragma once

#include "Client/wire/Packet.h"
#include "Platform/FileDescriptor.h"
#include "platform/xpc/Values.h"
#include "support/Standard.h"

namespace support {

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
    return descriptor;
}

inline void sendPacket(int descriptor, const ryn::wire::Packet& packet) {
    std::vector<std::uint8_t> bytes;
    if (ryn::wire::encode(packet, bytes)) {
        send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
}

/// A manager that answers as a test tells it, on a real socket, from a thread of its own.
class ScriptedManager {
public:
    struct Request {
        std::uint64_t id = 0;
        std::string command;
        std::string argument;  ///< rendered as JSON
        xpc::Object value;     ///< the argument itself
    };
    /// One client's connection, to be used within a responder only.
    class Connection {
    public:
        explicit Connection(int descriptor) : descriptor_(descriptor) {}
        void reply(std::uint64_t id, std::int32_t result, const xpc::Object& object = {}) const {
            sendPacket(descriptor_, ryn::wire::Reply{id, result, object});
        }
        void event(const std::string& name, const xpc::Object& payload = {}) const {
            sendPacket(descriptor_, ryn::wire::Event{name, payload});
        }
        /// Any bytes, as one packet.
        void raw(const std::vector<std::uint8_t>& packet) const { send(descriptor_, packet.data(), packet.size(), MSG_NOSIGNAL); }
        /// Ends the connection after the responder.
        void drop() { dropped_ = true; }
        bool dropped() const { return dropped_; }

    private:
        int descriptor_;
        bool dropped_ = false;
    };
    using Responder = std::function<void(Connection& connection, const Request& request)>;

    /// Listens on `path` at once.
    ScriptedManager(std::string path, Responder responder)
        : path_(std::move(path)),
          responder_(std::move(responder)),
          listener_(bindTo(path_, SOCK_SEQPACKET, 64)),
          thread_([this] { serve(); }) {}
    ~ScriptedManager() {
        ::shutdown(listener_.get(), SHUT_RDWR);  // which ends the thread
        thread_.join();
        unlink(path_.c_str());
    }
    ScriptedManager(const ScriptedManager&) = delete;
    ScriptedManager& operator=(const ScriptedManager&) = delete;

    const std::string& path() const { return path_; }
    /// Sends an event to every connection that has events on.
    void broadcast(const std::string& name, const xpc::Object& payload = {}) {
        const std::lock_guard lock(mutex_);
        for (const Client& client : clients_) {
            if (client.eventsOn) {
                sendPacket(client.descriptor.get(), ryn::wire::Event{name, payload});
            }
        }
    }

    /// "hello NAME", "events on", "events off" and "Command argument-as-JSON", in the order of arrival over all connections.
    std::vector<std::string> packets() const {
        const std::lock_guard lock(mutex_);
        return packets_;
    }
    /// @return whether `packets` holds `count` of `text` before the test's patience is over.
    bool waitForPacket(const std::string& text, std::size_t count = 1) {
        std::unique_lock lock(mutex_);
        return noted_.wait_for(lock, kPatience, [&] {
            return static_cast<std::size_t>(std::count(packets_.begin(), packets_.end(), text)) >= count;
        });
    }

private:
    struct Client {
        platform::FileDescriptor descriptor;
        bool eventsOn;
    };

    void serve() {
        for (;;) {
            std::vector<pollfd> waits{{listener_.get(), POLLIN, 0}};
            for (const Client& client : clients_) {
                waits.push_back({client.descriptor.get(), POLLIN, 0});
            }
            poll(waits.data(), waits.size(), -1);
            if ((waits[0].revents & POLLHUP) != 0) {
                return;
            }
            const std::lock_guard lock(mutex_);
            std::size_t index = 1;
            std::erase_if(clients_, [&](Client& client) {
                const bool readable = waits[index++].revents != 0;
                return readable && !receive(client);
            });
            if (waits[0].revents != 0) {
                clients_.push_back({platform::FileDescriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)), false});
            }
        }
    }
    bool receive(Client& client) {
        std::vector<std::uint8_t> buffer(ryn::wire::kMaxPacketSize);
        const ssize_t length = recv(client.descriptor.get(), buffer.data(), buffer.size(), 0);
        if (length <= 0) {
            return false;
        }
        const auto packet = ryn::wire::decode({buffer.data(), static_cast<std::size_t>(length)});
        if (!packet) {
            note("malformed");
            return false;
        }
        if (const auto* hello = std::get_if<ryn::wire::Hello>(&*packet)) {
            note("hello " + std::string(hello->clientName));
        } else if (const auto* events = std::get_if<ryn::wire::Events>(&*packet)) {
            client.eventsOn = events->on;
            note(events->on ? "events on" : "events off");
        } else if (const auto* request = std::get_if<ryn::wire::Request>(&*packet)) {
            const Request seen{request->id, std::string(request->command), xpc::to_string(request->argument), request->argument};
            note(seen.command + " " + seen.argument);
            Connection connection(client.descriptor.get());
            responder_(connection, seen);
            return !connection.dropped();
        }
        return true;
    }
    void note(const std::string& packet) {
        packets_.push_back(packet);
        noted_.notify_all();
    }

    std::string path_;
    Responder responder_;
    platform::FileDescriptor listener_;
    mutable std::mutex mutex_;
    std::condition_variable noted_;
    std::vector<std::string> packets_;
    std::vector<Client> clients_;
    std::thread thread_;
};

using xpc::dictionary;
using xpc::number;
using xpc::text;

}  // namespace support
