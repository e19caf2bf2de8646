#include "Corvane/baseband/simulated/diag/Conversation.h"

#include <utility>

namespace corvane::simulated {
namespace {

using gsmtap::Direction;
using gsmtap::RrcChannel;

constexpr std::chrono::milliseconds kStepLasts{4};

DiagGroup::Bit groupOf(RrcChannel channel) {
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

}  // namespace

void Conversation::connect(const Caller& caller, rrc::Cause cause, std::string nas, bool isSecured) {
    const unsigned number = transaction();
    add(RrcChannel::UplinkCommon, rrc::connectionRequest(caller.isKnown, caller.identity, cause));
    add(RrcChannel::DownlinkCommon, rrc::connectionSetup(number));
    add(RrcChannel::UplinkDedicated, rrc::connectionSetupComplete(number, nas));
    addNas(Direction::Uplink, std::move(nas), isSecured);
}

void Conversation::secureConnection() {
    const unsigned number = transaction();
    add(RrcChannel::DownlinkDedicated, rrc::securityModeCommand(number));
    add(RrcChannel::UplinkDedicated, rrc::securityModeComplete(number));
}

void Conversation::reconfigure(const std::string& nas) {
    const unsigned number = transaction();
    add(RrcChannel::DownlinkDedicated, rrc::connectionReconfiguration(number, nas));
    if (!nas.empty()) {
        addNas(Direction::Downlink, nas);
    }
    add(RrcChannel::UplinkDedicated, rrc::connectionReconfigurationComplete(number));
}

void Conversation::release() {
    add(RrcChannel::DownlinkDedicated, rrc::connectionRelease(transaction()));
}

void Conversation::addUplink(const std::string& nas) {
    addNas(Direction::Uplink, nas);
    add(RrcChannel::UplinkDedicated, rrc::uplinkInformation(nas));
}

void Conversation::addDownlink(std::string nas) {
    add(RrcChannel::DownlinkDedicated, rrc::downlinkInformation(transaction(), nas));
    addNas(Direction::Downlink, std::move(nas));
}

void Conversation::add(RrcChannel channel, std::string message) {
    script_.push_back({groupOf(channel), [channel, message = std::move(message)](const gsmtap::Radio& radio) {
                           return gsmtap::rrc(radio, channel, message);
                       }});
}

void Conversation::addNas(Direction direction, std::string message, bool isSecured) {
    script_.push_back({DiagGroup::NAS, [direction, isSecured, message = std::move(message)](const gsmtap::Radio& radio) {
                           return gsmtap::nas(radio, direction, message, isSecured);
                       }});
}

void Conversation::begin() {
    timer_.set(kStepLasts, [this] { step(); });
}

void Conversation::step() {
    const Step next = std::exchange(script_.front(), {});
    script_.pop_front();
    if (!script_.empty()) {
        begin();
    }
    emit(next);
}

void Conversation::emit(const Step& step) {
    if (port_.wants(step.group)) {
        const auto now = std::chrono::system_clock::now();
        port_.send(now, step.packet(radio_(now)));
    }
}

void Conversation::finish() {
    timer_.cancel();
    while (!script_.empty()) {
        emit(std::exchange(script_.front(), {}));
        script_.pop_front();
    }
}

void Conversation::abandon() {
    timer_.cancel();
    script_.clear();
}

}  // namespace corvane::simulated
