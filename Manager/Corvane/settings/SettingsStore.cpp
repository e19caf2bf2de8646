#include "Corvane/settings/SettingsStore.h"

#include "Corvane/support/Log.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace corvane {

namespace fs = std::filesystem;

namespace {

/// Keeps a second manager out, and the write-ahead log's index in memory instead of in a third file. It must come first.
constexpr const char* kLock = "PRAGMA locking_mode=EXCLUSIVE;";

/// With synchronous=FULL every commit is one write and one sync of the log. A short log reaches its full length soon, and then
/// a sync no longer waits for the file system to note that it has grown.
constexpr const char* kSetUp =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=FULL;"
    "PRAGMA wal_autocheckpoint=64;"
    "PRAGMA cache_size=-256;"
    // Fails where nothing can be written, and writes nothing: a manager starts on a full disk too.
    "BEGIN IMMEDIATE;"
    "COMMIT;";

constexpr const char* kCreate =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS setting(area TEXT, name TEXT, value BLOB NOT NULL, PRIMARY KEY(area, name)) WITHOUT ROWID;"
    "PRAGMA user_version=1;"
    "COMMIT;";
static_assert(SettingsStore::kSchemaVersion == 1, "kCreate writes the version");

int columnOfFirstRow(sqlite3* database, const char* query, int& value) {
    const auto takeInteger = [](void* result, int, char** columns, char**) {
        *static_cast<int*>(result) = columns[0] == nullptr ? 0 : std::atoi(columns[0]);
        return 0;
    };
    return sqlite3_exec(database, query, takeInteger, &value, nullptr);
}

/// SQLITE_OK when every page is sound.
int checkPages(sqlite3* database) {
    std::string finding;
    const auto takeText = [](void* result, int, char** columns, char**) {
        *static_cast<std::string*>(result) = columns[0] == nullptr ? "" : columns[0];
        return 0;
    };
    const int code = sqlite3_exec(database, "PRAGMA quick_check(1)", takeText, &finding, nullptr);
    return code == SQLITE_OK && finding != "ok" ? SQLITE_CORRUPT : code;
}

bool isDamage(int code) {
    return (code & 0xFF) == SQLITE_NOTADB || (code & 0xFF) == SQLITE_CORRUPT;
}

void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
    sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

/// A reset of a statement at the end of its use, so that no read transaction stays open.
class Use {
public:
    explicit Use(sqlite3_stmt* statement) : statement_(statement) {}
    ~Use() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

private:
    sqlite3_stmt* statement_;
};

/// The version that a database of any kind names, without writing to its folder; 0 when there is none to read.
int peekVersion(const fs::path& file) {
    std::string uri = "file:";
    for (const char character : file.string()) {
        // What has a meaning in a URI (RFC 3986).
        uri += character == '%' ? "%25" : character == '?' ? "%3f" : character == '#' ? "%23" : std::string(1, character);
    }
    sqlite3* database = nullptr;
    int version = 0;
    if (sqlite3_open_v2((uri + "?immutable=1").c_str(), &database, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr) ==
        SQLITE_OK) {
        columnOfFirstRow(database, "PRAGMA user_version", version);
    }
    sqlite3_close(database);
    return version;
}

std::string laterVersion(const fs::path& file, int version) {
    return "the settings in " + file.string() + " are of version " + std::to_string(version) +
           ", this manager knows versions up to " + std::to_string(SettingsStore::kSchemaVersion) +
           ": install the newer manager or name another folder with --state";
}

/// Renames the database and what belongs to it. @return the new name, empty when that failed.
fs::path setAside(const fs::path& file) {
    fs::path aside;
    for (int number = 1; number == 1 || fs::exists(aside); ++number) {
        aside = file.string() + ".damaged-" + std::to_string(number);
    }
    std::error_code error;
    fs::rename(file, aside, error);
    if (error) {
        return {};
    }
    std::error_code none;
    fs::rename(file.string() + "-wal", aside.string() + "-wal", none);
    return aside;
}

}  // namespace

void SettingsStore::Closer::operator()(sqlite3* database) const {
    sqlite3_close(database);
}

void SettingsStore::Closer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

std::variant<std::unique_ptr<SettingsStore>, std::string> SettingsStore::open(const fs::path& folder) {
    std::error_code error;
    if (fs::create_directories(folder, error)) {
        fs::permissions(folder, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec, error);
    }
    if (error) {
        return "can't make the state folder " + folder.string() + ": " + error.message() + "; name another one with --state";
    }
    const fs::path file = folder / kFileName;
    if (access(folder.c_str(), W_OK) != 0) {  // SQLite would call it a disk I/O error
        return "can't open the settings in " + file.string() + ": " + std::strerror(errno) + "; name another folder with --state";
    }
    if (const int version = peekVersion(file); version > kSchemaVersion) {
        return laterVersion(file, version);
    }
    Opened opened = openDatabase(file);
    if (isDamage(opened.code)) {
        opened.database.reset();
        const fs::path aside = setAside(file);
        if (aside.empty()) {
            return "the settings in " + file.string() + " are damaged and can't be set aside: " + opened.sentence;
        }
        log::error("the settings in " + file.string() + " were damaged (" + opened.sentence + "); they are kept as " +
                   aside.string() + " and every setting is at its default");
        opened = openDatabase(file);
    }
    if (opened.code != SQLITE_OK) {
        return "can't open the settings in " + file.string() + ": " + opened.sentence;
    }
    return std::unique_ptr<SettingsStore>(new SettingsStore(std::move(opened.database)));
}

SettingsStore::Opened SettingsStore::openDatabase(const fs::path& file) {
    sqlite3* raw = nullptr;
    int code = sqlite3_open_v2(file.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    Opened opened{Database(raw), code, {}};
    int version = 0;
    if (code == SQLITE_OK) {
        code = sqlite3_exec(raw, kLock, nullptr, nullptr, nullptr);
    }
    if (code == SQLITE_OK) {
        code = columnOfFirstRow(raw, "PRAGMA user_version", version);
    }
    if (code == SQLITE_OK && version > kSchemaVersion) {
        return {nullptr, SQLITE_ERROR, laterVersion(file, version)};
    }
    if (code == SQLITE_OK) {
        code = checkPages(raw);  // before the first write: what is damaged is kept as it is
    }
    if (code == SQLITE_OK) {
        code = sqlite3_exec(raw, kSetUp, nullptr, nullptr, nullptr);
    }
    if (code == SQLITE_OK && version < kSchemaVersion) {
        code = sqlite3_exec(raw, kCreate, nullptr, nullptr, nullptr);
    }
    if (code == SQLITE_BUSY) {
        return {nullptr, code, "another manager uses them; name another folder with --state"};
    }
    opened.code = code;
    opened.sentence = code == SQLITE_CORRUPT ? sqlite3_errstr(code) : sqlite3_errmsg(raw);
    return opened;
}

SettingsStore::SettingsStore(Database database)
    : database_(std::move(database)),
      get_(prepare("SELECT value FROM setting WHERE area = ?1 AND name = ?2")),
      put_(prepare("INSERT OR REPLACE INTO setting VALUES(?1, ?2, ?3)")),
      removeOne_(prepare("DELETE FROM setting WHERE area = ?1 AND name = ?2")),
      removeArea_(prepare("DELETE FROM setting WHERE area = ?1")) {}

SettingsStore::~SettingsStore() = default;

SettingsStore::Statement SettingsStore::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v3(database_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    return Statement(statement);
}

std::optional<std::string> SettingsStore::get(std::string_view area, std::string_view name) {
    const Use use(get_.get());
    bindText(get_.get(), 1, area);
    bindText(get_.get(), 2, name);
    if (sqlite3_step(get_.get()) != SQLITE_ROW) {
        return std::nullopt;
    }
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(get_.get(), 0));
    return std::string(bytes == nullptr ? "" : bytes, static_cast<std::size_t>(sqlite3_column_bytes(get_.get(), 0)));
}

std::optional<std::string> SettingsStore::put(std::string_view area, std::string_view name, std::string_view text) {
    const Use use(put_.get());
    bindText(put_.get(), 1, area);
    bindText(put_.get(), 2, name);
    sqlite3_bind_blob(put_.get(), 3, text.empty() ? "" : text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    return run(put_.get());
}

std::optional<std::string> SettingsStore::remove(std::string_view area, std::optional<std::string_view> name) {
    sqlite3_stmt* statement = name ? removeOne_.get() : removeArea_.get();
    const Use use(statement);
    bindText(statement, 1, area);
    if (name) {
        bindText(statement, 2, *name);
    }
    return run(statement);
}

std::optional<std::string> SettingsStore::run(sqlite3_stmt* statement) {
    if (sqlite3_step(statement) == SQLITE_DONE) {
        return std::nullopt;
    }
    return std::string("The settings could not be written: ") + sqlite3_errmsg(database_.get()) + ".";
}

}  // namespace corvane
