// What stands between a tool's start and its first word: the whole tree of commands.

#include "commands/Groups.h"
#include "platform/dispatch/dispatch.h"
#include "platform/ryn/client.h"

#include <benchmark/benchmark.h>

namespace {

void buildTree(benchmark::State& state) {
    const dispatch_queue_t queue = dispatch_queue_create("bench.queue", nullptr);
    const ryn::client::ManagerPtr manager = ryn::client::CreateManager("bench", queue);
    for (auto _ : state) {
        benchmark::DoNotOptimize(createRYNCommand("ryntool", {}, manager, queue));
    }
    dispatch_release(queue);
}
BENCHMARK(buildTree);

}  // namespace

BENCHMARK_MAIN();
