#include "support/Process.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace {

using support::run;
namespace fs = std::filesystem;

const char* const kUnits[] = {"corvane.socket", "corvane.service", "pellcore.service"};

std::set<std::string> filesBelow(const fs::path& folder) {
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const bool isOneOfMany = entry.path().parent_path().filename() == "corvane" && entry.path().extension() == ".py" &&
                                 entry.path().filename() != "__init__.py";
        if (!entry.is_directory() && !isOneOfMany) {
            files.insert(fs::relative(entry.path(), folder).string());
        }
    }
    return files;
}

TEST(InstallTest, PutsEverythingBelowThePrefixWithinDestdir) {
    const support::TempFolder root;
    const auto install = run({CMAKE_PROGRAM, "--install", BUILD_FOLDER, "--prefix", "/opt/ryn"}, {{"DESTDIR", root.path()}});
    ASSERT_EQ(install.status, 0) << install.out << install.err;
    EXPECT_EQ(filesBelow(root.path()), (std::set<std::string>{
                                           "opt/ryn/bin/corvane-bridge",
                                           "opt/ryn/bin/ryntool",
                                           "opt/ryn/lib/python3/dist-packages/corvane/__init__.py",
                                           "opt/ryn/lib/python3/dist-packages/corvane/py.typed",
                                           "opt/ryn/lib/systemd/system/corvane.service",
                                           "opt/ryn/lib/systemd/system/corvane.socket",
                                           "opt/ryn/lib/systemd/system/pellcore.service",
                                           "opt/ryn/lib/systemd/user/corvane.service",
                                           "opt/ryn/lib/systemd/user/corvane.socket",
                                           "opt/ryn/lib/systemd/user/pellcore.service",
                                           "opt/ryn/lib/sysusers.d/corvane.conf",
                                           "opt/ryn/lib/tmpfiles.d/corvane.conf",
                                           "opt/ryn/sbin/Corvane",
                                           "opt/ryn/sbin/Pellcore",
                                           "opt/ryn/share/bash-completion/completions/ryntool",
                                           "opt/ryn/share/fish/vendor_completions.d/ryntool.fish",
                                           "opt/ryn/share/man/man1/corvane-bridge.1",
                                           "opt/ryn/share/man/man1/ryntool.1",
                                           "opt/ryn/share/man/man5/corvane-snapshot.5",
                                           "opt/ryn/share/man/man7/corvane-protocol.7",
                                           "opt/ryn/share/man/man8/Corvane.8",
                                           "opt/ryn/share/man/man8/Pellcore.8",
                                           "opt/ryn/share/polkit-1/rules.d/corvane.rules",
                                           "opt/ryn/share/rlwrap/completions/ryntool",
                                           "opt/ryn/share/zsh/site-functions/_ryntool",
                                       }));
    const std::string tool = support::readFile(root.path() / "opt/ryn/bin/ryntool");
    for (const char* text : {"com.quorvel.Corvane", "RFSFlushInterval", "StackshotOnShutdownTimeout", "Trace::RYN::History",
                             "/Logs/CrashReporter/Baseband/", "Passive external through software", "Reset Baseband", "CSILog"}) {
        EXPECT_NE(tool.find(text), std::string::npos) << "the linker dropped " << text;
    }
}

TEST(InstallTest, UnitsAreValidAndConfined) {
    const support::TempFolder prefix;
    ASSERT_EQ(run({CMAKE_PROGRAM, "--install", BUILD_FOLDER, "--prefix", prefix.path()}).status, 0);
    for (const std::string scope : {"system", "user"}) {
        const std::string folder = prefix / ("lib/systemd/" + scope);
        const support::Environment environment{
            {"SYSTEMD_UNIT_PATH", folder + ":"}, {"XDG_RUNTIME_DIR", prefix.path()}, {"DESTDIR", ""}};
        for (const std::string unit : kUnits) {
            const std::string file = fs::path(folder) / unit;
            const auto verified = run({"systemd-analyze", "--" + scope, "--man=no", "verify", file}, environment);
            EXPECT_EQ(verified.status, 0) << scope << " " << unit;
            EXPECT_EQ(verified.out + verified.err, "") << scope << " " << unit;
        }
    }
    for (const std::string service : {"corvane.service", "pellcore.service"}) {
        // Tenths of the exposure level that systemd computes, from 0 to 100.
        const auto judged = run({"systemd-analyze", "security", "--offline=true", "--threshold=6", "--no-pager",
                                 prefix / ("lib/systemd/system/" + service)});
        EXPECT_EQ(judged.status, 0) << judged.out << judged.err;
    }
}

TEST(InstallTest, ManualPagesAreClean) {
    for (const std::string page : {"ryntool.1", "corvane-snapshot.5", "corvane-protocol.7", "Corvane.8", "Pellcore.8"}) {
        const auto lint = run({"mandoc", "-T", "lint", "-W", "warning", SOURCE_FOLDER "/Packaging/man/" + page});
        EXPECT_EQ(lint.status, 0) << lint.out << lint.err;
    }
}

}  // namespace
