#pragma once

#include "Client/wire/Packet.h"
#include "Platform/FileDescriptor.h"
#include "platform/xpc/Values.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

/// A socket of the protocol's kind that is connected to `path`. @throw std::system_error
platform::FileDescriptor connectTo(const std::string& path);

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
        void reply(std::uint64_t id, std::int32_t result, const xpc::Object& object = {}) const;
        void event(const std::string& name, const xpc::Object& payload = {}) const;
        /// Any bytes, as one packet.
        void raw(const std::vector<std::uint8_t>& packet) const;
        /// Ends the connection after the responder.
        void drop() { dropped_ = true; }
        bool dropped() const { return dropped_; }

    private:
        int descriptor_;
        bool dropped_ = false;
    };
    using Responder = std::function<void(Connection& connection, const Request& request)>;

    /// Listens on `path` at once, in place of what is there.
    ScriptedManager(std::string path, Responder responder);
    ~ScriptedManager();
    ScriptedManager(const ScriptedManager&) = delete;
    ScriptedManager& operator=(const ScriptedManager&) = delete;

    const std::string& path() const { return path_; }
    /// Sends an event to every connection that has events on.
    void broadcast(const std::string& name, const xpc::Object& payload = {});

    /// "hello NAME", "events on", "events off" and "Command argument-as-JSON", in the order of arrival over all connections.
    std::vector<std::string> packets() const;
    /// @return whether `packets` holds `count` of `text` before the test's patience is over.
    bool waitForPacket(const std::string& text, std::size_t count = 1);

private:
    struct Client {
        platform::FileDescriptor descriptor;
        bool eventsOn;
    };

    void serve();
    bool receive(Client& client);
    void note(const std::string& packet);

    std::string path_;
    Responder responder_;
    platform::FileDescriptor listener_;
    mutable std::mutex mutex_;
    std::condition_variable noted_;
    std::vector<std::string> packets_;
    std::vector<Client> clients_;
    std::thread thread_;
};

using xpc::boolean;
using xpc::dictionary;
using xpc::number;
using xpc::text;

}  // namespace support
