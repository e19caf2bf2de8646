#include "Corvane/settings/Database.h"

#include "Corvane/support/Log.h"

#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>

namespace corvane {

namespace fs = std::filesystem;

namespace {

constexpr const char* kTable =
    "CREATE TABLE setting(area TEXT, name TEXT, value BLOB NOT NULL, PRIMARY KEY(area, name)) WITHOUT ROWID";

/// Keeps a second manager out, and the write-ahead log's index in memory instead of in a third file. It must come first.
constexpr const char* kLock = "PRAGMA locking_mode=EXCLUSIVE; PRAGMA cell_size_check=ON;";

/// With synchronous=FULL every commit is one write and one sync of the log. A change writes whole pages, so that they are small;
/// a database that is there already keeps its own size. A short log reaches its full length soon, and then a sync no longer waits
/// for the file system to note that it has grown. A change that finds the log at its limit writes it back.
constexpr const char* kSetUp =
    "PRAGMA page_size=1024;"
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=FULL;"
    "PRAGMA wal_autocheckpoint=1024;"
    "PRAGMA cache_size=-256;"
    // Fails where nothing can be written, and writes nothing: a manager starts on a full disk too.
    "BEGIN IMMEDIATE;"
    "COMMIT;";

constexpr const char* kSetVersion = "PRAGMA user_version=1";
static_assert(Database::kVersion == 1, "kSetVersion writes the version");

/// Whether the fault lies in the file itself, and not in the disk, the memory or another process.
bool isDamage(int code, const fs::path& file) {
    switch (code & 0xFF) {
        case SQLITE_ERROR:
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_SCHEMA:
        case SQLITE_TOOBIG:
        case SQLITE_MISMATCH:
            return true;
        case SQLITE_READONLY:  // by what the file's header says
            return access(file.c_str(), W_OK) == 0;
        default:
            return code == SQLITE_IOERR_READ || code == SQLITE_IOERR_SHORT_READ || code == SQLITE_IOERR_CORRUPTFS;
    }
}

/// A name by which SQLite opens the file without writing to its folder.
std::string immutableName(const fs::path& file) {
    std::string uri = "file:";
    for (const char character : file.string()) {
        // What has a meaning in a URI (RFC 3986).
        uri += character == '%' ? "%25" : character == '?' ? "%3f" : character == '#' ? "%23" : std::string(1, character);
    }
    return uri + "?immutable=1";
}

std::string textOf(sqlite3_stmt* row, int column) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(row, column));
    return bytes == nullptr ? std::string() : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

}  // namespace

void SQLiteDeleter::operator()(sqlite3* database) const {
    sqlite3_close(database);
}

void SQLiteDeleter::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

Database::Database(const fs::path& file) {
    // A later version may have its own use for what lies beside the file, so it is looked for before anything is made there.
    const bool isReadable = openHandle(immutableName(file).c_str(), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI) == SQLITE_OK;
    if (isReadable && readSchema() == SQLITE_OK && isLaterVersion()) {
        return;
    }
    int code = openHandle(file.c_str(), SQLITE_OPEN_READWRITE);
    for (const auto step : {&Database::lockAndCheck, &Database::setUp, &Database::readTexts}) {
        code = code == SQLITE_OK ? (this->*step)() : code;
    }
    if (code == SQLITE_OK || condition_ != Condition::Sound) {
        return;
    }
    condition_ = isDamage(code, file) ? Condition::Damaged : Condition::Unusable;
    if (finding_.empty()) {
        finding_ = code == SQLITE_BUSY      ? "another manager uses them; name another folder with --state"
                   : code == SQLITE_CORRUPT ? sqlite3_errstr(code)
                                            : lastError();
    }
}

int Database::openHandle(const char* name, int flags) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(name, &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    handle_.reset(handle);
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    return code;
}

int Database::lockAndCheck() {
    int code = sqlite3_exec(handle_.get(), kLock, nullptr, nullptr, nullptr);
    code = code == SQLITE_OK ? readSchema() : code;
    code = code == SQLITE_OK ? checkPages() : code;
    if (code != SQLITE_OK) {
        return code;
    }
    if (isLaterVersion()) {
        return SQLITE_ERROR;
    }
    if (sqlite3_db_readonly(handle_.get(), "main") != 0) {
        finding_ = sqlite3_errstr(SQLITE_READONLY);
        return SQLITE_READONLY;
    }
    isNew_ = version_ == 0 && schema_.empty();
    if (!isNew_ && schema_ != kTable) {
        finding_ = "its table is not the settings'";
        return SQLITE_CORRUPT;
    }
    if (!isNew_ && version_ != kVersion) {
        log::error(fmt::format("the version number of the settings was damaged ({}); it is put right, and no setting is lost",
                               version_));
        setVersion();
    }
    return SQLITE_OK;
}

bool Database::isLaterVersion() {
    // Of a later version more than the number differs; a number alone is damage.
    if (version_ <= kVersion || schema_ == kTable) {
        return false;
    }
    condition_ = Condition::LaterVersion;
    finding_ = fmt::format("of version {}", version_);
    // The file is left as it is.
    sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return true;
}

template <typename Take>
int Database::forEachRow(const char* query, Take take) const {
    const Statement statement = prepare(query);
    int code = statement ? SQLITE_ROW : sqlite3_extended_errcode(handle_.get());
    while (code == SQLITE_ROW && (code = sqlite3_step(statement.get())) == SQLITE_ROW) {
        take(statement.get());
    }
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

int Database::checkPages() const {
    std::string finding;
    const int code = forEachRow("PRAGMA integrity_check(1)", [&](sqlite3_stmt* row) { finding = textOf(row, 0); });
    return code == SQLITE_OK && finding != "ok" ? SQLITE_CORRUPT : code;
}

int Database::readSchema() {
    schema_.clear();
    const int code = forEachRow("SELECT sql FROM sqlite_schema", [this](sqlite3_stmt* row) { schema_ += textOf(row, 0); });
    const auto takeVersion = [this](sqlite3_stmt* row) { version_ = sqlite3_column_int(row, 0); };
    return code == SQLITE_OK ? forEachRow("PRAGMA user_version", takeVersion) : code;
}

int Database::setUp() {
    int code = sqlite3_exec(handle_.get(), kSetUp, nullptr, nullptr, nullptr);
    if (code == SQLITE_OK && isNew_) {
        const std::string create = "BEGIN IMMEDIATE;" + std::string(kTable) + ";" + kSetVersion + ";COMMIT;";
        code = sqlite3_exec(handle_.get(), create.c_str(), nullptr, nullptr, nullptr);
    }
    return code;
}

int Database::readTexts() {
    return forEachRow("SELECT area, name, value FROM setting",
                      [this](sqlite3_stmt* row) { texts_[textOf(row, 0)][textOf(row, 1)] = textOf(row, 2); });
}

Statement Database::prepare(const char* sql) const {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v3(handle_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    return Statement(statement);
}

void Database::execute(const char* sql) const {
    sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr);
}

void Database::setVersion() const {
    execute(kSetVersion);
}

std::string Database::lastError() const {
    return sqlite3_errmsg(handle_.get());
}

}  // namespace corvane
