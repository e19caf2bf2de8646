#include "Corvane/settings/SettingsStore.h"

#include "Corvane/settings/WriteAheadLog.h"
#include "Corvane/support/Log.h"
#include "Platform/FileDescriptor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace corvane {

namespace fs = std::filesystem;

namespace {

constexpr mode_t kFileMode = S_IRUSR | S_IWUSR;
constexpr const char* kLogSuffix = "-wal";

void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
    sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

Refusal notWritten(const std::string& why) {
    return Refusal::storageFailed("The change could not be written to disk (" + why + "); nothing has changed.");
}

Refusal cannotOpen(const fs::path& file, const std::string& why) {
    return Refusal::storageFailed("can't open the settings in " + file.string() + ": " + why);
}

/// @param error of errno.
Refusal cannotOpen(const fs::path& file, int error) {
    return cannotOpen(file, std::strerror(error) + std::string("; name another folder with --state"));
}

Result<void> prepareFolder(const fs::path& folder) {
    std::error_code error;
    if (fs::create_directories(folder, error)) {
        fs::permissions(folder, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec, error);
    }
    if (error) {
        return Refusal::storageFailed(
            fmt::format("can't make the state folder {}: {}; name another one with --state", folder.string(), error.message()));
    }
    return {};
}

/// Makes the file when it is missing, and lets nobody else read it or what belongs to it. A pipe or a device in its place is
/// refused: opening one may wait for good.
Result<void> prepareFile(const fs::path& file) {
    if (access(file.parent_path().c_str(), W_OK) != 0) {  // SQLite would call it a disk I/O error
        return cannotOpen(file, errno);
    }
    struct stat status {};
    for (const char* suffix : {"", kLogSuffix, "-journal", "-shm"}) {
        const std::string path = file.string() + suffix;
        if (lstat(path.c_str(), &status) != 0) {
            continue;
        }
        if (!S_ISREG(status.st_mode)) {
            return cannotOpen(file, path + " is not a regular file; remove it or name another folder with --state");
        }
        if ((status.st_mode & 0777) != kFileMode) {
            chmod(path.c_str(), kFileMode);
        }
    }
    const platform::FileDescriptor made(::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode));
    if (!made || fstat(made.get(), &status) != 0) {
        return cannotOpen(file, errno);
    }
    return {};
}

/// Renames the database and what belongs to it. @return the new name, empty when that failed.
fs::path setAside(const fs::path& file) {
    fs::path aside;
    for (int number = 1; number == 1 || fs::exists(aside); ++number) {
        aside = fmt::format("{}.damaged-{}", file.string(), number);
    }
    std::error_code error;
    fs::rename(file, aside, error);
    if (error) {
        return {};
    }
    std::error_code none;
    fs::rename(file.string() + kLogSuffix, aside.string() + kLogSuffix, none);
    return aside;
}

/// Sets a damaged database aside and begins a new file.
Result<void> renew(const fs::path& file, const std::string& finding) {
    const fs::path aside = setAside(file);
    if (aside.empty()) {
        return cannotOpen(file, "they are damaged and can't be set aside: " + finding);
    }
    log::error(fmt::format("the settings in {} were damaged ({}); they are kept as {} and every setting is at its default",
                           file.string(), finding, aside.string()));
    return prepareFile(file);
}

void reportDropped(const DroppedPages& dropped, const fs::path& file) {
    if (dropped.changes == 0) {
        return;
    }
    const std::string pages = fmt::format("{} pages of the log of the settings in {}", dropped.pages, file.string());
    if (dropped.changes == 1) {
        log::warning(pages + " are incomplete and dropped: the last change, which was under way when the manager ended");
    } else {
        log::error(fmt::format("{} are damaged and dropped: the last {} changes are lost", pages, dropped.changes));
    }
}

}  // namespace

Result<std::unique_ptr<SettingsStore>> SettingsStore::open(const fs::path& folder) {
    const fs::path file = folder / kFileName;
    std::error_code none;
    if (const auto prepared = prepareFolder(folder); !prepared) {
        return prepared.refusal();
    }
    const bool isNew = !fs::exists(file, none) && !fs::exists(file.string() + kLogSuffix, none);
    if (const auto prepared = prepareFile(file); !prepared) {
        return prepared.refusal();
    }
    if (!isNew && fs::file_size(file, none) == 0) {  // SQLite would begin a new one, and remove the log beside it
        if (const auto renewed = renew(file, "the file is empty"); !renewed) {
            return renewed.refusal();
        }
    }
    const DroppedPages dropped = findDroppedPages(file);
    auto database = std::make_unique<Database>(file);
    if (database->condition() == Database::Condition::Damaged) {
        const std::string finding = database->finding();
        database.reset();
        if (const auto renewed = renew(file, finding); !renewed) {
            return renewed.refusal();
        }
        database = std::make_unique<Database>(file);
    } else if (database->condition() == Database::Condition::Sound) {
        reportDropped(dropped, file);
    }
    if (database->condition() == Database::Condition::LaterVersion) {
        return Refusal::storageFailed(
            fmt::format("the settings in {} are {}, this manager knows versions up to {}: install the newer manager or name "
                        "another folder with --state",
                        file.string(), database->finding(), Database::kVersion));
    }
    if (database->condition() != Database::Condition::Sound) {
        if (isNew) {
            fs::remove(file, none);
        }
        return cannotOpen(file, database->finding());
    }
    return std::unique_ptr<SettingsStore>(new SettingsStore(std::move(*database)));
}

SettingsStore::SettingsStore(Database database)
    : database_(std::move(database)),
      begin_(database_.prepare("BEGIN IMMEDIATE")),
      commit_(database_.prepare("COMMIT")),
      store_(database_.prepare("INSERT OR REPLACE INTO setting VALUES(?1, ?2, ?3)")),
      clear_(database_.prepare("DELETE FROM setting WHERE area = ?1")),
      texts_(database_.takeTexts()) {}

SettingsStore::~SettingsStore() {
    if (!lazy_.empty()) {
        // What can't be written now was promised to nobody.
        [[maybe_unused]] const auto written = Transaction(*this).commit();
    }
}

std::optional<std::string> SettingsStore::get(std::string_view area, std::string_view name) const {
    const auto texts = texts_.find(area);
    if (texts == texts_.end()) {
        return std::nullopt;
    }
    const auto text = texts->second.find(name);
    return text == texts->second.end() ? std::nullopt : std::optional(text->second);
}

Result<void> SettingsStore::store(std::string_view area, std::string_view name, std::string_view text) {
    Transaction transaction(*this);
    const Key key{std::string(area), std::string(name)};
    if (write(key, text)) {
        change(key, std::string(text), false);
    }
    return transaction.commit();
}

Result<void> SettingsStore::clear(std::string_view area) {
    Transaction transaction(*this);
    bindText(clear_.get(), 1, area);
    if (run(clear_.get())) {
        const auto texts = texts_[std::string(area)];
        for (const auto& [name, text] : texts) {
            change({std::string(area), name}, std::nullopt, false);
        }
    }
    return transaction.commit();
}

void SettingsStore::storeLazily(std::string_view area, std::string_view name, std::string_view text) {
    change({std::string(area), std::string(name)}, std::string(text), true);
}

void SettingsStore::writeBack() {
    changesInLog_ = 0;
    database_.execute("PRAGMA wal_checkpoint");
}

/// The first write after that starts a new log, whose header is synced by itself. It rewrites the version number, so losing it
/// costs nothing.
void SettingsStore::beginLog() {
    database_.execute("PRAGMA synchronous=NORMAL");
    database_.setVersion();
    database_.execute("PRAGMA synchronous=FULL");
}

void SettingsStore::begin() {
    if (depth_++ == 0) {
        before_.clear();
        outcome_ = {};
        run(begin_.get());
    }
}

Result<void> SettingsStore::commit() {
    if (depth_ > 1) {
        --depth_;
        return outcome_;
    }
    for (const Key& key : lazy_) {
        write(key, texts_[key.area][key.name]);
    }
    if (!run(commit_.get())) {
        rollBack();
        return outcome_;
    }
    depth_ = 0;
    lazy_.clear();
    ++changesInLog_;
    return {};
}

void SettingsStore::rollBack() {
    if (--depth_ > 0) {
        outcome_ = outcome_ ? notWritten("given up") : outcome_;
        return;
    }
    database_.execute("ROLLBACK");
    for (auto change = before_.rbegin(); change != before_.rend(); ++change) {
        replace(change->key, std::move(change->text), change->wasLazy);
    }
}

const Result<void>& SettingsStore::run(sqlite3_stmt* statement) {
    if (outcome_ && sqlite3_step(statement) != SQLITE_DONE) {
        outcome_ = notWritten(database_.lastError());
    }
    sqlite3_reset(statement);  // so that no read transaction stays open
    return outcome_;
}

const Result<void>& SettingsStore::write(const Key& key, std::string_view text) {
    bindText(store_.get(), 1, key.area);
    bindText(store_.get(), 2, key.name);
    sqlite3_bind_blob(store_.get(), 3, text.empty() ? "" : text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    return run(store_.get());
}

void SettingsStore::change(const Key& key, std::optional<std::string> text, bool isLazy) {
    if (depth_ > 0) {
        before_.push_back({key, get(key.area, key.name), lazy_.contains(key)});
    }
    replace(key, std::move(text), isLazy);
}

void SettingsStore::replace(const Key& key, std::optional<std::string> text, bool isLazy) {
    if (text) {
        texts_[key.area][key.name] = std::move(*text);
    } else {
        texts_[key.area].erase(key.name);
    }
    lazy_.erase(key);
    if (isLazy) {
        lazy_.insert(key);
    }
}

}  // namespace corvane
