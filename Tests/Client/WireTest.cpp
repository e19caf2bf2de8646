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
    char way;  ///< as in packets.txt
    std::string hex;
    std::string rendering;
};

void judge(const Vector& vector) {
    SCOPED_TRACE(vector.hex.substr(0, 100));
    const Buffer bytes = fromHex(vector.hex);
    if (vector.way == '!') {
        EXPECT_EQ(render(bytes), "refused");
        return;
    }
    EXPECT_EQ(render(bytes), vector.rendering);
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        EXPECT_FALSE(wire::decode(std::span(bytes).first(cut))) << "cut at " << cut;
    }
    Buffer encoded;
    EXPECT_TRUE(wire::encode(wire::decode(bytes).value_or(wire::Events{}), encoded));
    EXPECT_EQ(render(encoded), vector.rendering);
    EXPECT_EQ(encoded == bytes, vector.way == '=');
}

std::string repeat(const std::string& text, unsigned times) {
    std::string result;
    while (times-- > 0) {
        result += text;
    }
    return result;
}

const std::string kRequest = "8401056143";  // with the id 5 and the command C; its argument follows
const std::string kShown = "request 5 C ";

/// What is long, and what isn't a line of text.
const Vector kOthers[] = {
    {'!', "", ""},
    {'=', "83001b7fffffffffffffff60", "hello 9223372036854775807 "},
    {'=', "84010042fffef6", "request 0 \xFF\xFE null"},
    {'=', kRequest + "9819" + repeat("01", 25), kShown + "[" + repeat("1,", 24) + "1]"},
    // keys of 63 and 64 bytes, beside a short one
    {'=', kRequest + "a36161f5783f" + repeat("6b", 63) + "f57840" + repeat("6b", 64) + "f5",
     kShown + R"({"a":true,")" + repeat("k", 63) + R"(":true,")" + repeat("k", 64) + R"(":true})"},
    {'=', kRequest + repeat("81", 15) + "a0", kShown + repeat("[", 15) + "{}" + repeat("]", 15)},
    {'=', kRequest + repeat("a160", 15) + "8100", kShown + repeat("{\"\":", 15) + "[0]" + repeat("}", 15)},
    // too deep
    {'!', kRequest + repeat("81", 16) + "80", ""},
    {'!', kRequest + repeat("a16161", 16) + "a0", ""},
    {'!', kRequest + repeat("81", 100'000), ""},
    // too many
    {'!', kRequest + "990400" + repeat("f6", 1024), ""},
    {'!', kRequest + "9bffffffffffffffff" + repeat("00", 1000), ""},
    {'!', "9b0000000000010000020500f6" + repeat("00", 70'000), ""},
};

TEST(Wire, CodesPackets) {
    std::ifstream packets(FIXTURES "/packets.txt");
    ASSERT_TRUE(packets);
    std::string line;
    while (std::getline(packets, line)) {
        if (line.front() != '#') {
            const std::size_t end = std::min(line.find(' ', 2), line.size());
            judge({line.front(), line.substr(2, end - 2), line.substr(std::min(end + 1, line.size()))});
        }
    }
    std::ranges::for_each(kOthers, judge);
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
