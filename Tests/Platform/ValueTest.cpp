#include "platform/vsk/SorvexUtil.h"
#include "platform/xpc/Values.h"
#include "support/Test.h"

namespace {

using xpc::Object;

using xpc::array;
using xpc::dictionary;
using xpc::number;
using xpc::text;

TEST(Json, RendersEveryKind) {
    const auto null = Object::adopt(xpc_null_create());
    const auto yes = Object::adopt(xpc_bool_create(true));
    const std::pair<Object, std::string> cases[] = {
        {Object(), "null"},
        {null, "null"},
        {yes, "true"},
        {Object::adopt(xpc_bool_create(false)), "false"},
        {number(INT64_MIN), "-9223372036854775808"},
        {number(INT64_MAX), "9223372036854775807"},
        {text(""), R"("")"},
        {array({}), "[]"},
        {dictionary({}), "{}"},
        {array({number(1), null, array({yes})}), "[1,null,[true]]"},
        {dictionary({{"b", number(2)}, {"\xff", null}, {"B", array({})}, {"", yes}, {"a\n", dictionary({{"x", null}})}}),
         "{\"\":true,\"B\":[],\"a\\n\":{\"x\":null},\"b\":2,\"\xEF\xBF\xBD\":null}"},
    };
    for (const auto& [object, json] : cases) {
        EXPECT_EQ(xpc::to_string(object), json);
    }
}

TEST(Json, EscapesAsRfc8259AndReplacesWhatIsNotUtf8) {
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    const auto replaced = [&](std::string_view pattern) {
        std::string out;
        for (const char letter : pattern) {
            out += letter == '?' ? std::string(kReplacement) : std::string(1, letter);
        }
        return out;
    };
    const std::pair<std::string_view, std::string> cases[] = {
        {"\"\\/", R"(\"\\/)"},
        {"\b\f\n\r\t", R"(\b\f\n\r\t)"},
        {{"\0\x01\x1f\x7f", 4}, "\\u0000\\u0001\\u001f\x7f"},
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB1", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB1"},
        {"\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"},  // next to the gaps
        {"a\xFFz\x80", replaced("a?z?")},
        {"\xC0\x80\xC1\xBF", replaced("????")},                           // overlong, two bytes
        {"\xE0\x9F\xBF", replaced("???")},                                // overlong, three
        {"\xF0\x8F\xBF\xBF", replaced("????")},                           // overlong, four
        {"\xED\xA0\x80\xED\xBF\xBF", replaced("??????")},                 // surrogates
        {"\xF4\x90\x80\x80\xF5", replaced("?????")},                      // beyond U+10FFFF
        {"\xE2\x82", replaced("?")},                                      // cut short at the end
        {"\xF0\x9F\x93x\xE2\x82\xC3\xA9", replaced("?x?") + "\xC3\xA9"},  // cut short by the next character
    };
    for (const auto& [bytes, json] : cases) {
        EXPECT_EQ(xpc::to_string(text(bytes)), '"' + json + '"');
    }
}

TEST(Value, DictionaryKeepsOneValuePerKeyInByteOrder) {
    constexpr int kEntries = 1'000;
    std::vector<std::string> names;
    std::vector<const char*> keys;
    std::vector<Object> values;
    std::vector<xpc_object_t> borrowed;
    names.reserve(kEntries);
    const auto built = dictionary({});
    for (int i = 0; i < kEntries; ++i) {
        names.push_back("a key that is longer than a short string " + std::to_string(i * 7 % (kEntries / 2)));
        values.push_back(number(i));
        keys.push_back(names.back().c_str());
        borrowed.push_back(values.back().get());
        xpc_dictionary_set_value(built.get(), keys.back(), borrowed.back());
    }
    const auto whole = Object::adopt(xpc_dictionary_create(keys.data(), borrowed.data(), keys.size()));
    EXPECT_EQ(xpc_dictionary_get_count(whole.get()), kEntries / 2);
    EXPECT_EQ(xpc_int64_get_value(xpc_dictionary_get_value(whole.get(), keys[0])), kEntries / 2);
    EXPECT_EQ(xpc::to_string(whole), xpc::to_string(built));

    std::string previous;
    EXPECT_FALSE(xpc_dictionary_apply(whole.get(), [&](const char* key, xpc_object_t) {
        EXPECT_LT(previous, key);
        previous = key;
        return previous != names[3];
    }));
    EXPECT_EQ(previous, names[3]);
    for (const auto& name : names) {
        xpc_dictionary_set_value(built.get(), name.c_str(), nullptr);
    }
    EXPECT_EQ(xpc::to_string(built), "{}");
}

TEST(Value, ReadersTakeAnyKind) {
    const auto string = text({"a\0b", 3});
    EXPECT_EQ(std::string(xpc_string_get_string_ptr(string.get()), xpc_string_get_length(string.get()) + 1),
              std::string("a\0b\0", 4));
    const auto list = array({number(7)});
    for (xpc_object* const object : {xpc_object_t{}, xpc_null_create(), string.get(), list.get()}) {
        EXPECT_EQ(xpc_int64_get_value(object), 0);
        EXPECT_FALSE(xpc_bool_get_value(object));
        EXPECT_EQ(xpc_dictionary_get_value(object, "k"), nullptr);
        EXPECT_EQ(xpc_dictionary_get_count(object), 0U);
        EXPECT_EQ(vsk::toInt32(object, -5), -5);
    }
    EXPECT_EQ(vsk::toInt32(number(0x1'8000'0000).get(), 0), INT32_MIN);
    EXPECT_EQ(vsk::toInt32(xpc_array_get_value(list.get(), 0), 0), 7);
    EXPECT_EQ(xpc_array_get_value(list.get(), 1), nullptr);
    EXPECT_EQ(xpc_string_get_string_ptr(list.get()), nullptr);
    EXPECT_EQ(xpc_string_create_with_length("", SIZE_MAX), nullptr);
    const char* const keys[] = {"k"};
    const xpc_object_t missing[] = {nullptr};
    EXPECT_EQ(xpc_dictionary_create(keys, missing, 1), nullptr);
    EXPECT_EQ(xpc_array_create(nullptr, 1), nullptr);
}

}  // namespace
