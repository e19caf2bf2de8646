#include "Platform/CoreFoundation/PreferencesFile.h"

#include "Platform/File.h"
#include "Platform/FileLock.h"

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace platform {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kLargestFile = 1 << 20;
constexpr int kDeepestNesting = 64;
constexpr std::chrono::seconds kLockPatience{10};

std::optional<std::string> absoluteFolder(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value == '/' ? std::optional<std::string>(value) : std::nullopt;
}

/// XDG base directories: a path that is not absolute counts as unset.
std::optional<std::string> configurationFolder() {
    if (auto folder = absoluteFolder("XDG_CONFIG_HOME")) {
        return folder;
    }
    auto home = absoluteFolder("HOME");
    return home ? std::optional(*home + "/.config") : std::nullopt;
}

bool isObjectOfObjects(const Json& value) {
    return value.is_object() && std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_object(); });
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

}  // namespace

std::optional<Json> parsePreferences(std::string_view text) {
    // Deep nesting would overflow the stack when the tree is copied or written.
    bool tooDeep = false;
    const auto limitDepth = [&](int depth, Json::parse_event_t, const Json&) {
        tooDeep = tooDeep || depth > kDeepestNesting;
        return !tooDeep;
    };
    auto tree = Json::parse(text, limitDepth, false);
    const bool sound = !tooDeep && tree.is_object() && std::all_of(tree.begin(), tree.end(), isObjectOfObjects);
    return sound ? std::optional(std::move(tree)) : std::nullopt;
}

std::optional<PreferencesFile> PreferencesFile::ofDomain(std::string_view domain) {
    const auto folder = configurationFolder();
    if (!folder || domain.empty() || domain.find('/') != std::string_view::npos) {
        return std::nullopt;
    }
    return PreferencesFile(*folder + "/corvane/" + std::string(domain) + ".json");
}

Json PreferencesFile::read() const {
    auto tree = load();
    return tree ? std::move(*tree) : Json::object();
}

std::optional<PreferencesFile::Stamp> PreferencesFile::stamp() const {
    constexpr std::int64_t kSecond = 1'000'000'000;  // above the granularity of any file system that is in use
    const auto nanoseconds = [](const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; };
    struct stat status {};
    timespec now{};
    if (::stat(path_.c_str(), &status) != 0 || ::clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return std::nullopt;
    }
    const std::int64_t changed = nanoseconds(status.st_ctim);
    if (std::abs(nanoseconds(now) - changed) < kSecond) {
        return std::nullopt;
    }
    return Stamp{path_, status.st_dev, status.st_ino, status.st_size, changed};
}

std::optional<Json> PreferencesFile::load() const {
    const auto content = readFile(path_, kLargestFile);
    if (content.missing || content.error) {
        return std::nullopt;
    }
    if (auto tree = parsePreferences(content.bytes)) {
        return tree;
    }
    const FileLock lock(lockPath(), kLockPatience);
    if (lock.isHeld()) {
        return loadLocked();
    }
    std::fprintf(stderr, "%s: damaged, and its folder can't be written to; its preferences are not used\n", path_.c_str());
    return std::nullopt;
}

std::optional<Json> PreferencesFile::loadLocked() const {
    const auto content = readFile(path_, kLargestFile);
    if (content.missing) {
        return Json::object();
    }
    if (content.error) {
        return std::nullopt;
    }
    auto tree = parsePreferences(content.bytes);
    return tree || !setAside() ? tree : std::optional(Json::object());
}

bool PreferencesFile::setAside() const {
    auto aside = path_ + ".damaged";
    for (int number = 2; exists(aside); ++number) {
        aside = path_ + ".damaged." + std::to_string(number);
    }
    if (std::rename(path_.c_str(), aside.c_str()) != 0) {
        std::fprintf(stderr, "%s: damaged, and can't be set aside; its preferences are not used\n", path_.c_str());
        return false;
    }
    std::fprintf(stderr, "%s: damaged; it was set aside as %s\n", path_.c_str(), aside.c_str());
    return true;
}

bool PreferencesFile::update(const std::function<void(Json&)>& change) const {
    constexpr mode_t kFolderMode = 0700;
    constexpr mode_t kFileMode = 0600;
    const auto folder = path_.substr(0, path_.rfind('/'));
    if (!exists(folder) && makeFolders(folder, kFolderMode)) {
        return false;
    }
    const FileLock lock(lockPath(), kLockPatience);
    const auto before = lock.isHeld() ? loadLocked() : std::nullopt;
    if (!before) {
        return false;
    }
    auto after = *before;
    change(after);
    const auto text = after.dump(2) + '\n';
    // Compared as texts: as values, 5 and 5.0 would be the same.
    if (text == before->dump(2) + '\n') {
        return true;
    }
    return text.size() <= kLargestFile && !replaceFile(path_, path_ + ".new", text, kFileMode, Durability::Synced);
}

}  // namespace platform
