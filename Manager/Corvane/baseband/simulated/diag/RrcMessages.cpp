#include "Corvane/baseband/simulated/diag/RrcMessages.h"

#include "Corvane/baseband/simulated/diag/BitWriter.h"

#include <algorithm>

namespace corvane::simulated::rrc {
namespace {

/// What each message of a channel begins with: the choice "c1", and which of its messages.
BitWriter message(unsigned bits, unsigned choice) {
    BitWriter out;
    out.bits(1, 0).bits(bits, choice);
    return out;
}

/// Of the dedicated channels.
BitWriter message(unsigned choice) {
    return message(4, choice);
}

/// criticalExtensions: c1 with a choice of `bits`, the first of them.
BitWriter& firstRelease(BitWriter& out, unsigned bits) {
    return out.bits(1, 0).bits(bits, 0);
}

}  // namespace

std::string masterInformationBlock(std::uint32_t frame) {
    constexpr unsigned kBandwidth50 = 3;
    // phich-Config normal and one; the lower two bits of the frame number are not sent.
    return BitWriter().bits(3, kBandwidth50).bits(1, 0).bits(2, 2).bits(8, frame >> 2).bits(10, 0).take();
}

std::string systemInformationBlock1(const Cell& cell) {
    BitWriter out = message(1, 1);
    out.bits(3, 0);                                                      // no p-Max, tdd-Config, nonCriticalExtension
    out.bits(1, 0);                                                      // no csg-Identity
    out.bits(3, 0).bits(1, 1).bits(12, 0x001).bits(1, 0).bits(8, 0x01);  // one network: 001 01
    out.bits(1, 1);                                                      // not reserved for operator use
    out.bits(16, cell.trackingArea).bits(28, cell.identity);
    out.bits(1, 1).bits(1, 0).bits(1, 0);     // not barred, reselection allowed, no csg-Indication
    out.bits(1, 0).bits(6, 6);                // q-RxLevMin -64
    out.bits(6, cell.band - 1U);              // freqBandIndicator
    out.bits(5, 0).bits(3, 1).bits(5, 0);     // SIB2 every 16 frames
    return out.bits(3, 4).bits(5, 0).take();  // si-WindowLength 15 ms, systemInfoValueTag
}

std::string paging(std::uint8_t mmeCode, std::uint32_t temporaryId) {
    BitWriter out = message(0, 0);
    out.bits(4, 8).bits(4, 0);  // only a pagingRecordList, of one
    out.bits(1, 0).bits(2, 0).bits(8, mmeCode).bits(32, temporaryId);
    return out.bits(1, 0).take();  // packet-switched domain
}

std::string connectionRequest(bool knownToNetwork, std::uint64_t identity, Cause cause) {
    BitWriter out = message(1, 1);
    out.bits(1, 0).bits(1, knownToNetwork ? 0 : 1).bits(40, identity);
    return out.bits(3, static_cast<unsigned>(cause)).bits(1, 0).take();
}

std::string connectionSetup(unsigned transaction) {
    BitWriter out = message(2, 3);
    firstRelease(out.bits(2, transaction), 3).bits(1, 0);
    out.bits(1, 0).bits(6, 0x20);             // radioResourceConfigDedicated with srb-ToAddModList only
    out.bits(1, 0).bits(1, 0).bits(2, 3);     // SRB1 with both configurations
    return out.bits(1, 0).bits(2, 3).take();  // each the default
}

std::string connectionSetupComplete(unsigned transaction, std::string_view nas) {
    BitWriter out = message(4);
    firstRelease(out.bits(2, transaction), 2).bits(2, 0).bits(3, 0);  // the first network of SIB1
    return out.octets(nas).take();
}

std::string uplinkInformation(std::string_view nas) {
    BitWriter out = message(9);
    return firstRelease(out, 2).bits(1, 0).bits(2, 0).octets(nas).take();
}

std::string downlinkInformation(unsigned transaction, std::string_view nas) {
    BitWriter out = message(1);
    return firstRelease(out.bits(2, transaction), 2).bits(1, 0).bits(2, 0).octets(nas).take();
}

std::string securityModeCommand(unsigned transaction) {
    constexpr unsigned kEea2 = 2;
    constexpr unsigned kEia2 = 2;
    BitWriter out = message(6);
    firstRelease(out.bits(2, transaction), 2).bits(1, 0).bits(1, 0);
    return out.bits(1, 0).bits(3, kEea2).bits(1, 0).bits(3, kEia2).take();
}

std::string securityModeComplete(unsigned transaction) {
    return message(5).bits(2, transaction).bits(1, 0).bits(1, 0).take();
}

std::string connectionReconfiguration(unsigned transaction, std::string_view nas) {
    BitWriter out = message(4);
    firstRelease(out.bits(2, transaction), 3).bits(6, nas.empty() ? 0 : 0x08);
    return nas.empty() ? out.take() : out.bits(4, 0).octets(nas).take();
}

std::string connectionReconfigurationComplete(unsigned transaction) {
    return message(2).bits(2, transaction).bits(1, 0).bits(1, 0).take();
}

std::string connectionRelease(unsigned transaction) {
    constexpr unsigned kOther = 1;
    BitWriter out = message(5);
    return firstRelease(out.bits(2, transaction), 2).bits(3, 0).bits(2, kOther).take();
}

std::string measurementReport(int rsrpDbm, int rsrqDb) {
    // 36.133 sections 9.1.4 and 9.1.7: steps of 1 dB from -140 dBm and of 0.5 dB from -19.5 dB
    const auto rsrp = static_cast<unsigned>(rsrpDbm + 141);
    const auto rsrq = static_cast<unsigned>(2 * rsrqDb + 40);
    BitWriter out = message(1);
    firstRelease(out, 3).bits(1, 0).bits(1, 0).bits(1, 0);  // measResults, no neighbours
    return out.bits(5, 0).bits(7, rsrp).bits(6, rsrq).take();
}

}  // namespace corvane::simulated::rrc
