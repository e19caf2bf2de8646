#pragma once

#include "platform/xpc/xpc.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <string_view>
#include <vector>

/// What stands behind an `xpc_object_t`. Only the sources of this folder look inside.
struct xpc_object {
    enum class Kind : std::uint8_t { Null, Bool, Int64, String, Array, Dictionary };

    constexpr explicit xpc_object(Kind objectKind) : kind(objectKind) {}
    /// Null and the two bools are single immortal objects: they are neither counted nor freed.
    bool isImmortal() const { return kind <= Kind::Bool; }
    bool isContainer() const { return kind >= Kind::Array; }

    mutable std::atomic<std::uint32_t> references{1};
    const Kind kind;
};

namespace xpc {

using Kind = xpc_object::Kind;

struct Bool : xpc_object {
    constexpr explicit Bool(bool truth) : xpc_object(Kind::Bool), value(truth) {}
    const bool value;
};

struct Int64 : xpc_object {
    explicit Int64(std::int64_t number) : xpc_object(Kind::Int64), value(number) {}
    const std::int64_t value;
};

/// The bytes and their terminator follow the object in the same allocation.
struct String : xpc_object {
    explicit String(std::size_t bytes) : xpc_object(Kind::String), length(bytes) {}
    char* bytes() { return reinterpret_cast<char*>(this + 1); }
    const char* bytes() const { return reinterpret_cast<const char*>(this + 1); }
    std::string_view view() const { return {bytes(), length}; }
    const std::size_t length;
};

struct Array : xpc_object {
    Array() : xpc_object(Kind::Array) {}
    std::vector<xpc_object_t> values;
};

/// Entries in ascending byte order of their keys. A usual command or reply fits the room inside the object, so that it is
/// one allocation; what outgrows it goes to the heap and is freed with the object, removed keys included.
struct Dictionary : xpc_object {
    struct Entry {
        const char* key;
        xpc_object_t value;
    };

    Dictionary() : xpc_object(Kind::Dictionary) {}
    const char* copyKey(const char* key);

    static constexpr std::size_t kUsualEntries = 6;
    alignas(Entry) std::byte room[sizeof(Entry) * kUsualEntries + 160];
    std::pmr::monotonic_buffer_resource arena{room, sizeof room};
    std::pmr::vector<Entry> entries{&arena};
};

/// The object as the kind it is, nullptr when it is another kind or none.
template <typename Value>
Value* as(xpc_object_t object, Kind kind) {
    return object != nullptr && object->kind == kind ? static_cast<Value*>(object) : nullptr;
}

}  // namespace xpc
