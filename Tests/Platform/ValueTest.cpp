#include "platform/vsk/SorvexUtil.h"
#include "platform/xpc/Values.h"
#include "support/Test.h"

namespace {

TEST(Value, DictionaryKeepsOneValuePerKeyInByteOrder) {
    const auto first = xpc::number(1);
    const auto last = xpc::number(2);
    const char* const keys[] = {"b", "\xFF", "", "B", "b", nullptr};
    const xpc_object_t values[] = {first.get(), first.get(), first.get(), first.get(), last.get(), nullptr};
    const auto made = xpc::Object::adopt(xpc_dictionary_create(keys, values, std::size(keys)));
    EXPECT_EQ(xpc_dictionary_get_count(made.get()), 4U);
    xpc_dictionary_set_value(made.get(), "", nullptr);
    xpc_dictionary_set_value(made.get(), "a", nullptr);
    EXPECT_EQ(xpc_dictionary_get_value(made.get(), nullptr), nullptr);
    std::vector<std::string> seen;
    EXPECT_FALSE(xpc_dictionary_apply(made.get(), [&](const char* key, xpc_object_t) {
        seen.emplace_back(key);
        return seen.size() < 2;
    }));
    EXPECT_THAT(seen, ElementsAre("B", "b"));
    EXPECT_EQ(xpc::to_string(made), "{\"B\":1,\"b\":2,\"\xEF\xBF\xBD\":1}");
}

TEST(Value, ReadersTakeAnyKind) {
    const auto string = xpc::text({"a\0b", 3});
    EXPECT_EQ(std::string(xpc_string_get_string_ptr(string.get()), xpc_string_get_length(string.get()) + 1),
              std::string("a\0b\0", 4));
    const auto list = xpc::array({xpc::number(7)});
    for (xpc_object* const object : {xpc_object_t{}, xpc_null_create(), string.get(), list.get()}) {
        EXPECT_EQ(xpc_int64_get_value(object), 0);
        EXPECT_FALSE(xpc_bool_get_value(object));
        EXPECT_EQ(xpc_dictionary_get_value(object, "k"), nullptr);
        EXPECT_EQ(xpc_dictionary_get_count(object), 0U);
        EXPECT_EQ(vsk::toInt32(object, -5), -5);
    }
    EXPECT_EQ(vsk::toInt32(xpc::number(0x1'8000'0000).get(), 0), INT32_MIN);
    EXPECT_EQ(vsk::toInt32(xpc_array_get_value(list.get(), 0), 0), 7);
    xpc_array_append_value(list.get(), nullptr);
    xpc_array_append_value(string.get(), list.get());
    EXPECT_EQ(xpc_array_get_count(list.get()), 1U);
    EXPECT_EQ(xpc_array_get_value(list.get(), 1), nullptr);
    EXPECT_EQ(xpc_string_get_string_ptr(list.get()), nullptr);
    EXPECT_EQ(xpc_string_create_with_length("", SIZE_MAX / 2 + 1), nullptr);
}

TEST(Value, TellsAboutWhatItTakes) {
    const auto text = xpc::text(std::string(1000, 'x'));
    const auto nested = xpc::dictionary({{std::string(100, 'k').c_str(), xpc::array({text, text, xpc::null()})}});
    EXPECT_THAT(xpc::memoryOf(text), testing::AllOf(testing::Ge(1000U), testing::Le(1200U)));
    EXPECT_THAT(xpc::memoryOf(nested), testing::AllOf(testing::Ge(2100U), testing::Le(2800U)));
}

}  // namespace
