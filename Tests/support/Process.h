#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace support {

/// Longer than anything takes on a loaded machine under a sanitizer: a wait that reaches it has failed.
inline constexpr std::chrono::seconds kPatience{60};

using Arguments = std::vector<std::string>;
/// Set on top of the test's own environment; an empty value unsets the variable.
using Environment = std::map<std::string, std::string>;

/// How a program ended and what it printed.
struct Outcome {
    int status = -1;  ///< exit status, or 128 + signal
    std::string out;
    std::string err;
};

/// A child with pipes on its three streams, killed at the end if it still runs.
class Process {
public:
    explicit Process(const Arguments& arguments, const Environment& environment = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return pid_; }
    void write(std::string_view text);
    /// Reads until standard output (or error) holds `text`. @return whether it does before `patience` is over.
    bool waitForOutput(std::string_view text, std::chrono::milliseconds patience = kPatience) {
        return waitFor(out_, text, patience);
    }
    bool waitForError(std::string_view text) { return waitFor(err_, text, kPatience); }
    void signal(int number) const;
    /// Closes the input, reads all output and waits for the end.
    Outcome finish();

    const std::string& output() const { return out_; }
    const std::string& error() const { return err_; }

private:
    bool waitFor(const std::string& stream, std::string_view text, std::chrono::milliseconds patience);
    bool readSome(std::chrono::milliseconds patience);
    int wait();

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string out_;
    std::string err_;
};

/// Runs the program to its end with `input` on standard input.
Outcome run(const Arguments& arguments, const Environment& environment = {}, std::string_view input = {});

/// 0..255, or 128 + signal, of a waitpid status.
int exitStatus(int waitStatus);

/// Names this process Pellcore, so that the tool finds the cellular service running.
void becomePellcore();

/// The programs under test.
extern const std::string kTool;
extern const std::string kDaemon;

}  // namespace support
