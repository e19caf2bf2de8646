#pragma once

#include "ryn/Value.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ryn {

// Results that the library makes itself; corvane-protocol(7) lists the manager's, 0xE020E1xx.

/// No connection could be made.
inline constexpr std::uint32_t kNotConnected = 0xE020E010;
/// The connection ended before the reply: the manager may have done what was asked.
inline constexpr std::uint32_t kConnectionLost = 0xE020E011;
/// No reply came in time: the manager may still do what was asked.
inline constexpr std::uint32_t kTimedOut = 0xE020E012;
/// The manager sent what the protocol doesn't allow.
inline constexpr std::uint32_t kMalformedReply = 0xE020E013;
/// The request doesn't fit a packet; nothing was sent.
inline constexpr std::uint32_t kRequestTooLarge = 0xE020E014;

/// What a command came to.
struct Reply {
    std::uint32_t result = 0;  ///< 0 is success
    Value value;               ///< null when the manager sent none
    std::string sentence;      ///< why it failed, for people; empty on success

    explicit operator bool() const { return result == 0; }
};

enum class BootState : std::uint8_t { Off, Booting, Ready, Resetting };

/// A client of the baseband manager. Commands, events and their keys are those of corvane-protocol(7).
///
/// Any thread may call any operation, and none throws but for want of memory. The connection is made by the first command, and
/// again by the next one after it was lost; while events are on it is made again in the background. Nothing is sent twice.
/// Completions and event handlers run one after another on a thread of the client's own. They may perform commands; they must
/// neither wait for a state nor destroy their client.
class RYN_API Client {
public:
    struct Options {
        std::string name = "c++";              ///< shown in the manager's log, up to 64 bytes of it
        std::string socket = {};               ///< the manager's; empty: $CORVANE_SOCKET, or where the tool would look for it
        std::vector<std::string> bridge = {};  ///< a program to reach the manager through: {"ssh", "bench", "corvane-bridge"}
    };
    using Completion = std::function<void(const Reply& reply)>;
    using EventHandler = std::function<void(const Value& payload)>;
    /// A year at most. Absent: as long as the command may take, 60 s for most.
    using Patience = std::optional<std::chrono::milliseconds>;

    /// Neither connects nor blocks.
    explicit Client(const Options& options);
    Client();
    /// Ends what is under way with kConnectionLost, and waits until the handlers that it runs have returned. What they perform
    /// meanwhile ends likewise, at once; a completion that then goes on trying is dropped in the end.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Connects where that is to be done, and waits for the manager's answer to hello: a dictionary of "KeyCorvaneVersion"
    /// (string), "KeyProtocolVersion" (integer), "KeyProtocolVersions" (array of the lowest and the highest) and "KeyFeatures"
    /// (array of the names of its commands). No command needs it.
    Reply connect(Patience patience = {});

    /// Sends a command and waits for the reply.
    Reply perform(const std::string& command, const Value& argument = {}, Patience patience = {});
    /// Sends a command and returns. `completion` runs exactly once. While the manager takes no request this waits for room, as
    /// long as it would wait for the reply.
    void perform(const std::string& command, const Value& argument, Completion completion, Patience patience = {});

    /// Switches events on. `handler` runs with the payload of each event of that name, for instance
    /// "BasebandBootStateChangeNotification", for the rest of the client's life.
    void onEvent(const std::string& name, EventHandler handler);

    /// Waits until the baseband's boot state is `state`; one that failed to boot is Off. A connection that is lost or can't be
    /// made is made again meanwhile. The manager is asked again at each change, so that a state which lasts no longer than an
    /// answer takes may pass unseen.
    /// @return success; the manager's refusal to tell; or kTimedOut, with a sentence that says what was seen last
    Reply waitForState(BootState state, std::chrono::milliseconds patience);

private:
    class Implementation;
    const std::unique_ptr<Implementation> implementation_;
};

}  // namespace ryn
