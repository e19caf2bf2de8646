#include "Platform/xpc/Value.h"

#include <nlohmann/json.hpp>

namespace xpc {
namespace {

using Json = nlohmann::json;

Json toJson(xpc_object_t object);

struct Converter {
    Json operator()(xpc_object::Null) const { return nullptr; }
    Json operator()(const xpc_object::Array& array) const {
        auto values = Json::array();
        for (const auto& value : array) {
            values.push_back(toJson(value.get()));
        }
        return values;
    }
    Json operator()(const xpc_object::Dictionary& dictionary) const {
        auto entries = Json::object();
        for (const auto& [key, value] : dictionary) {
            entries.emplace(key, toJson(value.get()));
        }
        return entries;
    }
    template <typename Scalar>
    Json operator()(const Scalar& scalar) const {
        return scalar;
    }
};

Json toJson(xpc_object_t object) {
    return object == nullptr ? Json() : std::visit(Converter(), object->value);
}

}  // namespace

std::string to_string(xpc_object_t object) {
    return toJson(object).dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace xpc
