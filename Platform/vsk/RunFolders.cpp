#include "Platform/vsk/RunFolders.h"

#include "Platform/FileDescriptor.h"

#include <fcntl.h>

#include <charconv>
#include <cstdlib>

namespace vsk {

std::vector<std::string> pidFiles(std::string_view name) {
    if (name.empty() || name.find_first_of(std::string_view("/\0", 2)) != std::string_view::npos) {
        return {};
    }
    std::vector<std::string> files;
    const auto add = [&](std::string_view parent) {
        auto& file = files.emplace_back(parent);
        file.append("/corvane/").append(name).append(".pid");
    };
    files.reserve(2);
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime == '/') {
        add(runtime);
    }
    add("/run");
    return files;
}

int readPidFile(const std::string& path) {
    const platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    char text[16];
    const auto size = file ? ::read(file.get(), text, sizeof text) : -1;
    if (size <= 0) {
        return 0;
    }
    int pid = 0;
    const auto [end, error] = std::from_chars(text, text + size, pid);
    const bool wholeLine = error == std::errc() && end == text + size - 1 && *end == '\n';
    return wholeLine && pid > 0 ? pid : 0;
}

}  // namespace vsk
