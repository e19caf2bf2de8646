#include "Client/wire/Cbor.h"
#include "Client/wire/Packet.h"
#include "Platform/Utf8.h"
#include "Platform/xpc/Value.h"

namespace ryn::wire {
namespace {

constexpr std::size_t kUsualPacket = 256;

/// Appends CBOR items to a buffer. Once an item has been refused, or the buffer is over kMaxPacketSize, ok() stays false.
class Encoder {
public:
    explicit Encoder(std::vector<std::uint8_t>& buffer) : buffer_(buffer) {
        buffer_.clear();
        buffer_.reserve(kUsualPacket);
    }

    bool ok() const { return valid_ && buffer_.size() <= kMaxPacketSize; }

    void packet(const Hello& hello) {
        begin(hello.highestVersion ? 4 : 3, Kind::Hello);
        head(Major::Unsigned, hello.version);
        string(hello.clientName);
        if (hello.highestVersion) {
            head(Major::Unsigned, *hello.highestVersion);
        }
    }
    void packet(const Request& request) {
        begin(4, Kind::Request);
        head(Major::Unsigned, request.id);
        string(request.command);
        value(request.argument, 1);
    }
    void packet(const Reply& reply) {
        begin(reply.object ? 4 : 3, Kind::Reply);
        head(Major::Unsigned, reply.id);
        integer(reply.result);
        if (reply.object) {
            value(reply.object, 1);
        }
    }
    void packet(const Events& events) {
        begin(2, Kind::Events);
        buffer_.push_back(events.on ? kTrue : kFalse);
    }
    void packet(const Event& event) {
        begin(event.payload ? 3 : 2, Kind::Event);
        string(event.name);
        if (event.payload) {
            value(event.payload, 1);
        }
    }

private:
    void begin(std::uint64_t items, Kind kind) {
        head(Major::Array, items);
        head(Major::Unsigned, static_cast<std::uint64_t>(kind));
    }

    /// The initial byte and its argument in the shortest form.
    void head(Major major, std::uint64_t argument) {
        const auto type = static_cast<std::uint8_t>(static_cast<unsigned>(major) << 5U);
        if (argument <= kLargestInline) {
            buffer_.push_back(static_cast<std::uint8_t>(type | argument));
        } else {
            longHead(type, argument);
        }
    }
    void longHead(std::uint8_t type, std::uint64_t argument) {
        unsigned sizeBits = 0;  // the argument takes 2^sizeBits bytes
        while (sizeBits < 3 && (argument >> (8U << sizeBits)) != 0) {
            ++sizeBits;
        }
        buffer_.push_back(static_cast<std::uint8_t>(type | (kOneByte + sizeBits)));
        for (unsigned bits = 8U << sizeBits; bits > 0;) {
            bits -= 8;
            buffer_.push_back(static_cast<std::uint8_t>(argument >> bits));
        }
    }

    void integer(std::int64_t number) {
        if (number >= 0) {
            head(Major::Unsigned, static_cast<std::uint64_t>(number));
        } else {
            head(Major::Negative, ~static_cast<std::uint64_t>(number));
        }
    }

    void bytes(Major major, std::string_view content) {
        if (content.size() > kMaxPacketSize) {
            valid_ = false;
            return;
        }
        head(major, content.size());
        buffer_.insert(buffer_.end(), content.begin(), content.end());
    }

    void string(std::string_view content) { bytes(platform::isUtf8(content) ? Major::Text : Major::Bytes, content); }

    void value(const xpc::Object& object, unsigned depth) {
        valid_ = valid_ && ++values_ <= kMaxValues;
        if (!object) {
            buffer_.push_back(kNull);
        } else {
            std::visit([this, depth](const auto& content) { item(content, depth); }, object.get()->value);
        }
    }

    void item(xpc_object::Null, unsigned) { buffer_.push_back(kNull); }
    void item(bool boolean, unsigned) { buffer_.push_back(boolean ? kTrue : kFalse); }
    void item(std::int64_t number, unsigned) { integer(number); }
    void item(const std::string& content, unsigned) { string(content); }
    void container(Major major, std::size_t count, unsigned depth) {
        valid_ = valid_ && depth <= kMaxNesting;
        head(major, count);
    }
    // Containers stop at the first refusal: what is shared many times within itself would otherwise be walked without end.
    void item(const xpc_object::Array& values, unsigned depth) {
        container(Major::Array, values.size(), depth);
        for (auto entry = values.begin(); ok() && entry != values.end(); ++entry) {
            value(*entry, depth + 1);
        }
    }
    void item(const xpc_object::Dictionary& entries, unsigned depth) {
        container(Major::Map, entries.size(), depth);
        for (auto entry = entries.begin(); ok() && entry != entries.end(); ++entry) {
            valid_ = platform::isUtf8(entry->first);
            bytes(Major::Text, entry->first);
            value(entry->second, depth + 1);
        }
    }

    std::vector<std::uint8_t>& buffer_;
    bool valid_ = true;
    unsigned values_ = 0;
};

}  // namespace

bool encode(const Packet& packet, std::vector<std::uint8_t>& buffer) {
    Encoder encoder(buffer);
    std::visit([&](const auto& content) { encoder.packet(content); }, packet);
    return encoder.ok();
}

}  // namespace ryn::wire
