#include "Corvane/baseband/modemmanager/BusValue.h"

#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace corvane::modemmanager {
namespace {

xpc::Object readValue(sd_bus_message* message);

/// Whatever sd_bus_message_read_basic(3) writes.
union Basic {
    std::uint8_t byte;
    int boolean;
    std::int16_t int16;
    std::uint16_t uint16;
    std::int32_t int32;
    std::uint32_t uint32;
    std::int64_t int64;
    std::uint64_t uint64;
    double real;
    const char* text;
};

xpc::Object fromUnsigned(std::uint64_t value) {
    const bool fits = value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()};
    return fits ? number(static_cast<std::int64_t>(value)) : text(std::to_string(value));
}

xpc::Object fromReal(double value) {
    const bool isWhole = std::trunc(value) == value && std::abs(value) < 1e15;
    return isWhole ? number(static_cast<std::int64_t>(value)) : text(fmt::format("{:.6g}", value));
}

/// All that stands up to the end of the container that is entered.
xpc::Object readRest(sd_bus_message* message) {
    std::vector<xpc::Object> values;
    while (sd_bus_message_at_end(message, 0) == 0) {
        values.push_back(readValue(message));
        if (!values.back()) {
            return {};
        }
    }
    return xpc::array(std::move(values));
}

std::string keyText(const xpc::Object& key) {
    return key.is(XPC_TYPE_STRING) ? xpc_string_get_string_ptr(key.get()) : xpc::to_string(key);
}

/// @param entries each an array of the key and the value.
xpc::Object toDictionary(const xpc::Object& entries) {
    xpc::Object values = dictionary({});
    for (std::size_t i = 0; i < xpc_array_get_count(entries.get()); ++i) {
        xpc_object_t entry = xpc_array_get_value(entries.get(), i);
        const auto key = xpc::Object::share(xpc_array_get_value(entry, 0));
        xpc_dictionary_set_value(values.get(), keyText(key).c_str(), xpc_array_get_value(entry, 1));
    }
    return values;
}

xpc::Object readContainer(sd_bus_message* message, char type, const char* contents) {
    if (sd_bus_message_enter_container(message, type, contents) <= 0) {
        return {};
    }
    const bool isDictionary = type == SD_BUS_TYPE_ARRAY && contents[0] == SD_BUS_TYPE_DICT_ENTRY_BEGIN;
    const xpc::Object values = type == SD_BUS_TYPE_VARIANT ? readValue(message) : readRest(message);
    if (sd_bus_message_exit_container(message) < 0) {  // what can't be read still stands before its end
        return {};
    }
    return isDictionary ? toDictionary(values) : values;
}

xpc::Object readValue(sd_bus_message* message) {
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0) {
        return {};
    }
    if (contents != nullptr) {
        return readContainer(message, type, contents);
    }
    Basic value{};
    if (sd_bus_message_read_basic(message, type, &value) <= 0) {
        return {};
    }
    switch (type) {
        case SD_BUS_TYPE_BYTE:
            return number(value.byte);
        case SD_BUS_TYPE_BOOLEAN:
            return boolean(value.boolean != 0);
        case SD_BUS_TYPE_INT16:
            return number(value.int16);
        case SD_BUS_TYPE_UINT16:
            return number(value.uint16);
        case SD_BUS_TYPE_UINT32:
            return number(value.uint32);
        case SD_BUS_TYPE_INT64:
            return number(value.int64);
        case SD_BUS_TYPE_UINT64:
            return fromUnsigned(value.uint64);
        case SD_BUS_TYPE_DOUBLE:
            return fromReal(value.real);
        case SD_BUS_TYPE_STRING:
        case SD_BUS_TYPE_OBJECT_PATH:
        case SD_BUS_TYPE_SIGNATURE:
            return text(escaped(value.text));
        default:  // a file descriptor is a number of 32 bits too
            return number(value.int32);
    }
}

}  // namespace

xpc::Object readArguments(sd_bus_message* message) {
    return readRest(message);
}

}  // namespace corvane::modemmanager
