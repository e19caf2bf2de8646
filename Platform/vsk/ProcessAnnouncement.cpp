#include "Platform/File.h"
#include "Platform/vsk/ProcessPresence.h"
#include "Platform/vsk/RunFolders.h"

#include <unistd.h>

#include <utility>

namespace vsk {

ProcessAnnouncement::ProcessAnnouncement(ProcessAnnouncement&& other) noexcept : path_(std::exchange(other.path_, {})) {}

ProcessAnnouncement& ProcessAnnouncement::operator=(ProcessAnnouncement&& other) noexcept {
    std::swap(path_, other.path_);
    return *this;
}

ProcessAnnouncement::~ProcessAnnouncement() {
    if (isMade() && readPidFile(path_) == ::getpid()) {
        ::unlink(path_.c_str());
    }
}

ProcessAnnouncement announceProcess(std::string_view name) {
    constexpr mode_t kFolderMode = 0750;
    constexpr mode_t kFileMode = 0644;
    const auto pid = std::to_string(::getpid());
    const auto line = pid + '\n';
    for (auto& path : pidFiles(name)) {
        if (platform::makeFolders(path.substr(0, path.rfind('/')), kFolderMode)) {
            continue;
        }
        auto temporary = path;
        temporary.append(".").append(pid);
        if (!platform::replaceFile(path, temporary, line, kFileMode, platform::Durability::None)) {
            return ProcessAnnouncement(std::move(path));
        }
    }
    return {};
}

}  // namespace vsk
