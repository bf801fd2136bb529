// The worker thread's request channel: blocking round trips and one-way
// throughput. The figure that matters is msgs_per_s, messages per second of
// wall time; the sender's CPU time alone would leave out its waiting.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <vector>

#include "common/runtime/VexaThread.h"

namespace {

class Echo : public pwr::VexaThreadActor {
  public:
    int handleRequest(int command, uint32_t, const void*, int* result) override {
        *result = command;
        return 0;
    }
};

// A started worker for one benchmark run, stopped when the run ends.
struct Worker {
    Worker() : thread(echo) {
        thread.init();
        thread.start();
    }
    ~Worker() {
        thread.kill();
        thread.join();
    }
    Echo echo;
    pwr::VexaThread thread;
};

// op sends some messages and returns how many.
template <typename Op>
void measure(benchmark::State& state, Op op) {
    const auto begin = std::chrono::steady_clock::now();
    int64_t messages = 0;
    for (auto _ : state) {
        messages += op();
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    state.SetItemsProcessed(messages);
    state.counters["msgs_per_s"] = seconds > 0.0 ? static_cast<double>(messages) / seconds : 0.0;
}

void roundTrip(benchmark::State& state, size_t payloadSize) {
    Worker worker;
    const std::vector<char> payload(payloadSize, 1);
    measure(state, [&] {
        int result = worker.thread.signal(1, payload.size(), payload.data(), true, true);
        benchmark::DoNotOptimize(result);
        return 1;
    });
}

// Every 256th message waits for its answer: the queue stays bounded, and a
// batch counts only once the worker has handled all of it.
void oneWay(benchmark::State& state, size_t payloadSize) {
    Worker worker;
    const std::vector<char> payload(payloadSize, 1);
    measure(state, [&] {
        for (int i = 0; i < 255; ++i) {
            worker.thread.signal(1, payload.size(), payload.data(), false, false);
        }
        int result = worker.thread.signal(2, payload.size(), payload.data(), true, true);
        benchmark::DoNotOptimize(result);
        return 256;
    });
}

void BM_RoundTripNoPayload(benchmark::State& state) {
    roundTrip(state, 0);
}
BENCHMARK(BM_RoundTripNoPayload);

void BM_RoundTrip64B(benchmark::State& state) {
    roundTrip(state, 64);
}
BENCHMARK(BM_RoundTrip64B);

void BM_OneWay64B(benchmark::State& state) {
    oneWay(state, 64);
}
BENCHMARK(BM_OneWay64B);

void BM_OneWay64KiB(benchmark::State& state) {
    oneWay(state, 65536);
}
BENCHMARK(BM_OneWay64KiB);

}  // namespace

BENCHMARK_MAIN();
