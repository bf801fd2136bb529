// The system record of a large collection: a 64-thread topology (one package,
// 32 cores of two threads) and 1,000 topology changes. Measures writing it,
// reading it back (which rebuilds the topology entities) and both in turn.
// Reports records per second and heap allocations per record.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench/support/AllocationCounter.h"
#include "common/data/UniqueId.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"

namespace {

using pwr::Serializer;
using pwr::SystemMetadata;
using vantry::bench::allocationCount;

constexpr int kCores = 32;
constexpr int kThreadsPerCore = 2;
constexpr int kChanges = 1000;

SystemMetadata makeRecord() {
    SystemMetadata s;
    s.sidToUuid = {{1, "d3ad8390-29cc-11e6-bdf4-0800200c9a66"}};
    s.fms = {6, 0xB7, 1};
    s.appVersion = 0x07E80102;
    s.driverVersion = 0x00030405;
    s.platformName = "RPL_ADP-S";
    s.hostName = "bench-host";
    s.osName = "Windows";
    s.osType = "x64";
    s.osVersion = "10.0.22631";
    for (int core = 0; core < kCores; ++core) {
        for (int thread = 0; thread < kThreadsPerCore; ++thread) {
            s.cpuTopology.addNode(0, -1, core, thread, core < 8 ? 0x40000001 : 0x20000001);
        }
    }
    s.cpuTopology.setUniqueID();
    s.clockFreqMHz = 10.0f;
    s.cpuFreqMHz = 3000.0f;
    s.commandLine = {"vantry", "-t", "60", "--features", "cpu-cstate"};
    for (int i = 0; i < kChanges; ++i) {
        const auto lp = static_cast<uint16_t>(i % (kCores * kThreadsPerCore));
        s.topologyChanges.emplace_back(
            static_cast<uint64_t>(i) * 1000,
            i % 2 == 0 ? pwr::cpu_action::OFFLINE : pwr::cpu_action::ONLINE, lp,
            static_cast<uint16_t>(lp / kThreadsPerCore), 0, 0);
    }
    s.clockSyncs.push_back({"8ad42930-517d-11e5-b970-0800200c9a66", "NANO", 1000.0f, 1,
                            "d3ad8390-29cc-11e6-bdf4-0800200c9a66", "QPC", 10.0f, 2});
    s.buildRef = "bench";
    return s;
}

std::vector<char> write(const SystemMetadata& record) {
    Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

int read(const std::vector<char>& bytes, SystemMetadata& record) {
    Serializer in(bytes);
    uint32_t type = 0;
    in.read(type);
    return record.deserialize_i(in, 0);
}

// Runs op once per iteration and records the rate and allocations per record.
template <typename Op>
void measure(benchmark::State& state, Op op) {
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        op();
    }
    const uint64_t allocations = allocationCount() - before;
    state.SetItemsProcessed(state.iterations());
    state.counters["allocs_per_record"] =
        static_cast<double>(allocations) / static_cast<double>(state.iterations());
}

// Reading rebuilds the topology entities, which live in the registry.
struct Registry {
    Registry() { pwr::UniqueId::initialize(); }
    ~Registry() { pwr::UniqueId::destroy(); }
};

void BM_WriteSystemRecord(benchmark::State& state) {
    const SystemMetadata record = makeRecord();
    state.counters["bytes_per_record"] = static_cast<double>(write(record).size());
    measure(state, [&] {
        std::vector<char> bytes = write(record);
        benchmark::DoNotOptimize(bytes);
    });
}
BENCHMARK(BM_WriteSystemRecord);

void BM_ReadSystemRecord(benchmark::State& state) {
    Registry registry;
    const std::vector<char> bytes = write(makeRecord());
    measure(state, [&] {
        SystemMetadata back;
        int result = read(bytes, back);
        benchmark::DoNotOptimize(result);
    });
}
BENCHMARK(BM_ReadSystemRecord);

void BM_WriteAndReadSystemRecord(benchmark::State& state) {
    Registry registry;
    const SystemMetadata record = makeRecord();
    measure(state, [&] {
        SystemMetadata back;
        int result = read(write(record), back);
        benchmark::DoNotOptimize(result);
    });
}
BENCHMARK(BM_WriteAndReadSystemRecord);

}  // namespace

BENCHMARK_MAIN();
