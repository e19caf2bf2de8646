#include "Corvane/clients/Listener.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

namespace corvane {

namespace fs = std::filesystem;
using platform::FileDescriptor;

namespace {

constexpr mode_t kFolderMode = 0750;
constexpr mode_t kSocketMode = 0660;

std::string because(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

/// A folder that others made keeps its mode and its group. @return why it can't be made.
std::optional<std::string> makeFolder(const fs::path& folder, const PeerPolicy& policy) {
    std::error_code error;
    if (folder.empty() || fs::exists(folder, error)) {
        return std::nullopt;
    }
    fs::create_directories(folder, error);
    if (error || chmod(folder.c_str(), kFolderMode) != 0) {
        return "can't make the folder " + folder.string() + ": " + (error ? error.message() : std::strerror(errno)) +
               "; name another socket with --socket";
    }
    if (policy.group()) {
        // Members of the group can't reach the socket otherwise; a daemon that may not do this serves its own user and root.
        [[maybe_unused]] const int result = chown(folder.c_str(), static_cast<uid_t>(-1), *policy.group());
    }
    return std::nullopt;
}

FileDescriptor lockBeside(const std::string& path) {
    FileDescriptor lock(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (lock && flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        return {};
    }
    return lock;
}

/// Removes the socket of a manager that is gone. @return why the path can't be used.
std::optional<std::string> clear(const std::string& path, int type) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    if (!S_ISSOCK(status.st_mode)) {
        return path + " exists and is not a socket; name another one with --socket";
    }
    const FileDescriptor probe(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = addressOf(path);
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno != ECONNREFUSED) {
        return "something listens on " + path + " already; stop it or name another socket with --socket";
    }
    return unlink(path.c_str()) == 0 ? std::nullopt : std::optional(because("can't replace the socket " + path));
}

/// The file must never be reachable with a wider mode than its own.
bool bindWithMode(int socket, const std::string& path) {
    const sockaddr_un address = addressOf(path);
    const mode_t before = umask(0777 & ~kSocketMode);
    const bool bound = bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const int error = errno;
    umask(before);
    errno = error;
    return bound;
}

}  // namespace

std::variant<Listener, std::string> Listener::open(const std::string& path, const PeerPolicy& policy, int type) {
    constexpr std::size_t kLongestPath = sizeof(sockaddr_un::sun_path) - 1;
    if (path.size() > kLongestPath) {
        return "the socket path " + path + " is too long: at most " + std::to_string(kLongestPath) +
               " bytes are possible; name another one with --socket";
    }
    if (auto why = makeFolder(fs::path(path).parent_path(), policy)) {
        return std::move(*why);
    }
    Listener listener;
    listener.lock_ = lockBeside(path);
    if (!listener.lock_) {
        return errno == EWOULDBLOCK
                   ? "another manager listens on " + path + " already; stop it or name another socket with --socket"
                   : because("can't lock " + path + ".lock") + "; name another socket with --socket";
    }
    if (auto why = clear(path, type)) {
        return std::move(*why);
    }
    listener.socket_ = FileDescriptor(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!bindWithMode(listener.socket_.get(), path)) {
        return because("can't listen on " + path);
    }
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) {
        listener.path_ = OwnedPath(path, status.st_dev, status.st_ino);
    }
    if (policy.group()) {
        [[maybe_unused]] const int result = chown(path.c_str(), static_cast<uid_t>(-1), *policy.group());
    }
    if (listen(listener.socket_.get(), SOMAXCONN) != 0) {
        return because("can't listen on " + path);
    }
    return listener;
}

std::variant<Listener, std::string> Listener::takeOver() {
    const int count = sd_listen_fds(1);
    Listener listener;
    if (count <= 0) {
        return listener;
    }
    const int handed = SD_LISTEN_FDS_START;
    if (count > 1 || sd_is_socket_unix(handed, SOCK_SEQPACKET, 1, nullptr, 0) <= 0) {
        return "systemd handed over what is not one listening socket of the kind ListenSequentialPacket=";
    }
    listener.socket_ = FileDescriptor(handed);
    if (fcntl(handed, F_SETFL, fcntl(handed, F_GETFL) | O_NONBLOCK) != 0) {
        return because("can't use the socket that systemd handed over");
    }
    return listener;
}

Listener::~Listener() {
    struct stat status {};
    // Another manager may have put its own socket in this one's place.
    if (lstat(path_.text.c_str(), &status) == 0 && status.st_dev == path_.device && status.st_ino == path_.inode) {
        unlink(path_.text.c_str());
    }
}

}  // namespace corvane
