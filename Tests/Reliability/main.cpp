#include "Torture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace {

struct Program {
    std::string_view name;
    void (*run)(torture::Run& run);
};

constexpr Program kPrograms[] = {{"clients", torture::hostileClients},
                                 {"memory", torture::scarceMemory},
                                 {"manager", torture::hostileManager},
                                 {"slow", torture::slowDisk},
                                 {"load", torture::load}};

constexpr int kSkipped = 77;

}  // namespace

/// torture [--short] [--seed NUMBER] NAME, started by torture.py in a process for each.
int main(int count, char** words) {
    const std::span<char*> options(words + 1, words + count);
    const std::string_view name = options.empty() ? "" : options.back();
    const auto program = std::ranges::find(kPrograms, name, &Program::name);
    if (program == std::end(kPrograms)) {
        std::fprintf(stderr, "torture: no program %s\n", std::string(name).c_str());
        return 2;
    }
    const auto seed = std::ranges::find(options, std::string_view("--seed"));
    const bool isShort = std::ranges::find(options, std::string_view("--short")) != options.end();
    torture::Run run(isShort, seed == options.end() ? 1U : static_cast<std::uint32_t>(std::strtoul(seed[1], nullptr, 10)));
    support::becomePellcore();
    try {
        program->run(run);
    } catch (const torture::Skipped& skipped) {
        std::printf("  skipped: %s\n", skipped.why.c_str());
        return kSkipped;
    } catch (const std::exception& error) {
        run.expect(false, error.what());
    }
    return run.kept() ? EXIT_SUCCESS : EXIT_FAILURE;
}
