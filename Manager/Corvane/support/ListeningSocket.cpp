#include "Corvane/support/ListeningSocket.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace corvane {

namespace fs = std::filesystem;
using platform::FileDescriptor;

namespace {

constexpr mode_t kFolderMode = 0750;
constexpr mode_t kSocketMode = 0660;

Refusal because(const std::string& what) {
    return Refusal::wrongState(what + ": " + std::strerror(errno));
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

/// A folder that others made keeps its mode and its group.
Result<void> makeFolder(const fs::path& folder, std::optional<gid_t> group) {
    std::error_code error;
    if (folder.empty() || fs::exists(folder, error)) {
        return {};
    }
    fs::create_directories(folder, error);
    if (error || chmod(folder.c_str(), kFolderMode) != 0) {
        return Refusal::wrongState(fmt::format("can't make the folder {}: {}; name another socket with --socket", folder.string(),
                                               error ? error.message() : std::strerror(errno)));
    }
    if (group) {
        // Members of the group can't reach the socket otherwise; a daemon that may not do this serves its own user and root.
        [[maybe_unused]] const int result = chown(folder.c_str(), static_cast<uid_t>(-1), *group);
    }
    return {};
}

Result<FileDescriptor> lockBeside(const std::string& path) {
    FileDescriptor lock(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (lock && flock(lock.get(), LOCK_EX | LOCK_NB) == 0) {
        return lock;
    }
    return Refusal::wrongState((errno == EWOULDBLOCK ? "another manager listens on " + path + " already; stop it or "
                                                     : "can't lock " + path + ".lock: " + std::strerror(errno) + "; ") +
                               "name another socket with --socket");
}

/// Removes the socket of a manager that is gone.
Result<void> clear(const std::string& path, int type) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return {};
    }
    if (!S_ISSOCK(status.st_mode)) {
        return Refusal::wrongState(path + " exists and is not a socket; name another one with --socket");
    }
    const FileDescriptor probe(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = addressOf(path);
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno != ECONNREFUSED) {
        return Refusal::wrongState("something listens on " + path + " already; stop it or name another socket with --socket");
    }
    if (unlink(path.c_str()) != 0) {
        return because("can't replace the socket " + path);
    }
    return {};
}

/// The file must never be reachable with a wider mode than its own.
Result<void> bindWithMode(int socket, const std::string& path) {
    const sockaddr_un address = addressOf(path);
    const mode_t before = umask(0777 & ~kSocketMode);
    const bool isBound = bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    Result<void> bound = isBound ? Result<void>() : because("can't listen on " + path);
    umask(before);
    return bound;
}

}  // namespace

struct ListeningSocket::SocketFile {
    std::string path;
    struct stat status;

    SocketFile(std::string name, const struct stat& made) : path(std::move(name)), status(made) {}
    ~SocketFile() {
        struct stat present {};
        // Another manager may have put its own socket in this one's place.
        if (lstat(path.c_str(), &present) == 0 && present.st_dev == status.st_dev && present.st_ino == status.st_ino) {
            unlink(path.c_str());
        }
    }
    SocketFile(const SocketFile&) = delete;
    SocketFile& operator=(const SocketFile&) = delete;
};

Result<ListeningSocket> ListeningSocket::open(const std::string& path, std::optional<gid_t> group, int type) {
    constexpr std::size_t kLongestPath = sizeof(sockaddr_un::sun_path) - 1;
    if (path.size() > kLongestPath) {
        return Refusal::wrongState(fmt::format(
            "the socket path {} is too long: at most {} bytes are possible; name another one with --socket", path, kLongestPath));
    }
    if (auto made = makeFolder(fs::path(path).parent_path(), group); !made) {
        return made.refusal();
    }
    ListeningSocket listening;
    if (const auto locked = lockBeside(path).into(listening.lock_); !locked) {
        return locked.refusal();
    }
    if (auto cleared = clear(path, type); !cleared) {
        return cleared.refusal();
    }
    listening.socket_ = FileDescriptor(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (const auto bound = bindWithMode(listening.socket_.get(), path); !bound) {
        return bound.refusal();
    }
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) {
        listening.file_ = std::make_shared<const SocketFile>(path, status);
    }
    if (group) {
        [[maybe_unused]] const int result = chown(path.c_str(), static_cast<uid_t>(-1), *group);
    }
    if (listen(listening.socket_.get(), SOMAXCONN) != 0) {
        return because("can't listen on " + path);
    }
    return listening;
}

Result<ListeningSocket> ListeningSocket::takeOver() {
    const int count = sd_listen_fds(1);
    ListeningSocket listening;
    if (count <= 0) {
        return listening;
    }
    const int handed = SD_LISTEN_FDS_START;
    if (count > 1 || sd_is_socket_unix(handed, SOCK_SEQPACKET, 1, nullptr, 0) <= 0) {
        return Refusal::wrongState("systemd handed over what is not one listening socket of the kind ListenSequentialPacket=");
    }
    listening.socket_ = FileDescriptor(handed);
    if (fcntl(handed, F_SETFL, fcntl(handed, F_GETFL) | O_NONBLOCK) != 0) {
        return because("can't use the socket that systemd handed over");
    }
    return listening;
}

}  // namespace corvane
