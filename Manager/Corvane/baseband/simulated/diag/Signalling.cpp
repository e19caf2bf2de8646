#include "Corvane/baseband/simulated/diag/Signalling.h"

#include "Corvane/baseband/simulated/diag/NasMessages.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace corvane::simulated {
namespace {

using gsmtap::RrcChannel;

constexpr unsigned kPagedEvery = 12;              // seconds
constexpr unsigned kMovesEvery = 40;              // seconds
constexpr unsigned kSystemInformationEvery = 8;   // seconds
constexpr std::uint32_t kAddresses = 0x0A2D0000;  // 10.45.0.0/16

std::uint32_t frameNumber(Conversation::Time time) {
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() /
                                      10 % 1024);
}

}  // namespace

Signalling::Signalling(Loop& loop, DiagPort& port, std::uint64_t seed)
    : port_(port),
      random_(static_cast<std::mt19937::result_type>(seed)),
      signal_(seed),
      cell_(kCells[seed % 2]),
      conversation_(loop, port, [this](Conversation::Time now) { return radio(now); }) {
    subscriber_.imsi = "00101" + std::to_string(1'000'000'000 + seed % 1'000'000'000);
}

void Signalling::goOnline() {
    online_ = true;
    attach();
}

void Signalling::goOffline(bool isSwitchedOff) {
    online_ = false;
    detach(isSwitchedOff);
}

void Signalling::abandon() {
    conversation_.abandon();
    online_ = false;
    registered_ = false;
}

void Signalling::setSimPresent(bool present) {
    if (simPresent_ == present) {
        return;
    }
    simPresent_ = present;
    if (!present) {
        // Whoever gets the next card is another subscriber to the network.
        detach(true);
        subscriber_.temporaryId = 0;
    } else if (online_) {
        attach();
    }
}

void Signalling::setServed(bool served) {
    served_ = served;
    if (served && online_) {
        attach();
    } else if (!served && std::exchange(registered_, false)) {
        detachByNetwork();
    }
}

void Signalling::fade(int rsrpDbm, int seconds) {
    signal_.fade(rsrpDbm, seconds);
    followSignal();
}

void Signalling::attach() {
    if (registered_ || !simPresent_ || !heard_) {
        return;
    }
    if (!served_) {
        beRejected();
        return;
    }
    registered_ = true;
    const auto assigned = 0xC0000000 | static_cast<std::uint32_t>(random_() & 0x3FFFFFFF);
    if (!port_.isOn()) {
        subscriber_.temporaryId = assigned;
        return;
    }
    requestAttach();
    conversation_.addDownlink(nas::authenticationRequest(randomBytes(32)));
    conversation_.addUplink(nas::authenticationResponse(randomBytes(8)));
    conversation_.addDownlink(nas::securityModeCommand());
    conversation_.addUplink(nas::securityModeComplete());
    conversation_.secureConnection();
    subscriber_.temporaryId = assigned;
    conversation_.reconfigure(
        nas::attachAccept(subscriber_, cell_, kAddresses | static_cast<std::uint32_t>(random_() % 65534 + 1)));
    conversation_.addUplink(nas::attachComplete());
    endProcedure();
}

void Signalling::requestAttach() {
    selectCell();
    broadcast();
    connect(rrc::Cause::Signalling, nas::attachRequest(subscriber_));
}

void Signalling::endProcedure() {
    conversation_.release();
    conversation_.begin();
}

void Signalling::beRejected() {
    if (!port_.isOn()) {
        return;
    }
    requestAttach();
    conversation_.addDownlink(nas::attachReject(nas::Cause::NetworkNotAllowed));
    endProcedure();
}

void Signalling::detach(bool isSwitchedOff) {
    if (!std::exchange(registered_, false) || !port_.isOn()) {
        return;
    }
    connect(rrc::Cause::Signalling, nas::detachRequest(subscriber_, isSwitchedOff));
    if (!isSwitchedOff) {
        conversation_.addDownlink(nas::detachAccept());
    }
    endProcedure();
}

void Signalling::detachByNetwork() {
    if (!port_.isOn()) {
        return;
    }
    answerPaging();
    conversation_.addDownlink(nas::detachRequestOfNetwork(nas::Cause::NetworkNotAllowed));
    conversation_.addUplink(nas::detachAccept());
    endProcedure();
}

void Signalling::updateTrackingArea() {
    if (!port_.isOn()) {
        return;
    }
    const Cell last = cell_;
    selectCell();
    broadcast();
    connect(rrc::Cause::Signalling, nas::trackingAreaUpdateRequest(subscriber_, last));
    conversation_.addDownlink(nas::trackingAreaUpdateAccept(subscriber_, cell_));
    conversation_.addUplink(nas::trackingAreaUpdateComplete());
    endProcedure();
}

void Signalling::answerPaging() {
    conversation_.add(RrcChannel::Paging, rrc::paging(subscriber_.mmeCode, subscriber_.temporaryId));
    connect(rrc::Cause::MobileTerminated, nas::serviceRequest(++uplinkCount_, static_cast<std::uint16_t>(random_())), true);
    conversation_.secureConnection();
}

void Signalling::requestService() {
    answerPaging();
    conversation_.reconfigure({});
    conversation_.add(RrcChannel::UplinkDedicated, rrc::measurementReport(signal_.rsrpDbm(), signal_.rsrqDb()));
    endProcedure();
}

/// A baseband that loses its cell sends nothing more. When it hears one again it updates its tracking area, or attaches.
void Signalling::followSignal() {
    if (heard_ && signal_.isLost()) {
        heard_ = false;
        conversation_.abandon();
        registered_ = false;
        log("RRC", "out of service: the cell is too weak", gsmtap::Level::Error);
    } else if (!heard_ && signal_.isFound()) {
        heard_ = true;
        log("RRC", "in service again");
        if (online_ && served_ && subscriber_.temporaryId != 0) {
            registered_ = true;
            updateTrackingArea();
        } else if (online_) {
            attach();
        }
    }
}

void Signalling::second() {
    signal_.measure();
    followSignal();
    ++seconds_;
    if (registered_ && !conversation_.isUnderWay()) {
        listen();
    }
}

void Signalling::listen() {
    if (port_.wants(DiagGroup::Measurements)) {
        const auto now = std::chrono::system_clock::now();
        port_.send(now, gsmtap::logLine(now, gsmtap::Level::Info, "PHY",
                                        fmt::format("RSRP {} dBm, RSRQ {} dB, SNR {} dB", signal_.rsrpDbm(), signal_.rsrqDb(),
                                                    signal_.snrDb())));
    }
    if (seconds_ % kMovesEvery == 0) {
        updateTrackingArea();
    } else if (seconds_ % kPagedEvery == 0) {
        requestService();
    } else {
        conversation_.add(RrcChannel::BroadcastBch, rrc::masterInformationBlock(frameNumber(std::chrono::system_clock::now())));
        if (seconds_ % kSystemInformationEvery == 0) {
            conversation_.add(RrcChannel::BroadcastSharedChannel, rrc::systemInformationBlock1(cell_));
        }
        conversation_.add(RrcChannel::Paging, rrc::paging(subscriber_.mmeCode, static_cast<std::uint32_t>(random_())));
        conversation_.finish();
    }
}

std::string Signalling::measurement() const {
    if (!registered_) {
        return "none,,,,,";
    }
    return fmt::format("LTE,001 01,{},{},{},{}", cell_.identity, signal_.rsrpDbm(), signal_.rsrqDb(), signal_.snrDb());
}

const char* Signalling::registration() const {
    if (registered_) {
        return "home";
    }
    if (!online_ || !simPresent_) {
        return "idle";
    }
    return heard_ ? "denied" : "searching";
}

void Signalling::throughput() {
    constexpr unsigned kLines = 10;
    for (unsigned line = 0; registered_ && line < kLines && port_.wants(DiagGroup::Throughput); ++line) {
        const auto now = std::chrono::system_clock::now();
        const unsigned block = 200 + static_cast<unsigned>(random_() % 800);
        port_.send(now, gsmtap::logLine(now, gsmtap::Level::Debug, "MAC",
                                        fmt::format("harq {}: transport block of {} bytes, mcs {}, acknowledged", line % 8, block,
                                                    block / 36)));
    }
}

void Signalling::log(const char* subsystem, const std::string& text, gsmtap::Level level) {
    if (port_.wants(DiagGroup::Log)) {
        const auto now = std::chrono::system_clock::now();
        port_.send(now, gsmtap::logLine(now, level, subsystem, text));
    }
}

void Signalling::logSim(bool present) {
    log("SIM", present ? "card is ready: network 001 01" : "there is no card: no service",
        present ? gsmtap::Level::Info : gsmtap::Level::Error);
}

void Signalling::connect(rrc::Cause cause, std::string nas, bool isSecured) {
    const bool isKnown = subscriber_.temporaryId != 0;
    const std::uint64_t identity = isKnown ? std::uint64_t{subscriber_.mmeCode} << 32 | subscriber_.temporaryId
                                           : (std::uint64_t{random_()} << 8 ^ random_()) & 0xFFFFFFFFFF;
    conversation_.connect({isKnown, identity}, cause, std::move(nas), isSecured);
}

void Signalling::broadcast() {
    conversation_.add(RrcChannel::BroadcastBch, rrc::masterInformationBlock(frameNumber(std::chrono::system_clock::now())));
    conversation_.add(RrcChannel::BroadcastSharedChannel, rrc::systemInformationBlock1(cell_));
}

void Signalling::selectCell() {
    const Cell before = cell_;
    while (subscriber_.temporaryId != 0 && cell_.trackingArea == before.trackingArea) {
        cell_ = kCells[random_() % kCells.size()];
    }
    log("RF",
        fmt::format("cell {} on frequency {}, band {}: {} dBm", cell_.identity, cell_.arfcn, cell_.band, signal_.rsrpDbm()));
}

std::string Signalling::randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    std::ranges::generate(bytes, [this] { return static_cast<char>(random_()); });
    return bytes;
}

gsmtap::Radio Signalling::radio(Conversation::Time time) const {
    return {cell_.arfcn, signal_.rsrpDbm(), signal_.snrDb(), frameNumber(time)};
}

}  // namespace corvane::simulated
