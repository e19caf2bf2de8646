#include "Corvane/Peer.h"
#include "Torture.h"
#include "support/Daemon.h"
#include "support/Tshark.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

namespace torture {

namespace fs = std::filesystem;

namespace {

constexpr const char* kSet = "SetTracePropertyCommand";

/// Changes its mode as often as it can, each of which is a procedure of some twenty messages.
void makeMessages(const std::string& socket) {
    Peer peer(socket);
    for (int mode = 0; peer.ask("SetBasebandOperatingModeCommand",
                                support::dictionary({{"KeyBasebandOperatingMode", support::number(mode)}})) == "0";
         mode = mode == 0 ? 3 : 0) {
    }
}

bool setAll(Run& run, const std::string& socket) {
    Peer peer(socket);
    bool set = true;
    for (const auto& [name, value] : {std::pair("Enabled", "true"), {"Use_Threshold", "false"}, {"History", "1"}}) {
        set = run.expect(peer.ask(kSet, property("DIAG", name, value)) == "0", std::string(name) + " is refused") && set;
    }
    return set;
}

/// A reader that connects and never reads.
class DeafReader {
public:
    explicit DeafReader(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        connected = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }
    ~DeafReader() { ::close(socket_); }
    DeafReader(const DeafReader&) = delete;
    DeafReader& operator=(const DeafReader&) = delete;

    bool connected = false;

private:
    int socket_;
};

long residentKilobytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/statm");
    long pages = 0;
    status >> pages >> pages;
    return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

/// Whoever doesn't read the live stream costs a limited amount of memory.
void streamToTheDeaf(Run& run, support::Daemon& daemon) {
    Peer peer(daemon.socketPath());
    peer.ask(kSet, property("DIAG", "Mode", "3"));
    const DeafReader first(daemon.folder() / "corvane/diag.sock");
    const DeafReader second(daemon.folder() / "corvane/diag.sock");
    run.expect(first.connected && second.connected, "there is no live stream");
    const long before = residentKilobytes(daemon.process().pid());
    std::thread maker(makeMessages, daemon.socketPath());
    std::this_thread::sleep_for(std::chrono::seconds(run.times(3, 20)));
    const long grown = residentKilobytes(daemon.process().pid()) - before;
    run.figure("two readers that don't read: " + std::to_string(grown) + " KB more memory");
    run.expect(isSanitized() || grown < 4096, "readers that don't read grow the manager by " + std::to_string(grown) + " KB");
    daemon.stop(SIGKILL);
    maker.join();
}

}  // namespace

void recording(Run& run) {
    support::Daemon daemon;
    const int kills = run.times(20, 200);
    if (!setAll(run, daemon.socketPath())) {
        return;
    }
    for (int kill = 0; kill < kills && run.kept(); ++kill) {
        std::thread maker(makeMessages, daemon.socketPath());
        std::this_thread::sleep_for(std::chrono::milliseconds(run.random(150, 400)));
        daemon.stop(SIGKILL);
        maker.join();
        daemon.start();
    }
    std::size_t files = 0;
    std::size_t bytes = 0;
    for (const auto& file : fs::directory_iterator(daemon.statePath() + "/Scratch/DIAG.scratch")) {
        const std::string wrong = support::wrongPackets(file.path());
        run.expect(wrong.empty(), file.path().string() + ": " + wrong);
        ++files;
        bytes += file.file_size();
    }
    run.expect(files > 0 && bytes <= 1048576, std::to_string(bytes) + " bytes are recorded where 1 MB is the limit");
    run.figure(std::to_string(kills) + " kills: each of " + std::to_string(files) + " files opens, " +
               std::to_string(bytes / 1024) + " KB");
    streamToTheDeaf(run, daemon);
    daemon.start();
    expectClean(run, daemon.stop(SIGTERM), "the manager");
}

}  // namespace torture
