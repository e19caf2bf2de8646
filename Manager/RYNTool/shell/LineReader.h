#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// Reads standard input line by line.
///
/// What was printed shows before a read that may block, and not before: the prompts between lines that have come already cost no
/// write each. Belongs to one thread, and nothing else may read standard input beside it.
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
