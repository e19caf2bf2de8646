// A record of 200 bytes appended to a trace, against the same bytes copied and written in pieces of 64 KB; and linking what was
// recorded into a snapshot, with little and with much of it.

#include "Corvane/traces/Recorder.h"
#include "support/TempFolder.h"

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
constexpr std::uint64_t kMegabyte = 1048576;
constexpr std::uint64_t kHistory = 64 * kMegabyte;

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

/// Begins again at the start where the recorder would drop its oldest file.
void copyAndWrite(benchmark::State& state) {
    const support::TempFolder folder;
    const int file = open((folder / "bytes").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string record(kRecord, 'x');
    std::string piece;
    std::uint64_t written = 0;
    for (auto _ : state) {
        piece += record;
        if (piece.size() >= kPiece) {
            if (pwrite(file, piece.data(), piece.size(), static_cast<off_t>(written % kHistory)) < 0) {
                state.SkipWithError("the file was not written");
                break;
            }
            written += piece.size();
            piece.clear();
        }
    }
    close(file);
}
BENCHMARK(copyAndWrite)->UseRealTime();

/// @param state how many megabytes are recorded.
void linkIntoSnapshot(benchmark::State& state) {
    const support::TempFolder folder;
    const auto recorded = static_cast<std::uint64_t>(state.range(0)) * kMegabyte;
    Recorder recorder(folder.path() / "trace", kPcapng, {2 * recorded});
    const std::string record(kPiece, 'x');
    for (std::uint64_t bytes = 0; bytes < recorded; bytes += record.size()) {
        recorder.append({}, record);
    }
    const auto snapshot = folder.path() / "snapshot";
    for (auto _ : state) {
        if (recorder.link(snapshot)) {
            state.SkipWithError("the files were not linked");
            break;
        }
        state.PauseTiming();
        std::filesystem::remove_all(snapshot);
        state.ResumeTiming();
    }
}
BENCHMARK(linkIntoSnapshot)->Arg(1)->Arg(1024)->UseRealTime()->Iterations(200);

}  // namespace

BENCHMARK_MAIN();
