#include "Client/wire/Packet.h"
#include "Client/wire/Utf8.h"
#include "support/ScriptedManager.h"

#include <gtest/gtest.h>

#include <string>

namespace {

namespace wire = ryn::wire;
using Buffer = std::vector<std::uint8_t>;

Buffer fromHex(std::string_view hex) {
    Buffer bytes;
    for (std::size_t index = 0; index + 1 < hex.size(); index += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(index, 2)), nullptr, 16)));
    }
    return bytes;
}

std::string render(const wire::Hello& hello) {
    return "hello " + std::to_string(hello.version) + " " + std::string(hello.clientName);
}
std::string render(const wire::Request& request) {
    return "request " + std::to_string(request.id) + " " + std::string(request.command) + " " + to_string(request.argument);
}
std::string render(const wire::Reply& reply) {
    const std::string object = reply.object ? " " + to_string(reply.object) : "";
    return "reply " + std::to_string(reply.id) + " " + std::to_string(reply.result) + object;
}
std::string render(const wire::Events& events) {
    return events.on ? "events on" : "events off";
}
std::string render(const wire::Event& event) {
    return "event " + std::string(event.name) + (event.payload ? " " + to_string(event.payload) : "");
}

/// "refused" for a malformed packet.
std::string render(const Buffer& bytes) {
    const auto packet = wire::decode(bytes);
    return packet ? std::visit([](const auto& content) { return render(content); }, *packet) : "refused";
}

enum Form { Preferred, Accepted, Refused };  // of a vector: encoded so again, only read, neither

struct Vector {
    Form form;
    std::string hex;
    std::string rendering;
};

void check(const Vector& vector, const std::string& prefixHex, const std::string& prefix) {
    SCOPED_TRACE(vector.hex);
    const Buffer bytes = fromHex(prefixHex + vector.hex);
    if (vector.form == Refused) {
        EXPECT_EQ(render(bytes), "refused");
        return;
    }
    ASSERT_EQ(render(bytes), prefix + vector.rendering);
    Buffer encoded;
    ASSERT_TRUE(wire::encode(*wire::decode(bytes), encoded));
    EXPECT_EQ(encoded == bytes, vector.form == Preferred);
    EXPECT_EQ(render(encoded), prefix + vector.rendering);
}

std::string repeat(const std::string& text, unsigned times) {
    std::string result;
    while (times-- > 0) {
        result += text;
    }
    return result;
}

/// RFC 8949 appendix A, as far as its values travel here, and what must not.
const Vector kValues[] = {
    {Preferred, "00", "0"},
    {Preferred, "17", "23"},
    {Preferred, "1818", "24"},
    {Preferred, "1864", "100"},
    {Preferred, "1903e8", "1000"},
    {Preferred, "1a000f4240", "1000000"},
    {Preferred, "1b000000e8d4a51000", "1000000000000"},
    {Preferred, "1b7fffffffffffffff", "9223372036854775807"},
    {Preferred, "20", "-1"},
    {Preferred, "3863", "-100"},
    {Preferred, "3903e7", "-1000"},
    {Preferred, "3b7fffffffffffffff", "-9223372036854775808"},
    {Preferred, "f4", "false"},
    {Preferred, "f5", "true"},
    {Preferred, "f6", "null"},
    {Preferred, "60", "\"\""},
    {Preferred, "6161", "\"a\""},
    {Preferred, "62225c", "\"\\\"\\\\\""},
    {Preferred, "62c3bc", "\"ü\""},
    {Preferred, "63e6b0b4", "\"水\""},
    {Preferred, "64f0908591", "\"𐅑\""},
    {Preferred, "43ff6162",
     "\"\xEF\xBF\xBD"
     "ab\""},
    {Preferred, "80", "[]"},
    {Preferred, "8301820203820405", "[1,[2,3],[4,5]]"},
    {Preferred, "9819" + repeat("01", 25), "[" + repeat("1,", 24) + "1]"},
    {Preferred, "a0", "{}"},
    {Preferred, "a26161016162820203", "{\"a\":1,\"b\":[2,3]}"},
    {Preferred, "826161a161626163", "[\"a\",{\"b\":\"c\"}]"},
    {Preferred, repeat("81", 15) + "80", repeat("[", 16) + repeat("]", 16)},
    {Preferred, repeat("a160", 15) + "8100", repeat("{\"\":", 15) + "[0]" + repeat("}", 15)},
    {Accepted, "1817", "23"},  // longer than needed
    {Accepted, "1b0000000000000001", "1"},
    {Accepted, "79000161", "\"a\""},
    {Accepted, "b800", "{}"},
    {Accepted, "4161", "\"a\""},  // bytes that could have been text
    {Accepted, "a2616201616102", "{\"a\":2,\"b\":1}"},
    {Refused, "", ""},
    {Refused, "1b8000000000000000", ""},  // beyond int64
    {Refused, "3b8000000000000000", ""},
    {Refused, "c249010000000000000000", ""},  // tags
    {Refused, "c100", ""},
    {Refused, "f90000", ""},  // floats
    {Refused, "fa47c35000", ""},
    {Refused, "fb3ff199999999999a", ""},
    {Refused, "f7", ""},  // undefined and other simple values
    {Refused, "f0", ""},
    {Refused, "f814", ""},
    {Refused, "f8ff", ""},
    {Refused, "5f42010243030405ff", ""},  // indefinite lengths
    {Refused, "7f657374726561646d696e67ff", ""},
    {Refused, "9fff", ""},
    {Refused, "bf61610161629f0203ffff", ""},
    {Refused, "ff", ""},
    {Refused, "1c", ""},  // reserved
    {Refused, "3d", ""},
    {Refused, "1903", ""},  // cut short
    {Refused, "62c3", ""},
    {Refused, "8201", ""},
    {Refused, "a16161", ""},
    {Refused, "0000", ""},  // something behind the item
    {Refused, "61ff", ""},  // not UTF-8
    {Refused, "62c080", ""},
    {Refused, "63eda080", ""},
    {Refused, "64f4908080", ""},
    {Refused, "a201020304", ""},  // keys that are not text
    {Refused, "a1416101", ""},
    {Refused, "a162610001", ""},
    {Refused, "a161ff01", ""},
    {Refused, "a2616101616102", ""},  // a key twice
    {Refused, "a3616101616202616103", ""},
    {Refused, repeat("81", 16) + "80", ""},  // too deep
    {Refused, repeat("a16161", 16) + "a0", ""},
    {Refused, repeat("81", 100'000), ""},
    {Refused, "9b1000000000000000", ""},  // far more than there is
    {Refused, "bb1000000000000000", ""},
    {Refused, "5b1000000000000000", ""},
    {Refused, "7bffffffffffffffff", ""},
    {Refused, "9bffffffffffffffff" + repeat("00", 1000), ""},
};

TEST(Wire, CodesValues) {
    for (const Vector& vector : kValues) {
        check(vector,
              "84010561"
              "43",
              "request 5 C ");
    }
}

const Vector kPackets[] = {
    {Preferred, "8300016774657374696e67", "hello 1 testing"},
    {Preferred, "83001b7fffffffffffffff60", "hello 9223372036854775807 "},
    {Preferred, "84011b7fffffffffffffff6143a0", "request 9223372036854775807 C {}"},
    {Preferred, "84010042fffeF6", "request 0 \xFF\xFE null"},
    {Preferred, "83020500", "reply 5 0"},
    {Preferred, "8302053a1fdf1fef", "reply 5 -534716400"},
    {Preferred, "8302051a7fffffff", "reply 5 2147483647"},
    {Preferred, "840205006161", "reply 5 0 \"a\""},
    {Preferred, "84020500f6", "reply 5 0 null"},
    {Preferred, "8203f5", "events on"},
    {Preferred, "8203f4", "events off"},
    {Preferred, "82046145", "event E"},
    {Preferred, "83046145a0", "event E {}"},
    {Refused, "", ""},
    {Refused, "80", ""},
    {Refused, "00", ""},
    {Refused, "a10001", ""},
    {Refused, "8203f500", ""},  // something behind
    {Refused, "8203f6", ""},
    {Refused, "820301", ""},
    {Refused, "8303f5f5", ""},  // another number of items
    {Refused, "820001", ""},
    {Refused, "8301056143", ""},
    {Refused, "8501056143f6f6", ""},
    {Refused, "820205", ""},
    {Refused, "8104", ""},
    {Refused, "84046145a0a0", ""},
    {Refused, "8105", ""},  // another kind
    {Refused, "820561", ""},
    {Refused, "8320056143", ""},
    {Refused, "84011b80000000000000006143f6", ""},  // ids and results out of range
    {Refused, "8401206143f6", ""},
    {Refused, "83022000", ""},
    {Refused, "8302051a80000000", ""},
    {Refused, "8302053a80000000", ""},
    {Refused, "830205f6", ""},
    {Refused, "84010505f6", ""},  // names that are no strings
    {Refused, "820405", ""},
    {Refused, "83000105", ""},
    {Refused, "9b1000000000000000", ""},
};

TEST(Wire, CodesPackets) {
    for (const Vector& vector : kPackets) {
        check(vector, "", "");
    }
}

/// [1, 5, "C", {keys in descending order}], over the number up to which entries are taken as they come.
Buffer manyKeys(bool firstTwice) {
    constexpr int kKeys = 10'000;
    Buffer packet = fromHex("8401056143b9" + std::string(firstTwice ? "2711" : "2710"));
    const auto append = [&packet](int key) {
        const std::string digits = std::to_string(key + kKeys);
        packet.push_back(static_cast<std::uint8_t>(0x60 + digits.size()));
        packet.insert(packet.end(), digits.begin(), digits.end());
        packet.push_back(0xF5);
    };
    for (int key = kKeys - 1; key >= 0; --key) {
        append(key);
    }
    if (firstTwice) {
        append(kKeys - 1);
    }
    return packet;
}

TEST(Wire, TakesManyKeysInAnyOrder) {
    const auto packet = wire::decode(manyKeys(false));
    ASSERT_TRUE(packet);
    xpc_object_t dictionary = std::get<wire::Request>(*packet).argument.get();
    EXPECT_EQ(xpc_dictionary_get_count(dictionary), 10'000U);
    EXPECT_TRUE(xpc_bool_get_value(xpc_dictionary_get_value(dictionary, "10000")));
    EXPECT_EQ(render(manyKeys(true)), "refused");
}

bool encodes(const xpc::Object& argument) {
    Buffer buffer;
    return wire::encode(wire::Request{1, "C", argument}, buffer);
}

xpc::Object nested(unsigned depth) {
    auto value = support::number(1);
    for (; depth > 0; --depth) {
        xpc_object_t content = value.get();
        value = xpc::Object::adopt(xpc_array_create(&content, 1));
    }
    return value;
}

/// An array of 100 times the same array, and so on: 100^16 values in a few kilobytes.
xpc::Object sharedWithin() {
    auto value = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (int level = 0; level < 16; ++level) {
        const std::vector<xpc_object_t> copies(100, value.get());
        value = xpc::Object::adopt(xpc_array_create(copies.data(), copies.size()));
    }
    return value;
}

TEST(Wire, EncodesOnlyWhatFitsAPacket) {
    constexpr std::size_t kFrame = 10;  // array, kind, id, command and the string's own head
    EXPECT_TRUE(encodes(support::text(std::string(wire::kMaxPacketSize - kFrame, 'x'))));
    EXPECT_FALSE(encodes(support::text(std::string(wire::kMaxPacketSize - kFrame + 1, 'x'))));
    EXPECT_FALSE(encodes(support::text(std::string(1'000'000, 'x'))));
    EXPECT_TRUE(encodes(nested(16)));
    EXPECT_FALSE(encodes(nested(17)));
    EXPECT_FALSE(encodes(sharedWithin()));
    EXPECT_TRUE(encodes(support::dictionary({{"ü", support::number(1)}})));
    EXPECT_FALSE(encodes(support::dictionary({{"\xFF", support::number(1)}})));
    EXPECT_EQ(render(Buffer(wire::kMaxPacketSize + 1, 0x80)), "refused");
}

TEST(Wire, JudgesUtf8AcrossWordBoundaries) {
    const auto within = [](std::string_view bytes, std::size_t ascii) {
        return std::string(ascii, 'a').append(bytes).append(ascii, 'a');
    };
    for (std::size_t ascii = 0; ascii < 17; ++ascii) {
        EXPECT_TRUE(wire::isUtf8(within("\xE6\xB0\xB4", ascii))) << ascii;
        EXPECT_FALSE(wire::isUtf8(within("\xE6\xB0", ascii))) << ascii;
        EXPECT_FALSE(wire::isUtf8(within("\xBF", ascii))) << ascii;
    }
}

}  // namespace
