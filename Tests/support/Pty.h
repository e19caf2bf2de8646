#pragma once

#include "support/Process.h"

#include <string>
#include <string_view>

namespace support {

/// A program on a terminal of its own, as a user has it: line editing and echo by the kernel.
class Pty {
public:
    explicit Pty(const Arguments& arguments, const Environment& environment = {}, bool echo = true);
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    pid_t pid() const { return pid_; }
    void type(std::string_view text);
    /// Reads until `text` appears behind what earlier calls have found. @return whether it does before kPatience is over.
    bool expect(std::string_view text);
    /// Reads to the end of the program; `out` holds everything shown, with "\r\n" as "\n".
    Outcome finish();

private:
    bool readSome();

    pid_t pid_ = -1;
    int terminal_ = -1;
    std::string shown_;
    std::size_t found_ = 0;
};

}  // namespace support
