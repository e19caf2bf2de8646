#include "Corvane/Daemon.h"
#include "Corvane/Options.h"
#include "platform/console/StandardStreams.h"

#include <cstdio>
#include <cstdlib>

int main(int count, char** words) {
    constexpr int kBadUsage = 2;
    platform::openStandardStreams();
    auto options = corvane::Options::parse(count, words);
    if (!options) {
        std::fprintf(stderr, "Corvane: %s\n", options.refusal().sentence.c_str());
        return kBadUsage;
    }
    if (!options->output.empty()) {
        std::fputs(options->output.c_str(), stdout);
        return EXIT_SUCCESS;
    }
    if (const auto served = corvane::Daemon(*std::move(options)).run(); !served) {
        std::fprintf(stderr, "Corvane: %s\n", served.refusal().sentence.c_str());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
