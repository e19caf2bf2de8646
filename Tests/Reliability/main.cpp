#include "Torture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Program {
    std::string_view name;
    const char* promise;
    void (*run)(torture::Run& run);
};

constexpr Program kPrograms[] = {
    {"clients", "A hostile client costs its own connection and nothing else", torture::hostileClients},
    {"manager", "A hostile manager can't crash or hang a tool", torture::hostileManager},
    {"slow", "Writers on a slow disk share its syncs, and keep nobody else waiting", torture::slowDisk},
    {"load", "64 clients at once are served without a data race or a wrong access", torture::load},
};

constexpr int kSkipped = 77;

/// In a child, which may change what belongs to a process: its namespaces, its limits, its name.
int runInChild(const Program& program, bool isShort, std::uint32_t seed) {
    const pid_t child = fork();
    if (child == 0) {
        support::becomePellcore();
        torture::Run run(isShort, seed);
        try {
            program.run(run);
        } catch (const torture::Skipped& skipped) {
            std::printf("  skipped: %s\n", skipped.why.c_str());
            std::exit(kSkipped);
        } catch (const std::exception& error) {
            run.expect(false, error.what());
        }
        std::exit(run.kept() ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return support::exitStatus(status);
}

/// @return whether the promise was kept, or could not be tried.
bool run(const Program& program, bool isShort, std::uint32_t seed) {
    std::printf("%s: %s\n", std::string(program.name).c_str(), program.promise);
    std::fflush(stdout);
    const auto begin = torture::Clock::now();
    const int status = runInChild(program, isShort, seed);
    const auto seconds = std::chrono::duration<double>(torture::Clock::now() - begin).count();
    const bool kept = status == EXIT_SUCCESS || status == kSkipped;
    std::printf("  %s in %.0f s\n", status == kSkipped ? "not tried" : kept ? "kept" : "BROKEN", seconds);
    return kept;
}

}  // namespace

/// torture [--short] [--seed NUMBER] [NAME...]
int main(int count, char** words) {
    bool isShort = false;
    auto seed = static_cast<std::uint32_t>(time(nullptr));
    std::vector<std::string_view> names;
    for (int index = 1; index < count; ++index) {
        const std::string_view word = words[index];
        const auto named = std::ranges::find(kPrograms, word, &Program::name);
        if (word == "--short") {
            isShort = true;
        } else if (word == "--seed" && index + 1 < count) {
            seed = static_cast<std::uint32_t>(std::strtoul(words[++index], nullptr, 10));
        } else if (named != std::end(kPrograms)) {
            names.push_back(word);
        } else {
            std::fprintf(stderr, "torture: no program %s; there are", words[index]);
            for (const Program& program : kPrograms) {
                std::fprintf(stderr, " %s", std::string(program.name).c_str());
            }
            std::fprintf(stderr, "\n");
            return 2;
        }
    }
    std::printf("seed %u%s\n", seed, isShort ? ", short form" : "");
    bool kept = true;
    for (const Program& program : kPrograms) {
        if (names.empty() || std::ranges::find(names, program.name) != names.end()) {
            kept = run(program, isShort, seed) && kept;
        }
    }
    return kept ? EXIT_SUCCESS : EXIT_FAILURE;
}
