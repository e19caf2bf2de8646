#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace {

constexpr gid_t kCorvaneGroup = 4711;
constexpr gid_t kOtherGroup = 4712;
constexpr uid_t kUser = 65534;
constexpr uid_t kDaemonUser = 65533;

enum Seen { kServed = 10, kTurnedAway = 11, kNotReachable = 12, kFailed = 13 };

/// What a process of another user sees: a child, so that the credentials are the kernel's.
int seenBy(uid_t user, gid_t group, const std::vector<gid_t>& moreGroups, const std::string& socket, int connections = 1,
           const char* command = "GetCorvaneInfoCommand") {
    const pid_t child = fork();
    if (child == 0) {
        if (setgroups(moreGroups.size(), moreGroups.data()) != 0 || setgid(group) != 0 || setuid(user) != 0) {
            _exit(kFailed);
        }
        std::vector<Peer> peers;
        std::string answer;
        for (int count = 0; count < connections; ++count) {
            answer = peers.emplace_back(socket).connected() ? peers.back().ask(command) : "not reachable";
        }
        _exit(answer.starts_with("0") ? kServed : answer.starts_with("reply 0 ") ? kTurnedAway : kNotReachable);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return support::exitStatus(status);
}

/// Real users and groups need root; the group's name needs a group file of the manager's own, in a mount namespace.
class PeerAccess : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0 || support::run({"unshare", "-m", "true"}).status != 0) {
            GTEST_SKIP() << "only root can act as other users";
        }
        support::writeFile(folder_ / "group",
                           support::readFile("/etc/group") + "corvane:x:" + std::to_string(kCorvaneGroup) + ":\n");
        chmod(folder_.path().c_str(), 0755);
    }

    /// @param before of the manager, a shell command.
    std::unique_ptr<support::Process> start(const std::string& before) {
        const std::string command = "mount --bind '" + (folder_ / "group") + "' /etc/group && " + before + " '" +
                                    support::kDaemon + "' --socket '" + socket() + "' --state '" + (folder_ / "state") + "'";
        auto process = std::make_unique<support::Process>(support::Arguments{"unshare", "-m", "sh", "-c", command},
                                                          support::Environment{{"XDG_CONFIG_HOME", folder_ / "config"}});
        EXPECT_TRUE(process->waitForError("ready"));
        return process;
    }
    /// What a process leaves behind at its end counts until the manager has seen it.
    void waitUntilAllHaveGone() const {
        Peer peer(socket());
        while (peer.ask("GetStatisticsCommand").find(R"("Connected":1,)") == std::string::npos) {
        }
    }
    std::string socket() const { return folder_ / "run/manager.sock"; }

    const support::TempFolder folder_;
};

TEST_F(PeerAccess, IsForRootTheOwnUserAndMembersOfTheGroup) {
    const auto process = start("exec");
    struct stat status {};
    ASSERT_EQ(stat(socket().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0660U);
    EXPECT_EQ(status.st_gid, kCorvaneGroup);
    ASSERT_EQ(stat((folder_ / "run").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0750U);
    EXPECT_EQ(status.st_gid, kCorvaneGroup);
    ASSERT_EQ(stat((folder_ / "run/manager.log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(status.st_gid, kCorvaneGroup);

    EXPECT_EQ(seenBy(0, 0, {}, socket()), kServed);
    EXPECT_EQ(seenBy(kUser, kCorvaneGroup, {}, socket()), kServed);
    EXPECT_EQ(seenBy(kUser, kOtherGroup, {kOtherGroup, kCorvaneGroup}, socket()), kServed);
    EXPECT_EQ(seenBy(kUser, kOtherGroup, {}, socket()), kNotReachable);
    EXPECT_EQ(seenBy(kUser, kCorvaneGroup, {}, socket(), 64), kServed);
    waitUntilAllHaveGone();
    EXPECT_EQ(seenBy(kUser, kCorvaneGroup, {}, socket(), 65), kTurnedAway);
    EXPECT_EQ(seenBy(0, 0, {}, socket(), 200), kServed);

    // Whoever gets past the file's mode is still refused.
    chmod(socket().c_str(), 0666);
    chmod((folder_ / "run").c_str(), 0755);
    EXPECT_EQ(seenBy(kUser, kOtherGroup, {}, socket()), kTurnedAway);
    EXPECT_EQ(seenBy(kDaemonUser, kOtherGroup, {kOtherGroup}, socket()), kTurnedAway);
    EXPECT_TRUE(process->waitForError("may not use this manager; add the user to group corvane"));

    // Who changed what can be told apart.
    for (const uid_t user : {kUser, kDaemonUser}) {
        EXPECT_EQ(seenBy(user, kCorvaneGroup, {}, socket(), 1, "UnblockBasebandResetCommand"), kServed);
        EXPECT_TRUE(process->waitForError("COMMAND=UnblockBasebandResetCommand RESULT=0 CLIENT_UID=" + std::to_string(user)));
    }
}

TEST_F(PeerAccess, KeepsPlacesForRoot) {
    const auto process = start("ulimit -n 100 && exec");  // enough for 36 clients
    std::vector<Peer> peers;
    while (peers.size() < 20) {
        EXPECT_TRUE(peers.emplace_back(socket()).ask("GetCorvaneInfoCommand").starts_with("0 "));
    }
    EXPECT_EQ(seenBy(kUser, kCorvaneGroup, {}, socket()), kTurnedAway);
    EXPECT_EQ(seenBy(0, 0, {}, socket(), 16), kServed);
}

TEST_F(PeerAccess, OfAUsersOwnManagerIsForThatUser) {
    for (const char* name : {"run", "state", "config"}) {
        std::filesystem::create_directory(folder_ / name);
        ASSERT_EQ(chown((folder_ / name).c_str(), kDaemonUser, kOtherGroup), 0);
    }
    const auto process = start("exec setpriv --reuid " + std::to_string(kDaemonUser) + " --regid " + std::to_string(kOtherGroup) +
                               " --clear-groups");
    chmod(socket().c_str(), 0666);
    EXPECT_EQ(seenBy(kDaemonUser, kOtherGroup, {}, socket(), 100), kServed);
    EXPECT_EQ(seenBy(0, 0, {}, socket()), kServed);
    EXPECT_EQ(seenBy(kUser, kOtherGroup, {}, socket()), kTurnedAway);
}

}  // namespace
