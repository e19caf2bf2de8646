#include "platform/xpc/Values.h"

#include "Platform/xpc/Value.h"

#include <algorithm>
#include <functional>
#include <numeric>

namespace xpc {
namespace {

Object orNull(xpc_object_t created) {
    return created == nullptr ? null() : Object::adopt(created);
}

template <typename Value>
std::optional<Value> valueAt(const Object& dictionary, const char* key) {
    xpc_object* const found = xpc_dictionary_get_value(dictionary.get(), key);
    const auto* const value = found == nullptr ? nullptr : std::get_if<Value>(&found->value);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

struct MemoryOf {
    static constexpr std::size_t kBlock = 2 * sizeof(void*);  // the heap's own part of a block

    std::size_t operator()(const std::string& text) const { return text.capacity() + kBlock; }
    std::size_t operator()(const Object& object) const { return memoryOf(object); }
    std::size_t operator()(const Entry& entry) const { return (*this)(entry.first) + memoryOf(entry.second); }
    template <typename Item>
    std::size_t operator()(const std::vector<Item>& items) const {
        return std::transform_reduce(items.begin(), items.end(), items.capacity() * sizeof(Item) + kBlock, std::plus<>(), *this);
    }
    template <typename Scalar>
    std::size_t operator()(const Scalar&) const {
        return 0;
    }
};

}  // namespace

std::size_t memoryOf(const Object& object) {
    return object ? sizeof(xpc_object) + MemoryOf::kBlock + std::visit(MemoryOf(), object.get()->value) : 0;
}

Object null() {
    return Object::adopt(xpc_null_create());
}

Object text(std::string_view bytes) {
    return orNull(xpc_string_create_with_length(bytes.data(), bytes.size()));
}

Object number(std::int64_t value) {
    return orNull(xpc_int64_create(value));
}

Object boolean(bool value) {
    return Object::adopt(xpc_bool_create(value));
}

Object dictionary(std::initializer_list<std::pair<const char*, Object>> entries) {
    std::vector<Entry> present;
    present.reserve(entries.size());
    for (const auto& [key, value] : entries) {
        if (value) {
            present.emplace_back(key, value);
        }
    }
    return dictionaryOf(std::move(present));
}

Object dictionaryOf(std::vector<Entry> entries) {
    constexpr auto key = &Entry::first;
    if (std::ranges::adjacent_find(entries, std::greater_equal<>(), key) != entries.end()) {
        std::ranges::sort(entries, {}, key);
        if (std::ranges::adjacent_find(entries, {}, key) != entries.end()) {
            return {};
        }
    }
    return Object::adopt(new xpc_object{std::move(entries)});
}

Object array(std::vector<Object> values) {
    return Object::adopt(new xpc_object{std::move(values)});
}

void set(const Object& dictionary, const char* key, const Object& value) {
    xpc_dictionary_set_value(dictionary.get(), key, value.get());
}

std::optional<std::string> textAt(const Object& dictionary, const char* key) {
    return valueAt<std::string>(dictionary, key);
}

std::optional<std::int64_t> numberAt(const Object& dictionary, const char* key) {
    return valueAt<std::int64_t>(dictionary, key);
}

}  // namespace xpc
