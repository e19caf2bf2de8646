#include "Corvane/Options.h"

#include "Corvane/support/Text.h"

#include <fmt/format.h>
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace corvane {

namespace {

constexpr const char* kVersion = "Corvane " CORVANE_VERSION "\n";
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

Result<void> setBackend(Options& options, const std::string& name) {
    const auto found = std::ranges::find(backends(), name, &Backend::name);
    if (found != backends().end()) {
        options.backend = &*found;
        return {};
    }
    return Refusal::invalidArgument(
        fmt::format("--backend: there is no backend '{}'; there are {}", name, listed(backends(), " and ", &Backend::name)));
}

Result<void> setScenario(Options& options, const std::string& path) {
    const auto read = simulated::readScenario(path).into(options.scenario);
    return read ? read : Refusal::invalidArgument("--scenario: " + read.refusal().sentence);
}

template <auto field>
Result<void> setText(Options& options, const std::string& value) {
    options.*field = value;
    return {};
}

template <auto field>
Result<void> setFlag(Options& options, const std::string& /*none*/) {
    options.*field = true;
    return {};
}

struct Row {
    const char* name;
    int takes;  ///< required_argument or no_argument
    Result<void> (*set)(Options& options, const std::string& value);
};
constexpr Row kRows[] = {
    {"socket", required_argument, setText<&Options::socketPath>},
    {"state", required_argument, setText<&Options::stateFolder>},
    {"backend", required_argument, setBackend},
    {"modem", required_argument, setText<&Options::modem>},
    {"scenario", required_argument, setScenario},
    {"record", required_argument, setText<&Options::recordFile>},
    {"recording", required_argument, setText<&Options::recording>},
    {"at-once", no_argument, setFlag<&Options::replayAtOnce>},
    {"fault", required_argument, [](Options& options, const std::string& rule) { return options.faults.add(rule); }},
    {"metrics", required_argument, setText<&Options::metricsFile>},
    {"verbose", no_argument, setFlag<&Options::verbose>},
    {"trace-requests", no_argument, setFlag<&Options::traceRequests>},
    {"help", no_argument, [](Options& options, const std::string&) { return setText<&Options::output>(options, kHelp); }},
    {"version", no_argument, [](Options& options, const std::string&) { return setText<&Options::output>(options, kVersion); }},
};

/// As getopt_long(3) takes them: it returns a row's number, from 1.
std::vector<option> longOptions() {
    std::vector<option> all;
    for (const Row& row : kRows) {
        all.push_back({row.name, row.takes, nullptr, static_cast<int>(all.size()) + 1});
    }
    all.emplace_back();
    return all;
}

std::string environmentOr(const char* name, const std::string& fallback) {
    const char* value = std::getenv(name);
    return value == nullptr || *value == '\0' ? fallback : value;
}

}  // namespace

Result<Options> Options::parse(int count, char* const* words) {
    Options options;
    const std::vector<option> known = longOptions();
    optind = 1;
    // The leading '+' ends the options at the first other word. The ':' tells a missing value apart and keeps getopt_long quiet.
    for (int found = 0; options.output.empty() && (found = getopt_long(count, words, "+:", known.data(), nullptr)) != -1;) {
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
        if (const auto set = kRows[found - 1].set(options, optarg == nullptr ? "" : optarg); !set) {
            return set.refusal();
        }
    }
    if (options.output.empty() && optind < count) {
        return Refusal::invalidArgument(
            fmt::format("there is no option '{}'; Corvane --help shows those that there are", words[optind]));
    }
    const std::string_view backend = options.backend->name;
    if (!options.modem.empty() && backend != "modemmanager") {
        return Refusal::invalidArgument("--modem goes with --backend modemmanager");
    }
    if (options.scenario && backend != "simulated") {
        return Refusal::invalidArgument("--scenario goes with --backend simulated, the default");
    }
    const bool replays = backend == kReplayBackend;
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
