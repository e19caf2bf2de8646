#pragma once

#include <cstddef>
#include <filesystem>

namespace corvane {

/// Pages in a write-ahead log that SQLite will drop without a word, because the chain of checksums is broken before them.
struct DroppedPages {
    std::size_t pages = 0;
    std::size_t changes = 0;  ///< completed; the last may have been under way when its writer ended, the others were not
};

/// Reads the log beside a database before the database is opened. No log: nothing is dropped.
DroppedPages findDroppedPages(const std::filesystem::path& database);

}  // namespace corvane
