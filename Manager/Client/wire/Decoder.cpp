#include "Client/wire/Cbor.h"
#include "Client/wire/Packet.h"
#include "Platform/Utf8.h"
#include "platform/xpc/Values.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace ryn::wire {
namespace {

constexpr std::size_t kUsualEntries = 4;  // of a dictionary
constexpr std::uint64_t kLargestInteger = std::numeric_limits<std::int64_t>::max();

/// Reads CBOR items from the front of a packet. Every reader gives nullopt, or an empty object, when the next item is not what
/// it reads; the packet is refused then, so nothing is put back.
class Decoder {
public:
    explicit Decoder(std::span<const std::uint8_t> packet) : rest_(packet) {}

    bool atEnd() const { return rest_.empty(); }

    std::optional<std::uint64_t> length(Major major) {
        const std::optional<Head> head = nextHead();
        return head && head->major == major ? std::optional(head->argument) : std::nullopt;
    }

    /// Up to 2^63-1.
    std::optional<std::uint64_t> number() {
        const auto value = length(Major::Unsigned);
        return value && *value <= kLargestInteger ? value : std::nullopt;
    }

    std::optional<std::int64_t> integer() {
        const std::optional<Head> head = nextHead();
        return head ? integer(*head) : std::nullopt;
    }

    std::optional<std::string_view> string() {
        const std::optional<Head> head = nextHead();
        return head ? string(*head) : std::nullopt;
    }

    std::optional<bool> boolean() {
        const std::optional<Head> head = nextHead();
        if (!head || head->major != Major::Simple || (head->initial != kTrue && head->initial != kFalse)) {
            return std::nullopt;
        }
        return head->initial == kTrue;
    }

    xpc::Object value(unsigned depth) {
        const std::optional<Head> head = nextHead();
        if (!head || valuesLeft_ == 0) {
            return {};
        }
        --valuesLeft_;
        switch (head->major) {
            case Major::Unsigned:
            case Major::Negative: {
                const auto number = integer(*head);
                return number ? xpc::Object::adopt(xpc_int64_create(*number)) : xpc::Object();
            }
            case Major::Bytes:
            case Major::Text: {
                const auto text = string(*head);
                return text ? xpc::Object::adopt(xpc_string_create_with_length(text->data(), text->size())) : xpc::Object();
            }
            case Major::Array:
                return depth <= kMaxNesting ? array(head->argument, depth) : xpc::Object();
            case Major::Map:
                return depth <= kMaxNesting ? dictionary(head->argument, depth) : xpc::Object();
            case Major::Simple:
                return simple(head->initial);
            case Major::Tag:
                break;
        }
        return {};
    }

private:
    struct Head {
        std::uint8_t initial;
        Major major;
        std::uint64_t argument;
    };

    std::optional<Head> nextHead() {
        if (rest_.empty()) {
            return std::nullopt;
        }
        const std::uint8_t initial = rest_.front();
        const auto major = static_cast<Major>(initial >> 5U);
        const auto information = static_cast<std::uint8_t>(initial & 0x1FU);
        rest_ = rest_.subspan(1);
        if (information <= kLargestInline) {
            return Head{initial, major, information};
        }
        if (information > kEightBytes) {  // reserved, or of indefinite length
            return std::nullopt;
        }
        const std::size_t size = std::size_t{1} << (information - kOneByte);
        if (rest_.size() < size) {
            return std::nullopt;
        }
        std::uint64_t argument = 0;
        for (const std::uint8_t byte : rest_.first(size)) {
            argument = argument << 8U | byte;
        }
        rest_ = rest_.subspan(size);
        return Head{initial, major, argument};
    }

    static std::optional<std::int64_t> integer(const Head& head) {
        if (head.argument > kLargestInteger || (head.major != Major::Unsigned && head.major != Major::Negative)) {
            return std::nullopt;
        }
        const auto magnitude = static_cast<std::int64_t>(head.argument);
        return head.major == Major::Unsigned ? magnitude : -1 - magnitude;
    }

    std::optional<std::string_view> string(const Head& head) {
        const bool text = head.major == Major::Text;
        if ((!text && head.major != Major::Bytes) || head.argument > rest_.size()) {
            return std::nullopt;
        }
        const std::string_view content(reinterpret_cast<const char*>(rest_.data()), head.argument);
        rest_ = rest_.subspan(head.argument);
        return text && !platform::isUtf8(content) ? std::nullopt : std::optional(content);
    }

    static xpc::Object simple(std::uint8_t initial) {
        switch (initial) {
            case kFalse:
            case kTrue:
                return xpc::Object::adopt(xpc_bool_create(initial == kTrue));
            case kNull:
                return xpc::Object::adopt(xpc_null_create());
            default:
                return {};
        }
    }

    // What a packet claims to hold is believed only as far as its bytes go: little is set aside for it beforehand, and the
    // first item that is missing ends the reading.
    xpc::Object array(std::uint64_t count, unsigned depth) {
        if (count > valuesLeft_) {
            return {};
        }
        auto array = xpc::Object::adopt(xpc_array_create(nullptr, 0));
        for (; count > 0; --count) {
            const xpc::Object item = value(depth + 1);
            if (!item) {
                return {};
            }
            xpc_array_append_value(array.get(), item.get());
        }
        return array;
    }

    xpc::Object dictionary(std::uint64_t count, unsigned depth) {
        if (count > valuesLeft_) {
            return {};
        }
        std::vector<xpc::Entry> entries;
        entries.reserve(std::min<std::size_t>(count, kUsualEntries));
        for (; count > 0; --count) {
            const std::optional<Head> head = nextHead();
            const auto key = head && head->major == Major::Text ? string(*head) : std::nullopt;
            if (!key || key->find('\0') != std::string_view::npos) {
                return {};
            }
            const xpc::Entry& entry = entries.emplace_back(*key, value(depth + 1));
            if (!entry.second) {
                return {};
            }
        }
        return xpc::dictionaryOf(std::move(entries));
    }

    std::span<const std::uint8_t> rest_;
    unsigned valuesLeft_ = kMaxValues;
};

// Each reads what follows the kind. @param isWhole whether the last item, which may be left out, is there

std::optional<Packet> hello(Decoder& decoder, bool isWhole) {
    const auto version = decoder.number();
    const auto name = version ? decoder.string() : std::nullopt;
    const auto highest = name && isWhole ? decoder.number() : std::nullopt;
    return name && highest.has_value() == isWhole ? std::optional<Packet>(Hello{*version, *name, highest}) : std::nullopt;
}

std::optional<Packet> request(Decoder& decoder) {
    const auto id = decoder.number();
    const auto command = id ? decoder.string() : std::nullopt;
    if (!command) {
        return std::nullopt;
    }
    xpc::Object argument = decoder.value(1);
    return argument ? std::optional<Packet>(Request{*id, *command, std::move(argument)}) : std::nullopt;
}

std::optional<Packet> reply(Decoder& decoder, bool isWhole) {
    const auto id = decoder.number();
    const auto result = id ? decoder.integer() : std::nullopt;
    if (!result || *result != static_cast<std::int32_t>(*result)) {
        return std::nullopt;
    }
    xpc::Object object = isWhole ? decoder.value(1) : xpc::Object();
    if (isWhole && !object) {
        return std::nullopt;
    }
    return Reply{*id, static_cast<std::int32_t>(*result), std::move(object)};
}

std::optional<Packet> events(Decoder& decoder) {
    const auto on = decoder.boolean();
    return on ? std::optional<Packet>(Events{*on}) : std::nullopt;
}

std::optional<Packet> event(Decoder& decoder, bool isWhole) {
    const auto name = decoder.string();
    if (!name) {
        return std::nullopt;
    }
    xpc::Object payload = isWhole ? decoder.value(1) : xpc::Object();
    if (isWhole && !payload) {
        return std::nullopt;
    }
    return Event{*name, std::move(payload)};
}

/// How many items follow the kind.
struct Shape {
    std::uint64_t fewest;
    std::uint64_t known;
    bool mayGrow;  ///< a later version may put more behind them
};
constexpr Shape kShapes[] = {{2, 3, true}, {3, 3, false}, {2, 3, true}, {1, 1, false}, {1, 2, true}};

std::optional<Packet> content(Decoder& decoder, Kind kind, bool isWhole) {
    switch (kind) {
        case Kind::Hello:
            return hello(decoder, isWhole);
        case Kind::Request:
            return request(decoder);
        case Kind::Reply:
            return reply(decoder, isWhole);
        case Kind::Events:
            return events(decoder);
        case Kind::Event:
            return event(decoder, isWhole);
    }
    return std::nullopt;
}

}  // namespace

std::optional<Packet> decode(std::span<const std::uint8_t> packet) {
    if (packet.size() > kMaxPacketSize) {
        return std::nullopt;
    }
    Decoder decoder(packet);
    const auto items = decoder.length(Major::Array);
    const auto kind = items && *items > 0 ? decoder.number() : std::nullopt;
    if (!kind || *kind >= std::size(kShapes)) {
        return std::nullopt;
    }
    const Shape& shape = kShapes[*kind];
    const std::uint64_t following = *items - 1;
    if (following < shape.fewest || (following > shape.known && !shape.mayGrow)) {
        return std::nullopt;
    }
    std::optional<Packet> decoded = content(decoder, static_cast<Kind>(*kind), following >= shape.known);
    for (std::uint64_t later = shape.known; decoded && later < following; ++later) {
        if (!decoder.value(1)) {
            return std::nullopt;
        }
    }
    if (!decoder.atEnd()) {
        decoded.reset();
    }
    return decoded;
}

}  // namespace ryn::wire
