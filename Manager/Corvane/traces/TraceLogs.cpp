#include "Corvane/traces/TraceLogs.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/UtcTime.h"
#include "Platform/FileDescriptor.h"
#include "config/TraceType.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace corvane {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kPartial = ".partial";

/// The number behind the last '-'; 0 when `name` is not one of ours.
long numberOf(const std::string& name) {
    const std::size_t dash = name.rfind('-');
    return name.starts_with(ryn::trace::kLogDirPrefix) && dash != std::string::npos && !name.ends_with(kPartial)
               ? std::strtol(name.c_str() + dash + 1, nullptr, 10)
               : 0;
}

// The refusals of these are clauses.

Refusal systemRefusal() {
    return Refusal::storageFailed(std::strerror(errno));
}

Result<void> writeFile(const fs::path& path, const std::string& content) {
    std::FILE* const file = std::fopen(path.c_str(), "wbe");
    const bool isWritten = file != nullptr && std::fwrite(content.data(), 1, content.size(), file) == content.size();
    if (file != nullptr && std::fclose(file) == 0 && isWritten) {
        return {};
    }
    return Refusal::storageFailed(path.filename().string() + " did not fit or could not be made");
}

/// Waits until a file or a folder is on disk.
Result<void> syncPath(const fs::path& path) {
    const platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    return file && fsync(file.get()) == 0 ? Result<void>() : systemRefusal();
}

fs::path partialOf(const fs::path& folder) {
    return folder.string() + std::string(kPartial);
}

/// Makes a folder that its group may read as far as the umask lets it, unless everybody may enter the state folder. The umask
/// holds for the files in it too.
Result<void> makeFolder(const fs::path& folder, const fs::path& stateFolder) {
    struct stat status {};
    const bool isOpen = stat(stateFolder.c_str(), &status) != 0 || (status.st_mode & S_IRWXO) != 0;
    const mode_t mode = isOpen ? S_IRWXU : S_IRWXU | S_IRGRP | S_IXGRP;
    return mkdir(folder.c_str(), mode) == 0 ? Result<void>() : systemRefusal();
}

/// Removes what there is of the trace logs in `folder`. @param why they could not be written
Refusal giveUp(const fs::path& folder, const Refusal& why) {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    return Refusal::storageFailed(
        fmt::format("The trace logs could not be written to {}: {}.", folder.parent_path().string(), why.sentence));
}

}  // namespace

TraceLogs::TraceLogs(fs::path folder, const TraceFilters& filters, ScratchLog& scratchLog, TraceRecorders& recorders)
    : folder_(std::move(folder)), filters_(filters), scratchLog_(scratchLog), recorders_(recorders) {}

Result<void> TraceLogs::checkFilters() const {
    if (filters_.maxLogLimit() == 0) {
        return Refusal::limitReached("The max-log filter is 0, so that no trace logs are kept; raise or remove it.");
    }
    const auto needed = filters_.freeSpacePercentage();
    struct statvfs disk {};
    if (!needed || statvfs(folder_.parent_path().c_str(), &disk) != 0 || disk.f_blocks == 0) {
        return {};
    }
    const auto free = static_cast<std::int64_t>(100 * disk.f_bavail / disk.f_blocks);
    if (free >= *needed) {
        return {};
    }
    return Refusal::limitReached(fmt::format(
        "The disk of {} has {} % free and the free-space filter asks for {} %; make room, or lower or remove the filter.",
        folder_.string(), free, *needed));
}

Result<TraceLogs::Written> TraceLogs::write(const std::vector<SnapshotFile>& files, bool keepScratchLogs) {
    std::error_code error;
    const fs::path stateFolder = folder_.parent_path();
    const bool isFirst = !fs::exists(folder_, error);
    if (const auto made = isFirst ? makeFolder(folder_, stateFolder) : Result<void>(); !made) {
        return Refusal::storageFailed(fmt::format("The folder {} can't be made: {}.", folder_.string(), made.refusal().sentence));
    }
    removeLeftovers();
    const std::vector<Collection> before = collections();
    const long number = before.empty() ? 1 : before.back().number + 1;
    const fs::path whole = folder_ / fmt::format("{}{}-{}", ryn::trace::kLogDirPrefix, utcTime("%Y-%m-%dT%H-%M-%SZ"), number);
    const fs::path partial = partialOf(whole);
    if (const auto filled = fill(partial, files, keepScratchLogs); !filled) {
        return giveUp(partial, filled.refusal());
    }
    Written written{whole, {}, keepScratchLogs};
    if (isFirst) {
        written.unsynced.push_back(stateFolder);
    }
    written.unsynced.push_back(partial);
    for (fs::recursive_directory_iterator entry(partial, error), end; !error && entry != end; entry.increment(error)) {
        written.unsynced.push_back(entry->path());
    }
    return error ? Result<Written>(giveUp(partial, Refusal::storageFailed(error.message()))) : written;
}

Result<void> TraceLogs::fill(const fs::path& partial, const std::vector<SnapshotFile>& files, bool keepScratchLogs) {
    if (auto made = makeFolder(partial, folder_.parent_path()); !made) {
        return made;
    }
    for (const SnapshotFile& file : files) {
        if (auto written = writeFile(partial / file.name, file.content); !written) {
            return written;
        }
    }
    if (auto linked = recorders_.link(partial); !linked) {
        return linked;
    }
    return scratchLog_.collect(partial, keepScratchLogs);
}

/// Syncs from the end of the list: the files, then their folder. A power cut leaves a whole folder, or none and the scratch logs.
Result<std::optional<fs::path>> TraceLogs::sync(Written& written) {
    if (written.unsynced.empty()) {
        return publish(written).then([](const fs::path& folder) { return std::optional(folder); });
    }
    if (const auto synced = syncPath(written.unsynced.back()); !synced) {
        return giveUp(partialOf(written.folder), synced.refusal());
    }
    written.unsynced.pop_back();
    return std::optional<fs::path>();
}

Result<fs::path> TraceLogs::publish(const Written& written) {
    std::error_code error;
    const fs::path& whole = written.folder;
    fs::rename(partialOf(whole), whole, error);
    if (error) {
        return giveUp(partialOf(whole), Refusal::storageFailed(error.message()));
    }
    if (const auto synced = syncPath(folder_); !synced) {
        return giveUp(whole, synced.refusal());
    }
    // A log that isn't kept ends with this line: until it is cleared, it is the folder's file too.
    log::notice("collected trace logs in " + whole.string());
    if (!written.keepsScratchLogs) {
        scratchLog_.clear();
        recorders_.removeLinked();
    }
    dropOldest();
    return whole;
}

std::vector<TraceLogs::Collection> TraceLogs::collections() const {
    std::vector<Collection> found;
    std::error_code error;
    for (fs::directory_iterator entry(folder_, error), end; !error && entry != end; entry.increment(error)) {
        if (const long number = numberOf(entry->path().filename().string()); number > 0) {
            found.push_back({number, entry->path()});
        }
    }
    std::ranges::sort(found, {}, &Collection::number);
    return found;
}

std::chrono::system_clock::time_point TraceLogs::lastCollected() const {
    const std::vector<Collection> all = collections();
    struct stat status {};
    if (all.empty() || stat(all.back().folder.c_str(), &status) != 0) {
        return {};
    }
    return std::chrono::system_clock::from_time_t(status.st_mtime);
}

void TraceLogs::removeLeftovers() const {
    std::vector<fs::path> leftovers;
    std::error_code error;
    for (fs::directory_iterator entry(folder_, error), end; !error && entry != end; entry.increment(error)) {
        if (entry->path().filename().string().ends_with(kPartial)) {
            leftovers.push_back(entry->path());
        }
    }
    for (const fs::path& leftover : leftovers) {
        fs::remove_all(leftover, error);
    }
}

void TraceLogs::dropOldest() const {
    const auto limit = filters_.maxLogLimit();
    std::vector<Collection> kept = collections();
    if (!limit || kept.size() <= static_cast<std::size_t>(*limit)) {
        return;
    }
    kept.resize(kept.size() - static_cast<std::size_t>(*limit));
    for (const Collection& oldest : kept) {
        std::error_code error;
        fs::remove_all(oldest.folder, error);
        log::info(error ? fmt::format("can't remove {}: {}", oldest.folder.string(), error.message())
                        : fmt::format("removed {}: the max-log filter keeps {}", oldest.folder.string(), *limit));
    }
}

}  // namespace corvane
