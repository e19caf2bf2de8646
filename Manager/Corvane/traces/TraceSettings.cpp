#include "Corvane/traces/TraceSettings.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

namespace corvane {

namespace {

using Keeping = TraceProperty::Keeping;

constexpr std::string_view kArea = "trace";

std::string storedName(const TraceProperty& property) {
    return ryn::trace::typeAsString(property.trace) + "/" + property.name;
}

template <typename Map>
std::string joinedKeys(const Map& map) {
    std::string text;
    for (const auto& [key, value] : map) {
        text += (text.empty() ? "" : ", ") + key;
    }
    return text;
}

}  // namespace

TraceSettings::TraceSettings(SettingsStore& store) : store_(store) {
    for (TraceProperty& property : supportedTraceProperties()) {
        Row row{std::move(property), {}, {}};
        row.value = row.property.byDefault;
        if (row.property.keeping == Keeping::Stored) {
            // What an older or a newer manager accepted may be out of range now.
            const auto stored = store_.get(kArea, storedName(row.property));
            row.value = (stored ? row.property.accept(*stored) : std::nullopt).value_or(row.property.byDefault);
        }
        const std::string name = row.property.name;
        traces_[ryn::trace::typeAsString(row.property.trace)].emplace(name, std::move(row));
    }
    for (auto& [trace, rows] : traces_) {
        for (auto& [name, row] : rows) {
            show(row, row.value);
        }
    }
}

TraceSettings::Row* TraceSettings::findExactly(std::string_view trace, std::string_view property) {
    const auto rows = traces_.find(trace);
    if (rows == traces_.end()) {
        return nullptr;
    }
    const auto row = rows->second.find(property);
    return row == rows->second.end() ? nullptr : &row->second;
}

std::variant<TraceSettings::Row*, Refusal> TraceSettings::find(std::string_view trace, std::string_view property) {
    if (Row* row = findExactly(trace, property); row != nullptr) {
        return row;
    }
    ryn::trace::Type type{};
    const bool isKind = ryn::trace::stringAsType(std::string(trace), type);
    const std::string name = isKind ? ryn::trace::typeAsString(type) : std::string(trace);
    const auto rows = traces_.find(name);
    if (rows == traces_.end()) {
        return isKind ? Refusal{ResultCode::NotSupported,
                                "Trace " + name + " is not supported on this device; supported are " + joinedKeys(traces_) + "."}
                      : Refusal{ResultCode::InvalidArgument,
                                "There is no trace '" + name + "'; supported are " + joinedKeys(traces_) + "."};
    }
    if (Row* row = findExactly(name, property); row != nullptr) {
        return row;
    }
    return Refusal{ResultCode::InvalidArgument, "Trace " + name + " has no property '" + std::string(property) + "'; it has " +
                                                    joinedKeys(rows->second) + "."};
}

std::variant<xpc::Object, Refusal> TraceSettings::reply(std::string_view trace, std::string_view property) {
    auto found = find(trace, property);
    if (auto* refusal = std::get_if<Refusal>(&found)) {
        return std::move(*refusal);
    }
    Row& row = *std::get<Row*>(found);
    refresh(row);
    return row.reply;
}

std::optional<Refusal> TraceSettings::set(std::string_view trace, std::string_view property, std::string_view value) {
    auto found = find(trace, property);
    if (auto* refusal = std::get_if<Refusal>(&found)) {
        return std::move(*refusal);
    }
    Row& row = *std::get<Row*>(found);
    const std::string shown = ryn::trace::typeAsString(row.property.trace) + " " + row.property.name;
    if (row.property.keeping == Keeping::ReadOnly) {
        return Refusal{ResultCode::InvalidArgument, shown + " can only be read."};
    }
    const auto accepted = row.property.accept(value);
    if (!accepted) {
        return Refusal{ResultCode::InvalidArgument,
                       shown + " can't be '" + std::string(value) + "'; it takes " + row.property.acceptable() + "."};
    }
    return put(row, *accepted);
}

std::optional<Refusal> TraceSettings::put(Row& row, const std::string& value) {
    if (row.property.keeping == Keeping::Stored) {
        if (auto why = store_.put(kArea, storedName(row.property), value)) {
            return Refusal{ResultCode::StorageFailed, std::move(*why)};
        }
    }
    return take(row, value);
}

void TraceSettings::refresh(Row& row) {
    if (row.property.keeping != Keeping::Preferences) {
        return;
    }
    if (std::string now = row.property.read(); now != row.value) {
        show(row, std::move(now));
    }
}

void TraceSettings::show(Row& row, std::string value) {
    row.value = std::move(value);
    row.reply = dictionary({{ryn::kKeyTracePropertyValue, text(row.value)}});
}

std::optional<Refusal> TraceSettings::take(Row& row, const std::string& value) {
    if (row.property.keeping == Keeping::Preferences && !row.property.write(value)) {
        return Refusal{ResultCode::StorageFailed, "The preferences could not be written."};
    }
    show(row, value);
    if (observer_) {
        observer_(row.property, row.value);
    }
    return std::nullopt;
}

std::optional<Refusal> TraceSettings::reset() {
    if (auto why = store_.remove(kArea)) {
        return Refusal{ResultCode::StorageFailed, std::move(*why)};
    }
    std::optional<Refusal> refusal;
    for (auto& [trace, rows] : traces_) {
        for (auto& [name, row] : rows) {
            refresh(row);
            if (row.value == row.property.byDefault || row.property.keeping == Keeping::ReadOnly) {
                continue;
            }
            // In the store it is gone already; the preferences are told.
            if (auto failed = take(row, row.property.byDefault)) {
                refusal = std::move(failed);
            }
        }
    }
    return refusal;
}

std::string TraceSettings::value(ryn::trace::Type trace, std::string_view property) {
    Row* row = findExactly(ryn::trace::typeAsString(trace), property);
    if (row == nullptr) {
        return {};
    }
    refresh(*row);
    return row->value;
}

void TraceSettings::tell(ryn::trace::Type trace, std::string_view property, const std::string& value) {
    if (Row* row = findExactly(ryn::trace::typeAsString(trace), property); row != nullptr) {
        show(*row, value);
    }
}

xpc::Object TraceSettings::all() {
    xpc::Object traces = dictionary({});
    for (auto& [trace, rows] : traces_) {
        const xpc::Object values = dictionary({});
        for (auto& [name, row] : rows) {
            refresh(row);
            xpc_dictionary_set_value(values.get(), name.c_str(), text(row.value).get());
        }
        xpc_dictionary_set_value(traces.get(), trace.c_str(), values.get());
    }
    return traces;
}

}  // namespace corvane
