#include "Platform/Report.h"

#include <cstdio>

namespace platform {
namespace {

void (*reporter)(std::string_view) = [](std::string_view sentence) {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(sentence.size()), sentence.data());
};

}  // namespace

void report(const std::string& sentence) {
    reporter(sentence);
}

void reportTo(void (*taker)(std::string_view sentence)) {
    reporter = taker;
}

}  // namespace platform
