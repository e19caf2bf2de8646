#include "Client/Render.h"
#include "support/ScriptedManager.h"
#include "support/Test.h"

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

/// "refused" for a malformed packet.
std::string render(const Buffer& bytes) {
    const auto packet = wire::decode(bytes);
    return packet ? wire::render(*packet) : "refused";
}

struct Vector {
    std::string hex;
    std::string rendering;
};

/// @return whether what is decoded is encoded so again.
bool roundTrip(const std::string& hex, const std::string& rendering) {
    const Buffer bytes = fromHex(hex);
    EXPECT_EQ(render(bytes), rendering) << hex;
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        EXPECT_FALSE(wire::decode(std::span(bytes).first(cut))) << hex << " cut at " << cut;
    }
    Buffer encoded;
    EXPECT_TRUE(wire::encode(wire::decode(bytes).value_or(wire::Events{}), encoded)) << hex;
    EXPECT_EQ(render(encoded), rendering) << hex;
    return encoded == bytes;
}

std::string repeat(const std::string& text, unsigned times) {
    std::string result;
    while (times-- > 0) {
        result += text;
    }
    return result;
}

/// RFC 8949 appendix A, as far as its values travel here.
const Vector kPreferred[] = {
    {"8c0017181818641903e81a000f42401b000000e8d4a510001b7fffffffffffffff2038633903e73b7fffffffffffffff",
     "[0,23,24,100,1000,1000000,1000000000000,9223372036854775807,-1,-100,-1000,-9223372036854775808]"},
    {"83f4f5f6", "[false,true,null]"},
    {"8760616162225c62c3bc63e6b0b464f090859143ff6162", R"(["","a","\"\\","ü","水","𐅑","�ab"])"},
    {"830182020380", "[1,[2,3],[]]"},
    {"9819" + repeat("01", 25), "[" + repeat("1,", 24) + "1]"},
    {"a26161016162820203", R"({"a":1,"b":[2,3]})"},
    {"826161a161626163", R"(["a",{"b":"c"}])"},
    // keys of 63 and 64 bytes, beside a short one
    {"a36161f5783f" + repeat("6b", 63) + "f57840" + repeat("6b", 64) + "f5",
     R"({"a":true,")" + repeat("k", 63) + R"(":true,")" + repeat("k", 64) + R"(":true})"},
    {repeat("81", 15) + "a0", repeat("[", 15) + "{}" + repeat("]", 15)},
    {repeat("a160", 15) + "8100", repeat("{\"\":", 15) + "[0]" + repeat("}", 15)},
};

/// Longer than needed, bytes that could have been text, keys out of order.
const Vector kAccepted[] = {{"1817", "23"}, {"1b0000000000000001", "1"}, {"79000161", "\"a\""},
                            {"b800", "{}"}, {"4161", "\"a\""},           {"a2616201616102", "{\"a\":2,\"b\":1}"}};

/// What must not travel, the rest of the appendix included.
const std::string kRefusedValues[] = {"",
                                      // beyond int64
                                      "1b8000000000000000", "3b8000000000000000",
                                      // tags
                                      "c249010000000000000000", "c100",
                                      // floats
                                      "f90000", "fa47c35000", "fb3ff199999999999a",
                                      // undefined and other simple values
                                      "f7", "f0", "f814", "f8ff",
                                      // indefinite lengths
                                      "5f42010243030405ff", "7f657374726561646d696e67ff", "9fff", "bf61610161629f0203ffff", "ff",
                                      // reserved
                                      "1c", "3d",
                                      // cut short
                                      "1903", "62c3", "8201", "a16161",
                                      // something behind the item
                                      "0000",
                                      // not UTF-8
                                      "61ff", "62ff61", "62c080", "63eda080", "64f4908080",
                                      // keys that are not text
                                      "a201020304", "a1416101", "a162610001", "a161ff01",
                                      // a key twice
                                      "a2616101616102", "a3616101616202616103",
                                      // too deep
                                      repeat("81", 16) + "80", repeat("a16161", 16) + "a0", repeat("81", 100'000),
                                      // too many
                                      "990400" + repeat("f6", 1024),
                                      // far more than there is
                                      "9b1000000000000000", "bb1000000000000000", "5b1000000000000000", "7bffffffffffffffff",
                                      "9bffffffffffffffff" + repeat("00", 1000)};

TEST(Wire, CodesValues) {
    const std::string frame = "8401056143";
    for (const Vector& vector : kPreferred) {
        EXPECT_TRUE(roundTrip(frame + vector.hex, "request 5 C " + vector.rendering)) << vector.hex;
    }
    for (const Vector& vector : kAccepted) {
        EXPECT_FALSE(roundTrip(frame + vector.hex, "request 5 C " + vector.rendering)) << vector.hex;
    }
    for (const std::string& hex : kRefusedValues) {
        EXPECT_EQ(render(fromHex(frame + hex)), "refused") << hex.substr(0, 100);
    }
}

const Vector kPackets[] = {{"8300016774657374696e67", "hello 1 testing"},
                           {"83001b7fffffffffffffff60", "hello 9223372036854775807 "},
                           {"840001614302", "hello 1 to 2 C"},
                           {"84011b7fffffffffffffff6143a0", "request 9223372036854775807 C {}"},
                           {"84010042fffeF6", "request 0 \xFF\xFE null"},
                           {"83020500", "reply 5 0"},
                           {"8302053a1fdf1fef", "reply 5 -534716400"},
                           {"8302051a7fffffff", "reply 5 2147483647"},
                           {"840205006161", "reply 5 0 \"a\""},
                           {"84020500f6", "reply 5 0 null"},
                           {"8203f5", "events on"},
                           {"8203f4", "events off"},
                           {"82046145", "event E"},
                           {"83046145a0", "event E {}"}};

/// With what a later version puts behind them.
const Vector kGrownPackets[] = {
    {"85000161430280", "hello 1 to 2 C"}, {"8602050061610001", "reply 5 0 \"a\""}, {"84046145a0f6", "event E {}"}};

const std::string kRefusedPackets[] = {"", "80", "00", "a10001",
                                       // something behind
                                       "8203f500", "8203f6", "820301",
                                       // another number of items
                                       "8303f5f5", "820001", "8301056143", "8501056143f6f6", "820205", "8104",
                                       // another kind
                                       "8105", "820561", "8320056143", "8400016143f6",
                                       // behind what a later version may have added: nothing, no value, too many values
                                       "85020500f6", "84046145a0f7", "9b0000000000010000020500f6" + repeat("00", 70'000),
                                       // ids and results out of range
                                       "84011b80000000000000006143f6", "8401206143f6", "83022000", "8302051a80000000",
                                       "8302053a80000000", "830205f6",
                                       // names that are no strings
                                       "84010505f6", "820405", "83000105", "9b1000000000000000"};

TEST(Wire, CodesPackets) {
    for (const Vector& vector : kPackets) {
        EXPECT_TRUE(roundTrip(vector.hex, vector.rendering)) << vector.hex;
    }
    for (const Vector& vector : kGrownPackets) {
        EXPECT_FALSE(roundTrip(vector.hex, vector.rendering)) << vector.hex;
    }
    for (const std::string& hex : kRefusedPackets) {
        EXPECT_EQ(render(fromHex(hex)), "refused") << hex;
    }
}

bool encodes(const xpc::Object& argument) {
    Buffer buffer;
    const bool inRequest = wire::encode(wire::Request{1, "C", argument}, buffer);
    EXPECT_EQ(wire::encode(wire::Reply{24, 0, argument}, buffer), inRequest);
    EXPECT_EQ(wire::encode(wire::Event{"EE", argument}, buffer), inRequest);
    EXPECT_TRUE(!inRequest || wire::decode(buffer));
    return inRequest;
}

xpc::Object nested(unsigned depth) {
    auto value = support::number(1);
    for (; depth > 0; --depth) {
        xpc_object_t content = value.get();
        value = xpc::Object::adopt(xpc_array_create(&content, 1));
    }
    return value;
}

xpc::Object list(unsigned count) {
    return xpc::array(std::vector<xpc::Object>(count, xpc::null()));
}

xpc::Object keys(unsigned count) {
    std::vector<xpc::Entry> entries;
    while (count-- > 0) {
        entries.emplace_back(std::to_string(count), xpc::null());
    }
    return xpc::dictionaryOf(std::move(entries));
}

/// An array of 100 times the same array, and so on: 100^16 values in a few kilobytes.
xpc::Object sharedWithin() {
    auto value = list(0);
    for (int level = 0; level < 16; ++level) {
        value = xpc::array(std::vector<xpc::Object>(100, value));
    }
    return value;
}

TEST(Wire, EncodesOnlyWhatFitsAPacket) {
    constexpr std::size_t kFrame = 10;  // array, kind, id, command and the string's own head
    EXPECT_TRUE(encodes(support::text(std::string(wire::kMaxPacketSize - kFrame, 'x'))));
    EXPECT_FALSE(encodes(support::text(std::string(wire::kMaxPacketSize - kFrame + 1, 'x'))));
    EXPECT_TRUE(encodes(nested(16)));
    EXPECT_FALSE(encodes(nested(17)));
    EXPECT_FALSE(encodes(sharedWithin()));
    EXPECT_TRUE(encodes(list(wire::kMaxValues - 1)));
    EXPECT_FALSE(encodes(list(wire::kMaxValues)));
    EXPECT_TRUE(encodes(keys(wire::kMaxValues - 1)));
    EXPECT_TRUE(encodes(support::dictionary({{"ü", support::number(1)}})));
    EXPECT_FALSE(encodes(support::dictionary({{"\xFF", support::number(1)}})));
    EXPECT_EQ(render(Buffer(wire::kMaxPacketSize + 1, 0x80)), "refused");
}

}  // namespace
