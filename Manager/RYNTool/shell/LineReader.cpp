#include "shell/LineReader.h"

#include "shell/Output.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>

std::optional<std::string> LineReader::next() {
    std::string line;
    for (;;) {
        const std::string_view rest(buffer_.data() + begin_, end_ - begin_);
        const std::size_t length = rest.find('\n');
        line += rest.substr(0, length);
        if (length != std::string_view::npos) {
            begin_ += length + 1;
            return line;
        }
        if (!fill()) {
            return line.empty() ? std::nullopt : std::optional(std::move(line));
        }
    }
}

bool LineReader::fill() {
    output::flush();
    if (isAtEnd_) {
        return false;
    }
    ssize_t count = 0;
    do {
        count = ::read(STDIN_FILENO, buffer_.data(), buffer_.size());
    } while (count < 0 && errno == EINTR);
    isAtEnd_ = count <= 0;
    begin_ = 0;
    end_ = isAtEnd_ ? 0 : static_cast<std::size_t>(count);
    return !isAtEnd_;
}
