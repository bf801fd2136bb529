// Data on the accumulation path: addValue per type, comparison, scaling and
// formatting. Reports items per second and heap allocations per item.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>

#include "bench/support/AllocationCounter.h"
#include "common/data/Data.h"

namespace {

using pwr::Data;
using vantry::bench::allocationCount;

// Runs op once per iteration and records the rate and allocations per item.
template <typename Op>
void measure(benchmark::State& state, Op op) {
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        op();
    }
    const uint64_t allocations = allocationCount() - before;
    state.SetItemsProcessed(state.iterations());
    state.counters["allocs_per_item"] =
        static_cast<double>(allocations) / static_cast<double>(state.iterations());
}

void BM_AddValueUInt(benchmark::State& state) {
    Data total(pwr::DataType::UINT);
    total.initZero();
    const Data sample(uint64_t{1234});
    measure(state, [&] {
        total.addValue(sample);
        benchmark::DoNotOptimize(total);
    });
}
BENCHMARK(BM_AddValueUInt);

void BM_AddValueInt(benchmark::State& state) {
    Data total(pwr::DataType::INT);
    total.initZero();
    const Data sample(int64_t{-17});
    measure(state, [&] {
        total.addValue(sample);
        benchmark::DoNotOptimize(total);
    });
}
BENCHMARK(BM_AddValueInt);

void BM_AddValueReal(benchmark::State& state) {
    Data total(pwr::DataType::REAL);
    total.initZero();
    const Data sample(0.125);
    measure(state, [&] {
        total.addValue(sample);
        benchmark::DoNotOptimize(total);
    });
}
BENCHMARK(BM_AddValueReal);

void BM_AddValueRealRange(benchmark::State& state) {
    Data total(pwr::DataType::REAL_RANGE);
    total.initZero();
    const Data sample(0.5, 1.5);
    measure(state, [&] {
        total.addValue(sample);
        benchmark::DoNotOptimize(total);
    });
}
BENCHMARK(BM_AddValueRealRange);

void BM_CompareUInt(benchmark::State& state) {
    const Data a(uint64_t{10});
    Data b(uint64_t{11});
    measure(state, [&] {
        bool less = a < b;
        bool equal = a == b;
        benchmark::DoNotOptimize(less);
        benchmark::DoNotOptimize(equal);
        benchmark::DoNotOptimize(b);
    });
}
BENCHMARK(BM_CompareUInt);

void BM_MultiplyInt(benchmark::State& state) {
    Data value(int64_t{1000});
    measure(state, [&] {
        value.multiplyValue(1.0);
        benchmark::DoNotOptimize(value);
    });
}
BENCHMARK(BM_MultiplyInt);

void BM_MultiplyReal(benchmark::State& state) {
    Data value(1000.0);
    measure(state, [&] {
        value.multiplyValue(1.0);
        benchmark::DoNotOptimize(value);
    });
}
BENCHMARK(BM_MultiplyReal);

void BM_FormatInt(benchmark::State& state) {
    const Data value(int64_t{-123456789});
    std::string out;
    out.reserve(64);
    measure(state, [&] {
        value.toFormattedString(out);
        benchmark::DoNotOptimize(out);
    });
}
BENCHMARK(BM_FormatInt);

void BM_FormatReal(benchmark::State& state) {
    const Data value(12345.6789);
    std::string out;
    out.reserve(64);
    measure(state, [&] {
        value.toFormattedString(out);
        benchmark::DoNotOptimize(out);
    });
}
BENCHMARK(BM_FormatReal);

}  // namespace

BENCHMARK_MAIN();
