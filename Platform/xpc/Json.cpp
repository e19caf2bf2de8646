#include "Platform/Utf8.h"
#include "Platform/xpc/Value.h"
#include "platform/xpc/Object.h"

#include <charconv>
#include <string_view>

namespace xpc {
namespace {

/// The letter of the two-character escape of RFC 8259, section 7; '\0' when the byte has none.
char shortEscape(char byte) {
    switch (byte) {
        case '"':
        case '\\':
            return byte;
        case '\b':
            return 'b';
        case '\f':
            return 'f';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        default:
            return '\0';
    }
}

void appendAscii(std::string& out, char byte) {
    constexpr char kHex[] = "0123456789abcdef";
    if (const char letter = shortEscape(byte); letter != '\0') {
        out += '\\';
        out += letter;
    } else if (static_cast<unsigned char>(byte) < 0x20) {
        out += "\\u00";
        out += byte >= 0x10 ? '1' : '0';
        out += kHex[byte & 0x0F];
    } else {
        out += byte;
    }
}

void appendQuoted(std::string& out, std::string_view text) {
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    out += '"';
    while (!text.empty()) {
        const auto piece = platform::firstUtf8Piece(text);
        if (piece.valid && piece.length == 1) {
            appendAscii(out, text.front());
        } else {
            out += piece.valid ? text.substr(0, piece.length) : kReplacement;
        }
        text.remove_prefix(piece.length);
    }
    out += '"';
}

void appendScalar(std::string& out, xpc_object_t object) {
    if (const auto* boolean = as<Bool>(object, Kind::Bool)) {
        out += boolean->value ? "true" : "false";
    } else if (const auto* integer = as<Int64>(object, Kind::Int64)) {
        char digits[24];
        out.append(digits, std::to_chars(digits, digits + sizeof digits, integer->value).ptr);
    } else if (const auto* string = as<String>(object, Kind::String)) {
        appendQuoted(out, string->view());
    } else {
        out += "null";
    }
}

/// A container that is being written: what of it comes next.
struct Frame {
    xpc_object_t container;
    std::size_t next = 0;

    bool isDictionary() const { return container->kind == Kind::Dictionary; }
    std::size_t count() const { return isDictionary() ? xpc_dictionary_get_count(container) : xpc_array_get_count(container); }
};

xpc_object_t appendPrefixAndAdvance(std::string& out, Frame& frame) {
    if (frame.next != 0) {
        out += ',';
    }
    const std::size_t index = frame.next++;
    if (!frame.isDictionary()) {
        return static_cast<Array*>(frame.container)->values[index];
    }
    const auto& entry = static_cast<Dictionary*>(frame.container)->entries[index];
    appendQuoted(out, entry.key);
    out += ':';
    return entry.value;
}

}  // namespace

std::string to_string(xpc_object_t object) {
    std::string out;
    // Open containers from the outermost in; a stack of our own, so that no depth of nesting overflows the thread's.
    std::vector<Frame> open;
    const auto append = [&](xpc_object_t value) {
        if (value != nullptr && value->isContainer()) {
            open.push_back({value});
            out += open.back().isDictionary() ? '{' : '[';
        } else {
            appendScalar(out, value);
        }
    };
    append(object);
    while (!open.empty()) {
        auto& frame = open.back();
        if (frame.next < frame.count()) {
            append(appendPrefixAndAdvance(out, frame));
        } else {
            out += frame.isDictionary() ? '}' : ']';
            open.pop_back();
        }
    }
    return out;
}

}  // namespace xpc
