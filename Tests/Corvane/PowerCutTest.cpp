#include "Corvane/loop/Loop.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/traces/TraceLogs.h"
#include "support/Test.h"

#include <sys/uio.h>

namespace {

/// What reached the kernel: w a write at a place, s the sync of a file, f that of a folder, r a renaming, u a removal.
std::string steps;

int sync(int descriptor) {
    struct stat status {};
    steps += fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode) ? 'f' : 's';
    return 0;
}

}  // namespace

namespace corvane {
namespace {

struct PowerCut : testing::Test {
    PowerCut() {
        setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
        unsetenv("SORVEX_DEVICE_FILE");  // this machine's device may allow no log
    }
    /// What `change` did, in its order.
    template <typename Change>
    std::string stepsOf(Change change) {
        steps.clear();
        EXPECT_TRUE(change());
        return steps;
    }
    support::TempFolder folder;
    std::unique_ptr<SettingsStore> store = std::move(*SettingsStore::open(folder.path()));
};

TEST_F(PowerCut, LosesNoSettingThatIsStored) {
    EXPECT_THAT(stepsOf([this] { return store->store("trace", "a", "1"); }), testing::MatchesRegex("w+s"));
    store->storeLazily("count", "a", "1");
    {
        const SettingsStore::Transaction dropped(*store);
        EXPECT_EQ(stepsOf([this] { return store->store("trace", "a", "2") && store->store("count", "a", "2"); }), "");
        store->storeLazily("count", "b", "2");
    }
    SettingsStore::Transaction whole(*store);
    { const SettingsStore::Transaction part(*store); }
    EXPECT_EQ(whole.commit().refusal().sentence, "The change could not be written to disk (given up); nothing has changed.");
    EXPECT_EQ(store->get("trace", "a"), "1");
    store->writeBack();
    store->beginLog();
    EXPECT_THAT(stepsOf([this] { return store->clear("trace"); }), testing::MatchesRegex("w+s")) << "in a new log too";
    store.reset();
    store = std::move(*SettingsStore::open(folder.path()));
    EXPECT_EQ(store->get("count", "a").value_or("lost") + store->get("count", "b").value_or(""), "1");
}

TEST_F(PowerCut, LeavesWholeTraceLogsOrTheLogTheyWereMadeOf) {
    const auto loop = std::move(*Loop::make());
    GroupCommit group(*store, *loop);
    const TraceFilters filters(*store, group);
    ScratchLog scratchLog(folder.path() / "Scratch");
    scratchLog.write("line");
    TraceRecorders recorders(*loop, folder.path() / "Scratch");
    recorders.record({ryn::trace::Type::DIAG, {}, "packet"});
    TraceLogs logs(folder.path() / "Snapshots", filters, scratchLog, recorders);
    const auto collect = [&] {
        auto written = logs.write({{"one", "content"}, {"two", "content"}}, false);
        auto synced = written ? logs.sync(*written) : Result<std::optional<std::filesystem::path>>(written.refusal());
        while (synced && !*synced) {
            synced = logs.sync(*written);
        }
        return static_cast<bool>(synced);
    };
    EXPECT_THAT(stepsOf(collect), testing::MatchesRegex("[sf]{5}ffrfuu")) << "the log and an older one are removed last";
    EXPECT_EQ(std::ranges::count(steps, 's'), 4) << "what is linked from the folder of a trace too";
    EXPECT_EQ(stepsOf(collect), "ssfrfuu") << "without a log, and where the folder of folders is known";
}

}  // namespace
}  // namespace corvane

// In place of the C library's, and for what it is called by.
extern "C" {
int fsync(int descriptor) {
    return sync(descriptor);
}
int fdatasync(int descriptor) {
    return sync(descriptor);
}
ssize_t pwrite64(int descriptor, const void* bytes, std::size_t count, off64_t offset) {
    steps += 'w';
    const iovec piece{const_cast<void*>(bytes), count};
    return pwritev64(descriptor, &piece, 1, offset);
}
int rename(const char* from, const char* to) noexcept {
    steps += 'r';
    return renameat(AT_FDCWD, from, AT_FDCWD, to);
}
int remove(const char* path) noexcept {
    steps += 'u';
    return unlink(path) == 0 ? 0 : rmdir(path);
}
}
