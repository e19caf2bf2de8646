#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

/// Packets of GSMTAP, version 2, over UDP and IPv4 from the loopback address to itself, as network analysers know them.
namespace corvane::simulated::gsmtap {

/// Channels of LTE RRC, by the numbers of GSMTAP's sub types.
enum class RrcChannel : std::uint8_t {
    DownlinkCommon = 0,
    DownlinkDedicated = 1,
    UplinkCommon = 2,
    UplinkDedicated = 3,
    BroadcastBch = 4,
    BroadcastSharedChannel = 5,
    Paging = 6,
};
enum class Direction { Downlink, Uplink };

/// Where and how well a message was heard.
struct Radio {
    std::uint16_t arfcn = 0;
    int signalDbm = 0;
    int snrDb = 0;
    std::uint32_t frameNumber = 0;
};

std::string rrc(const Radio& radio, RrcChannel channel, std::string_view message);
/// @param secured whether `message` begins with a security header.
std::string nas(const Radio& radio, Direction direction, std::string_view message, bool secured = false);

/// Severities of libosmocore's log.
enum class Level : std::uint8_t { Debug = 1, Info = 3, Notice = 5, Error = 7 };
std::string logLine(std::chrono::system_clock::time_point time, Level level, std::string_view subsystem, std::string_view text);

}  // namespace corvane::simulated::gsmtap
