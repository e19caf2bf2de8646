#include "Corvane/traces/TraceSettings.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

namespace corvane {

namespace {

using Keeping = TraceProperty::Keeping;

std::string storedName(const TraceProperty& property) {
    return ryn::trace::typeAsString(property.trace) + "/" + property.name;
}

/// "DIAG History"
std::string shownName(const TraceProperty& property) {
    return ryn::trace::typeAsString(property.trace) + " " + property.name;
}

}  // namespace

TraceSettings::TraceSettings(SettingsStore& store, GroupCommit& group) : store_(store), group_(group) {
    for (TraceProperty& property : supportedTraceProperties()) {
        const std::string trace = ryn::trace::typeAsString(property.trace);
        if (traces_.empty() || traces_.back().name != trace) {
            traces_.push_back({trace, {}});
        }
        const std::string_view name = property.name;
        load(traces_.back().rows.emplace_back(Row{name, std::move(property), {}, {}, {}}));
    }
    std::ranges::sort(traces_, {}, &Trace::name);
    for (Trace& trace : traces_) {
        std::ranges::sort(trace.rows, {}, &Row::name);
    }
}

void TraceSettings::load(Row& row) {
    cache(row, row.property.byDefault);
    const auto stored = row.property.keeping == Keeping::Stored ? store_.get(kArea, storedName(row.property)) : std::nullopt;
    if (!stored) {
        return;
    }
    const auto accepted = row.property.accept(*stored);
    if (accepted) {
        cache(row, *accepted);
        return;
    }
    log::error(fmt::format("the stored {} is '{}' and {}; it is now at its default, {}", shownName(row.property), *stored,
                           accepted.refusal().sentence, row.value));
    store_.storeLazily(kArea, storedName(row.property), row.value);
}

TraceSettings::Row* TraceSettings::findExactly(std::string_view trace, std::string_view property) {
    const auto found = std::ranges::find(traces_, trace, &Trace::name);
    if (found == traces_.end()) {
        return nullptr;
    }
    const auto row = std::ranges::find(found->rows, property, &Row::name);
    return row == found->rows.end() ? nullptr : &*row;
}

Result<TraceSettings::Row*> TraceSettings::find(std::string_view trace, std::string_view property) {
    if (Row* row = findExactly(trace, property); row != nullptr) {
        return row;
    }
    ryn::trace::Type type{};
    const bool isKind = ryn::trace::stringAsType(std::string(trace), type);
    const std::string name = isKind ? ryn::trace::typeAsString(type) : std::string(trace);
    const auto found = std::ranges::find(traces_, name, &Trace::name);
    if (found == traces_.end()) {
        const std::string supported = listed(traces_, ", ", &Trace::name);
        return isKind ? Refusal::notSupported(
                            fmt::format("Trace {} is not supported on this device; supported are {}.", name, supported))
                      : Refusal::invalidArgument(fmt::format("There is no trace '{}'; supported are {}.", name, supported));
    }
    if (Row* row = findExactly(name, property); row != nullptr) {
        return row;
    }
    return Refusal::invalidArgument(
        fmt::format("Trace {} has no property '{}'; it has {}.", name, property, listed(found->rows, ", ", &Row::name)));
}

Result<xpc::Object> TraceSettings::reply(std::string_view trace, std::string_view property) {
    return find(trace, property).then([](Row* row) {
        reload(*row);
        return row->reply;
    });
}

Result<std::string> TraceSettings::accept(const Row& row, std::string_view value) {
    if (row.property.keeping == Keeping::ReadOnly) {
        return Refusal::invalidArgument(shownName(row.property) + " can only be read.");
    }
    auto accepted = row.property.accept(value);
    if (accepted) {
        return accepted;
    }
    return Refusal::invalidArgument(
        fmt::format("{} can't be '{}'; it {}.", shownName(row.property), value, accepted.refusal().sentence));
}

void TraceSettings::set(std::string_view trace, std::string_view property, std::string_view value, Completion<void> done) {
    const auto found = find(trace, property);
    const auto accepted = found ? accept(**found, value) : found.refusal();
    if (!accepted) {
        done(accepted.refusal());
        return;
    }
    Row& row = **found;
    prepare_(row.property, *accepted,
             [this, &row, text = *accepted, done = std::move(done)](const Result<void>& prepared) mutable {
                 if (prepared) {
                     store(row, std::move(text), std::move(done));
                 } else {
                     done(prepared);
                 }
             });
}

void TraceSettings::store(Row& row, std::string value, Completion<void> done) {
    switch (row.property.keeping) {
        case Keeping::Stored:
            group_.store(kArea, storedName(row.property), value,
                         [this, &row, value, done = std::move(done)](const Result<void>& stored) {
                             if (stored) {
                                 apply(row, value);
                             } else {
                                 onChange_(row.property, row.value);
                             }
                             done(stored);
                         });
            break;
        case Keeping::Preferences:
            if (row.preferred.empty()) {
                group_.run([this, &row] { writePreference(row); });
            }
            row.preferred.push_back({std::move(value), std::move(done)});
            break;
        default:
            apply(row, value);
            done({});
    }
}

/// Of the changes that wait only the last is written: it would have replaced the others.
void TraceSettings::writePreference(Row& row) {
    const std::vector<Preferred> changes = std::exchange(row.preferred, {});
    writePreference(row, changes.back().value, [changes](const Result<void>& written) {
        for (const Preferred& change : changes) {
            change.done(written);
        }
    });
}

void TraceSettings::writePreference(Row& row, const std::string& value, const Completion<void>& done) {
    const auto write = [&row, value] { return row.property.write(value); };
    group_.writePreference(write, [this, &row, value, done](const Result<void>& written) {
        if (written) {
            apply(row, value);
        }
        done(written);
    });
}

void TraceSettings::reload(Row& row) {
    if (row.property.keeping != Keeping::Preferences) {
        return;
    }
    if (std::string now = row.property.read(); now != row.value) {
        cache(row, std::move(now));
    }
}

void TraceSettings::cache(Row& row, std::string value) {
    row.value = std::move(value);
    row.reply = dictionary({{ryn::kKeyTracePropertyValue, text(row.value)}});
}

void TraceSettings::apply(Row& row, const std::string& value) {
    cache(row, value);
    onChange_(row.property, row.value);
}

void TraceSettings::applyDefaults(const Completion<void>& done) {
    const auto result = std::make_shared<Result<void>>();
    group_.runNext([result, done] { done(*result); });  // runs last: each job that follows is put in front of it
    for (Trace& trace : traces_) {
        for (Row& row : trace.rows) {
            reload(row);
            if (row.value == row.property.byDefault || row.property.keeping == Keeping::ReadOnly) {
                continue;
            }
            if (row.property.keeping == Keeping::Preferences) {
                writePreference(row, row.property.byDefault, [result](const Result<void>& written) {
                    if (!written) {
                        *result = written;
                    }
                });
            } else {
                apply(row, row.property.byDefault);
            }
        }
    }
}

std::string TraceSettings::value(ryn::trace::Type trace, std::string_view property) {
    Row* row = findExactly(ryn::trace::typeAsString(trace), property);
    if (row == nullptr) {
        return {};
    }
    reload(*row);
    return row->value;
}

std::uint64_t TraceSettings::number(ryn::trace::Type trace, std::string_view property) {
    return static_cast<std::uint64_t>(parseNumber(value(trace, property)).value_or(0));
}

void TraceSettings::setReadOnly(ryn::trace::Type trace, std::string_view property, const std::string& value) {
    if (Row* row = findExactly(ryn::trace::typeAsString(trace), property); row != nullptr) {
        cache(*row, value);
    }
}

xpc::Object TraceSettings::all() {
    xpc::Object traces = dictionary({});
    for (Trace& trace : traces_) {
        const xpc::Object values = dictionary({});
        for (Row& row : trace.rows) {
            reload(row);
            xpc::set(values, row.property.name, text(row.value));
        }
        xpc::set(traces, trace.name.c_str(), values);
    }
    return traces;
}

}  // namespace corvane
