#include "Platform/File.h"

#include "Platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

namespace platform {
namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

std::error_code writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0) {
            return lastError();
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return {};
}

enum class Durability { None, Synced };

std::error_code writeNewFile(const std::string& path, std::string_view bytes, mode_t mode, Durability durability) {
    ::unlink(path.c_str());
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file) {
        return lastError();
    }
    auto error = writeAll(file.get(), bytes);
    if (!error && durability == Durability::Synced && ::fsync(file.get()) != 0) {
        error = lastError();
    }
    if (error) {
        ::unlink(path.c_str());
    }
    return error;
}

std::error_code renameFile(const std::string& temporary, const std::string& path) {
    if (std::rename(temporary.c_str(), path.c_str()) == 0) {
        return {};
    }
    const auto error = lastError();
    ::unlink(temporary.c_str());
    return error;
}

std::error_code syncFolderOf(const std::string& path) {
    const FileDescriptor folder(::open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return !folder || ::fsync(folder.get()) != 0 ? lastError() : std::error_code();
}

}  // namespace

FileContent readFile(const std::string& path, std::size_t limit) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) {
        return errno == ENOENT ? FileContent{{}, {}, true} : FileContent{{}, lastError().message()};
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {{}, "not a regular file"};
    }
    FileContent content;
    char block[4096];
    for (;;) {
        const auto got = ::read(file.get(), block, sizeof block);
        if (got <= 0) {
            return got == 0 ? content : FileContent{{}, lastError().message()};
        }
        content.bytes.append(block, static_cast<std::size_t>(got));
        if (content.bytes.size() > limit) {
            return {{}, "larger than " + std::to_string(limit) + " bytes"};
        }
    }
}

std::string followLinks(std::string path) {
    constexpr int kLongestChain = 40;  // the kernel's
    char target[4096];
    for (int links = 0; links < kLongestChain; ++links) {
        const auto length = ::readlink(path.c_str(), target, sizeof target);
        if (length <= 0) {
            break;
        }
        path.resize(*target == '/' ? 0 : path.rfind('/') + 1);
        path.append(target, static_cast<std::size_t>(length));
    }
    return path;
}

std::error_code replaceFile(const std::string& path, const std::string& temporary, std::string_view bytes, mode_t mode) {
    const auto error = writeNewFile(temporary, bytes, mode, Durability::None);
    return error ? error : renameFile(temporary, path);
}

std::error_code writeSynced(const std::string& temporary, std::string_view bytes, mode_t mode) {
    return writeNewFile(temporary, bytes, mode, Durability::Synced);
}

std::error_code renameSynced(const std::string& temporary, const std::string& path) {
    const auto error = renameFile(temporary, path);
    return error ? error : syncFolderOf(path);
}

std::error_code makeFolders(const std::string& path, mode_t mode) {
    for (auto slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        if (::mkdir(path.substr(0, slash).c_str(), mode) != 0 && errno != EEXIST) {
            return lastError();
        }
        if (slash == std::string::npos) {
            return {};
        }
    }
}

}  // namespace platform
