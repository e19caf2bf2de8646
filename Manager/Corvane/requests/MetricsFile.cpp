#include "Corvane/requests/MetricsFile.h"

#include "Corvane/requests/MetricsText.h"
#include "Corvane/requests/Services.h"
#include "Corvane/support/Log.h"
#include "Corvane/support/Values.h"
#include "Platform/FileDescriptor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

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

/// @return whether the whole text is in the file.
bool writeWhole(const std::filesystem::path& file, const std::string& text) {
    const platform::FileDescriptor opened(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kMode));
    return opened && fchmod(opened.get(), kMode) == 0 &&
           ::write(opened.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
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
    const std::string fresh = file_.string() + ".new";
    const bool written = writeWhole(fresh, text) && rename(fresh.c_str(), file_.c_str()) == 0;
    if (!written && !isRefused_) {
        log::error(fmt::format("the metrics can't be written to {}: {}", file_.string(), std::strerror(errno)));
    }
    isRefused_ = !written;
}

}  // namespace corvane
