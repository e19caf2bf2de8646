#include "Corvane/baseband/simulated/diag/NasMessages.h"

#include <initializer_list>

namespace corvane::simulated::nas {
namespace {

constexpr std::uint8_t kMobilityManagement = 0x07;

std::string bytes(std::initializer_list<unsigned> values) {
    std::string out;
    for (const unsigned value : values) {
        out += static_cast<char>(value);
    }
    return out;
}

/// Length and value.
std::string sized(const std::string& value) {
    return bytes({static_cast<unsigned>(value.size())}) + value;
}

/// As `sized`, with a length of two bytes.
std::string sizedLong(const std::string& value) {
    return bytes({static_cast<unsigned>(value.size() >> 8), static_cast<unsigned>(value.size() & 0xFF)}) + value;
}

std::string message(std::uint8_t type, const std::string& content = {}) {
    return bytes({kMobilityManagement, type}) + content;
}

/// MCC 001, MNC 01, the digits in pairs with the lower one first.
std::string network() {
    return bytes({0x00, 0xF1, 0x10});
}

std::string u16(unsigned value) {
    return bytes({value >> 8 & 0xFF, value & 0xFF});
}

std::string u32(std::uint32_t value) {
    return u16(value >> 16) + u16(value & 0xFFFF);
}

/// 24.301 section 9.9.3.12, the globally unique temporary identity.
std::string temporaryIdentity(const Subscriber& subscriber) {
    return bytes({0xF6}) + network() + u16(subscriber.mmeGroup) + bytes({subscriber.mmeCode}) + u32(subscriber.temporaryId);
}

/// 24.301 section 9.9.3.12: 15 digits, in pairs after the first.
std::string permanentIdentity(const Subscriber& subscriber) {
    const auto digit = [&](std::size_t index) { return static_cast<unsigned>(subscriber.imsi[index] - '0'); };
    std::string out = bytes({digit(0) << 4 | 0x9});
    for (std::size_t index = 1; index + 1 < subscriber.imsi.size(); index += 2) {
        out += bytes({digit(index + 1) << 4 | digit(index)});
    }
    return out;
}

std::string trackingArea(const Cell& cell) {
    return network() + u16(cell.trackingArea);
}

/// A list of one.
std::string trackingAreaList(const Cell& cell) {
    return bytes({0x00}) + trackingArea(cell);
}

/// EEA0 to EEA2 and EIA0 to EIA2.
std::string capabilities() {
    return bytes({0xE0, 0xE0});
}

}  // namespace

std::string attachRequest(const Subscriber& subscriber) {
    // A PDN connectivity request: transaction 1, initial, IPv4.
    const std::string session = bytes({0x02, 0x01, 0xD0, 0x11});
    const bool isKnown = subscriber.temporaryId != 0;
    return message(0x41, bytes({0x71}) + sized(isKnown ? temporaryIdentity(subscriber) : permanentIdentity(subscriber)) +
                             sized(capabilities()) + sizedLong(session));
}

std::string authenticationRequest(std::string_view challenge) {
    const std::string text(challenge);
    return message(0x52, bytes({0x00}) + text.substr(0, 16) + sized(text.substr(16)));
}

std::string authenticationResponse(std::string_view answer) {
    return message(0x53, sized(std::string(answer)));
}

std::string securityModeCommand() {
    // 128-EEA2 and 128-EIA2, key set 0, the capabilities sent back
    return message(0x5D, bytes({0x22, 0x00}) + sized(capabilities()));
}

std::string securityModeComplete() {
    return message(0x5E);
}

std::string attachAccept(const Subscriber& subscriber, const Cell& cell, std::uint32_t address) {
    constexpr std::string_view kAccessPoint = "internet";
    // A request to activate the default bearer 5: QCI 9, the access point, the address.
    const std::string session = bytes({0x52, 0x01, 0xC1}) + sized(bytes({0x09})) + sized(sized(std::string(kAccessPoint))) +
                                sized(bytes({0x01}) + u32(address));
    // EPS only; T3412 of 54 minutes
    return message(0x42, bytes({0x01, 0x49}) + sized(trackingAreaList(cell)) + sizedLong(session) + bytes({0x50}) +
                             sized(temporaryIdentity(subscriber)));
}

std::string attachComplete() {
    return message(0x43, sizedLong(bytes({0x52, 0x00, 0xC2})));
}

std::string attachReject(Cause cause) {
    return message(0x44, bytes({static_cast<unsigned>(cause)}));
}

std::string detachRequest(const Subscriber& subscriber, bool isSwitchedOff) {
    return message(0x45, bytes({isSwitchedOff ? 0x09U : 0x01U}) + sized(temporaryIdentity(subscriber)));
}

std::string detachRequestOfNetwork(Cause cause) {
    // Re-attach not required.
    return message(0x45, bytes({0x02, 0x53, static_cast<unsigned>(cause)}));
}

std::string detachAccept() {
    return message(0x46);
}

std::string trackingAreaUpdateRequest(const Subscriber& subscriber, const Cell& last) {
    return message(0x48, bytes({0x00}) + sized(temporaryIdentity(subscriber)) + bytes({0x52}) + trackingArea(last) +
                             bytes({0x57, 0x02, 0x20, 0x00}));  // bearer 5 is up
}

std::string trackingAreaUpdateAccept(const Subscriber& subscriber, const Cell& cell) {
    return message(0x49, bytes({0x00, 0x5A, 0x49, 0x50}) + sized(temporaryIdentity(subscriber)) + bytes({0x54}) +
                             sized(trackingAreaList(cell)));
}

std::string trackingAreaUpdateComplete() {
    return message(0x4A);
}

std::string serviceRequest(unsigned sequence, std::uint16_t shortCode) {
    return bytes({0xC0 | kMobilityManagement, sequence & 0x1F}) + u16(shortCode);
}

}  // namespace corvane::simulated::nas
