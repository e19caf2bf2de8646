#include "Corvane/Daemon.h"

#include "Corvane/requests/MetricsFile.h"
#include "Corvane/requests/Recording.h"
#include "Corvane/requests/Replay.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Log.h"
#include "Corvane/support/LogFile.h"
#include "Platform/Report.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <optional>

namespace corvane {

namespace {

/// Beside the clients' sockets: the database, logs and the loop's own.
constexpr rlim_t kOtherDescriptors = 64;

constexpr const char* kStreamSocket = "diag.sock";
constexpr std::uint64_t kLargestGroupLog = 131072;

/// The file of a listening socket.
std::filesystem::path pathOf(int socket) {
    sockaddr_un address{};
    socklen_t length = sizeof(address) - 1;
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    return address.sun_path;
}

/// @return how many of `clients` there is room for.
Result<std::size_t> raiseDescriptorLimit(std::size_t clients) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t needed = clients + kOtherDescriptors;
    if (limit.rlim_cur < needed) {
        limit.rlim_cur = std::min(needed, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    if (limit.rlim_cur <= kOtherDescriptors) {
        return Refusal::limitReached(fmt::format("can't serve clients with at most {} open files; allow more than {} (ulimit -n)",
                                                 limit.rlim_cur, kOtherDescriptors));
    }
    return static_cast<std::size_t>(std::min<rlim_t>(clients, limit.rlim_cur - kOtherDescriptors));
}

}  // namespace

Result<void> Daemon::run() {
    platform::reportTo(log::warning);
    if (options_.verbose) {
        log::setLevel(log::Level::Debug);
    }
    if (options_.traceRequests) {
        recording::showInLog();
    }
    for (const auto step : {&Daemon::prepareLoop, &Daemon::openRecordings, &Daemon::listen, &Daemon::openSettings}) {
        if (auto done = (this->*step)(); !done) {
            return done;
        }
    }
    serve(listeningSocket_.take());
    return {};
}

Result<void> Daemon::prepareLoop() {
    // A reader of the log that goes away, or a file that may not grow, is no reason to end.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    if (auto raised = raiseDescriptorLimit(mostClients_).into(mostClients_); !raised) {
        return raised;
    }
    if (auto made = Loop::make().into(loop_); !made) {
        return made;
    }
    return loop_->exitOn({SIGTERM, SIGINT});
}

Result<void> Daemon::listen() {
    if (auto handed = ListeningSocket::takeOver().into(listeningSocket_); !handed || listeningSocket_) {
        return handed;
    }
    const std::string path = options_.socketPath.empty() ? defaultSocketPath() : options_.socketPath;
    auto opened = ListeningSocket::open(path, policy_.group(), SOCK_SEQPACKET).into(listeningSocket_);
    if (opened) {
        log::debug("listening on " + path);
    }
    return opened;
}

Result<void> Daemon::openSettings() {
    if (options_.stateFolder.empty()) {
        options_.stateFolder = defaultStateFolder();
    }
    return SettingsStore::open(options_.stateFolder).into(store_);
}

Result<void> Daemon::openRecordings() {
    if (!options_.recording.empty()) {
        if (auto read = readRecording(options_.recording).into(recorded_); !read) {
            return read;
        }
    }
    return options_.recordFile.empty() ? Result<void>() : recording::begin(options_.recordFile);
}

Result<ListeningSocket> Daemon::listenForStream(const std::string& path) const {
    auto opened = ListeningSocket::open(path, policy_.group(), SOCK_STREAM);
    if (!opened) {
        return Refusal::limitReached("There is no live stream of DIAG messages: " + opened.refusal().sentence + ".");
    }
    log::notice("DIAG messages are streamed to those who connect to " + path);
    return opened;
}

void Daemon::serve(platform::FileDescriptor socket) {
    // Beside the socket, so that who may use the manager can see why it refused something and where it wrote: the journal is not
    // theirs to read, nor is the scratch log.
    const std::filesystem::path path = pathOf(socket.get());
    LogFile groupLog(std::filesystem::path(path).replace_extension(".log"), kLargestGroupLog, policy_.group());
    const log::Copy toGroup([&groupLog](std::string_view line) { groupLog.write(line); });
    if (!options_.faults.empty()) {
        log::notice("commands fail on purpose, as --fault says");
    }
    const std::string streamPath = path.parent_path() / kStreamSocket;
    Services services(*store_, options_.stateFolder, *loop_,
                      {[this, streamPath] { return listenForStream(streamPath); },
                       [this](int reader) { return policy_.judge(reader).allowed; }});
    Dispatcher dispatcher(services, options_.faults);
    addAllCommands(dispatcher);
    Server server(*loop_, std::move(socket), policy_, dispatcher, services.clientFigures(), mostClients_);
    const auto events = [&server](const char* event, const xpc::Object& payload) { server.broadcast(event, payload); };
    Replay replay(*loop_, std::move(recorded_), options_.replayAtOnce ? Replay::Pace::AtOnce : Replay::Pace::Recorded, events);
    if (!options_.recording.empty()) {
        dispatcher.answerBy([&replay](const auto& request, const auto& client, const auto& later) {
            return replay.answer(request, client, later);
        });
    }
    services.start(options_.backend->make(*loop_, *store_, options_), events);

    std::optional<MetricsFile> metrics;
    if (!options_.metricsFile.empty()) {
        metrics.emplace(*loop_, services, path.string(), options_.metricsFile);
    }
    log::notice(std::string("backend: ") + options_.backend->name);
    log::notice("ready");
    sd_notify(0, "READY=1");
    while (loop_->turn()) {
    }
    sd_notify(0, "STOPPING=1");
    loop_->withinMemory([&] { services.stop(); });
    loop_->withinMemory([&] { replay.stop(); });
    log::notice("stopped");
}

}  // namespace corvane
