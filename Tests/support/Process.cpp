#include "support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <system_error>

namespace support {

const std::string kTool = RYNTOOL_PATH;
const std::string kDaemon = CORVANE_PATH;

namespace {

void closeIfOpen(int& descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
        descriptor = -1;
    }
}

/// Appends what is there; closes at the end of the stream.
void drain(int& descriptor, std::string& text) {
    std::array<char, 65536> buffer{};
    const ssize_t length = read(descriptor, buffer.data(), buffer.size());
    if (length > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(length));
    } else if (length == 0 || errno != EINTR) {
        closeIfOpen(descriptor);
    }
}

/// Null-terminated, for execve(2); valid as long as `texts`.
std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    std::ranges::transform(texts, std::back_inserter(list), [](std::string& text) { return text.data(); });
    list.push_back(nullptr);
    return list;
}

std::vector<std::string> variables(const Environment& environment) {
    std::vector<std::string> list;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (!environment.contains(text.substr(0, text.find('=')))) {
            list.push_back(text);
        }
    }
    for (const auto& [name, value] : environment) {
        if (!value.empty()) {
            list.push_back(std::string(name).append("=").append(value));
        }
    }
    return list;
}

}  // namespace

int exitStatus(int waitStatus) {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

Process::Process(const Arguments& arguments, const Environment& environment) {
    Arguments words = arguments;
    std::vector<std::string> all = variables(environment);
    std::array<std::array<int, 2>, 3> pipes{};  // each the end to read from, then the end to write to
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int stream = 0; stream < 3; ++stream) {
        auto& ends = pipes.at(static_cast<std::size_t>(stream));
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
        posix_spawn_file_actions_adddup2(&actions, ends.at(stream == STDIN_FILENO ? 0 : 1), stream);
    }
    posix_spawnattr_t attributes;  // a shell starts background jobs with these ignored, and they stay so over exec
    posix_spawnattr_init(&attributes);
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    sigaddset(&interrupts, SIGQUIT);
    posix_spawnattr_setsigdefault(&attributes, &interrupts);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawnp(&pid_, words[0].c_str(), &actions, &attributes, pointers(words).data(), pointers(all).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), words[0]);
    }
    close(pipes[0][0]);
    close(pipes[1][1]);
    close(pipes[2][1]);
    input_ = pipes[0][1];
    output_ = pipes[1][0];
    errors_ = pipes[2][0];
}

Process::~Process() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        wait();
    }
    closeIfOpen(input_);
    closeIfOpen(output_);
    closeIfOpen(errors_);
}

void Process::write(std::string_view text) {
    // A child that has ended must not end the test with it.
    std::signal(SIGPIPE, SIG_IGN);
    while (!text.empty()) {
        const ssize_t length = ::write(input_, text.data(), text.size());
        if (length < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(length > 0 ? static_cast<std::size_t>(length) : 0);
    }
}

bool Process::readSome(std::chrono::milliseconds patience) {
    std::array<pollfd, 2> waits{{{output_, POLLIN, 0}, {errors_, POLLIN, 0}}};
    if (poll(waits.data(), waits.size(), static_cast<int>(patience.count())) <= 0) {
        return errno == EINTR;
    }
    if (waits[0].revents != 0) {
        drain(output_, out_);
    }
    if (waits[1].revents != 0) {
        drain(errors_, err_);
    }
    return true;
}

bool Process::waitFor(const std::string& stream, std::string_view text, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (stream.find(text) == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || (output_ < 0 && errors_ < 0) || !readSome(left)) {
            return false;
        }
    }
    return true;
}

void Process::signal(int number) const {
    if (pid_ > 0) {
        kill(pid_, number);
    }
}

int Process::wait() {
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return exitStatus(status);
}

Outcome Process::finish() {
    closeIfOpen(input_);
    while ((output_ >= 0 || errors_ >= 0) && readSome(kPatience)) {
    }
    if (output_ >= 0 || errors_ >= 0) {
        signal(SIGKILL);
        err_ += "\n[killed by the test: it did not end]\n";
    }
    return {wait(), out_, err_};
}

Outcome run(const Arguments& arguments, const Environment& environment, std::string_view input) {
    Process process(arguments, environment);
    process.write(input);
    return process.finish();
}

void becomePellcore() {
    prctl(PR_SET_NAME, "Pellcore");
}

}  // namespace support
