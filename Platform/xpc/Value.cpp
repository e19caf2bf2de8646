#include "Platform/xpc/Value.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <string_view>

struct xpc_type {};

namespace {

using Array = xpc_object::Array;
using Dictionary = xpc_object::Dictionary;

/// Told apart by their addresses: one for each alternative of the variant, in its order.
constexpr xpc_type kTypes[6]{};

/// nullptr when memory runs out, or for a string that is longer than memory.
template <typename Value, typename... Arguments>
xpc_object_t create(Arguments&&... arguments) {
    try {
        return new xpc_object{decltype(xpc_object::value)(std::in_place_type<Value>, std::forward<Arguments>(arguments)...)};
    } catch (const std::exception&) {
        return nullptr;
    }
}

/// nullptr when the object is none or of another type.
template <typename Value>
Value* as(xpc_object_t object) {
    return object == nullptr ? nullptr : std::get_if<Value>(&object->value);
}

template <typename Value>
Value valueOr(xpc_object_t object, Value fallback) {
    const auto* const value = as<Value>(object);
    return value == nullptr ? fallback : *value;
}

template <typename Container>
std::size_t count(xpc_object_t object) {
    const auto* const container = as<Container>(object);
    return container == nullptr ? 0 : container->size();
}

/// Where the key stands, or belongs.
template <typename Entries>
auto place(Entries& entries, std::string_view key) {
    return std::ranges::lower_bound(entries, key, std::less<>(), &Dictionary::value_type::first);
}

}  // namespace

const xpc_type_t XPC_TYPE_NULL = &kTypes[0];
const xpc_type_t XPC_TYPE_BOOL = &kTypes[1];
const xpc_type_t XPC_TYPE_INT64 = &kTypes[2];
const xpc_type_t XPC_TYPE_STRING = &kTypes[3];
const xpc_type_t XPC_TYPE_ARRAY = &kTypes[4];
const xpc_type_t XPC_TYPE_DICTIONARY = &kTypes[5];

xpc_type_t xpc_get_type(xpc_object_t object) {
    return object == nullptr ? nullptr : &kTypes[object->value.index()];
}

xpc_object_t xpc_retain(xpc_object_t object) {
    object->references.fetch_add(1, std::memory_order_relaxed);
    return object;
}

void xpc_release(xpc_object_t object) {
    if (object->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete object;
    }
}

// Null and the bools are one object each, which is never freed: a packet may hold tens of thousands of them.

xpc_object_t xpc_null_create() {
    static xpc_object* const null = new xpc_object;
    return xpc_retain(null);
}

xpc_object_t xpc_bool_create(bool value) {
    static xpc_object* const bools[] = {new xpc_object{false}, new xpc_object{true}};
    return xpc_retain(bools[value ? 1 : 0]);
}

bool xpc_bool_get_value(xpc_object_t boolean) {
    return valueOr(boolean, false);
}

xpc_object_t xpc_int64_create(std::int64_t value) {
    return create<std::int64_t>(value);
}

std::int64_t xpc_int64_get_value(xpc_object_t integer) {
    return valueOr(integer, std::int64_t{0});
}

xpc_object_t xpc_string_create(const char* text) {
    return create<std::string>(text);
}

xpc_object_t xpc_string_create_with_length(const char* bytes, std::size_t length) {
    return create<std::string>(std::string_view(bytes, length));
}

const char* xpc_string_get_string_ptr(xpc_object_t string) {
    const auto* const text = as<std::string>(string);
    return text == nullptr ? nullptr : text->c_str();
}

std::size_t xpc_string_get_length(xpc_object_t string) {
    return count<std::string>(string);
}

xpc_object_t xpc_dictionary_create(const char* const* keys, const xpc_object_t* values, std::size_t count) {
    auto* const dictionary = create<Dictionary>();
    for (std::size_t i = 0; i < count; ++i) {
        xpc_dictionary_set_value(dictionary, keys[i], values[i]);
    }
    return dictionary;
}

void xpc_dictionary_set_value(xpc_object_t dictionary, const char* key, xpc_object_t value) {
    auto* const entries = as<Dictionary>(dictionary);
    if (entries == nullptr || key == nullptr) {
        return;
    }
    auto shared = xpc::Object::share(value);  // before what may hold the last reference to it goes
    auto entry = place(*entries, key);
    if (entry != entries->end() && entry->first == key) {
        entry = entries->erase(entry);
    }
    if (shared) {
        entries->emplace(entry, key, std::move(shared));
    }
}

xpc_object_t xpc_dictionary_get_value(xpc_object_t dictionary, const char* key) {
    const auto* const entries = as<Dictionary>(dictionary);
    if (entries == nullptr || key == nullptr) {
        return nullptr;
    }
    // Of the few entries that dictionaries have here, most are told apart by their lengths.
    const auto entry = std::ranges::find(*entries, std::string_view(key), &Dictionary::value_type::first);
    return entry == entries->end() ? nullptr : entry->second.get();
}

std::size_t xpc_dictionary_get_count(xpc_object_t dictionary) {
    return count<Dictionary>(dictionary);
}

bool xpc_dictionary_apply(xpc_object_t dictionary, const std::function<bool(const char* key, xpc_object_t value)>& visit) {
    const auto* const entries = as<Dictionary>(dictionary);
    return entries == nullptr || std::all_of(entries->begin(), entries->end(),
                                             [&](const auto& entry) { return visit(entry.first.c_str(), entry.second.get()); });
}

xpc_object_t xpc_array_create(const xpc_object_t* values, std::size_t count) {
    auto* const array = create<Array>();
    for (std::size_t i = 0; i < count; ++i) {
        xpc_array_append_value(array, values[i]);
    }
    return array;
}

void xpc_array_append_value(xpc_object_t array, xpc_object_t value) {
    auto* const values = as<Array>(array);
    if (values != nullptr && value != nullptr) {
        values->push_back(xpc::Object::share(value));
    }
}

std::size_t xpc_array_get_count(xpc_object_t array) {
    return count<Array>(array);
}

xpc_object_t xpc_array_get_value(xpc_object_t array, std::size_t index) {
    return index < count<Array>(array) ? (*as<Array>(array))[index].get() : nullptr;
}
