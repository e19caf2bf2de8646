#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The content of a preferences file: an object of users, each an object of hosts, each an object of keys.
/// @return nullopt when the text is anything else
std::optional<nlohmann::json> parsePreferences(std::string_view text);

/// The file `$XDG_CONFIG_HOME/corvane/<domain>.json` (`~/.config` when unset) that holds a domain's preferences.
///
/// It is replaced atomically and synced under a lock between processes. A damaged file is set aside as `<name>.damaged`
/// (`<name>.damaged.2` and so on when there is one already) with a message on standard error, and counts as empty.
class PreferencesFile {
public:
    /// nullopt when the domain can't name a file, or neither XDG_CONFIG_HOME nor HOME says where it would be.
    static std::optional<PreferencesFile> ofDomain(std::string_view domain);

    /// What stands in the file now; empty when there is none or it can't be read. Makes no file or folder.
    nlohmann::json read() const;

    /// As long as this is the same, so is what stands in the file. nullopt when there is none, or when it is so new that
    /// another change could bear the same time.
    struct Stamp {
        std::string path;
        std::uint64_t device;
        std::uint64_t inode;
        std::int64_t size;
        std::int64_t changed;  ///< nanoseconds since the epoch
        bool operator==(const Stamp&) const = default;
    };
    std::optional<Stamp> stamp() const;

    /// Applies `change` to what stands in the file and writes it, unless that changes nothing; makes missing folders (0700).
    /// @return false when that failed; the old file is whole then
    bool update(const std::function<void(nlohmann::json&)>& change) const;

private:
    explicit PreferencesFile(std::string path) : path_(std::move(path)) {}

    std::optional<nlohmann::json> load() const;
    std::optional<nlohmann::json> loadLocked() const;
    bool setAside() const;
    std::string lockPath() const { return path_ + ".lock"; }

    std::string path_;
};

}  // namespace platform
