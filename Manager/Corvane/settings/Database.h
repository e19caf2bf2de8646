#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

struct sqlite3;
struct sqlite3_stmt;

namespace corvane {

struct SQLiteDeleter {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
};
using Statement = std::unique_ptr<sqlite3_stmt, SQLiteDeleter>;

/// For looking up a text without a copy of it.
struct TextHash : std::hash<std::string_view> {
    using is_transparent = void;
};
template <typename Value>
using ByText = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;
/// Every stored text: {area: {name: text}}. One is found as fast however many there are.
using StoredTexts = ByText<ByText<std::string>>;

/// The settings' file as an SQLite database. It is checked whole before anything is written to it: its pages, its version, its
/// schema, and that each text can be read.
class Database {
public:
    enum class Condition {
        Sound,
        Damaged,       ///< to be set aside
        LaterVersion,  ///< to be left as it is
        Unusable,      ///< another process has it open, the disk is full, ...
    };
    static constexpr int kVersion = 1;

    /// Opens `file`, or makes it.
    explicit Database(const std::filesystem::path& file);

    Condition condition() const { return condition_; }
    /// Why it isn't sound, without a capital and a full stop.
    const std::string& finding() const { return finding_; }
    /// What it held when it was opened. Only once.
    StoredTexts takeTexts() { return std::move(texts_); }

    /// nullptr when SQLite can't make sense of `sql`; every function of SQLite's but sqlite3_clear_bindings bears that.
    Statement prepare(const char* sql) const;
    /// What fails is made up for by a later change.
    void execute(const char* sql) const;
    /// Writes the number that is there already, a change that changes nothing.
    void setVersion() const;
    std::string lastError() const;

private:
    /// Each step of the opening returns SQLite's code.
    int openHandle(const char* name, int flags);
    int lockAndCheck();
    int readSchema();
    int checkPages() const;
    int setUp();
    int readTexts();
    bool isLaterVersion();
    /// Calls `take` with the columns of each row. A query that can't be prepared or fails returns its code.
    template <typename Take>
    int forEachRow(const char* query, Take take) const;

    std::unique_ptr<sqlite3, SQLiteDeleter> handle_;
    Condition condition_ = Condition::Sound;
    std::string finding_;
    int version_ = 0;
    std::string schema_;  ///< the text of its tables
    bool isNew_ = false;
    StoredTexts texts_;
};

}  // namespace corvane
