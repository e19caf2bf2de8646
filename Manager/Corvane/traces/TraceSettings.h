#pragma once

#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Result.h"
#include "Corvane/traces/TraceProperty.h"
#include "platform/xpc/Object.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// The manager's settings of all trace kinds. Values are the texts that travel on the wire.
///
/// Not thread-safe: owned by the daemon's event loop.
class TraceSettings {
public:
    /// Called after every change of a value, when it is on disk.
    using OnChange = std::function<void(const TraceProperty& property, const std::string& value)>;

    /// A stored value that its property doesn't take is logged and replaced by the default.
    explicit TraceSettings(SettingsStore& store);
    void setOnChange(OnChange onChange) { onChange_ = std::move(onChange); }

    /// {KeyTracePropertyValue: string}, ready to be sent. @param trace in any letter case.
    Result<xpc::Object> reply(std::string_view trace, std::string_view property);
    /// Checks and stores, on disk before it returns.
    Result<void> set(std::string_view trace, std::string_view property, std::string_view value);
    /// Puts every property that can be written back to its default. After a refusal the others are at their defaults.
    Result<void> reset();

    /// For the manager itself, of properties that exist wherever it asks for them; empty otherwise.
    std::string value(ryn::trace::Type trace, std::string_view property);
    /// Sets what clients can only read.
    void setReadOnly(ryn::trace::Type trace, std::string_view property, const std::string& value);

    /// {trace: {property: value}}
    xpc::Object all();

private:
    struct Row {
        TraceProperty property;
        std::string value;
        xpc::Object reply;  ///< of `value`
    };
    using Rows = std::map<std::string, Row, std::less<>>;

    Result<Row*> find(std::string_view trace, std::string_view property);
    Row* findExactly(std::string_view trace, std::string_view property);
    /// Takes the stored value, or the default.
    void load(Row& row);
    /// Takes the value from the preferences, which others write too.
    static void reload(Row& row);
    /// Makes a value that the store has already the one that counts.
    Result<void> apply(Row& row, const std::string& value);
    static void cache(Row& row, std::string value);

    SettingsStore& store_;
    OnChange onChange_;
    std::map<std::string, Rows, std::less<>> traces_;
};

}  // namespace corvane
