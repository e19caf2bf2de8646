#include "platform/console/StandardInput.h"

#include <unistd.h>

#include <cerrno>

namespace platform {

std::size_t readStandardInput(char* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(STDIN_FILENO, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace platform
