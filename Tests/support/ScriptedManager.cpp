#include "support/ScriptedManager.h"

#include "support/Patience.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <variant>

namespace support {
namespace wire = ryn::wire;

namespace {

/// A socket of the protocol's kind for which `use`, bind(2) or connect(2), has succeeded at `path`.
template <typename Use>
platform::FileDescriptor socketAt(const std::string& path, Use use) {
    platform::FileDescriptor descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (use(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return descriptor;
}

platform::FileDescriptor listenOn(const std::string& path) {
    unlink(path.c_str());
    auto descriptor = socketAt(path, ::bind);
    listen(descriptor.get(), 64);
    return descriptor;
}

void sendPacket(int descriptor, const wire::Packet& packet) {
    std::vector<std::uint8_t> bytes;
    if (wire::encode(packet, bytes)) {
        send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
}

}  // namespace

platform::FileDescriptor connectTo(const std::string& path) {
    return socketAt(path, ::connect);
}

void ScriptedManager::Connection::reply(std::uint64_t id, std::int32_t result, const xpc::Object& object) const {
    sendPacket(descriptor_, wire::Reply{id, result, object});
}

void ScriptedManager::Connection::event(const std::string& name, const xpc::Object& payload) const {
    sendPacket(descriptor_, wire::Event{name, payload});
}

void ScriptedManager::Connection::raw(const std::vector<std::uint8_t>& packet) const {
    send(descriptor_, packet.data(), packet.size(), MSG_NOSIGNAL);
}

ScriptedManager::ScriptedManager(std::string path, Responder responder)
    : path_(std::move(path)), responder_(std::move(responder)), listener_(listenOn(path_)), thread_([this] { serve(); }) {}

ScriptedManager::~ScriptedManager() {
    ::shutdown(listener_.get(), SHUT_RDWR);  // which ends the thread
    thread_.join();
    unlink(path_.c_str());
}

void ScriptedManager::serve() {
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

bool ScriptedManager::receive(Client& client) {
    std::vector<std::uint8_t> buffer(wire::kMaxPacketSize);
    const ssize_t length = recv(client.descriptor.get(), buffer.data(), buffer.size(), 0);
    if (length <= 0) {
        return false;
    }
    const auto packet = wire::decode({buffer.data(), static_cast<std::size_t>(length)});
    if (!packet) {
        note("malformed");
        return false;
    }
    if (const auto* hello = std::get_if<wire::Hello>(&*packet)) {
        note("hello " + std::string(hello->clientName));
    } else if (const auto* events = std::get_if<wire::Events>(&*packet)) {
        client.eventsOn = events->on;
        note(events->on ? "events on" : "events off");
    } else if (const auto* request = std::get_if<wire::Request>(&*packet)) {
        const Request seen{request->id, std::string(request->command), xpc::to_string(request->argument), request->argument};
        note(seen.command + " " + seen.argument);
        Connection connection(client.descriptor.get());
        responder_(connection, seen);
        return !connection.dropped();
    }
    return true;
}

void ScriptedManager::note(const std::string& packet) {
    packets_.push_back(packet);
    noted_.notify_all();
}

void ScriptedManager::broadcast(const std::string& name, const xpc::Object& payload) {
    const std::lock_guard lock(mutex_);
    for (const Client& client : clients_) {
        if (client.eventsOn) {
            sendPacket(client.descriptor.get(), wire::Event{name, payload});
        }
    }
}

std::vector<std::string> ScriptedManager::packets() const {
    const std::lock_guard lock(mutex_);
    return packets_;
}

bool ScriptedManager::waitForPacket(const std::string& text, std::size_t count) {
    std::unique_lock lock(mutex_);
    return noted_.wait_for(lock, kPatience,
                           [&] { return static_cast<std::size_t>(std::count(packets_.begin(), packets_.end(), text)) >= count; });
}

}  // namespace support
