#include "Corvane/modemmanager/ModemManagerRig.h"
#include "support/Daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <string>

namespace support {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::Eq;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Matcher;

/// The real tool, manager, ModemManager and message bus; only the modem is ours.
class ModemToolTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(ModemManagerRig::whatIsMissing(), "");
        becomePellcore();
        rig_.emplace();
        daemon_.emplace(Arguments{"--backend", "modemmanager"});
        tool_ = {kTool, "baseband", "state", "watch"};
        watch_.emplace(tool_, daemon_->environment());
        modem_.setClock("26/11/21,08:55:01+04");
        rig_->plugAgainAfterReset(modem_);
    }
    /// What the watch prints of the modem's coming: it has to be watching before the modem is plugged in.
    void plug() {
        ASSERT_TRUE(daemon_->process().waitForError("ModemManager has no modem."));
        rig_->plug(modem_);
        ASSERT_TRUE(watch_->waitForOutput("Boot state: Ready\nOperating mode: 1\n"));
    }

    AtModem modem_;
    std::optional<ModemManagerRig> rig_;
    std::optional<Daemon> daemon_;
    Arguments tool_;
    std::optional<Process> watch_;
};

}  // namespace
}  // namespace support
