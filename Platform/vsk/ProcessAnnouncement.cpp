#include "Platform/File.h"
#include "Platform/vsk/ProcessPresence.h"
#include "Platform/vsk/RunFolders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace vsk {

namespace {

constexpr mode_t kFileMode = 0644;

/// Of the open file, not of the process (fcntl_locking(2)): the kernel gives it up when the last descriptor is closed.
platform::FileDescriptor locked(const std::string& path) {
    platform::FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return file && ::fcntl(file.get(), F_OFD_SETLK, &whole) == 0 ? std::move(file) : platform::FileDescriptor();
}

}  // namespace

ProcessAnnouncement::ProcessAnnouncement(std::string_view name)
    : path_(findPidFile(name, [this](const std::string& file) {
          constexpr mode_t kFolderMode = 0750;
          const auto pid = std::to_string(::getpid());
          const bool isWritten = !platform::makeFolders(file.substr(0, file.rfind('/')), kFolderMode) &&
                                 !platform::replaceFile(file, file + "." + pid, pid + '\n', kFileMode);
          lock_ = isWritten ? locked(file) : platform::FileDescriptor();
          return static_cast<bool>(lock_);
      })) {
    if (lock_) {
        ::fchmod(lock_.get(), kFileMode);  // whatever the umask: users of other groups look at it
    }
}

ProcessAnnouncement::~ProcessAnnouncement() {
    if (isMade() && readPidFile(path_) == ::getpid()) {
        ::unlink(path_.c_str());
    }
}

}  // namespace vsk
