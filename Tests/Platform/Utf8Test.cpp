#include "Platform/Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Utf8, IsJudgedAcrossWordBoundaries) {
    const auto within = [](std::string_view bytes, std::size_t ascii) {
        return std::string(ascii, 'a').append(bytes).append(ascii, 'a');
    };
    for (std::size_t ascii = 0; ascii < 17; ++ascii) {
        EXPECT_TRUE(platform::isUtf8(within("\xE6\xB0\xB4", ascii))) << ascii;
        EXPECT_FALSE(platform::isUtf8(within("\xE6\xB0", ascii))) << ascii;
        EXPECT_FALSE(platform::isUtf8(within("\xBF", ascii))) << ascii;
    }
}

}  // namespace
