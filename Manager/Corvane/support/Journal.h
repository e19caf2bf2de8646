#pragma once

#include "Corvane/support/Result.h"

#include <systemd/sd-journal.h>

#include <memory>
#include <string_view>

/// Reading the system's journal.
namespace corvane::journal {

struct Closer {
    void operator()(sd_journal* journal) const { sd_journal_close(journal); }
};
using Journal = std::unique_ptr<sd_journal, Closer>;

/// At its end, before which there may be no entry. A refusal is a clause.
Result<Journal> openAtEnd();
/// Whether there is anything that this user may read; the refusal says who may. @param trace that needs it.
Result<void> checkReadable(std::string_view trace);
/// Of the entry that `journal` is at; empty when it has no such field. Valid until the next one is asked for.
std::string_view field(sd_journal* journal, std::string_view name);

}  // namespace corvane::journal
