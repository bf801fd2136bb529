// Stand-in for Google Benchmark in the Windows cross build, where Debian has
// no package of it. It covers what our benchmark programs use: State with
// range-for iteration, counters with rates, SetItemsProcessed, DoNotOptimize,
// ClobberMemory, BENCHMARK and BENCHMARK_MAIN. Each benchmark runs for about
// half a second of wall time and prints one line of results.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace benchmark {

class Counter {
  public:
    enum Flags { kDefaults = 0, kIsRate = 1, kAvgIterations = 2 };
    Counter(double v = 0.0, Flags f = kDefaults) : value(v), flags(f) {}
    double value;
    Flags flags;
};

class State {
  public:
    explicit State(uint64_t iterations) : m_iterations(iterations) {}

    // A class type, so that "for (auto _ : state)" raises no unused warning.
    struct __attribute__((unused)) Value {};
    struct Iterator {
        uint64_t left;
        bool operator!=(const Iterator&) const { return left != 0; }
        void operator++() { --left; }
        Value operator*() const { return Value(); }
    };
    Iterator begin() {
        m_start = std::chrono::steady_clock::now();
        return Iterator{m_iterations};
    }
    Iterator end() { return Iterator{0}; }

    void SetItemsProcessed(int64_t items) { m_items = items; }
    int64_t iterations() const { return static_cast<int64_t>(m_iterations); }
    void SetLabel(const std::string& label) { m_label = label; }

    std::map<std::string, Counter> counters;
    std::chrono::steady_clock::time_point m_start;
    uint64_t m_iterations;
    int64_t m_items = 0;
    std::string m_label;
};

template <class T>
inline void DoNotOptimize(T& value) {
    asm volatile("" : "+m"(value) : : "memory");
}
template <class T>
inline void DoNotOptimize(const T& value) {
    asm volatile("" : : "m"(value) : "memory");
}
inline void ClobberMemory() {
    asm volatile("" : : : "memory");
}

namespace internal {

using Function = void (*)(State&);

struct Registered {
    const char* name;
    Function fn;
};

inline std::vector<Registered>& registry() {
    static std::vector<Registered> list;
    return list;
}

inline int add(const char* name, Function fn) {
    registry().push_back({name, fn});
    return 0;
}

inline int runAll() {
    using Clock = std::chrono::steady_clock;
    for (const Registered& r : registry()) {
        uint64_t n = 1;
        double seconds = 0.0;
        State state(n);
        for (;;) {
            state = State(n);
            r.fn(state);
            seconds = std::chrono::duration<double>(Clock::now() - state.m_start).count();
            if (seconds > 0.5 || n > (1ull << 40)) {
                break;
            }
            n = seconds < 0.005 ? n * 100 : static_cast<uint64_t>(n * (0.6 / seconds)) + 1;
        }
        std::printf("%-40s %12.2f ns/iter", r.name, seconds * 1e9 / static_cast<double>(n));
        if (state.m_items > 0) {
            std::printf("  items_per_second=%.4gM/s", state.m_items / seconds / 1e6);
        }
        for (const auto& c : state.counters) {
            double v = c.second.value;
            if (c.second.flags & Counter::kIsRate) {
                v /= seconds;
            }
            if (c.second.flags & Counter::kAvgIterations) {
                v /= static_cast<double>(n);
            }
            std::printf("  %s=%.4g", c.first.c_str(), v);
        }
        std::printf("\n");
    }
    return 0;
}

}  // namespace internal
}  // namespace benchmark

#define BENCHMARK_CONCAT2(a, b) a##b
#define BENCHMARK_CONCAT(a, b) BENCHMARK_CONCAT2(a, b)
#define BENCHMARK(fn)                                                               \
    static int BENCHMARK_CONCAT(benchmark_registered_, __LINE__) [[maybe_unused]] = \
        ::benchmark::internal::add(#fn, fn)
#define BENCHMARK_MAIN()                        \
    int main() {                                \
        return ::benchmark::internal::runAll(); \
    }
