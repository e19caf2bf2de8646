#include "Corvane/Peer.h"
#include "Torture.h"
#include "support/Daemon.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace torture {

namespace fs = std::filesystem;

namespace {

constexpr const char* kGet = "GetTracePropertyCommand";
constexpr const char* kSet = "SetTracePropertyCommand";
constexpr const char* kNotWritten = "0xE020E109";
constexpr const char* kTooFull = "0xE020E10A";

/// Mounts of this process only.
void makeMountsPrivate() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) {
        throw Skipped{std::string("this machine permits no mounts of one's own: ") + std::strerror(errno)};
    }
    if (user != 0) {
        support::writeFile("/proc/self/setgroups", "deny");
        support::writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        support::writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        throw Skipped{std::string("this machine permits no mounts of one's own: ") + std::strerror(errno)};
    }
}

/// A small disk, in memory. What it keeps outlives the manager.
class SmallDisk {
public:
    explicit SmallDisk(std::string path) : path_(std::move(path)) {
        fs::create_directories(path_);
        if (mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=2m,mode=0750") != 0) {
            throw Skipped{std::string("no tmpfs can be mounted here: ") + std::strerror(errno)};
        }
    }
    ~SmallDisk() { umount2(path_.c_str(), MNT_DETACH); }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    /// Takes every byte that is left, but for `spared` ones.
    void fill(std::size_t spared = 0) const {
        std::ofstream file(ballast(), std::ios::binary | std::ios::app);
        const std::string page(4096, '\0');
        while (file.write(page.data(), static_cast<std::streamsize>(page.size())).flush()) {
        }
        file.close();
        std::error_code error;
        fs::resize_file(ballast(), fs::file_size(ballast()) - spared, error);
    }
    void empty() const { fs::remove(ballast()); }
    void setReadOnly(bool on) const {
        if (mount("none", path_.c_str(), nullptr, MS_REMOUNT | (on ? MS_RDONLY + 0UL : 0UL), "size=2m") != 0) {
            throw Skipped{std::string("the disk can't be made read-only: ") + std::strerror(errno)};
        }
    }

private:
    std::string ballast() const { return path_ + "/ballast"; }

    std::string path_;
};

std::string set(Peer& peer, const std::string& name, const std::string& value) {
    return peer.ask(kSet, property("DIAG", name, value));
}

std::string get(const support::Daemon& daemon, const std::string& name) {
    return Peer(daemon.socketPath()).ask(kGet, property("DIAG", name));
}

/// The database may have room left within itself; otherwise the refusal must say why.
/// @return whether it was set
bool tryToSet(Run& run, Peer& peer, const std::string& name, const std::string& value) {
    const std::string answer = set(peer, name, value);
    run.expect(answer == "0" || answer.starts_with(kNotWritten), "a setting on a full disk is answered " + answer);
    return answer == "0";
}

/// Every kind of change, refused while there is no room, and nothing half done.
void changeOnFullDisk(Run& run, support::Daemon& daemon, const SmallDisk& disk, int history) {
    Peer peer(daemon.socketPath());
    run.expect(set(peer, "History", std::to_string(history)) == "0", "a setting is refused on a disk with room");
    disk.fill();
    const std::string kept = tryToSet(run, peer, "History", "2000") ? "2000" : std::to_string(history);
    const std::pair<const char*, xpc::Object> changes[] = {
        {kSet, property("RYN", "History", "2000")},
        {"CollectTraceLogsCommand", support::dictionary({{"KeyTraceLogsReason", support::text("full")}})},
    };
    for (const auto& [command, argument] : changes) {
        const std::string answer = peer.ask(command, argument);
        run.expect(answer.starts_with(kNotWritten) || answer.starts_with(kTooFull),
                   std::string(command) + " on a full disk is answered " + answer);
    }
    run.expect(get(daemon, "History") == valueReply(kept), "a refused setting has changed");
    run.expect(Peer(daemon.socketPath()).ask(kGet, property("RYN", "History")) == valueReply("5"),
               "a refused preference has changed");
    std::error_code none;
    run.expect(fs::is_empty(daemon.statePath() + "/Snapshots", none) || none, "a refused collection leaves something behind");
    disk.empty();
}

/// Writes until the disk itself says no; whatever was acknowledged is there after a kill.
void writeUntilFull(Run& run, support::Daemon& daemon, const SmallDisk& disk) {
    Peer peer(daemon.socketPath());
    disk.fill(static_cast<std::size_t>(run.random(1, 16)) * 4096);
    int value = 100;
    while (set(peer, "History", std::to_string(value + 1)) == "0") {
        ++value;
    }
    daemon.stop(SIGKILL);
    disk.empty();
    daemon.start();
    run.expect(get(daemon, "History") == valueReply(std::to_string(value)), "an acknowledged setting is lost on a full disk");
}

/// Nothing needs to be written to start and to say what is stored.
void startOnFullDisk(Run& run, support::Daemon& daemon, const SmallDisk& disk) {
    const std::string stored = get(daemon, "History");
    daemon.stop(SIGKILL);
    disk.fill();
    daemon.start();
    run.expect(get(daemon, "History") == stored, "a manager that starts on a full disk has lost a setting");
    Peer peer(daemon.socketPath());
    const bool wasSet = tryToSet(run, peer, "History", "2000");
    run.expect(get(daemon, "History") == (wasSet ? valueReply("2000") : stored), "a refused setting has changed");
    disk.empty();
    run.expect(set(peer, "History", "1999") == "0", "a setting is refused on a disk that has room again");
}

/// A manager that could remember nothing doesn't start: it says so, and leaves everything as it is.
void startOnReadOnlyDisk(Run& run, support::Daemon& daemon, const SmallDisk& disk) {
    const std::string stored = get(daemon, "History");
    daemon.stop(SIGKILL);
    disk.setReadOnly(true);
    const auto outcome =
        support::run({support::kDaemon, "--socket", daemon.socketPath(), "--state", daemon.statePath()}, daemon.environment());
    run.figure("on a read-only disk: " + outcome.err.substr(0, outcome.err.find('\n')));
    run.expect(outcome.status == 1 && std::ranges::count(outcome.err, '\n') == 1,
               "a start on a read-only disk ends with " + std::to_string(outcome.status) + ": " + outcome.err);
    disk.setReadOnly(false);
    daemon.start();
    run.expect(get(daemon, "History") == stored, "a read-only disk has cost a setting");
}

}  // namespace

void fullDisk(Run& run) {
    makeMountsPrivate();
    support::Daemon daemon;
    daemon.stop(SIGTERM);
    // State and preferences move to the small disk, under the paths that they had.
    const SmallDisk disk(daemon.statePath());
    const std::string config = daemon.folder() / "config";
    fs::create_directory(daemon.statePath() + "/config");
    if (mount((daemon.statePath() + "/config").c_str(), config.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        throw Skipped{"no folder can be mounted a second time here"};
    }
    daemon.start();
    const int rounds = run.times(5, 50);
    for (int round = 0; round < rounds && run.kept(); ++round) {
        changeOnFullDisk(run, daemon, disk, 17 + round);
        writeUntilFull(run, daemon, disk);
        startOnFullDisk(run, daemon, disk);
    }
    startOnReadOnlyDisk(run, daemon, disk);
    run.figure(std::to_string(rounds) +
               " times filled to the last byte: refused in a sentence, nothing lost, and on again with room");
    expectClean(run, daemon.stop(SIGTERM), "the manager");
    umount2(config.c_str(), MNT_DETACH);
}

}  // namespace torture
