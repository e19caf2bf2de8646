#include "Corvane/Peer.h"
#include "Torture.h"
#include "support/Daemon.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <numeric>

namespace torture {

namespace fs = std::filesystem;

namespace {

constexpr const char* kGet = "GetTracePropertyCommand";
constexpr const char* kSet = "SetTracePropertyCommand";
constexpr std::size_t kPage = 4096;

void flip(std::string& content, std::size_t bit) {
    content[bit / 8] = static_cast<char>(content[bit / 8] ^ 1 << bit % 8);
}

/// The bits of the header and of the schema's text: what isn't empty of the first page.
std::vector<std::size_t> bitsOfFirstPage(const std::string& database) {
    constexpr std::size_t kHeader = 110;  // the file's, the page's, and where the schema's only row begins
    const std::size_t row = database.find_first_not_of('\0', kHeader);
    std::vector<std::size_t> bits(8 * (kHeader + kPage - row));
    std::iota(bits.begin(), bits.end(), 0U);
    std::ranges::transform(bits, bits.begin(),
                           [&](std::size_t bit) { return bit < 8 * kHeader ? bit : bit + 8 * (row - kHeader); });
    return bits;
}

/// Starts the manager on what stands in its state folder. It must serve and take a change.
/// @return what it says DIAG's history is
std::string serve(Run& run, support::Daemon& daemon, const std::string& damage) {
    daemon.start();
    Peer peer(daemon.socketPath());
    const std::string reply = peer.ask(kGet, property("DIAG", "History"));
    run.expect(peer.ask(kSet, property("DIAG", "History", "18")) == "0", "a setting is refused after " + damage);
    run.expect(peer.ask(kGet, property("DIAG", "History")) == valueReply("18"), "a setting is lost after " + damage);
    return reply;
}

bool isSaid(const support::Outcome& outcome) {
    return outcome.err.find("the settings in ") != std::string::npos || outcome.err.find("version number") != std::string::npos;
}

void empty(const std::string& folder) {
    for (const auto& entry : fs::directory_iterator(folder)) {
        fs::remove_all(entry);
    }
}

void damageDatabase(Run& run, support::Daemon& daemon, const std::string& sound) {
    std::vector<std::pair<std::string, std::string>> damaged;
    std::vector<std::size_t> bits = bitsOfFirstPage(sound);
    const auto wanted = static_cast<std::size_t>(run.times(60, static_cast<int>(bits.size())));
    for (std::size_t index = 0; index < wanted; ++index) {
        const auto other = static_cast<std::size_t>(run.random(static_cast<int>(index), static_cast<int>(bits.size()) - 1));
        std::swap(bits[index], bits[other]);
        damaged.emplace_back("flipping bit " + std::to_string(bits[index]), sound);
        flip(damaged.back().second, bits[index]);
    }
    for (std::size_t size = 0; size < sound.size(); size += 512) {
        damaged.emplace_back("cutting the database to " + std::to_string(size) + " bytes", sound.substr(0, size));
    }
    int said = 0;
    for (const auto& [damage, content] : damaged) {
        empty(daemon.statePath());
        support::writeFile(daemon.statePath() + "/settings.db", content);
        const std::string history = serve(run, daemon, damage);
        const auto outcome = daemon.stop(SIGTERM);
        expectClean(run, outcome, "the manager after " + damage);
        run.expect(isSaid(outcome) || history == valueReply("17"), damage + " has cost a setting and was not said");
        said += isSaid(outcome) ? 1 : 0;
    }
    run.figure(std::to_string(damaged.size()) + " damaged databases (" + std::to_string(wanted) + " of " +
               std::to_string(bits.size()) + " bits of header and schema, each length in steps of 512 bytes): " +
               std::to_string(said) + " found and said, the others harmless, all served");
}

/// Whatever is wrong with the log: the last acknowledged value is there, or what is lost is said.
void damageLog(Run& run, support::Daemon& daemon) {
    constexpr int kChanges = 8;
    const std::string log = daemon.statePath() + "/settings.db-wal";
    empty(daemon.statePath());
    daemon.start();
    {
        Peer peer(daemon.socketPath());
        for (int value = 0; value < kChanges; ++value) {
            peer.ask(kSet, property("DIAG", "History", std::to_string(100 + value)));
        }
    }
    daemon.stop(SIGKILL);
    const std::string database = support::readFile(daemon.statePath() + "/settings.db");
    const std::string sound = support::readFile(log);
    const int flips = run.times(40, 1000);
    int lost = 0;
    for (int index = 0; index < flips; ++index) {
        std::string content = sound;
        // Half of them in the headers, which are little of the log.
        const int frame = run.random(0, static_cast<int>(sound.size() / (24 + kPage)) - 1);
        const int header = frame == 0 ? 0 : 32 + (frame - 1) * static_cast<int>(24 + kPage);
        const int byte = index % 2 == 0 ? header + run.random(0, 23) : run.random(0, static_cast<int>(sound.size()) - 1);
        const auto bit = static_cast<std::size_t>(8 * byte + run.random(0, 7));
        flip(content, bit);
        support::writeFile(daemon.statePath() + "/settings.db", database);
        support::writeFile(log, content);
        const std::string damage = "flipping bit " + std::to_string(bit) + " of the log";
        const bool isWhole = serve(run, daemon, damage) == valueReply(std::to_string(100 + kChanges - 1));
        const auto outcome = daemon.stop(SIGTERM);
        expectClean(run, outcome, "the manager after " + damage);
        run.expect(isWhole || isSaid(outcome) || outcome.err.find("log of the settings") != std::string::npos,
                   damage + " has cost a setting and was not said");
        lost += isWhole ? 0 : 1;
    }
    run.figure(std::to_string(flips) + " damaged logs: " + std::to_string(lost) + " had lost changes, each of them said");
}

}  // namespace

void damagedState(Run& run) {
    support::Daemon daemon;
    // In memory: what is looked at here isn't the disk, and waiting for it would take minutes.
    daemon.stop(SIGTERM);
    std::string memory = "/dev/shm/ryn.XXXXXX";
    if (mkdtemp(memory.data()) != nullptr) {
        fs::remove_all(daemon.statePath());
        fs::create_directory_symlink(memory, daemon.statePath());
    }
    daemon.start();
    Peer(daemon.socketPath()).ask(kSet, property("DIAG", "History", "17"));
    daemon.stop(SIGTERM);
    damageDatabase(run, daemon, support::readFile(daemon.statePath() + "/settings.db"));
    damageLog(run, daemon);
    fs::remove_all(memory);
}

}  // namespace torture
