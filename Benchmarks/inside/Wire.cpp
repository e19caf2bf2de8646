// What a packet and a printed object cost, and how that grows with their size.

#include "Client/wire/Packet.h"
#include "platform/ryn/constants.h"
#include "platform/xpc/Object.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using ryn::wire::Reply;
using ryn::wire::Request;

xpc::Object text(const std::string& value) {
    return xpc::Object::adopt(xpc_string_create(value.c_str()));
}

xpc::Object dictionary() {
    return xpc::Object::adopt(xpc_dictionary_create(nullptr, nullptr, 0));
}

Request question() {
    const xpc::Object argument = dictionary();
    xpc_dictionary_set_value(argument.get(), ryn::kKeyTraceName, text(ryn::kTraceCoreDump).get());
    xpc_dictionary_set_value(argument.get(), ryn::kKeyTracePropertyName, text("Enabled").get());
    return {1, ryn::kCommandGetTraceProperty, argument};
}

/// {"key0000": {"number": 0, "text": "value"}, ...}
Reply bigReply(std::int64_t entries) {
    const xpc::Object object = dictionary();
    for (std::int64_t index = 0; index < entries; ++index) {
        const xpc::Object entry = dictionary();
        xpc_dictionary_set_value(entry.get(), "number", xpc::Object::adopt(xpc_int64_create(index)).get());
        xpc_dictionary_set_value(entry.get(), "text", text("value").get());
        xpc_dictionary_set_value(object.get(), ("key" + std::to_string(index)).c_str(), entry.get());
    }
    return {1, 0, object};
}

std::vector<std::uint8_t> encoded(const ryn::wire::Packet& packet) {
    std::vector<std::uint8_t> bytes;
    ryn::wire::encode(packet, bytes);
    return bytes;
}

void encodeRequest(benchmark::State& state) {
    const ryn::wire::Packet packet = question();
    std::vector<std::uint8_t> buffer;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ryn::wire::encode(packet, buffer));
    }
}
BENCHMARK(encodeRequest);

void decodeRequest(benchmark::State& state) {
    const std::vector<std::uint8_t> bytes = encoded(question());
    for (auto _ : state) {
        benchmark::DoNotOptimize(ryn::wire::decode(bytes));
    }
}
BENCHMARK(decodeRequest);

void encodeReply(benchmark::State& state) {
    const ryn::wire::Packet packet = bigReply(state.range(0));
    std::vector<std::uint8_t> buffer;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ryn::wire::encode(packet, buffer));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(encodeReply)->RangeMultiplier(8)->Range(2, 1024)->Complexity();

void decodeReply(benchmark::State& state) {
    const std::vector<std::uint8_t> bytes = encoded(bigReply(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(ryn::wire::decode(bytes));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(decodeReply)->RangeMultiplier(8)->Range(2, 1024)->Complexity();

void renderReply(benchmark::State& state) {
    const Reply reply = bigReply(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(xpc::to_string(reply.object));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(renderReply)->RangeMultiplier(8)->Range(2, 1024)->Complexity();

}  // namespace

BENCHMARK_MAIN();
