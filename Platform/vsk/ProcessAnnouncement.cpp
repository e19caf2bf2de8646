#include "Platform/File.h"
#include "Platform/vsk/ProcessPresence.h"
#include "Platform/vsk/RunFolders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace vsk {

namespace {

/// Of the open file, not of the process (fcntl_locking(2)): the kernel gives it up when the last descriptor is closed.
platform::FileDescriptor locked(const std::string& path) {
    platform::FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return file && ::fcntl(file.get(), F_OFD_SETLK, &whole) == 0 ? std::move(file) : platform::FileDescriptor();
}

}  // namespace

ProcessAnnouncement::ProcessAnnouncement(ProcessAnnouncement&& other) noexcept
    : path_(std::exchange(other.path_, {})), lock_(std::move(other.lock_)) {}

ProcessAnnouncement& ProcessAnnouncement::operator=(ProcessAnnouncement&& other) noexcept {
    std::swap(path_, other.path_);
    std::swap(lock_, other.lock_);
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
    platform::FileDescriptor lock;
    auto path = findPidFile(name, [&](const std::string& file) {
        const bool isWritten = !platform::makeFolders(file.substr(0, file.rfind('/')), kFolderMode) &&
                               !platform::replaceFile(file, file + "." + pid, line, kFileMode, platform::Durability::None);
        lock = isWritten ? locked(file) : platform::FileDescriptor();
        return static_cast<bool>(lock);
    });
    if (lock) {
        ::fchmod(lock.get(), kFileMode);  // whatever the umask: users of other groups look at it
    }
    return {std::move(path), std::move(lock)};
}

}  // namespace vsk
