#include "Corvane/Daemon.h"
#include "Corvane/Options.h"
#include "platform/console/StandardStreams.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int count, char** words) {
    platform::openStandardStreams();
    auto parsed = corvane::Options::parse(std::vector<std::string>(words + 1, words + count));
    if (const auto* exit = std::get_if<corvane::Options::Exit>(&parsed)) {
        std::fputs(exit->text.c_str(), exit->status == 0 ? stdout : stderr);
        return exit->status;
    }
    if (const auto served = corvane::Daemon(std::get<corvane::Options>(std::move(parsed))).run(); !served) {
        std::fprintf(stderr, "Corvane: %s\n", served.refusal().sentence.c_str());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
