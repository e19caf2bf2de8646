#include "Corvane/support/Json.h"

#include "Corvane/support/Values.h"
#include "Platform/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace corvane {
namespace {

xpc::Object toObject(const nlohmann::json& json) {
    if (json.is_object()) {
        std::vector<xpc::Entry> entries;
        for (const auto& [key, value] : json.items()) {
            entries.emplace_back(key, toObject(value));
        }
        return xpc::dictionaryOf(std::move(entries));
    }
    if (json.is_array()) {
        std::vector<xpc::Object> values;
        std::ranges::transform(json, std::back_inserter(values), toObject);
        return xpc::array(values);
    }
    if (json.is_string()) {
        return text(json.get_ref<const std::string&>());
    }
    if (json.is_number_integer()) {
        return number(json.get<std::int64_t>());
    }
    return json.is_boolean() ? boolean(json.get<bool>()) : xpc::null();
}

std::string render(xpc_object_t object, const std::string& indentation) {
    if (xpc_get_type(object) != XPC_TYPE_DICTIONARY || xpc_dictionary_get_count(object) == 0) {
        return xpc::to_string(object);
    }
    const std::string inner = indentation + "  ";
    std::vector<std::string> entries;
    xpc_dictionary_apply(object, [&](const char* key, xpc_object_t value) {
        entries.push_back(fmt::format("{}{}: {}", inner, xpc::to_string(text(key)), render(value, inner)));
        return true;
    });
    return fmt::format("{{\n{}\n{}}}", fmt::join(entries, ",\n"), indentation);
}

}  // namespace

xpc::Object parseJson(std::string_view text, int deepest) {
    const nlohmann::json json = platform::parseJson(text, deepest);
    return json.is_discarded() ? xpc::Object() : toObject(json);
}

std::string readableJson(const xpc::Object& dictionary) {
    return render(dictionary.get(), "") + "\n";
}

}  // namespace corvane
