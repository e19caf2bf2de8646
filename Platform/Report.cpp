#include "Platform/Report.h"

#include <cstdio>

namespace platform {
namespace {

void print(std::string_view sentence) {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(sentence.size()), sentence.data());
}

void (*reporter)(std::string_view) = print;

}  // namespace

void report(const std::string& sentence) {
    reporter(sentence);
}

void reportTo(void (*taker)(std::string_view sentence)) {
    reporter = taker;
}

}  // namespace platform
