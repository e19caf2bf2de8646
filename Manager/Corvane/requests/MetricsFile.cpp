#include "Corvane/requests/MetricsFile.h"

#include "Corvane/requests/MetricsText.h"
#include "Corvane/requests/Services.h"
#include "Corvane/support/Log.h"
#include "Corvane/support/Values.h"
#include "Platform/File.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace corvane {
namespace {

constexpr std::chrono::seconds kInterval{15};
/// The collector runs as a user of its own.
constexpr mode_t kMode = 0644;

xpc::Object shown(const BootStatus& status) {
    xpc::Object states = dictionary({});
    for (const BootState state : {BootState::Off, BootState::Booting, BootState::Ready, BootState::Resetting}) {
        xpc::set(states, nameOf(state), number(state == status.state ? 1 : 0));
    }
    return states;
}

}  // namespace

MetricsFile::MetricsFile(Loop& loop, Services& services, std::string socket, std::filesystem::path file)
    : services_(services), socket_(std::move(socket)), file_(std::move(file)), timer_(loop) {
    collect();
}

MetricsFile::~MetricsFile() {
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
}

void MetricsFile::collect() {
    timer_.set(kInterval, [this] { collect(); });
    const auto state = dictionary({{"Version", dictionary({{CORVANE_VERSION, number(1)}})}});
    const auto figures = dictionary({{"State", state},
                                     {"Commands", services_.commandFigures().toDictionary()},
                                     {"Clients", services_.clientFigures().toDictionary()},
                                     {"Traces", dictionary({{"Bytes", services_.traceBytes()}})}});
    services_.baseband().getStatistics([this, state, figures](const Result<xpc::Object>& statistics) {
        if (statistics) {
            xpc::set(figures, "Boot", *statistics);
        }
        services_.baseband().getOperatingMode([this, state, figures](const Result<OperatingMode>& mode) {
            if (mode) {
                xpc::set(state, "OperatingMode", number(static_cast<int>(*mode)));
            }
            services_.baseband().getBootState([this, state, figures](const Result<BootStatus>& status) {
                if (status) {
                    xpc::set(state, "BootState", shown(*status));
                }
                write(metricsText(figures, socket_));
            });
        });
    });
}

void MetricsFile::write(const std::string& text) {
    auto error = platform::replaceFile(file_, file_.string() + ".new", text, kMode);
    if (!error && chmod(file_.c_str(), kMode) != 0) {  // whatever the umask
        error = {errno, std::generic_category()};
    }
    if (error && !isRefused_) {
        log::error(fmt::format("the metrics can't be written to {}: {}", file_.string(), error.message()));
    }
    isRefused_ = static_cast<bool>(error);
}

}  // namespace corvane
