#include "support/ScriptedManager.h"

#include "support/Process.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <variant>

namespace support {
namespace wire = ryn::wire;

int listenOn(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    unlink(path.c_str());
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(descriptor, 64) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return descriptor;
}

namespace {

void sendPacket(int descriptor, const wire::Packet& packet) {
    std::vector<std::uint8_t> bytes;
    if (wire::encode(packet, bytes)) {
        send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
}

}  // namespace

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
    : path_(std::move(path)),
      responder_(std::move(responder)),
      listener_(listenOn(path_)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      thread_([this] { serve(); }) {}

ScriptedManager::~ScriptedManager() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    eventfd_write(wake_, 1);
    thread_.join();
    for (const Client& client : clients_) {
        close(client.descriptor);
    }
    close(listener_);
    close(wake_);
    unlink(path_.c_str());
}

void ScriptedManager::serve() {
    for (;;) {
        std::vector<pollfd> waits{{listener_, POLLIN, 0}, {wake_, POLLIN, 0}};
        for (const Client& client : clients_) {
            waits.push_back({client.descriptor, POLLIN, 0});
        }
        poll(waits.data(), waits.size(), -1);
        eventfd_t ignored = 0;
        eventfd_read(wake_, &ignored);
        const std::unique_lock lock(mutex_);
        if (stopping_) {
            return;
        }
        std::size_t index = 2;
        std::erase_if(clients_, [&](Client& client) {
            const bool readable = waits[index++].revents != 0;
            const bool keep = !dropAll_ && (!readable || receive(client));
            if (!keep) {
                close(client.descriptor);
            }
            return !keep;
        });
        dropAll_ = false;
        if (waits[0].revents != 0) {
            accept();
        }
    }
}

void ScriptedManager::accept() {
    const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor >= 0) {
        clients_.push_back({descriptor, false});
    }
}

bool ScriptedManager::receive(Client& client) {
    std::vector<std::uint8_t> buffer(wire::kMaxPacketSize);
    const ssize_t length = recv(client.descriptor, buffer.data(), buffer.size(), 0);
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
        requests_.push_back(seen.command + " " + seen.argument);
        note(requests_.back());
        Connection connection(client.descriptor);
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
            sendPacket(client.descriptor, wire::Event{name, payload});
        }
    }
}

void ScriptedManager::dropAll() {
    {
        const std::lock_guard lock(mutex_);
        dropAll_ = true;
    }
    eventfd_write(wake_, 1);
}

std::vector<std::string> ScriptedManager::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
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
