#include "Corvane/baseband/simulated/diag/Signalling.h"

#include "Corvane/baseband/simulated/diag/NasMessages.h"

#include <array>
#include <utility>

namespace corvane::simulated {
namespace {

using gsmtap::Direction;
using gsmtap::RrcChannel;

constexpr std::chrono::milliseconds kStepLasts{4};
constexpr unsigned kPagedEvery = 12;              // seconds
constexpr unsigned kMovesEvery = 40;              // seconds
constexpr unsigned kSystemInformationEvery = 8;   // seconds
constexpr std::uint32_t kAddresses = 0x0A2D0000;  // 10.45.0.0/16

constexpr std::array<Cell, 4> kCells{{
    {0x0A1C401, 0x002B, 1300, 3},
    {0x0A1C402, 0x002B, 1300, 3},
    {0x0A1D101, 0x002C, 6300, 20},
    {0x0A1D203, 0x002D, 2850, 7},
}};

DiagGroup groupOf(RrcChannel channel) {
    switch (channel) {
        case RrcChannel::BroadcastBch:
        case RrcChannel::BroadcastSharedChannel:
            return DiagGroup::Broadcast;
        case RrcChannel::Paging:
            return DiagGroup::Paging;
        default:
            return DiagGroup::RRC;
    }
}

std::uint32_t frameNumber(std::chrono::system_clock::time_point time) {
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() /
                                      10 % 1024);
}

}  // namespace

Signalling::Signalling(Loop& loop, DiagPort& port, std::uint64_t seed)
    : port_(port), timer_(loop), random_(static_cast<std::mt19937::result_type>(seed)), signal_(seed), cell_(kCells[seed % 2]) {
    const std::string digits = std::to_string(1'000'000'000 + seed % 1'000'000'000);
    subscriber_.imsi = "00101" + digits;
}

void Signalling::attach() {
    if (registered_) {
        return;
    }
    registered_ = true;
    const auto assigned = 0xC0000000 | static_cast<std::uint32_t>(random_() & 0x3FFFFFFF);
    if (!port_.isOn()) {
        subscriber_.temporaryId = assigned;
        return;
    }
    selectCell();
    broadcast();
    connect(rrc::Cause::Signalling, nas::attachRequest(subscriber_));
    addDownlink(nas::authenticationRequest(randomBytes(32)));
    addUplink(nas::authenticationResponse(randomBytes(8)));
    addDownlink(nas::securityModeCommand());
    addUplink(nas::securityModeComplete());
    secureConnection();
    subscriber_.temporaryId = assigned;
    const std::string accept =
        nas::attachAccept(subscriber_, cell_, kAddresses | static_cast<std::uint32_t>(random_() % 65534 + 1));
    const unsigned number = transaction();
    add(RrcChannel::DownlinkDedicated, rrc::connectionReconfiguration(number, accept));
    addNas(Direction::Downlink, accept);
    add(RrcChannel::UplinkDedicated, rrc::connectionReconfigurationComplete(number));
    addUplink(nas::attachComplete());
    release();
    begin();
}

void Signalling::detach(bool isSwitchedOff) {
    if (!std::exchange(registered_, false) || !port_.isOn()) {
        return;
    }
    connect(rrc::Cause::Signalling, nas::detachRequest(subscriber_, isSwitchedOff));
    if (!isSwitchedOff) {
        addDownlink(nas::detachAccept());
    }
    release();
    begin();
}

void Signalling::abandon() {
    timer_.cancel();
    script_.clear();
    registered_ = false;
}

void Signalling::finish() {
    timer_.cancel();
    while (!script_.empty()) {
        emit(std::exchange(script_.front(), {}));
        script_.pop_front();
    }
}

void Signalling::updateTrackingArea() {
    const Cell last = cell_;
    selectCell();
    broadcast();
    connect(rrc::Cause::Signalling, nas::trackingAreaUpdateRequest(subscriber_, last));
    addDownlink(nas::trackingAreaUpdateAccept(subscriber_, cell_));
    addUplink(nas::trackingAreaUpdateComplete());
    release();
    begin();
}

void Signalling::requestService() {
    add(RrcChannel::Paging, rrc::paging(subscriber_.mmeCode, subscriber_.temporaryId));
    connect(rrc::Cause::MobileTerminated, nas::serviceRequest(++uplinkCount_, static_cast<std::uint16_t>(random_())), true);
    secureConnection();
    const unsigned number = transaction();
    add(RrcChannel::DownlinkDedicated, rrc::connectionReconfiguration(number, {}));
    add(RrcChannel::UplinkDedicated, rrc::connectionReconfigurationComplete(number));
    add(RrcChannel::UplinkDedicated, rrc::measurementReport(signal_.rsrpDbm(), signal_.rsrqDb()));
    release();
    begin();
}

void Signalling::second() {
    signal_.measure();
    ++seconds_;
    if (!registered_ || !script_.empty()) {
        return;
    }
    if (port_.wants(DiagGroup::Measurements)) {
        const auto now = std::chrono::system_clock::now();
        port_.send(
            now, gsmtap::logLine(now, gsmtap::Level::Info, "PHY",
                                 "RSRP " + std::to_string(signal_.rsrpDbm()) + " dBm, RSRQ " + std::to_string(signal_.rsrqDb()) +
                                     " dB, SNR " + std::to_string(signal_.snrDb()) + " dB"));
    }
    const bool isAttached = subscriber_.temporaryId != 0;
    if (isAttached && seconds_ % kMovesEvery == 0) {
        updateTrackingArea();
    } else if (isAttached && seconds_ % kPagedEvery == 0) {
        requestService();
    } else {
        add(RrcChannel::BroadcastBch, rrc::masterInformationBlock(frameNumber(std::chrono::system_clock::now())));
        if (seconds_ % kSystemInformationEvery == 0) {
            add(RrcChannel::BroadcastSharedChannel, rrc::systemInformationBlock1(cell_));
        }
        add(RrcChannel::Paging, rrc::paging(subscriber_.mmeCode, static_cast<std::uint32_t>(random_())));
        finish();
    }
}

std::string Signalling::measurement() const {
    if (!registered_) {
        return "none,,,,,";
    }
    return "LTE,001 01," + std::to_string(cell_.identity) + "," + std::to_string(signal_.rsrpDbm()) + "," +
           std::to_string(signal_.rsrqDb()) + "," + std::to_string(signal_.snrDb());
}

void Signalling::throughput() {
    constexpr unsigned kLines = 10;
    for (unsigned line = 0; registered_ && line < kLines && port_.wants(DiagGroup::Throughput); ++line) {
        const auto now = std::chrono::system_clock::now();
        const unsigned block = 200 + static_cast<unsigned>(random_() % 800);
        port_.send(now, gsmtap::logLine(now, gsmtap::Level::Debug, "MAC",
                                        "harq " + std::to_string(line % 8) + ": transport block of " + std::to_string(block) +
                                            " bytes, mcs " + std::to_string(block / 36) + ", acknowledged"));
    }
}

void Signalling::log(const char* subsystem, const std::string& text, gsmtap::Level level) {
    if (port_.wants(DiagGroup::Log)) {
        const auto now = std::chrono::system_clock::now();
        port_.send(now, gsmtap::logLine(now, level, subsystem, text));
    }
}

void Signalling::broadcast() {
    add(RrcChannel::BroadcastBch, rrc::masterInformationBlock(frameNumber(std::chrono::system_clock::now())));
    add(RrcChannel::BroadcastSharedChannel, rrc::systemInformationBlock1(cell_));
}

void Signalling::connect(rrc::Cause cause, std::string nas, bool isSecured) {
    const bool isKnown = subscriber_.temporaryId != 0;
    const std::uint64_t identity = isKnown ? std::uint64_t{subscriber_.mmeCode} << 32 | subscriber_.temporaryId
                                           : (std::uint64_t{random_()} << 8 ^ random_()) & 0xFFFFFFFFFF;
    const unsigned number = transaction();
    add(RrcChannel::UplinkCommon, rrc::connectionRequest(isKnown, identity, cause));
    add(RrcChannel::DownlinkCommon, rrc::connectionSetup(number));
    add(RrcChannel::UplinkDedicated, rrc::connectionSetupComplete(number, nas));
    addNas(Direction::Uplink, std::move(nas), isSecured);
}

void Signalling::secureConnection() {
    const unsigned number = transaction();
    add(RrcChannel::DownlinkDedicated, rrc::securityModeCommand(number));
    add(RrcChannel::UplinkDedicated, rrc::securityModeComplete(number));
}

void Signalling::release() {
    add(RrcChannel::DownlinkDedicated, rrc::connectionRelease(transaction()));
}

void Signalling::addUplink(const std::string& nas) {
    addNas(Direction::Uplink, nas);
    add(RrcChannel::UplinkDedicated, rrc::uplinkInformation(nas));
}

void Signalling::addDownlink(std::string nas) {
    add(RrcChannel::DownlinkDedicated, rrc::downlinkInformation(transaction(), nas));
    addNas(Direction::Downlink, std::move(nas));
}

void Signalling::add(RrcChannel channel, std::string message) {
    script_.push_back({groupOf(channel), [channel, message = std::move(message)](const gsmtap::Radio& radio) {
                           return gsmtap::rrc(radio, channel, message);
                       }});
}

void Signalling::addNas(Direction direction, std::string message, bool isSecured) {
    script_.push_back({DiagGroup::NAS, [direction, isSecured, message = std::move(message)](const gsmtap::Radio& radio) {
                           return gsmtap::nas(radio, direction, message, isSecured);
                       }});
}

void Signalling::begin() {
    timer_.set(kStepLasts, [this] { step(); });
}

void Signalling::step() {
    if (script_.empty()) {
        return;
    }
    const Step next = std::exchange(script_.front(), {});
    script_.pop_front();
    if (!script_.empty()) {
        begin();
    }
    emit(next);
}

void Signalling::emit(const Step& step) {
    if (port_.wants(step.group)) {
        const auto now = std::chrono::system_clock::now();
        port_.send(now, step.packet(radio(now)));
    }
}

void Signalling::selectCell() {
    const Cell before = cell_;
    while (subscriber_.temporaryId != 0 && cell_.trackingArea == before.trackingArea) {
        cell_ = kCells[random_() % kCells.size()];
    }
    log("RF", "cell " + std::to_string(cell_.identity) + " on frequency " + std::to_string(cell_.arfcn) + ", band " +
                  std::to_string(cell_.band) + ": " + std::to_string(signal_.rsrpDbm()) + " dBm");
}

std::string Signalling::randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random_());
    }
    return bytes;
}

gsmtap::Radio Signalling::radio(std::chrono::system_clock::time_point time) const {
    return {cell_.arfcn, signal_.rsrpDbm(), signal_.snrDb(), frameNumber(time)};
}

}  // namespace corvane::simulated
