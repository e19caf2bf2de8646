#include "Pellcore/Log.h"

#include <unistd.h>

#include <algorithm>

namespace pellcore {

void log(std::string line) {
    const auto isControl = [](char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7F; };
    std::replace_if(line.begin(), line.end(), isControl, '?');
    line = "Pellcore: " + line + "\n";
    // Nothing can be done about a log that can't be written.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace pellcore
