#include "support/Daemon.h"

#include <filesystem>
#include <stdexcept>

namespace support {

Daemon::Daemon(Arguments options, Environment environment) : options_(std::move(options)), extra_(std::move(environment)) {
    std::filesystem::create_directory(folder_ / "config");
    start();
}

void Daemon::start() {
    Arguments arguments{kDaemon, "--socket", socketPath(), "--state", statePath()};
    arguments.insert(arguments.end(), options_.begin(), options_.end());
    Environment all = environment();
    all.insert(extra_.begin(), extra_.end());
    process_ = std::make_unique<Process>(arguments, all);
    if (!process_->waitForError("ready\n")) {
        throw std::runtime_error("the manager did not become ready: " + process_->finish().err);
    }
}

Outcome Daemon::stop(int signal) {
    process_->signal(signal);
    return process_->finish();
}

Environment Daemon::environment() const {
    return {
        {"CORVANE_SOCKET", socketPath()}, {"XDG_CONFIG_HOME", folder_ / "config"}, {"XDG_RUNTIME_DIR", folder_.path().string()}};
}

Outcome Daemon::tool(const Arguments& words, std::string_view input) const {
    Arguments arguments{kTool};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return run(arguments, environment(), input);
}

}  // namespace support
