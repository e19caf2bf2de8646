#include "Platform/xpc/Value.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <new>

namespace xpc {

const char* Dictionary::copyKey(const char* key) {
    const std::size_t size = std::strlen(key) + 1;
    return static_cast<const char*>(std::memcpy(arena.allocate(size, 1), key, size));
}

}  // namespace xpc

namespace {

using Entry = xpc::Dictionary::Entry;
using Entries = std::pmr::vector<Entry>;

bool precedes(const Entry& left, const Entry& right) {
    return std::strcmp(left.key, right.key) < 0;
}

/// Where a key stands among the entries, or would stand.
struct Place {
    Entries::iterator at;
    bool taken;
};

Place placeOf(Entries& entries, const char* key) {
    // Keys mostly arrive in order: a dictionary is decoded from a packet that was sorted when it was encoded.
    const int behindLast = entries.empty() ? 1 : std::strcmp(key, entries.back().key);
    if (behindLast > 0) {
        return {entries.end(), false};
    }
    auto low = entries.begin();
    auto high = std::prev(entries.end());
    if (behindLast == 0) {
        return {high, true};
    }
    while (low != high) {
        const auto middle = low + (high - low) / 2;
        const int order = std::strcmp(key, middle->key);
        if (order == 0) {
            return {middle, true};
        }
        if (order < 0) {
            high = middle;
        } else {
            low = std::next(middle);
        }
    }
    return {low, false};
}

/// Sorts freshly filled entries; of equal keys the last one stays.
void putInOrder(Entries& entries) {
    if (std::adjacent_find(entries.begin(), entries.end(), std::not_fn(precedes)) == entries.end()) {
        return;
    }
    std::stable_sort(entries.begin(), entries.end(), precedes);
    auto kept = entries.begin();
    for (auto next = entries.begin(); next != entries.end(); ++next) {
        if (next != entries.begin() && std::strcmp(std::prev(kept)->key, next->key) == 0) {
            --kept;
            xpc_release(kept->value);
        }
        *kept++ = *next;
    }
    entries.erase(kept, entries.end());
}

template <typename Pointer>
bool anyMissing(const Pointer* pointers, std::size_t count) {
    return count != 0 && (pointers == nullptr || std::find(pointers, pointers + count, nullptr) != pointers + count);
}

}  // namespace

xpc_object_t xpc_dictionary_create(const char* const* keys, const xpc_object_t* values, std::size_t count) {
    if (anyMissing(keys, count) || anyMissing(values, count)) {
        return nullptr;
    }
    auto* dictionary = new (std::nothrow) xpc::Dictionary;
    if (dictionary == nullptr) {
        return nullptr;
    }
    dictionary->entries.reserve(std::max(count, xpc::Dictionary::kUsualEntries));
    for (std::size_t i = 0; i < count; ++i) {
        dictionary->entries.push_back({dictionary->copyKey(keys[i]), xpc_retain(values[i])});
    }
    putInOrder(dictionary->entries);
    return dictionary;
}

void xpc_dictionary_set_value(xpc_object_t dictionary, const char* key, xpc_object_t value) {
    auto* object = xpc::as<xpc::Dictionary>(dictionary, xpc::Kind::Dictionary);
    if (object == nullptr || key == nullptr) {
        return;
    }
    const auto [position, taken] = placeOf(object->entries, key);
    if (!taken) {
        if (value != nullptr) {
            object->entries.insert(position, {object->copyKey(key), xpc_retain(value)});
        }
        return;
    }
    xpc_object* const previous = position->value;
    if (value == nullptr) {
        object->entries.erase(position);
    } else {
        position->value = xpc_retain(value);
    }
    xpc_release(previous);
}

xpc_object_t xpc_dictionary_get_value(xpc_object_t dictionary, const char* key) {
    auto* object = xpc::as<xpc::Dictionary>(dictionary, xpc::Kind::Dictionary);
    if (object == nullptr || key == nullptr) {
        return nullptr;
    }
    const auto [position, taken] = placeOf(object->entries, key);
    return taken ? position->value : nullptr;
}

std::size_t xpc_dictionary_get_count(xpc_object_t dictionary) {
    const auto* object = xpc::as<xpc::Dictionary>(dictionary, xpc::Kind::Dictionary);
    return object == nullptr ? 0 : object->entries.size();
}

bool xpc_dictionary_apply(xpc_object_t dictionary, const std::function<bool(const char* key, xpc_object_t value)>& visit) {
    const auto* object = xpc::as<xpc::Dictionary>(dictionary, xpc::Kind::Dictionary);
    return object == nullptr || std::all_of(object->entries.begin(), object->entries.end(),
                                            [&](const Entry& entry) { return visit(entry.key, entry.value); });
}

xpc_object_t xpc_array_create(const xpc_object_t* values, std::size_t count) {
    if (anyMissing(values, count)) {
        return nullptr;
    }
    auto* array = new (std::nothrow) xpc::Array;
    if (array == nullptr) {
        return nullptr;
    }
    array->values.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        array->values.push_back(xpc_retain(values[i]));
    }
    return array;
}

void xpc_array_append_value(xpc_object_t array, xpc_object_t value) {
    auto* object = xpc::as<xpc::Array>(array, xpc::Kind::Array);
    if (object != nullptr && value != nullptr) {
        object->values.push_back(xpc_retain(value));
    }
}

std::size_t xpc_array_get_count(xpc_object_t array) {
    const auto* object = xpc::as<xpc::Array>(array, xpc::Kind::Array);
    return object == nullptr ? 0 : object->values.size();
}

xpc_object_t xpc_array_get_value(xpc_object_t array, std::size_t index) {
    const auto* object = xpc::as<xpc::Array>(array, xpc::Kind::Array);
    return object == nullptr || index >= object->values.size() ? nullptr : object->values[index];
}
