#include "Client/wire/Cbor.h"
#include "Client/wire/Packet.h"
#include "Platform/Utf8.h"
#include "platform/xpc/Values.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace ryn::wire {
namespace {

constexpr std::uint64_t kUsualEntries = 4;  // of a dictionary
constexpr std::uint64_t kLargestInteger = std::numeric_limits<std::int64_t>::max();

/// Reads CBOR items from the front of a packet. Once an item is not what was to be read, ok() stays false, and what the readers
/// give means nothing.
class Decoder {
public:
    explicit Decoder(std::span<const std::uint8_t> packet) : rest_(packet) {}

    bool ok() const { return valid_; }
    bool atEnd() const { return rest_.empty(); }

    std::uint64_t length(Major major) {
        const Head head = nextHead();
        require(head.major == major);
        return head.argument;
    }

    /// Up to 2^63-1.
    std::uint64_t number() {
        const std::uint64_t value = length(Major::Unsigned);
        require(value <= kLargestInteger);
        return value;
    }

    std::int32_t result() {
        const std::int64_t value = integer(nextHead());
        require(value == static_cast<std::int32_t>(value));
        return static_cast<std::int32_t>(value);
    }

    std::string_view string() { return string(nextHead()); }

    bool boolean() {
        const Head head = nextHead();
        require(head.initial == kTrue || head.initial == kFalse);
        return head.initial == kTrue;
    }

    xpc::Object value(unsigned depth) {
        const Head head = nextHead();
        require(valuesLeft_-- > 0);
        switch (head.major) {
            case Major::Unsigned:
            case Major::Negative:
                return xpc::number(integer(head));
            case Major::Bytes:
            case Major::Text:
                return xpc::text(string(head));
            case Major::Array:
                return array(head.argument, depth);
            case Major::Map:
                return dictionary(head.argument, depth);
            case Major::Simple:
                require(head.initial == kNull || head.initial == kTrue || head.initial == kFalse);
                return head.initial == kNull ? xpc::null() : xpc::boolean(head.initial == kTrue);
            case Major::Tag:
                break;
        }
        require(false);
        return {};
    }

private:
    struct Head {
        std::uint8_t initial;
        Major major;
        std::uint64_t argument;
    };

    void require(bool condition) { valid_ = valid_ && condition; }

    Head nextHead() {
        require(!rest_.empty());
        if (!valid_) {
            return {};
        }
        const std::uint8_t initial = rest_.front();
        const auto major = static_cast<Major>(initial >> 5U);
        const auto information = static_cast<std::uint8_t>(initial & 0x1FU);
        rest_ = rest_.subspan(1);
        if (information <= kLargestInline) {
            return {initial, major, information};
        }
        const std::size_t size = std::size_t{1} << (information - kOneByte);
        require(information <= kEightBytes && size <= rest_.size());  // beyond: reserved, or of indefinite length
        if (!valid_) {
            return {};
        }
        std::uint64_t argument = 0;
        for (const std::uint8_t byte : rest_.first(size)) {
            argument = argument << 8U | byte;
        }
        rest_ = rest_.subspan(size);
        return {initial, major, argument};
    }

    std::int64_t integer(const Head& head) {
        require(head.argument <= kLargestInteger && (head.major == Major::Unsigned || head.major == Major::Negative));
        const auto magnitude = static_cast<std::int64_t>(head.argument);
        return head.major == Major::Unsigned ? magnitude : -1 - magnitude;
    }

    std::string_view string(const Head& head) {
        const bool isText = head.major == Major::Text;
        require((isText || head.major == Major::Bytes) && head.argument <= rest_.size());
        if (!valid_) {
            return {};
        }
        const auto length = static_cast<std::size_t>(head.argument);
        const std::string_view content(reinterpret_cast<const char*>(rest_.data()), length);
        rest_ = rest_.subspan(length);
        require(!isText || platform::isUtf8(content));
        return content;
    }

    // What a packet claims to hold is believed only as far as its bytes go: little is set aside for it beforehand, and the
    // first item that is missing ends the reading.
    xpc::Object array(std::uint64_t count, unsigned depth) {
        require(depth <= kMaxNesting);
        std::vector<xpc::Object> values;
        for (; count > 0 && valid_; --count) {
            values.push_back(value(depth + 1));
        }
        return xpc::array(std::move(values));
    }

    xpc::Object dictionary(std::uint64_t count, unsigned depth) {
        require(depth <= kMaxNesting);
        std::vector<xpc::Entry> entries;
        entries.reserve(static_cast<std::size_t>(std::min(count, kUsualEntries)));
        for (; count > 0 && valid_; --count) {
            const Head head = nextHead();
            const std::string_view key = string(head);
            require(head.major == Major::Text && key.find('\0') == std::string_view::npos);
            entries.emplace_back(key, value(depth + 1));
        }
        auto dictionary = xpc::dictionaryOf(std::move(entries));
        require(static_cast<bool>(dictionary));
        return dictionary;
    }

    std::span<const std::uint8_t> rest_;
    bool valid_ = true;
    unsigned valuesLeft_ = kMaxValues;
};

/// How many items follow the kind.
struct Shape {
    std::uint64_t fewest;
    std::uint64_t known;
    bool mayGrow;  ///< a later version may put more behind them
};
constexpr Shape kShapes[] = {{2, 3, true}, {3, 3, false}, {2, 3, true}, {1, 1, false}, {1, 2, true}};

/// Reads what follows the kind. @param isWhole whether the last item, which may be left out, is there
Packet content(Decoder& decoder, Kind kind, bool isWhole) {
    // The items of a braced list are read in its order.
    switch (kind) {
        case Kind::Hello:
            return Hello{decoder.number(), decoder.string(), isWhole ? std::optional(decoder.number()) : std::nullopt};
        case Kind::Request:
            return Request{decoder.number(), decoder.string(), decoder.value(1)};
        case Kind::Reply:
            return Reply{decoder.number(), decoder.result(), isWhole ? decoder.value(1) : xpc::Object()};
        case Kind::Events:
            return Events{decoder.boolean()};
        case Kind::Event:
            break;
    }
    return Event{decoder.string(), isWhole ? decoder.value(1) : xpc::Object()};
}

}  // namespace

std::optional<Packet> decode(std::span<const std::uint8_t> packet) {
    if (packet.size() > kMaxPacketSize) {
        return std::nullopt;
    }
    Decoder decoder(packet);
    const std::uint64_t items = decoder.length(Major::Array);
    const std::uint64_t kind = decoder.number();
    if (!decoder.ok() || items == 0 || kind >= std::size(kShapes)) {
        return std::nullopt;
    }
    const Shape& shape = kShapes[kind];
    const std::uint64_t following = items - 1;
    if (following < shape.fewest || (following > shape.known && !shape.mayGrow)) {
        return std::nullopt;
    }
    std::optional<Packet> decoded = content(decoder, static_cast<Kind>(kind), following >= shape.known);
    for (std::uint64_t later = shape.known; decoder.ok() && later < following; ++later) {
        decoder.value(1);
    }
    if (!decoder.ok() || !decoder.atEnd()) {
        decoded.reset();
    }
    return decoded;
}

}  // namespace ryn::wire
