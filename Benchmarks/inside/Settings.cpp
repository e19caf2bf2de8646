// A durable setting against the same bytes written and synced, and a store with many settings against an empty one.

#include "Corvane/settings/SettingsStore.h"
#include "support/Standard.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace {

using corvane::SettingsStore;

constexpr std::string_view kArea = "CoreDump";
constexpr std::string_view kName = "Enabled";
constexpr std::array<std::string_view, 2> kValues = {"true", "false"};

/// In one transaction: one by one, each would wait for the disk.
void addSettings(const std::filesystem::path& file, std::int64_t count) {
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    const std::string numbers =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT " + std::to_string(count) + ")";
    sqlite3_exec(database, (numbers + "INSERT INTO setting SELECT 'other', i, 'value' FROM n").c_str(), nullptr, nullptr,
                 nullptr);
    sqlite3_close(database);
}

/// A store that holds `others` settings beside the one that is measured.
std::unique_ptr<SettingsStore> storeWith(const support::TempFolder& folder, std::int64_t others) {
    const auto open = [&] { return std::move(*SettingsStore::open(folder.path())); };
    open().reset();
    if (others > 0) {
        addSettings(folder / SettingsStore::kFileName, others);
    }
    auto store = open();
    [[maybe_unused]] const auto stored = store->store(kArea, kName, kValues[0]);
    return store;
}

void storeSetting(benchmark::State& state) {
    const support::TempFolder folder;
    const auto store = storeWith(folder, state.range(0));
    std::size_t turn = 0;
    for (auto _ : state) {
        if (!store->store(kArea, kName, kValues[++turn % kValues.size()])) {
            state.SkipWithError("the setting was not stored");
            break;
        }
        if (store->isLogLong()) {  // as the daemon keeps the log short
            store->writeBack();
            store->beginLog();
        }
    }
}
BENCHMARK(storeSetting)->Arg(0)->Arg(2000)->UseRealTime();

void writeAndSync(benchmark::State& state) {
    const support::TempFolder folder;
    const int file = open((folder / "setting").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const std::string record = std::string(kArea) + "\n" + std::string(kName) + "\n" + std::string(kValues[1]) + "\n";
    for (auto _ : state) {
        if (pwrite(file, record.data(), record.size(), 0) < 0 || fdatasync(file) != 0) {
            state.SkipWithError("the file was not written");
            break;
        }
    }
    close(file);
}
BENCHMARK(writeAndSync)->UseRealTime();

void getSetting(benchmark::State& state) {
    const support::TempFolder folder;
    const auto store = storeWith(folder, state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(store->get(kArea, kName));
    }
}
BENCHMARK(getSetting)->Arg(0)->Arg(2000);

}  // namespace

BENCHMARK_MAIN();
