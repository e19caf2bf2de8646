#include "Platform/vsk/RunFolders.h"

#include "Platform/FileDescriptor.h"

#include <fcntl.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace vsk {

std::vector<std::string> pidFiles(std::string_view name) {
    if (name.empty() || name.find_first_of(std::string_view("/\0", 2)) != std::string_view::npos) {
        return {};
    }
    std::vector<std::string> files;
    const auto add = [&](std::string folder) { files.emplace_back(std::move(folder)).append("/").append(name).append(".pid"); };
    files.reserve(3);
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime == '/') {
        add(std::string(runtime) + "/corvane");
    }
    add("/run/corvane");
    // Of a service that systemd runs as a user of its own.
    std::string own("/run/");
    std::ranges::transform(name, std::back_inserter(own),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    add(std::move(own));
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
