#include "Corvane/baseband/simulated/diag/Gsmtap.h"
#include "Corvane/baseband/simulated/diag/NasMessages.h"
#include "Corvane/baseband/simulated/diag/RrcMessages.h"
#include "Corvane/traces/Recorder.h"
#include "support/Test.h"

namespace corvane::simulated {
namespace {

using gsmtap::Direction;
using gsmtap::RrcChannel;

const Subscriber kNew{"001010123456789", 0};
const Subscriber kKnown{"001010123456789", 0xABCDEF01};
const Cell kCell{0x1234567, 0x2B, 1300, 3};

std::string rrcPacket(RrcChannel channel, const std::string& message) {
    return gsmtap::rrc({1300, -95, 12, 77}, channel, message);
}

std::string toPhone(const std::string& message) {
    return rrcPacket(RrcChannel::DownlinkDedicated, message);
}
std::string toCell(const std::string& message) {
    return rrcPacket(RrcChannel::UplinkDedicated, message);
}
std::string uplink(const std::string& message, bool isSecured = false) {
    return gsmtap::nas({1300, -95, 12, 77}, Direction::Uplink, message, isSecured);
}
std::string downlink(const std::string& message) {
    return gsmtap::nas({1300, -95, 12, 77}, Direction::Downlink, message, false);
}

/// Of each packet a line with these fields, tabulators between them.
std::string tshark(const std::filesystem::path& file, const std::set<std::string>& fields) {
    std::string command = "tshark -n -o udp.check_checksum:TRUE -o ip.check_checksum:TRUE -T fields -r " + file.string();
    for (const std::string& field : fields) {
        command += " -e " + field;
    }
    const std::string shown = file.string() + ".txt";
    EXPECT_EQ(std::system((command + " > " + shown).c_str()), 0);
    return support::readFile(shown);
}

/// Wireshark's decoder is the judge of every message that the baseband can send, and of what it carries.
TEST(DiagMessages, AreWhatTsharkReadsInThem) {
    const std::string challenge = "0123456789abcdef0123456789abcdef";
    const std::chrono::system_clock::time_point time(std::chrono::seconds(1'700'000'000));
    const std::string blockType1 = rrcPacket(RrcChannel::BroadcastSharedChannel, rrc::systemInformationBlock1(kCell));
    struct Row {
        std::string packet;
        const char* info;
        const char* field;
        const char* value;
    };
    const Row rows[] = {
        {rrcPacket(RrcChannel::BroadcastBch, rrc::masterInformationBlock(516)), "MasterInformationBlock (SFN=129)",
         "lte-rrc.dl_Bandwidth", "3"},
        {blockType1, "SystemInformationBlockType1", "lte-rrc.trackingAreaCode", "002b"},
        {blockType1, "SystemInformationBlockType1", "lte-rrc.freqBandIndicator", "3"},
        {rrcPacket(RrcChannel::Paging, rrc::paging(7, 0xDEADBEEF)), "Paging (1 PagingRecord)", "lte-rrc.m_TMSI", "deadbeef"},
        {rrcPacket(RrcChannel::UplinkCommon, rrc::connectionRequest(false, 0x123456789A, rrc::Cause::Signalling)),
         "RRCConnectionRequest", "lte-rrc.establishmentCause", "3"},
        {rrcPacket(RrcChannel::UplinkCommon, rrc::connectionRequest(true, 0x01ABCDEF01, rrc::Cause::Data)),
         "RRCConnectionRequest", "lte-rrc.m_TMSI", "abcdef01"},
        {rrcPacket(RrcChannel::DownlinkCommon, rrc::connectionSetup(2)), "RRCConnectionSetup",
         "lte-rrc.rrc_TransactionIdentifier", "2"},
        {toCell(rrc::connectionSetupComplete(1, nas::attachRequest(kNew))),
         "RRCConnectionSetupComplete, Attach request, PDN connectivity request", "e212.imsi", "001010123456789"},
        {toPhone(rrc::downlinkInformation(3, nas::authenticationRequest(challenge))),
         "DLInformationTransfer, Authentication request", "lte-rrc.rrc_TransactionIdentifier", "3"},
        {toCell(rrc::uplinkInformation(nas::authenticationResponse("12345678"))),
         "ULInformationTransfer, Authentication response", "gsmtap.uplink", "1"},
        {toPhone(rrc::securityModeCommand(1)), "SecurityModeCommand", "lte-rrc.cipheringAlgorithm", "2"},
        {toCell(rrc::securityModeComplete(1)), "SecurityModeComplete", "lte-rrc.rrc_TransactionIdentifier", "1"},
        {toPhone(rrc::connectionReconfiguration(0, nas::attachAccept(kKnown, kCell, 0x0A2D0005))),
         "RRCConnectionReconfiguration, Attach accept, Activate default EPS bearer context request", "nas_eps.esm.pdn_ipv4",
         "10.45.0.5"},
        {toPhone(rrc::connectionReconfiguration(1, {})), "RRCConnectionReconfiguration", "lte-rrc.rrc_TransactionIdentifier",
         "1"},
        {toCell(rrc::connectionReconfigurationComplete(1)), "RRCConnectionReconfigurationComplete", "gsmtap.arfcn", "1300"},
        {toCell(rrc::measurementReport(-95, -10)), "MeasurementReport", "lte-rrc.rsrpResult", "46"},
        {toPhone(rrc::connectionRelease(1)), "RRCConnectionRelease [cause=other]", "lte-rrc.releaseCause", "1"},
        {uplink(nas::attachRequest(kKnown)), "Attach request, PDN connectivity request", "3gpp.tmsi", "2882400001"},
        {downlink(nas::authenticationRequest(challenge)), "Authentication request", "gsmtap.uplink", "0"},
        {uplink(nas::authenticationResponse("12345678")), "Authentication response", "nas_eps.emm.res", "3132333435363738"},
        {downlink(nas::securityModeCommand()), "Security mode command", "nas_eps.emm.toc", "2"},
        {uplink(nas::securityModeComplete()), "Security mode complete", "gsmtap.uplink", "1"},
        {downlink(nas::attachAccept(kKnown, kCell, 1)), "Attach accept, Activate default EPS bearer context request",
         "nas_eps.emm.tai_tac", "43"},
        {uplink(nas::attachComplete()), "Attach complete, Activate default EPS bearer context accept", "nas_eps.bearer_id", "5"},
        {downlink(nas::attachReject(nas::Cause::IllegalEquipment)), "Attach reject (Illegal ME)", "nas_eps.emm.cause", "6"},
        {uplink(nas::detachRequest(kKnown, true)), "Detach request (EPS detach / switch-off)", "3gpp.tmsi", "2882400001"},
        {downlink(nas::detachRequestOfNetwork(nas::Cause::NetworkNotAllowed)),
         "Detach request (Re-attach not required) (PLMN not allowed)", "nas_eps.emm.cause", "11"},
        {downlink(nas::detachAccept()), "Detach accept", "frame.time_epoch", "1700000000.000000000"},
        {uplink(nas::trackingAreaUpdateRequest(kKnown, kCell)), "Tracking area update request", "nas_eps.emm.tai_tac", "43"},
        {downlink(nas::trackingAreaUpdateAccept(kKnown, kCell)), "Tracking area update accept", "nas_eps.emm.tai_tac", "43"},
        {uplink(nas::trackingAreaUpdateComplete()), "Tracking area update complete", "gsmtap.type", "18"},
        {uplink(nas::serviceRequest(5, 0x1234), true), "Service request", "nas_eps.seq_no_short", "5"},
        {gsmtap::logLine(time, gsmtap::Level::Notice, "BOOT", "boot: Ready"), "boot: Ready", "gsmtap_log.subsys", "BOOT"},
        {gsmtap::logLine(time, gsmtap::Level::Debug, "SYS", "debug"), "debug", "gsmtap_log.level", "1"},
        {gsmtap::logLine(time, gsmtap::Level::Info, "SYS", "info"), "info", "gsmtap_log.level", "3"},
        {gsmtap::logLine(time, gsmtap::Level::Notice, "SYS", "notice"), "notice", "gsmtap_log.level", "5"},
        {gsmtap::logLine(time, gsmtap::Level::Error, "SYS", "error"), "error", "gsmtap_log.level", "7"},
    };
    const support::TempFolder folder;
    std::set<std::string> fields{"_ws.col.Info", "_ws.malformed", "_ws.expert.message"};
    {
        Recorder recorder(folder.path() / "DIAG", kPcapng, {1048576});
        for (const Row& row : rows) {
            recorder.append(time, row.packet);
            fields.insert(row.field);
        }
    }
    std::uint32_t sum = 0;
    for (const Row& row : rows) {
        for (const char byte : row.packet) {
            sum = 31 * sum + static_cast<unsigned char>(byte);
        }
    }
    EXPECT_EQ(sum, 804908660U) << "other bytes than those that were looked at in Wireshark, field by field: look again";
    std::istringstream lines(tshark(folder.path() / "DIAG/00000001.pcapng", fields));
    for (const Row& row : rows) {
        std::map<std::string, std::string> shown;
        std::string line;
        ASSERT_TRUE(std::getline(lines, line)) << row.info;
        std::istringstream columns(line);
        for (const std::string& field : fields) {
            std::getline(columns, shown[field], '\t');
        }
        EXPECT_EQ(shown["_ws.col.Info"], row.info);
        EXPECT_EQ(shown["_ws.malformed"] + shown["_ws.expert.message"], "") << row.info;
        EXPECT_EQ(shown[row.field], row.value) << row.field << " of " << row.info;
    }
}

}  // namespace
}  // namespace corvane::simulated
