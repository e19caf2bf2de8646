#include "Platform/vsk/RunFolders.h"

#include "Platform/Environment.h"
#include "Platform/File.h"

#include <dirent.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>
#include <memory>
#include <utility>

namespace vsk {

namespace {

constexpr std::string_view kRun = "/run/";
constexpr std::string_view kManagers = "/run/corvane";

bool isFileName(std::string_view name) {
    return !name.empty() && name.find('/') == std::string_view::npos;
}

std::string lowered(std::string_view name) {
    std::string small;
    std::ranges::transform(name, std::back_inserter(small),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return small;
}

std::string pidFile(std::string folder, std::string_view name) {
    return folder.append("/").append(name).append(".pid");
}

/// Of the manager that is meant; empty when it isn't one of several.
std::string_view instance() {
    const auto path = platform::environment("CORVANE_SOCKET");
    const std::string_view folder = path.substr(0, path.rfind('/'));
    const auto slash = folder.rfind('/');
    return slash != std::string_view::npos && folder.substr(0, slash) == kManagers ? folder.substr(slash + 1) : "";
}

/// Of the service that systemd runs as a user of its own, of this instance.
std::string folderOfService(std::string_view name, std::string_view of) {
    return std::string(kRun).append(lowered(name)).append(of.empty() ? "" : "-").append(of);
}

}  // namespace

std::string findPidFile(std::string_view name, const std::function<bool(const std::string& file)>& accepts) {
    if (!isFileName(name)) {
        return {};
    }
    std::string file;
    const auto isIn = [&](std::string folder) {
        file = pidFile(std::move(folder), name);
        return accepts(file);
    };
    const std::string_view own = instance();
    const auto runtime = platform::environment("XDG_RUNTIME_DIR");
    const bool isUsers = own.empty() && runtime.starts_with('/');
    const bool isFound = (isUsers && isIn(std::string(runtime) + "/corvane")) || (own.empty() && isIn(std::string(kManagers))) ||
                         isIn(folderOfService(name, own));
    return isFound ? file : std::string();
}

std::vector<std::string> pidFilesOfOthers(std::string_view name) {
    std::vector<std::string> files;
    const std::string mine = instance().empty() ? "" : lowered(name).append("-").append(instance());
    for (const std::string& found : namesIn(kRun.data())) {
        if (found.starts_with(lowered(name) + "-") && found != mine) {
            files.push_back(pidFile(std::string(kRun).append(found), name));
        }
    }
    if (!mine.empty()) {
        files.push_back(pidFile(std::string(kManagers), name));
        files.push_back(pidFile(folderOfService(name, {}), name));
    }
    return files;
}

std::vector<std::string> namesIn(const char* folder) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(folder), &::closedir);
    while (const dirent* const entry = open ? ::readdir(open.get()) : nullptr) {
        names.emplace_back(entry->d_name);
    }
    return names;
}

int readPidFile(const std::string& path) {
    constexpr std::size_t kLongest = 16;
    const std::string text = platform::readFile(path, kLongest).bytes;
    int pid = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, pid);
    return error == std::errc() && std::string_view(end, last) == "\n" && pid > 0 ? pid : 0;
}

}  // namespace vsk
