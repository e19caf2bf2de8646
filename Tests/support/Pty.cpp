#include "support/Pty.h"

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace support {

Pty::Pty(const Arguments& arguments, const Environment& environment, bool echo) {
    termios settings{};
    cfmakeraw(&settings);
    settings.c_iflag |= ICRNL;
    settings.c_oflag |= OPOST | ONLCR;
    settings.c_lflag |= ICANON | ISIG | (echo ? ECHO : 0U);
    settings.c_cc[VEOF] = 4;
    settings.c_cc[VINTR] = 3;
    const Program program(arguments, environment);
    pid_ = forkpty(&terminal_, nullptr, &settings, nullptr);
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "forkpty");
    }
    if (pid_ == 0) {
        program.become();
    }
}

Pty::~Pty() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    if (terminal_ >= 0) {
        close(terminal_);
    }
}

void Pty::type(std::string_view text) {
    while (!text.empty()) {
        const ssize_t length = write(terminal_, text.data(), text.size());
        if (length < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(length > 0 ? static_cast<std::size_t>(length) : 0);
    }
}

bool Pty::readSome() {
    pollfd wait{terminal_, POLLIN, 0};
    if (poll(&wait, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) <= 0) {
        return false;
    }
    std::array<char, 4096> buffer{};
    const ssize_t length = read(terminal_, buffer.data(), buffer.size());
    for (ssize_t i = 0; i < length; ++i) {
        if (buffer.at(static_cast<std::size_t>(i)) != '\r') {
            shown_ += buffer.at(static_cast<std::size_t>(i));
        }
    }
    return length > 0;
}

bool Pty::expect(std::string_view text) {
    std::size_t position = 0;
    while ((position = shown_.find(text, found_)) == std::string::npos) {
        if (!readSome()) {
            return false;
        }
    }
    found_ = position + text.size();
    return true;
}

Outcome Pty::finish() {
    while (readSome()) {
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return {exitStatus(status), shown_, {}};
}

}  // namespace support
