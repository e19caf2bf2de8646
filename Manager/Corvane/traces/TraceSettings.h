#pragma once

#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Refusal.h"
#include "Corvane/traces/TraceProperty.h"
#include "platform/xpc/Object.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace corvane {

/// The manager's settings of all trace kinds. Values are the texts that travel on the wire.
///
/// Not thread-safe: owned by the daemon's event loop.
class TraceSettings {
public:
    /// Told of every change of a value, when it is on disk.
    using Observer = std::function<void(const TraceProperty& property, const std::string& value)>;

    explicit TraceSettings(SettingsStore& store);
    void setObserver(Observer observer) { observer_ = std::move(observer); }

    /// {KeyTracePropertyValue: string}, ready to be sent. @param trace in any letter case.
    std::variant<xpc::Object, Refusal> reply(std::string_view trace, std::string_view property);
    /// Checks and stores, on disk before it returns. @return why it was refused; nullopt when stored.
    std::optional<Refusal> set(std::string_view trace, std::string_view property, std::string_view value);
    /// Puts every property that can be written back to its default.
    std::optional<Refusal> reset();

    /// For the manager itself, of properties that exist wherever it asks for them; empty otherwise.
    std::string value(ryn::trace::Type trace, std::string_view property);
    /// Tells a read-only property's value.
    void tell(ryn::trace::Type trace, std::string_view property, const std::string& value);

    /// {trace: {property: value}}
    xpc::Object all();

private:
    struct Row {
        TraceProperty property;
        std::string value;
        xpc::Object reply;
    };
    using Rows = std::map<std::string, Row, std::less<>>;

    std::variant<Row*, Refusal> find(std::string_view trace, std::string_view property);
    Row* findExactly(std::string_view trace, std::string_view property);
    Refusal unknownTrace(std::string_view trace) const;
    std::optional<Refusal> put(Row& row, const std::string& value);
    /// As `put`, where the store has the value already.
    std::optional<Refusal> take(Row& row, const std::string& value);
    static void show(Row& row, std::string value);
    /// Takes notice of what others have written to the preferences.
    static void refresh(Row& row);

    SettingsStore& store_;
    Observer observer_;
    std::map<std::string, Rows, std::less<>> traces_;
};

}  // namespace corvane
