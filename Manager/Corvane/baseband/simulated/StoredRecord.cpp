#include "Corvane/baseband/simulated/StoredRecord.h"

#include "Corvane/support/Values.h"

#include <nlohmann/json.hpp>

namespace corvane::simulated {
namespace {

using Json = nlohmann::json;

StoredRecord::Values parse(const std::string& stored) {
    StoredRecord::Values values;
    const Json json = Json::parse(stored, nullptr, false);
    if (!json.is_object()) {
        return values;
    }
    for (const auto& [key, value] : json.items()) {
        if (value.is_number_integer()) {
            values[key] = value.get<std::int64_t>();
        } else if (value.is_string()) {
            values[key] = value.get<std::string>();
        }
    }
    return values;
}

std::string format(const StoredRecord::Values& values) {
    Json json = Json::object();
    for (const auto& [key, value] : values) {
        std::visit([&json, &name = key](const auto& held) { json[name] = held; }, value);
    }
    // A reason typed by a user may hold any bytes.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

xpc::Object toObject(std::int64_t value) {
    return corvane::number(value);
}

xpc::Object toObject(const std::string& value) {
    return corvane::text(value);
}

}  // namespace

StoredRecord::Values StoredRecord::values() const {
    const auto stored = store_.get(kArea, name_);
    return stored ? parse(*stored) : Values();
}

std::int64_t StoredRecord::number(const std::string& key) const {
    const Values all = values();
    const auto found = all.find(key);
    const auto* held = found == all.end() ? nullptr : std::get_if<std::int64_t>(&found->second);
    return held == nullptr ? 0 : *held;
}

std::string StoredRecord::text(const std::string& key) const {
    const Values all = values();
    const auto found = all.find(key);
    const auto* held = found == all.end() ? nullptr : std::get_if<std::string>(&found->second);
    return held == nullptr ? std::string() : *held;
}

Result<void> StoredRecord::set(Values changes) {
    changes.merge(values());
    return replace(changes);
}

Result<void> StoredRecord::replace(const Values& values) {
    return store_.store(kArea, name_, format(values));
}

void StoredRecord::setLazily(Values changes) {
    changes.merge(values());
    store_.storeLazily(kArea, name_, format(changes));
}

xpc::Object StoredRecord::toDictionary() const {
    auto made = dictionary({});
    for (const auto& [key, value] : values()) {
        xpc::set(made, key.c_str(), std::visit([](const auto& held) { return toObject(held); }, value));
    }
    return made;
}

}  // namespace corvane::simulated
