#include "Corvane/traces/TraceLogs.h"

#include "support/TempFolder.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace corvane {
namespace {

namespace fs = std::filesystem;

std::multiset<std::string> synced;  ///< paths

/// Nothing of a collection may be missing after a power cut, neither what was written for it nor what is linked into it.
TEST(TraceLogs, AreOnDiskBeforeTheirFolderAppears) {
    const support::TempFolder folder;
    const auto loop = std::move(*Loop::make());
    const auto store = std::move(*SettingsStore::open(folder.path()));
    GroupCommit group(*store, *loop);
    const TraceFilters filters(*store, group);
    ScratchLog ownLog(folder / "Scratch");
    TraceRecorders recorders(*loop, folder / "Scratch");
    recorders.record({ryn::trace::Type::DIAG, {}, "a packet"});
    TraceLogs logs(folder / "Snapshots", filters, ownLog, recorders);

    synced.clear();
    const auto collected = logs.write({{"manager.json", "{}"}}, false);
    ASSERT_TRUE(collected);

    std::multiset<std::string> expected{folder / "Snapshots", folder.path()};
    const std::string before = collected->string() + ".partial";
    expected.insert(before);
    for (const auto& entry : fs::recursive_directory_iterator(*collected)) {
        expected.insert(before / fs::relative(entry.path(), *collected));
    }
    EXPECT_THAT(expected, testing::Contains(testing::EndsWith(".pcapng")));
    EXPECT_EQ(synced, expected);
}

}  // namespace
}  // namespace corvane

/// In place of the C library's.
extern "C" int fsync(int descriptor) {
    std::error_code none;
    corvane::synced.insert(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none));
    return 0;
}
