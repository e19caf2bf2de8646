#include "platform/console/StandardStreams.h"

#include "Platform/ControlCharacters.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

namespace platform {
namespace {

/// Whether a transfer that failed may be tried again, as soon as the stream is ready. It may be in non-blocking mode: that
/// belongs to the open file, which other programs share.
bool waitToRetry(int stream, short event) {
    if (errno == EAGAIN) {
        pollfd ready{stream, event, 0};
        poll(&ready, 1, -1);
        return true;
    }
    return errno == EINTR;
}

/// Asked once, when it is needed: what a stream leads to doesn't change.
template <int stream>
bool isTerminal() {
    static const bool answer = isatty(stream) == 1;
    return answer;
}

}  // namespace

void openStandardStreams() {
    pollfd streams[] = {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}};
    poll(streams, std::size(streams), 0);
    for (const pollfd& stream : streams) {
        // The lowest free descriptor is the one that open(2) takes.
        const bool isClosed = (stream.revents & POLLNVAL) != 0;
        if (isClosed && open("/dev/null", O_RDWR) < 0) {  // NOLINT(cppcoreguidelines-pro-type-vararg)
            std::perror("a standard stream is closed, and so is /dev/null");
            std::_Exit(EXIT_FAILURE);
        }
    }
}

std::size_t readStandardInput(char* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(STDIN_FILENO, buffer, size);
    } while (count < 0 && waitToRetry(STDIN_FILENO, POLLIN));
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

int writeStandardStream(Stream stream, std::string_view text) {
    const auto descriptor = static_cast<int>(stream);
    std::string escaped;
    if (stream == Stream::Output ? isTerminal<STDOUT_FILENO>() : isTerminal<STDERR_FILENO>()) {
        text = escaped = escapeControlCharacters(text);
    }
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (!waitToRetry(descriptor, POLLOUT)) {
            return errno;
        }
    }
    return 0;
}

}  // namespace platform
