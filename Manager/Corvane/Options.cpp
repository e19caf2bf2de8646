#include "Corvane/Options.h"

#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string_view>

namespace corvane {

namespace {

constexpr std::string_view kHelp =
    R"(Usage: Corvane [OPTION]...
The baseband manager: serves ryntool and other clients on a Unix-domain socket.

  --socket PATH       listen there; else on $CORVANE_SOCKET, else on /run/corvane/manager.sock for root and
                      $XDG_RUNTIME_DIR/corvane/manager.sock for a user; a socket that systemd hands over comes before all
  --state DIR         keep settings and trace logs there; else in /var/lib/corvane for root and
                      $XDG_STATE_HOME/corvane (~/.local/state/corvane) for a user
  --backend NAME      "simulated" (the default) or "modemmanager"
  --modem MODEM       which modem of ModemManager: its index, object path, device or IMEI;
                      "any" follows whatever modem is there
  --fault RULE        make a command fail: COMMAND=RESULT[:nodict], COMMAND=drop, COMMAND=hang or COMMAND=malformed;
                      may be given again
  --verbose           log more
  --trace-requests    log what clients send and what they are answered
  --help              print this and exit
  --version           print the version and exit
)";

/// Takes what stands behind an option, or true for one without a value. @return what is wrong.
using Setter = std::function<std::optional<std::string>(Options& options, const std::string& value)>;

struct Option {
    std::string_view name;
    bool takesValue;
    Setter set;
};

Setter store(std::string Options::*member) {
    return [member](Options& options, const std::string& value) -> std::optional<std::string> {
        options.*member = value;
        return value.empty() ? std::optional<std::string>("it takes a value that is not empty") : std::nullopt;
    };
}

Setter turnOn(bool Options::*member) {
    return [member](Options& options, const std::string&) {
        options.*member = true;
        return std::nullopt;
    };
}

std::optional<std::string> setBackend(Options& options, const std::string& value) {
    options.backend = value;
    const bool known = value == "simulated" || value == "modemmanager";
    return known ? std::nullopt : std::optional("there is no backend '" + value + "'; there are simulated and modemmanager");
}

const Option kOptions[] = {
    {"--socket", true, store(&Options::socketPath)},
    {"--state", true, store(&Options::stateFolder)},
    {"--backend", true, setBackend},
    {"--modem", true, store(&Options::modem)},
    {"--fault", true, [](Options& options, const std::string& value) { return options.faults.add(value); }},
    {"--verbose", false, turnOn(&Options::verbose)},
    {"--trace-requests", false, turnOn(&Options::traceRequests)},
};

Options::Exit badUsage(const std::string& what) {
    return {Options::kBadUsage, "Corvane: " + what + "\n"};
}

std::string environmentOr(const char* name, const std::string& fallback) {
    const char* value = std::getenv(name);
    return value == nullptr || *value == '\0' ? fallback : value;
}

}  // namespace

std::variant<Options, Options::Exit> Options::parse(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (argument == "--help") {
            return Exit{0, std::string(kHelp)};
        }
        if (argument == "--version") {
            return Exit{0, "Corvane " CORVANE_VERSION "\n"};
        }
        const std::size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        const Option* option = nullptr;
        for (const Option& candidate : kOptions) {
            option = candidate.name == name ? &candidate : option;
        }
        if (option == nullptr) {
            return badUsage("there is no option '" + argument + "'; Corvane --help shows those that there are");
        }
        if (!option->takesValue && equals != std::string::npos) {
            return badUsage(name + " takes no value");
        }
        if (option->takesValue && equals == std::string::npos && index + 1 == arguments.size()) {
            return badUsage(name + " takes a value; Corvane --help shows which");
        }
        const bool valueIsNext = option->takesValue && equals == std::string::npos;
        const std::string value = valueIsNext                   ? arguments[++index]
                                  : equals == std::string::npos ? ""
                                                                : argument.substr(equals + 1);
        if (const auto why = option->set(options, value)) {
            return badUsage(name + ": " + *why);
        }
    }
    if (!options.modem.empty() && options.backend != "modemmanager") {
        return badUsage("--modem goes with --backend modemmanager");
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
