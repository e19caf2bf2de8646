#include "Platform/xpc/Value.h"

#include <cstring>
#include <limits>
#include <new>

struct xpc_type {
    const char* name;
};

namespace {

constexpr xpc_type kTypes[] = {{"null"}, {"bool"}, {"int64"}, {"string"}, {"array"}, {"dictionary"}};

constexpr xpc_type_t typeOf(xpc::Kind kind) {
    return &kTypes[static_cast<std::size_t>(kind)];
}

constinit xpc_object nullObject{xpc::Kind::Null};
constinit xpc::Bool trueObject{true};
constinit xpc::Bool falseObject{false};

bool dropsLastReference(xpc_object_t object) {
    return !object->isImmortal() && object->references.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

void destroyScalar(xpc_object_t value) {
    if (auto* string = xpc::as<xpc::String>(value, xpc::Kind::String)) {
        string->~String();
        ::operator delete(string);
    } else {
        delete static_cast<xpc::Int64*>(value);
    }
}

/// Gives up a container's reference to `value`; a container that dies with it is left to `dying`, since recursing into it would
/// let a deeply nested value overflow the stack.
void drop(xpc_object_t value, std::vector<xpc_object_t>& dying) {
    if (!dropsLastReference(value)) {
        return;
    }
    if (value->isContainer()) {
        dying.push_back(value);
    } else {
        destroyScalar(value);
    }
}

void destroyContainer(xpc_object_t container, std::vector<xpc_object_t>& dying) {
    if (auto* array = xpc::as<xpc::Array>(container, xpc::Kind::Array)) {
        for (xpc_object_t value : array->values) {
            drop(value, dying);
        }
        delete array;
        return;
    }
    auto* dictionary = static_cast<xpc::Dictionary*>(container);
    for (const auto& entry : dictionary->entries) {
        drop(entry.value, dying);
    }
    delete dictionary;
}

}  // namespace

const xpc_type_t XPC_TYPE_DICTIONARY = typeOf(xpc::Kind::Dictionary);
const xpc_type_t XPC_TYPE_ARRAY = typeOf(xpc::Kind::Array);
const xpc_type_t XPC_TYPE_STRING = typeOf(xpc::Kind::String);
const xpc_type_t XPC_TYPE_INT64 = typeOf(xpc::Kind::Int64);
const xpc_type_t XPC_TYPE_BOOL = typeOf(xpc::Kind::Bool);
const xpc_type_t XPC_TYPE_NULL = typeOf(xpc::Kind::Null);

xpc_type_t xpc_get_type(xpc_object_t object) {
    return object == nullptr ? nullptr : typeOf(object->kind);
}

xpc_object_t xpc_retain(xpc_object_t object) {
    if (!object->isImmortal()) {
        object->references.fetch_add(1, std::memory_order_relaxed);
    }
    return object;
}

void xpc_release(xpc_object_t object) {
    if (!dropsLastReference(object)) {
        return;
    }
    if (!object->isContainer()) {
        destroyScalar(object);
        return;
    }
    std::vector<xpc_object_t> dying;
    destroyContainer(object, dying);
    while (!dying.empty()) {
        xpc_object* const container = dying.back();
        dying.pop_back();
        destroyContainer(container, dying);
    }
}

xpc_object_t xpc_null_create() {
    return &nullObject;
}

xpc_object_t xpc_bool_create(bool value) {
    return value ? &trueObject : &falseObject;
}

bool xpc_bool_get_value(xpc_object_t boolean) {
    const auto* object = xpc::as<xpc::Bool>(boolean, xpc::Kind::Bool);
    return object != nullptr && object->value;
}

xpc_object_t xpc_int64_create(std::int64_t value) {
    return new (std::nothrow) xpc::Int64(value);
}

std::int64_t xpc_int64_get_value(xpc_object_t integer) {
    const auto* object = xpc::as<xpc::Int64>(integer, xpc::Kind::Int64);
    return object == nullptr ? 0 : object->value;
}

xpc_object_t xpc_string_create(const char* text) {
    return text == nullptr ? nullptr : xpc_string_create_with_length(text, std::strlen(text));
}

xpc_object_t xpc_string_create_with_length(const char* bytes, std::size_t length) {
    constexpr auto kLongest = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) - sizeof(xpc::String) - 1;
    if ((bytes == nullptr && length != 0) || length > kLongest) {
        return nullptr;
    }
    void* memory = ::operator new(sizeof(xpc::String) + length + 1, std::nothrow);
    if (memory == nullptr) {
        return nullptr;
    }
    auto* string = new (memory) xpc::String(length);
    if (length != 0) {
        std::memcpy(string->bytes(), bytes, length);
    }
    string->bytes()[length] = '\0';
    return string;
}

const char* xpc_string_get_string_ptr(xpc_object_t string) {
    const auto* object = xpc::as<xpc::String>(string, xpc::Kind::String);
    return object == nullptr ? nullptr : object->bytes();
}

std::size_t xpc_string_get_length(xpc_object_t string) {
    const auto* object = xpc::as<xpc::String>(string, xpc::Kind::String);
    return object == nullptr ? 0 : object->length;
}
