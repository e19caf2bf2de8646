// A record of 200 bytes appended to a trace, against the same bytes copied and written in pieces of 64 KB; and a snapshot of
// little and of much that was recorded.

#include "Corvane/traces/TraceLogs.h"
#include "support/Standard.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

using corvane::kPcapng;
using corvane::Recorder;

constexpr std::size_t kRecord = 200;
constexpr std::size_t kPiece = 65536;
constexpr std::uint64_t kHistory = 64 * corvane::kMegabyte;

void appendRecord(benchmark::State& state) {
    const support::TempFolder folder;
    Recorder recorder(folder.path() / "trace", kPcapng, {kHistory});
    const std::string record(kRecord, 'x');
    const auto time = std::chrono::system_clock::now();
    for (auto _ : state) {
        recorder.append(time, record);
    }
}
BENCHMARK(appendRecord)->UseRealTime();

/// Into a file that is emptied where the recorder would drop its oldest one: pages that are new to the file cost more than those
/// that are written again.
void copyAndWrite(benchmark::State& state) {
    const support::TempFolder folder;
    const int file = open((folder / "bytes").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const std::string record(kRecord, 'x');
    std::string piece;
    std::uint64_t written = 0;
    for (auto _ : state) {
        piece += record;
        if (piece.size() >= kPiece) {
            if (write(file, piece.data(), piece.size()) < 0) {
                state.SkipWithError("the file was not written");
                break;
            }
            written += piece.size();
            piece.clear();
            if (written >= kHistory) {
                written = ftruncate(file, 0) == 0 ? 0 : written;
            }
        }
    }
    close(file);
}
BENCHMARK(copyAndWrite)->UseRealTime();

/// @return whether it is on disk.
bool collect(corvane::TraceLogs& logs) {
    auto written = logs.write({}, true);
    auto synced = written ? logs.sync(*written) : written.refusal();
    while (synced && !*synced) {
        synced = logs.sync(*written);
    }
    return static_cast<bool>(synced);
}

/// @param state how many megabytes are recorded.
void takeSnapshot(benchmark::State& state) {
    const support::TempFolder folder;
    const auto loop = std::move(*corvane::Loop::make());
    const auto store = std::move(*corvane::SettingsStore::open(folder.path()));
    corvane::GroupCommit group(*store, *loop);
    const corvane::TraceFilters filters(*store, group);
    corvane::ScratchLog ownLog(folder / "Scratch");
    corvane::TraceRecorders recorders(*loop, folder / "Scratch");
    const auto recorded = static_cast<std::uint64_t>(state.range(0)) * corvane::kMegabyte;
    recorders.setLimits(ryn::trace::Type::DIAG, {2 * recorded});
    const corvane::TraceRecord record{ryn::trace::Type::DIAG, {}, std::string(kPiece, 'x')};
    for (std::uint64_t bytes = 0; bytes < recorded; bytes += kPiece) {
        recorders.record(record);
    }
    sync();
    corvane::TraceLogs logs(folder / "Snapshots", filters, ownLog, recorders);
    for (auto _ : state) {
        if (!collect(logs)) {
            state.SkipWithError("the snapshot was not written");
            break;
        }
    }
}
BENCHMARK(takeSnapshot)->Arg(1)->Arg(1024)->UseRealTime()->Iterations(50);

}  // namespace

BENCHMARK_MAIN();
