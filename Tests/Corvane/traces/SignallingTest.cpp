#include "Corvane/baseband/simulated/CoreDump.h"
#include "Corvane/baseband/simulated/diag/Signalling.h"

#include "Corvane/loop/Loop.h"
#include "support/Test.h"

namespace corvane::simulated {
namespace {

std::string inHex(const std::string& bytes) {
    std::string hex;
    for (const char byte : bytes) {
        hex += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4U];
        hex += "0123456789abcdef"[byte & 0xF];
    }
    return hex;
}

/// A packet without what depends on the time: the frame's number, also in what the cell broadcasts of it, and a line's time.
std::string describe(const std::string& packet) {
    constexpr std::size_t kGsmtap = 28, kFrame = kGsmtap + 8, kMessage = kGsmtap + 16, kLogText = kGsmtap + 32;
    if (packet[kGsmtap + 2] == 0x10) {
        std::string text = packet.substr(kLogText);
        std::erase(text, '\0');
        return text;
    }
    const bool isMaster = packet[kGsmtap + 2] == 0x0D && packet[kFrame + 4] == 4;
    return inHex(packet.substr(kGsmtap + 2, 6) + packet.substr(kFrame + 4, 1) + (isMaster ? "" : packet.substr(kMessage)));
}

/// Second by second, with the seed 8.
TEST(Signalling, SaysTheSameWithTheSameSeed) {
    const auto loop = std::move(*Loop::make());
    std::string shown;
    DiagPort port([&](const TraceRecord& record) { shown += describe(record.content) + '\n'; });
    constexpr DiagGroups kAll = ~DiagGroups();
    Signalling signalling(*loop, port, 8);
    const auto pass = [&](unsigned seconds) {
        for (unsigned second = 0; second < seconds; ++second) {
            signalling.second();
            signalling.finish();
        }
        shown += signalling.measurement() + ' ' + signalling.registration() + '\n';
    };
    pass(1);
    signalling.goOnline();  // nobody listens
    pass(1);
    port.configure({kAll, kAll});
    signalling.throughput();
    pass(41);
    signalling.fade(-130, 2);
    pass(3);
    signalling.throughput();
    for (const int rsrpDbm : {-121, -120, -124, -125, -90, -44}) {
        signalling.fade(rsrpDbm, 0);
        pass(3);
    }
    signalling.setServed(false);
    pass(1);
    signalling.setServed(true);
    signalling.setServed(true);
    signalling.setSimPresent(false);
    signalling.setSimPresent(false);
    pass(1);
    signalling.setServed(true);
    signalling.setServed(false);
    signalling.setSimPresent(true);
    pass(1);
    signalling.setServed(true);
    signalling.goOffline(false);
    signalling.goOffline(false);
    pass(1);
    signalling.setServed(true);
    signalling.goOnline();
    signalling.fade(-130, 0);
    pass(1);
    if (std::getenv("RENEW_FIXTURES") != nullptr) {
        support::writeFile(FIXTURES "/signalling.txt", shown);
    }
    EXPECT_EQ(shown, support::readFile(FIXTURES "/signalling.txt"));
}

/// What readelf says of it was compared, field by field, with what it is to be.
TEST(CoreDump, IsAnElfFileOfTheReasonAndTheMemory) {
    const std::string shown = inHex(coreDump(std::string(100, 'r'), "memory")) + "\n";
    if (std::getenv("RENEW_FIXTURES") != nullptr) {
        support::writeFile(FIXTURES "/core-dump.txt", shown);
    }
    EXPECT_EQ(shown, support::readFile(FIXTURES "/core-dump.txt"));
}

}  // namespace
}  // namespace corvane::simulated
