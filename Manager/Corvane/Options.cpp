#include "Corvane/Options.h"

#include "Corvane/support/Text.h"

#include <fmt/format.h>
#include <getopt.h>
#include <unistd.h>

#include <cstdlib>

namespace corvane {

namespace {

constexpr const char* kHelp =
    R"(Usage: Corvane [OPTION]...
The baseband manager: serves ryntool and other clients on a Unix-domain socket.

  --socket PATH       listen there; else on $CORVANE_SOCKET, else on /run/corvane/manager.sock for root and
                      $XDG_RUNTIME_DIR/corvane/manager.sock for a user; a socket that systemd hands over comes before all
  --state DIR         keep settings and trace logs there; else in /var/lib/corvane for root and
                      $XDG_STATE_HOME/corvane (~/.local/state/corvane) for a user
  --backend NAME      "simulated" (the default), "modemmanager", or "replay" of a recording
  --modem MODEM       which modem of ModemManager: its index, object path, device or IMEI;
                      "any" follows whatever modem is there
  --scenario FILE     let the simulated baseband crash, hang, fail or lose its network as FILE says: corvane-scenario(5)
  --record FILE       write requests, replies and events there, a line of JSON each
  --recording FILE    the recording to replay
  --at-once           replay without the recording's pauses
  --fault RULE        make a command fail: COMMAND=RESULT[:nodict], COMMAND=drop, COMMAND=hang or COMMAND=malformed;
                      may be given again
  --metrics FILE      write figures there every 15 s, for the textfile collector of Prometheus' node exporter
  --verbose           log more
  --trace-requests    log what clients send and what they are answered
  --help              print this and exit
  --version           print the version and exit
)";

constexpr option kOptions[] = {
    {"socket", required_argument, nullptr, 's'},
    {"state", required_argument, nullptr, 'd'},
    {"backend", required_argument, nullptr, 'b'},
    {"modem", required_argument, nullptr, 'm'},
    {"scenario", required_argument, nullptr, 'c'},
    {"record", required_argument, nullptr, 'R'},
    {"recording", required_argument, nullptr, 'r'},
    {"at-once", no_argument, nullptr, 'o'},
    {"fault", required_argument, nullptr, 'f'},
    {"metrics", required_argument, nullptr, 'M'},
    {"verbose", no_argument, nullptr, 'v'},
    {"trace-requests", no_argument, nullptr, 't'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {},
};

Result<void> setScenario(Options& options, const std::string& path) {
    auto scenario = simulated::readScenario(path);
    if (!scenario) {
        return Refusal::invalidArgument("--scenario: " + scenario.refusal().sentence);
    }
    options.ofBackend.scenario = std::move(*scenario);
    return {};
}

Result<void> set(Options& options, int option, const std::string& value) {
    switch (option) {
        case 's':
            options.socketPath = value;
            break;
        case 'd':
            options.stateFolder = value;
            break;
        case 'b':
            options.backend = findBackend(value);
            if (options.backend == nullptr) {
                return Refusal::invalidArgument(fmt::format("--backend: there is no backend '{}'; there are {}", value,
                                                            listed(backends(), " and ", &Backend::name)));
            }
            break;
        case 'm':
            options.ofBackend.modem = value;
            break;
        case 'c':
            return setScenario(options, value);
        case 'f':
            return options.faults.add(value);
        case 'M':
            options.metricsFile = value;
            break;
        case 'R':
            options.recordFile = value;
            break;
        case 'r':
            options.recording = value;
            break;
        case 'o':
            options.replayAtOnce = true;
            break;
        case 'v':
            options.verbose = true;
            break;
        case 't':
            options.traceRequests = true;
            break;
        case 'h':
            options.output = kHelp;
            break;
        default:
            options.output = "Corvane " CORVANE_VERSION "\n";
    }
    return {};
}

std::string environmentOr(const char* name, const std::string& fallback) {
    const char* value = std::getenv(name);
    return value == nullptr || *value == '\0' ? fallback : value;
}

}  // namespace

Result<Options> Options::parse(int count, char* const* words) {
    Options options;
    opterr = 0;
    optind = 1;
    // The leading '+' ends the options at the first other word, the ':' tells a missing value apart.
    for (int found = 0; options.output.empty() && (found = getopt_long(count, words, "+:", kOptions, nullptr)) != -1;) {
        const std::string word = words[optind - 1];
        if (found == ':') {
            return Refusal::invalidArgument(word + " takes a value; Corvane --help shows which");
        }
        if (found == '?' && optopt != 0) {
            return Refusal::invalidArgument(word.substr(0, word.find('=')) + " takes no value");
        }
        if (found == '?') {
            return Refusal::invalidArgument(
                fmt::format("there is no option '{}'; Corvane --help shows those that there are", word));
        }
        if (optarg != nullptr && *optarg == '\0') {
            return Refusal::invalidArgument(word.substr(0, word.find('=')) + " takes a value that is not empty");
        }
        if (const auto taken = set(options, found, optarg == nullptr ? "" : optarg); !taken) {
            return taken.refusal();
        }
    }
    if (options.output.empty() && optind < count) {
        return Refusal::invalidArgument(
            fmt::format("there is no option '{}'; Corvane --help shows those that there are", words[optind]));
    }
    if (!options.ofBackend.modem.empty() && options.backend != findBackend("modemmanager")) {
        return Refusal::invalidArgument("--modem goes with --backend modemmanager");
    }
    if (options.ofBackend.scenario && options.backend != findBackend("simulated")) {
        return Refusal::invalidArgument("--scenario goes with --backend simulated, the default");
    }
    const bool replays = options.backend == findBackend(kReplayBackend);
    if (replays == options.recording.empty() || (options.replayAtOnce && !replays)) {
        return Refusal::invalidArgument("--backend replay takes a --recording, which it replays, maybe --at-once");
    }
    return options;
}

std::string defaultSocketPath() {
    const std::string runFolder = geteuid() == 0 ? "/run" : environmentOr("XDG_RUNTIME_DIR", "/run");
    return environmentOr("CORVANE_SOCKET", runFolder + "/corvane/manager.sock");
}

std::string defaultStateFolder() {
    if (geteuid() == 0) {
        return "/var/lib/corvane";
    }
    const std::string home = environmentOr("HOME", "/");
    return environmentOr("XDG_STATE_HOME", home + "/.local/state") + "/corvane";
}

}  // namespace corvane
