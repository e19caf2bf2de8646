#include "Corvane/support/Journal.h"

#include <fmt/format.h>

#include <cstring>
#include <utility>

namespace corvane::journal {

Result<Journal> openAtEnd() {
    sd_journal* opened = nullptr;
    int error = sd_journal_open(&opened, SD_JOURNAL_LOCAL_ONLY);
    Journal journal(error < 0 ? nullptr : opened);
    error = journal ? sd_journal_seek_tail(journal.get()) : error;
    if (error < 0) {
        return Refusal::notPermitted(std::strerror(-error));
    }
    return journal;
}

Result<void> checkReadable(std::string_view trace) {
    const auto journal = openAtEnd();
    if (journal && sd_journal_previous(journal->get()) > 0) {
        return {};
    }
    return Refusal::notPermitted(
        fmt::format("Trace {} can't be recorded: there is no journal that the manager's user may read{}; members of group "
                    "systemd-journal may read the system's.",
                    trace, journal ? "" : fmt::format(" ({})", journal.refusal().sentence)));
}

std::string_view field(sd_journal* journal, std::string_view name) {
    const void* data = nullptr;
    std::size_t size = 0;
    if (sd_journal_get_data(journal, name.data(), &data, &size) < 0 || size <= name.size()) {
        return {};
    }
    return {static_cast<const char*>(data) + name.size() + 1, size - name.size() - 1};
}

}  // namespace corvane::journal
