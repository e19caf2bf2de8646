#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// Reads standard input line by line.
///
/// It writes a pending prompt before a read that may block, and only then: a prompt between two lines that have arrived together
/// costs no write of its own. Belongs to one thread, and nothing else may read standard input.
class LineReader {
public:
    /// The next line without its end; nullopt at the end of input, or when it can't be read. A last line needs no end.
    std::optional<std::string> next();

private:
    /// @return whether there is more.
    bool fill();

    std::vector<char> buffer_;  ///< made when it is needed: a run of given words reads nothing
    std::size_t begin_ = 0;     ///< of what was read and not yet taken
    std::size_t end_ = 0;
    bool isAtEnd_ = false;  ///< for good: a terminal could be read on
};
