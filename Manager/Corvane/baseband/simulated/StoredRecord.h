#pragma once

#include "Corvane/baseband/BasebandStorage.h"
#include "platform/xpc/Object.h"

#include <cstdint>
#include <map>
#include <string>
#include <variant>

namespace corvane::simulated {

/// Named numbers and texts that are kept together under one name of the storage.
class StoredRecord {
public:
    using Value = std::variant<std::int64_t, std::string>;
    using Values = std::map<std::string, Value>;

    /// Reads what is stored; empty when nothing is, or nothing that can be read.
    StoredRecord(BasebandStorage& storage, std::string name);

    /// 0 when there is no such number.
    std::int64_t number(const std::string& key) const;
    /// Empty when there is no such text.
    std::string text(const std::string& key) const;

    /// Sets what `changes` names. On disk before it returns. @return false when it could not be written; nothing has changed
    /// then.
    bool set(const Values& changes);
    /// Puts `values` in place of everything; otherwise like set.
    bool replace(Values values);

    xpc::Object toDictionary() const;

private:
    BasebandStorage& storage_;
    std::string name_;
    Values values_;
};

}  // namespace corvane::simulated
