#include "Platform/vsk/ProcessPresence.h"
#include "platform/vsk/SorvexUtil.h"
#include "support/Test.h"

#include <sys/prctl.h>

namespace {

/// A process named by prctl(2), or by the shell that it runs, that has stopped and lives until it is told to end.
class NamedProcess {
public:
    explicit NamedProcess(const std::string& name, const std::string& shell = "") : pid_(::fork()) {
        if (pid_ == 0) {
            ::prctl(PR_SET_NAME, name.c_str());
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::execl(shell.c_str(), shell.c_str(), "-c", "kill -STOP $$", nullptr);
            ::raise(SIGSTOP);
        }
        EXPECT_EQ(::waitpid(pid_, nullptr, WUNTRACED), pid_);
    }
    NamedProcess(const NamedProcess&) = delete;
    NamedProcess& operator=(const NamedProcess&) = delete;
    ~NamedProcess() {
        kill();
        ::waitpid(pid_, nullptr, 0);
    }

    /// Ends it and leaves the zombie.
    void kill() const {
        ::kill(pid_, SIGKILL);
        siginfo_t info{};
        ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
    }
    pid_t pid() const { return pid_; }

private:
    const pid_t pid_;
};

/// A name that no other test of this machine uses at the same time, at most 11 bytes.
std::string uniqueName() {
    constexpr int kSevenDigits = 1'000'000;  // so that its beginning is the name of no other
    return "p" + std::to_string(kSevenDigits + ::getpid());
}

struct ProcessPresence : testing::Test {
    ProcessPresence() { ::setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1); }

    std::string pidFile(const std::string& name) const { return folder / ("corvane/" + name + ".pid"); }
    TempFolder folder;
};

TEST_F(ProcessPresence, FindsAProcessByItsExactNameUntilItHasEnded) {
    const auto unique = uniqueName();
    for (const auto& full : {unique, "(" + unique + ") Z", unique + "\xFF\n)", ") R (" + unique}) {
        const auto name = full.substr(0, 15);
        const NamedProcess process(name);
        EXPECT_TRUE(vsk::isProcessRunning(name));
        EXPECT_FALSE(vsk::isProcessRunning(name.substr(0, 3)));
        EXPECT_FALSE(vsk::isProcessRunning(name + "x"));
        process.kill();
        EXPECT_FALSE(vsk::isProcessRunning(name)) << "a zombie doesn't run";
    }
    EXPECT_FALSE(vsk::isProcessRunning(""));
}

TEST_F(ProcessPresence, TellsLongNamesApartByTheProgramsName) {
    const std::string shell = folder / "a-name-of-fifteen-and-more";
    std::filesystem::create_symlink("/bin/sh", shell);
    const NamedProcess process("", shell);
    EXPECT_TRUE(vsk::isProcessRunning("a-name-of-fifteen-and-more"));
    EXPECT_FALSE(vsk::isProcessRunning("a-name-of-fifteen-and-less"));
    EXPECT_FALSE(vsk::isProcessRunning("a-name-of-fifte"));
}

TEST_F(ProcessPresence, BelievesAnAnnouncementOnlyWhileItsProcessHasTheName) {
    const auto name = uniqueName();
    const NamedProcess other("other" + name);
    std::filesystem::create_directories(folder / "corvane");
    support::writeFile(pidFile(name), std::to_string(other.pid()) + "\n");
    EXPECT_FALSE(vsk::isProcessRunning(name));
    const NamedProcess process(name);
    EXPECT_TRUE(vsk::isProcessRunning(name)) << "found in spite of a file that says otherwise";
    EXPECT_FALSE(vsk::isProcessRunning("../corvane/" + name));
}

TEST_F(ProcessPresence, AnAnnouncementLastsAsLongAsItsObject) {
    const auto name = uniqueName();
    ::prctl(PR_SET_NAME, name.c_str());
    {
        ::umask(S_IWGRP | S_IRWXO);
        const vsk::ProcessAnnouncement announcement(name);
        ASSERT_TRUE(announcement.isMade());
        struct stat status {};
        ASSERT_EQ(::stat((folder / "corvane").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0750U);
        ASSERT_EQ(::stat(pidFile(name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0644U) << "everybody's to look at";
        EXPECT_TRUE(vsk::isProcessRunning(name));
    }
    {
        const vsk::ProcessAnnouncement announcement(name);
        support::writeFile(pidFile(name), "1\n");  // a later process of the name has taken over
    }
    EXPECT_EQ(support::readFile(pidFile(name)), "1\n");
    EXPECT_FALSE(vsk::ProcessAnnouncement("no/name").isMade());
}

}  // namespace
