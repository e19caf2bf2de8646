#include "Corvane/baseband/modemmanager/BusValue.h"

#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

namespace corvane::modemmanager {
namespace {

xpc::Object readValue(sd_bus_message* message);

xpc::Object emptyArray() {
    return xpc::Object::adopt(xpc_array_create(nullptr, 0));
}

/// sd_bus_message_read_basic(3) writes the type that its letter says.
template <typename Number>
xpc::Object readInteger(sd_bus_message* message, char type) {
    Number value{};
    if (sd_bus_message_read_basic(message, type, &value) <= 0) {
        return {};
    }
    if constexpr (std::is_same_v<Number, std::uint64_t>) {
        if (value > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
            return text(std::to_string(value));
        }
    }
    return number(static_cast<std::int64_t>(value));
}

xpc::Object readBoolean(sd_bus_message* message) {
    int value = 0;
    return sd_bus_message_read_basic(message, SD_BUS_TYPE_BOOLEAN, &value) > 0 ? boolean(value != 0) : xpc::Object();
}

xpc::Object readDouble(sd_bus_message* message) {
    double value = 0;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_DOUBLE, &value) <= 0) {
        return {};
    }
    if (std::trunc(value) == value && std::abs(value) < 1e15) {
        return number(static_cast<std::int64_t>(value));
    }
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "%g", value);
    return text(digits.data());
}

xpc::Object readText(sd_bus_message* message, char type) {
    const char* value = nullptr;
    return sd_bus_message_read_basic(message, type, &value) > 0 ? text(escaped(value)) : xpc::Object();
}

/// All that stands up to the end of the container that is entered.
xpc::Object readRest(sd_bus_message* message) {
    xpc::Object values = emptyArray();
    while (sd_bus_message_at_end(message, 0) == 0) {
        const xpc::Object value = readValue(message);
        if (!value) {
            return {};
        }
        xpc_array_append_value(values.get(), value.get());
    }
    return values;
}

std::string keyText(const xpc::Object& key) {
    return key.is(XPC_TYPE_STRING) ? xpc_string_get_string_ptr(key.get()) : xpc::to_string(key);
}

xpc::Object readDictionary(sd_bus_message* message) {
    xpc::Object entries = dictionary({});
    while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, nullptr) > 0) {
        const xpc::Object key = readValue(message);
        const xpc::Object value = readValue(message);
        if (!key || !value || sd_bus_message_exit_container(message) < 0) {
            return {};
        }
        xpc::set(entries, keyText(key).c_str(), value);
    }
    return entries;
}

xpc::Object readContainer(sd_bus_message* message, char type, const char* contents) {
    if (sd_bus_message_enter_container(message, type, contents) <= 0) {
        return {};
    }
    const bool isDictionary = type == SD_BUS_TYPE_ARRAY && contents[0] == SD_BUS_TYPE_DICT_ENTRY_BEGIN;
    const xpc::Object values = type == SD_BUS_TYPE_VARIANT ? readValue(message)
                               : isDictionary              ? readDictionary(message)
                                                           : readRest(message);
    return sd_bus_message_exit_container(message) < 0 ? xpc::Object() : values;
}

xpc::Object readValue(sd_bus_message* message) {
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0) {
        return {};
    }
    switch (type) {
        case SD_BUS_TYPE_BYTE:
            return readInteger<std::uint8_t>(message, type);
        case SD_BUS_TYPE_BOOLEAN:
            return readBoolean(message);
        case SD_BUS_TYPE_INT16:
            return readInteger<std::int16_t>(message, type);
        case SD_BUS_TYPE_UINT16:
            return readInteger<std::uint16_t>(message, type);
        case SD_BUS_TYPE_INT32:
        case SD_BUS_TYPE_UNIX_FD:
            return readInteger<std::int32_t>(message, type);
        case SD_BUS_TYPE_UINT32:
            return readInteger<std::uint32_t>(message, type);
        case SD_BUS_TYPE_INT64:
            return readInteger<std::int64_t>(message, type);
        case SD_BUS_TYPE_UINT64:
            return readInteger<std::uint64_t>(message, type);
        case SD_BUS_TYPE_DOUBLE:
            return readDouble(message);
        case SD_BUS_TYPE_STRING:
        case SD_BUS_TYPE_OBJECT_PATH:
        case SD_BUS_TYPE_SIGNATURE:
            return readText(message, type);
        default:
            return readContainer(message, type, contents);
    }
}

}  // namespace

xpc::Object readArguments(sd_bus_message* message) {
    return readRest(message);
}

}  // namespace corvane::modemmanager
