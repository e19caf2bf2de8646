#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// What a simulated baseband remembers while the manager is not running: named texts, each up to some 100 KB of UTF-8.
class BasebandStorage {
public:
    virtual ~BasebandStorage() = default;
    /// nullopt when nothing is stored under `name`.
    virtual std::optional<std::string> get(std::string_view name) = 0;
    /// Stores or replaces; on disk before it returns. @return false when it could not be written; the old text then stands.
    virtual bool put(std::string_view name, std::string_view text) = 0;
};

}  // namespace corvane
