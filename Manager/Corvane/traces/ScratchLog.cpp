#include "Corvane/traces/ScratchLog.h"

#include "Corvane/traces/Recorder.h"
#include "config/RYNProperties.h"

#include <system_error>

namespace corvane {

namespace fs = std::filesystem;

ScratchLog::ScratchLog(const fs::path& folder) : file_(folder / "Corvane.log", 0, std::nullopt) {
    reload();
}

void ScratchLog::reload() {
    enabled_ = RYNProperties::traceRYNEnabled();
    file_.setLargest(RYNProperties::traceRYNHistory() * kMegabyte / 2);
}

void ScratchLog::write(std::string_view line) {
    if (enabled_) {
        file_.write(line);
    }
}

Result<void> ScratchLog::collect(const fs::path& folder, bool keep) {
    for (const fs::path& log : {file_.older(), file_.current()}) {
        std::error_code error;
        std::error_code unknown;
        if (!fs::exists(log, unknown)) {
            continue;
        }
        // What isn't kept is removed by `clear`, and until then is in both places.
        if (keep || (fs::create_hard_link(log, folder / log.filename(), unknown), unknown)) {
            fs::copy_file(log, folder / log.filename(), error);
        }
        if (error) {
            return Refusal::storageFailed(error.message());
        }
    }
    return {};
}

}  // namespace corvane
