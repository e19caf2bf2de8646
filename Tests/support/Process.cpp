#include "support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace support {

const std::string kTool = RYNTOOL_PATH;
const std::string kDaemon = CORVANE_PATH;
const std::string kCellularService = PELLCORE_PATH;

namespace {

struct Pipe {
    int read = -1;
    int write = -1;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {ends[0], ends[1]};
}

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

}  // namespace

Program::Program(Arguments arguments, const Environment& environment) : arguments_(std::move(arguments)) {
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (!environment.contains(text.substr(0, text.find('=')))) {
            variables_.push_back(text);
        }
    }
    for (const auto& [name, value] : environment) {
        if (!value.empty()) {
            variables_.push_back(name);
            variables_.back().append("=").append(value);
        }
    }
    const auto pointers = [](std::vector<std::string>& texts) {
        std::vector<char*> list;
        list.reserve(texts.size() + 1);
        for (std::string& text : texts) {
            list.push_back(text.data());
        }
        list.push_back(nullptr);
        return list;
    };
    words_ = pointers(arguments_);
    environment_ = pointers(variables_);
}

void Program::become() const {
    // A shell starts background jobs with these ignored, and they stay so over exec.
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGQUIT, SIG_DFL);
    execvpe(words_[0], words_.data(), environment_.data());
    _exit(127);
}

int exitStatus(int waitStatus) {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

Process::Process(const Arguments& arguments, const Environment& environment) {
    const Pipe in = makePipe();
    const Pipe out = makePipe();
    const Pipe err = makePipe();
    const Program program(arguments, environment);
    pid_ = fork();
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid_ == 0) {
        dup2(in.read, STDIN_FILENO);
        dup2(out.write, STDOUT_FILENO);
        dup2(err.write, STDERR_FILENO);
        program.become();
    }
    close(in.read);
    close(out.write);
    close(err.write);
    input_ = in.write;
    output_ = out.read;
    errors_ = err.read;
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

void Process::closeInput() {
    closeIfOpen(input_);
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
    closeInput();
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
