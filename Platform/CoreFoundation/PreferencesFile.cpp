#include "Platform/CoreFoundation/PreferencesFile.h"

#include "Platform/CoreFoundation/PreferencesWrite.h"
#include "Platform/Environment.h"
#include "Platform/File.h"
#include "Platform/FileLock.h"
#include "Platform/Json.h"
#include "Platform/Report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace platform {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kLargestFile = 1 << 20;
constexpr int kDeepestNesting = 64;
constexpr std::chrono::seconds kLockPatience{1};
constexpr mode_t kFileMode = 0600;

/// XDG base directories: a path that is not absolute counts as unset.
std::optional<std::string> configurationFolder() {
    const std::string folder(environment("XDG_CONFIG_HOME"));
    if (folder.starts_with('/')) {
        return folder;
    }
    const std::string home(environment("HOME"));
    return home.starts_with('/') ? std::optional(home + "/.config") : std::nullopt;
}

bool isObjectOfObjects(const Json& value) {
    return value.is_object() && std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_object(); });
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

}  // namespace

std::optional<Json> parsePreferences(std::string_view text) {
    auto tree = platform::parseJson(text, kDeepestNesting);
    const bool sound = tree.is_object() && std::all_of(tree.begin(), tree.end(), isObjectOfObjects);
    return sound ? std::optional(std::move(tree)) : std::nullopt;
}

std::optional<PreferencesFile> PreferencesFile::ofDomain(std::string_view domain) {
    const auto folder = configurationFolder();
    return folder ? std::optional(PreferencesFile(followLinks(*folder + "/corvane/" + std::string(domain) + ".json")))
                  : std::nullopt;
}

std::optional<Json> PreferencesFile::read() const {
    return load([this]() -> std::optional<Json> {
        const FileLock lock(lockPath(), kLockPatience);
        if (!lock.isHeld()) {
            fail("damaged, and can't be set aside: " + lock.problem());
            return std::nullopt;
        }
        return readLocked();  // another process may have set it aside meanwhile
    });
}

std::optional<Json> PreferencesFile::readLocked() const {
    return load([this] { return setAside() ? std::optional(Json::object()) : std::nullopt; });
}

std::optional<Json> PreferencesFile::load(const std::function<std::optional<Json>()>& whenDamaged) const {
    const auto content = readFile(path_, kLargestFile);
    if (content.missing) {
        return Json::object();
    }
    if (!content.problem.empty()) {
        fail(content.problem);
        return std::nullopt;
    }
    auto tree = parsePreferences(content.bytes);
    return tree ? std::move(tree) : whenDamaged();
}

bool PreferencesFile::setAside() const {
    auto aside = path_ + ".damaged";
    for (int number = 2; exists(aside); ++number) {
        aside = path_ + ".damaged." + std::to_string(number);
    }
    if (std::rename(path_.c_str(), aside.c_str()) != 0) {
        return fail("damaged, and can't be set aside");
    }
    report(path_ + ": damaged; it was set aside as " + aside);
    return true;
}

bool PreferencesFile::fail(const std::string& problem) const {
    report(path_ + ": " + problem);
    return false;
}

bool PreferencesFile::update(const std::function<void(Json&)>& change) const {
    constexpr mode_t kFolderMode = 0700;
    const auto folder = path_.substr(0, path_.rfind('/'));
    if (const auto error = exists(folder) ? std::error_code() : makeFolders(folder, kFolderMode)) {
        return fail("its folder can't be made: " + error.message());
    }
    const auto lock = std::make_shared<FileLock>(lockPath(), kLockPatience);
    if (!lock->isHeld()) {
        return fail("can't be changed: " + lock->problem());
    }
    const auto before = readLocked();
    if (!before) {
        return false;
    }
    auto after = *before;
    change(after);
    // Compared as texts: as values, 5 and 5.0 would be the same.
    const auto oldText = before->dump(2) + '\n';
    const auto newText = after.dump(2) + '\n';
    if (newText == oldText) {
        return true;
    }
    if (newText.size() > kLargestFile) {
        return fail("can't hold more than " + std::to_string(kLargestFile) + " bytes");
    }
    if (const auto error = writeSynced(newPath(), newText, kFileMode)) {
        return fail("can't be written: " + error.message());
    }
    return PreferencesWrite::runLast([file = *this, lock, oldText, newText] { return file.publish(oldText, newText); });
}

bool PreferencesFile::publish(const std::string& oldText, const std::string& newText) const {
    const auto error = renameSynced(newPath(), path_);
    if (!error) {
        return true;
    }
    if (readFile(path_, kLargestFile).bytes == newText) {
        // Only its durability is in doubt, but nobody may read back what was refused.
        replaceFile(path_, newPath(), oldText, kFileMode);
    }
    return fail("can't be written: " + error.message());
}

}  // namespace platform
