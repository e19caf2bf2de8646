#include "Corvane/requests/MetricsText.h"

#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <string_view>

namespace corvane {
namespace {

/// One figure, or one for each entry of a dictionary. Figures of one family stand together; the first has its help text.
struct Figure {
    const char* family;  ///< a counter when it ends in "_total", else a gauge
    const char* help;
    const char* section;
    const char* key;
    const char* label = "";  ///< of a dictionary: the label that tells its keys
    double scale = 1;        ///< to the unit in the family's name
};

constexpr Figure kFigures[] = {
    {"corvane_info", "The manager: its version and backend.", "State", "Version", "version"},
    {"corvane_baseband_boot_state", "1 for the state that the baseband is in.", "State", "BootState", "state"},
    {"corvane_baseband_operating_mode", "Operating mode: 0 online, 1 low power, 3 offline, ...", "State", "OperatingMode"},
    {"corvane_baseband_boots_total", "Boots of the baseband.", "Boot", "Boots"},
    {"corvane_baseband_boot_seconds", "How long the last boot took.", "Boot", "LastBootMilliseconds", "", 0.001},
    {"corvane_baseband_crashes_total", "Crashes of the baseband.", "Boot", "Crashes"},
    {"corvane_baseband_resets_total", "Resets of the baseband.", "Boot", "SoftResets", "type=\"soft\""},
    {"corvane_baseband_resets_total", "", "Boot", "HardResets", "type=\"hard\""},
    {"corvane_baseband_mode_changes_total", "Changes of the operating mode.", "Boot", "ModeChanges"},
    {"corvane_baseband_wakes_total", "Times the baseband has woken the application processor.", "Boot", "WakesByBaseband"},
    {"corvane_baseband_self_tests_total", "RF self-tests that have ended.", "Boot", "SelfTestsPassed", "outcome=\"passed\""},
    {"corvane_baseband_self_tests_total", "", "Boot", "SelfTestsFailed", "outcome=\"failed\""},
    {"corvane_baseband_self_tests_total", "", "Boot", "SelfTestsAborted", "outcome=\"aborted\""},
    {"corvane_signal_quality_ratio", "Quality of the signal, 0 to 1.", "Boot", "SignalQualityPercentage", "", 0.01},
    {"corvane_signal_rsrp_dbm", "Received power of the reference signal.", "Boot", "RSRP"},
    {"corvane_signal_rsrq_db", "Received quality of the reference signal.", "Boot", "RSRQ"},
    {"corvane_signal_snr_db", "Signal over noise.", "Boot", "SNR"},
    {"corvane_requested_resets_total", "Resets that were carried out, by the reason that the client gave as sub type.",
     "Commands", "Resets", "reason"},
    {"corvane_commands_total", "Commands of clients.", "Commands", "Served", "command"},
    {"corvane_commands_refused_total", "Commands that were refused.", "Commands", "Refused"},
    {"corvane_clients", "Clients that are connected.", "Clients", "Connected"},
    {"corvane_clients_watching", "Clients that have events on.", "Clients", "WatchingEvents"},
    {"corvane_clients_accepted_total", "Connections that were accepted.", "Clients", "Accepted"},
    {"corvane_clients_ended_total", "Connections that the manager has ended.", "Clients", "EndedByManager"},
    {"corvane_peers_refused_total", "Connections that were refused.", "Clients", "RefusedPeers", "reason=\"not_allowed\""},
    {"corvane_peers_refused_total", "", "Clients", "RefusedOverLimit", "reason=\"over_limit\""},
    {"corvane_events_sent_total", "Events that were sent to clients.", "Clients", "EventsSent"},
    {"corvane_trace_bytes", "What is recorded of a trace and not collected yet.", "Traces", "Bytes", "trace"},
};

std::string inQuotes(std::string_view value) {
    std::string text = "\"";
    for (const char character : escaped(value)) {
        text += character == '"' || character == '\\' ? std::string{'\\', character} : std::string{character};
    }
    return text + '"';
}

std::string sample(const Figure& figure, const std::string& socket, const std::string& label, xpc_object_t value) {
    return fmt::format("{}{{socket={}{}{}}} {}\n", figure.family, socket, label.empty() ? "" : ",", label,
                       static_cast<double>(xpc_int64_get_value(value)) * figure.scale);
}

std::string samples(const Figure& figure, const std::string& socket, xpc_object_t value) {
    if (xpc_get_type(value) != XPC_TYPE_DICTIONARY) {
        return sample(figure, socket, figure.label, value);
    }
    std::string lines;
    xpc_dictionary_apply(value, [&](const char* key, xpc_object_t count) {
        lines += sample(figure, socket, fmt::format("{}={}", figure.label, inQuotes(key)), count);
        return true;
    });
    return lines;
}

}  // namespace

std::string metricsText(const xpc::Object& figures, const std::string& socket) {
    std::string text;
    for (const Figure& figure : kFigures) {
        xpc_object_t section = xpc_dictionary_get_value(figures.get(), figure.section);
        xpc_object_t value = section == nullptr ? nullptr : xpc_dictionary_get_value(section, figure.key);
        if (value == nullptr) {
            continue;
        }
        if (*figure.help != '\0') {
            const bool counter = std::string_view(figure.family).ends_with("_total");
            text += fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", figure.family, figure.help, counter ? "counter" : "gauge");
        }
        text += samples(figure, inQuotes(socket), value);
    }
    return text;
}

}  // namespace corvane
