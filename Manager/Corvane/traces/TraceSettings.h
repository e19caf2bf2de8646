#pragma once

#include "Corvane/settings/GroupCommit.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Result.h"
#include "Corvane/traces/TraceProperty.h"
#include "platform/xpc/Object.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane {

/// The manager's settings of all trace kinds. Values are the texts that travel on the wire.
///
/// Not thread-safe: owned by the daemon's event loop.
class TraceSettings {
public:
    /// Called after every change of a value, when it is on disk.
    using OnChange = std::function<void(const TraceProperty& property, const std::string& value)>;

    /// A stored value that its property doesn't take is logged and replaced by the default.
    TraceSettings(SettingsStore& store, GroupCommit& group);
    /// Does or refuses what a value of the right form asks for, before it is stored. When it can't be stored `OnChange` is called
    /// with the old one.
    using Prepare = std::function<void(const TraceProperty& property, std::string_view value, Completion<void> done)>;
    /// Both are set before anything else happens.
    void setPrepare(Prepare prepare) { prepare_ = std::move(prepare); }
    void setOnChange(OnChange onChange) { onChange_ = std::move(onChange); }

    /// {KeyTracePropertyValue: string}, ready to be sent. @param trace in any letter case.
    Result<xpc::Object> reply(std::string_view trace, std::string_view property);
    /// Checks and stores. The old value stands until the new one is on disk, when `done` runs.
    void set(std::string_view trace, std::string_view property, std::string_view value, Completion<void> done);
    /// Removes every stored value; to be followed by `applyDefaults` when that is on disk.
    Result<void> erase() { return store_.clear(kArea); }
    /// Puts every property that can be written at its default, also in the preferences, as the next jobs of the group. After a
    /// refusal the others are there.
    void applyDefaults(const Completion<void>& done);

    /// For the manager itself, of properties that exist wherever it asks for them; empty otherwise.
    std::string value(ryn::trace::Type trace, std::string_view property);
    /// The same of a property of the form Number; 0 otherwise.
    std::uint64_t number(ryn::trace::Type trace, std::string_view property);
    /// Sets what clients can only read.
    void setReadOnly(ryn::trace::Type trace, std::string_view property, const std::string& value);

    /// {trace: {property: value}}
    xpc::Object all();

private:
    /// A change of a preference that isn't written yet.
    struct Preferred {
        std::string value;
        Completion<void> done;
    };
    struct Row {
        std::string_view name;  ///< of `property`, with its length, by which most are told apart
        TraceProperty property;
        std::string value;
        /// What a client that asks for `value` is sent. Making it for each request would cost a fifth more instructions.
        xpc::Object reply;
        std::vector<Preferred> preferred;
    };
    struct Trace {
        std::string name;
        std::vector<Row> rows;
    };

    static constexpr std::string_view kArea = "trace";

    Result<Row*> find(std::string_view trace, std::string_view property);
    Row* findExactly(std::string_view trace, std::string_view property);
    /// Takes the stored value, or the default.
    void load(Row& row);
    /// Takes the value from the preferences, which others write too.
    static void reload(Row& row);
    /// Checks a value. @return it as it is stored
    static Result<std::string> accept(const Row& row, std::string_view value);
    /// Stores an accepted value and makes it the one that counts.
    void store(Row& row, std::string value, Completion<void> done);
    void writePreference(Row& row);
    void writePreference(Row& row, const std::string& value, const Completion<void>& done);
    /// Makes a value that is stored already the one that counts.
    void apply(Row& row, const std::string& value);
    static void cache(Row& row, std::string value);

    SettingsStore& store_;
    GroupCommit& group_;
    Prepare prepare_;
    OnChange onChange_;
    std::vector<Trace> traces_;  ///< in ascending order of the names, as the rows of each are
};

}  // namespace corvane
