#pragma once

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The content of a preferences file: an object of users, each an object of hosts, each an object of keys.
/// @return nullopt when the text is anything else
std::optional<nlohmann::json> parsePreferences(std::string_view text);

/// The file `$XDG_CONFIG_HOME/corvane/<domain>.json` (`~/.config` when unset) that holds a domain's preferences; where that is a
/// symbolic link, the file that it leads to.
///
/// It is replaced atomically and synced under a lock between processes, which is waited for at most a second. A damaged file is
/// set aside as `<name>.damaged` (`<name>.damaged.2` and so on when there is one already) and counts as empty. Every failure is
/// reported in a sentence.
class PreferencesFile {
public:
    /// @param domain a file name
    /// @return nullopt when neither XDG_CONFIG_HOME nor HOME says where it would be
    static std::optional<PreferencesFile> ofDomain(std::string_view domain);

    /// What stands in the file now, empty when there is none; nullopt when it can't be read. Makes no file or folder.
    std::optional<nlohmann::json> read() const;

    /// Applies `change` to what stands in the file and writes it, unless that changes nothing; makes missing folders (0700).
    /// Within a `PreferencesWrite`, the last step is left to that.
    /// @return false when that failed; the old content is whole then
    bool update(const std::function<void(nlohmann::json&)>& change) const;

private:
    explicit PreferencesFile(std::string path) : path_(std::move(path)) {}

    /// Puts the new file, which lies beside it, in the place of the old one.
    bool publish(const std::string& oldText, const std::string& newText) const;
    std::optional<nlohmann::json> readLocked() const;
    std::optional<nlohmann::json> load(const std::function<std::optional<nlohmann::json>()>& whenDamaged) const;
    bool setAside() const;
    /// Reports what went wrong; false.
    bool fail(const std::string& problem) const;
    std::string lockPath() const { return path_ + ".lock"; }
    std::string newPath() const { return path_ + ".new"; }

    std::string path_;
};

}  // namespace platform
