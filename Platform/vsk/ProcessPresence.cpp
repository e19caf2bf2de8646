#include "Platform/FileDescriptor.h"
#include "Platform/vsk/RunFolders.h"
#include "platform/vsk/SorvexUtil.h"

#include <fcntl.h>

#include <algorithm>
#include <string_view>

namespace vsk {
namespace {

/// The kernel keeps this much of a process's name; see proc(5), /proc/[pid]/comm.
constexpr std::size_t kKernelNameLength = 15;

/// Reads the start of a file of /proc into `buffer`; empty when the process is gone or hides it.
template <std::size_t size>
std::string_view readStart(const std::string& path, char (&buffer)[size]) {
    const platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const auto got = file ? ::read(file.get(), buffer, size) : -1;
    return {buffer, got > 0 ? static_cast<std::size_t>(got) : 0};
}

/// The file name in the process's first argument. An argument longer than a path may be has no file name.
std::string startedAs(const std::string& folder) {
    char buffer[4096];
    const auto arguments = readStart(folder + "/cmdline", buffer);
    const auto first = arguments.substr(0, arguments.find('\0'));
    return std::string(first.substr(first.rfind('/') + 1));
}

/// Whether the kernel's name, which may be cut short, stands for `name`.
bool isNamed(const std::string& folder, std::string_view kernelName, std::string_view name) {
    if (kernelName != name.substr(0, kKernelNameLength)) {
        return false;
    }
    if (name.size() < kKernelNameLength) {
        return true;
    }
    const auto fullName = startedAs(folder);
    // A name of just the kernel's length is whole unless the process was started under a longer one.
    return fullName == name || (name.size() == kKernelNameLength && !fullName.starts_with(name));
}

/// @param folder of the process in /proc
bool runsAs(const std::string& folder, std::string_view name) {
    // "pid (name) state ...": the name may hold blanks and parentheses, what follows holds none.
    char buffer[256];
    const auto status = readStart(folder + "/stat", buffer);
    if (status.empty()) {
        return false;
    }
    const auto open = status.find('(');
    const auto close = status.rfind(')');
    const char state = status[close + 2];
    return state != 'Z' && state != 'X' && isNamed(folder, status.substr(open + 1, close - open - 1), name);
}

/// Whether the process that announced itself with this file lives: it locked it.
bool isHeld(const std::string& pidFile) {
    const platform::FileDescriptor file(::open(pidFile.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct flock probe {};
    probe.l_type = F_RDLCK;
    probe.l_whence = SEEK_SET;
    return file && ::fcntl(file.get(), F_OFD_GETLK, &probe) == 0 && probe.l_type == F_WRLCK;
}

/// Whether the process, which has the name, has announced itself as another manager's service.
bool isOfAnotherManager(std::string_view id, const std::vector<std::string>& pidFiles) {
    return std::ranges::any_of(pidFiles,
                               [id](const auto& file) { return std::to_string(readPidFile(file)) == id && isHeld(file); });
}

bool isAnyProcess(std::string_view name) {
    const auto names = namesIn("/proc");
    return std::ranges::any_of(names, [name](const std::string& id) {
        return id.find_first_not_of("0123456789") == std::string::npos && runsAs("/proc/" + id, name) &&
               !isOfAnotherManager(id, pidFilesOfOthers(name));
    });
}

}  // namespace

bool isProcessRunning(const std::string& name) {
    return !findPidFile(name, isHeld).empty() || (!name.empty() && isAnyProcess(name));
}

}  // namespace vsk
