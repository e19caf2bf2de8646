#include "shell/LineReader.h"

#include "platform/console/StandardStreams.h"
#include "shell/Output.h"

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
    constexpr std::size_t kBufferSize = 4096;
    buffer_.resize(kBufferSize);
    begin_ = 0;
    end_ = platform::readStandardInput(buffer_.data(), buffer_.size());
    isAtEnd_ = end_ == 0;
    return !isAtEnd_;
}
