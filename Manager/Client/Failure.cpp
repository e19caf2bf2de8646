#include "Client/Failure.h"

#include "Client/wire/Packet.h"
#include "platform/ryn/constants.h"
#include "platform/xpc/Values.h"

#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

namespace ryn::client {
namespace {

/// Why there is no connection: what stands before the place and behind it.
struct Reason {
    int error;
    const char* before;
    const char* behind;
};
constexpr Reason kReasons[] = {
    {ENOENT, "There is no manager socket ", "; is Corvane running?"},
    {ECONNREFUSED, "Nothing listens on ", "; is Corvane running?"},
    {EACCES, "No permission to use ", "; add yourself to group corvane and log in again."},
    {EPERM, "No permission to use ", "; add yourself to group corvane and log in again."},
    {ENAMETOOLONG, "The socket path ", " is too long: at most 107 bytes can be used."},
    {EAGAIN, "The manager at ", " took no new connection in time; it may be overloaded or stopped."},
    {ENOEXEC, "The program ", " could not be started; is it installed?"},
    {EPROTOTYPE, "The socket ", " is not a manager's; set CORVANE_SOCKET to the one that Corvane listens on."},
};
static_assert(sizeof(sockaddr_un::sun_path) == 107 + 1);

std::string whyNotConnected(const std::string& place, int error) {
    const auto* const reason = std::ranges::find(kReasons, error, &Reason::error);
    return reason == std::end(kReasons) ? "Can't connect to " + place + ": " + std::generic_category().message(error) + "."
                                        : reason->before + place + reason->behind;
}

Answer failure(std::int32_t result, const std::string& sentence) {
    return {result, xpc::dictionary({{kKeyErrorCode, xpc::number(result)}, {kKeyErrorString, xpc::text(sentence)}})};
}

}  // namespace

std::string inSeconds(std::chrono::nanoseconds duration) {
    const auto tenths = duration / std::chrono::milliseconds(100);
    return std::to_string(tenths / 10) + (tenths % 10 == 0 ? "" : "." + std::to_string(tenths % 10)) + " s";
}

Answer notConnected(const std::string& place, int error) {
    return failure(kResultNotConnected, whyNotConnected(place, error));
}

Answer connectionLost(const std::string& place, bool hasReceived) {
    // A manager closes the connection of someone that it doesn't serve without a word.
    return failure(kResultConnectionLost,
                   "The manager at " + place + " closed the connection before it answered; " +
                       (hasReceived ? "was Corvane stopped?" : "is Corvane running, and are you in group corvane?"));
}

Answer turnedAway(const std::string& place, std::int32_t result, const xpc::Object& object) {
    return failure(result,
                   xpc::textAt(object, kKeyErrorString).value_or("The manager at " + place + " does not serve this connection."));
}

Answer closedHere(const std::string& place) {
    return failure(kResultConnectionLost, "The connection to the manager at " + place + " was closed by its client.");
}

Answer timedOut(const std::string& place, std::chrono::nanoseconds timeout) {
    return failure(kResultTimedOut, "The manager at " + place + " did not answer within " + inSeconds(timeout) + ".");
}

Answer malformedReply(const std::string& place) {
    return failure(kResultMalformedReply,
                   "The manager at " + place + " sent what the protocol does not allow, so the connection was closed.");
}

Answer flooded(const std::string& place) {
    return failure(kResultConnectionLost,
                   "The manager at " + place + " sent more events than could be handled, so the connection was closed.");
}

Answer tooLarge(std::string_view command) {
    return failure(kResultTooLarge, std::string(command.substr(0, 80)) + " can't be sent: its argument must fit " +
                                        std::to_string(wire::kMaxPacketSize) + " bytes, be nested at most " +
                                        std::to_string(wire::kMaxNesting) + " deep, hold at most " +
                                        std::to_string(wire::kMaxValues) + " values and have keys in UTF-8.");
}

}  // namespace ryn::client
