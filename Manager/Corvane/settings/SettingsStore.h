#pragma once

#include "Corvane/settings/Database.h"
#include "Corvane/support/Result.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace corvane {

/// What the manager remembers: named texts in areas, in an SQLite database of the state folder.
///
/// All of it is in memory, so that reading never fails. One process at a time: a second one is refused at opening. A damaged
/// database is set aside as "settings.db.damaged-N" and a new one is begun; one of a later version is refused and left as it is.
class SettingsStore {
public:
    /// @param folder made, with mode 0750, when it is missing.
    static Result<std::unique_ptr<SettingsStore>> open(const std::filesystem::path& folder);
    /// Writes what was stored lazily.
    ~SettingsStore();
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    std::optional<std::string> get(std::string_view area, std::string_view name) const;
    /// Stores or replaces, on disk before it returns. After a refusal the old text stands.
    Result<void> store(std::string_view area, std::string_view name, std::string_view text);
    /// Removes all texts of an area; otherwise as `store`.
    Result<void> clear(std::string_view area);
    /// Stores what may be lost in a power cut, such as a count: on disk with the next change, or never where the transaction that
    /// it is a part of fails.
    void storeLazily(std::string_view area, std::string_view name, std::string_view text);

    // Writes the log back between changes, in two steps of one disk sync each; otherwise a change that finds it full would do so.
    // If a step fails, a later change makes up for it.
    bool isLogLong() const { return changesInLog_ >= kLongLog; }
    void writeBack();
    /// After it has been written back.
    void beginLog();

    /// The changes made while it lives succeed or fail as one. Transactions may be nested: the outermost one counts.
    class Transaction {
    public:
        explicit Transaction(SettingsStore& store) : store_(&store) { store.begin(); }
        ~Transaction() {
            if (store_ != nullptr) {
                store_->rollBack();
            }
        }
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;

        /// On disk when it returns; after a refusal all is as before.
        Result<void> commit() { return std::exchange(store_, nullptr)->commit(); }

    private:
        SettingsStore* store_;  ///< nullptr when committed
    };

    static constexpr const char* kFileName = "settings.db";
    /// The log never reaches its limit within this many changes.
    static constexpr int kLongLog = 32;

private:
    struct Key {
        std::string area;
        std::string name;
        bool operator<(const Key& other) const { return std::tie(area, name) < std::tie(other.area, other.name); }
    };
    /// A text that a transaction has changed, as it was before; absent when there was none.
    struct Before {
        Key key;
        std::optional<std::string> text;
        bool wasLazy;
    };

    explicit SettingsStore(Database database);
    void begin();
    Result<void> commit();
    void rollBack();
    /// Runs a statement, unless the transaction has failed already. @return how the transaction goes
    const Result<void>& run(sqlite3_stmt* statement);
    const Result<void>& write(const Key& key, std::string_view text);
    /// In memory. @param isLazy it is still to be written
    void change(const Key& key, std::optional<std::string> text, bool isLazy);
    void replace(const Key& key, std::optional<std::string> text, bool isLazy);

    Database database_;
    Statement begin_;
    Statement commit_;
    Statement store_;
    Statement clear_;
    StoredTexts texts_;
    std::set<Key> lazy_;  ///< in memory only, so far
    int depth_ = 0;       ///< of nested transactions
    std::vector<Before> before_;
    int changesInLog_ = 0;
    Result<void> outcome_;  ///< of the transaction, so far
};

}  // namespace corvane
