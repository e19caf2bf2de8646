#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

struct sqlite3;
struct sqlite3_stmt;

namespace corvane {

/// What the manager remembers, as named texts in areas, in an SQLite database of the state folder.
///
/// One process at a time: a second one is refused at opening. A damaged database is set aside as
/// "settings.db.damaged-N" and a new one is begun; one of a later version is refused and left as it is.
class SettingsStore {
public:
    /// @param folder made, with mode 0750, when it is missing.
    /// @return the store, or why it can't be opened, in one sentence.
    static std::variant<std::unique_ptr<SettingsStore>, std::string> open(const std::filesystem::path& folder);
    ~SettingsStore();
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    std::optional<std::string> get(std::string_view area, std::string_view name);
    /// Stores or replaces, on disk before it returns. @return why not, in one sentence; the old text then stands.
    std::optional<std::string> put(std::string_view area, std::string_view name, std::string_view text);
    /// Removes one text, or a whole area when `name` is absent; otherwise as `put`.
    std::optional<std::string> remove(std::string_view area, std::optional<std::string_view> name = std::nullopt);

    static constexpr const char* kFileName = "settings.db";
    static constexpr int kSchemaVersion = 1;

private:
    struct Closer {
        void operator()(sqlite3* database) const;
        void operator()(sqlite3_stmt* statement) const;
    };
    using Database = std::unique_ptr<sqlite3, Closer>;
    using Statement = std::unique_ptr<sqlite3_stmt, Closer>;
    /// What opening found: a usable database, or SQLite's code and a sentence.
    struct Opened {
        Database database;
        int code = 0;
        std::string sentence;
    };

    explicit SettingsStore(Database database);
    static Opened openDatabase(const std::filesystem::path& file);
    static std::string prepareDatabase(sqlite3* database);
    Statement prepare(const char* sql);
    /// Runs a statement that changes something to its end. @return why it failed.
    std::optional<std::string> run(sqlite3_stmt* statement);

    Database database_;
    Statement get_;
    Statement put_;
    Statement removeOne_;
    Statement removeArea_;
};

}  // namespace corvane
