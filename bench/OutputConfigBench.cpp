// Parsing an output configuration: a generated file of 5,000 lines (table
// settings for 49 features, their container orders and the feature order),
// read from disk and parsed whole. Reports lines per second and heap
// allocations per line, and the time for twice the lines over the time for
// the original, which stays near 2 while parsing is linear.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/support/AllocationCounter.h"
#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/serialize/SystemMetadata.h"

namespace {

using vantry::bench::allocationCount;

const char* const c_keys[] = {"TITLE", "TABLE", "TRANSPOSE", "PRE-TABLE-TEXT", "POST-TABLE-TEXT"};
const char* const c_types[] = {"MIN-MAX-AVG", "RESIDENCY-PERCENTAGE", "TRANSITION-COUNTS",
                               "SAMPLE-COUNT"};

// A file of exactly `lines` lines, written in the working directory and
// removed when the program ends.
class GeneratedConfig {
  public:
    explicit GeneratedConfig(unsigned lines)
        : m_path("output_config_bench_" + std::to_string(lines) + ".cfg"), m_lines(lines) {
        // The feature order, 102 lines per feature, and comments to make up
        // the count.
        const unsigned features = (lines - 1) / 102;
        std::string text = "ALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=";
        for (unsigned f = 0; f < features; ++f) {
            text += "feature-" + std::to_string(f) + (f + 1 < features ? "," : "\n");
        }
        for (unsigned f = 0; f < features; ++f) {
            const std::string feature = "feature-" + std::to_string(f);
            text += "# " + feature + "\n";
            text +=
                "ALL_" + feature +
                "_TAG_TABLE_ORDER=Container 0,Container 1,Container 2,Container 3,Container 4\n";
            for (unsigned i = 0; i < 100; ++i) {
                text += "ALL_" + feature + "_Container " + std::to_string(i / 20) + "_" +
                        c_types[(i / 5) % 4] + "_" + c_keys[i % 5] +
                        "=Value_of=" + std::to_string(i) + "  # note\n";
            }
        }
        for (unsigned padding = lines - 1 - features * 102; padding > 0; --padding) {
            text += "# padding\n";
        }
        std::FILE* file = std::fopen(m_path.c_str(), "wb");
        if (file != nullptr) {
            std::fwrite(text.data(), 1, text.size(), file);
            std::fclose(file);
        }
        m_system.platformName = "MTL-P";
    }
    ~GeneratedConfig() { std::remove(m_path.c_str()); }

    unsigned lines() const { return m_lines; }
    // Parses the file once; aborts the benchmark run if the file is refused.
    void parse() const {
        if (pwr::WriterInterfaceConfigFileParser::instance()->parse({m_path}, m_system) != 0) {
            std::fprintf(stderr, "generated output configuration refused\n");
            std::abort();
        }
    }

  private:
    std::string m_path;
    unsigned m_lines;
    pwr::SystemMetadata m_system;
};

const GeneratedConfig& config5k() {
    static const GeneratedConfig config(5000);
    return config;
}

const GeneratedConfig& config10k() {
    static const GeneratedConfig config(10000);
    return config;
}

void BM_ParseOutputConfig5000Lines(benchmark::State& state) {
    const GeneratedConfig& config = config5k();
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        config.parse();
    }
    const uint64_t allocations = allocationCount() - before;
    const double lines = static_cast<double>(state.iterations()) * config.lines();
    state.SetItemsProcessed(static_cast<int64_t>(lines));
    state.counters["allocs_per_line"] = static_cast<double>(allocations) / lines;
}
BENCHMARK(BM_ParseOutputConfig5000Lines);

// Each iteration parses 5,000 and then 10,000 lines into a fresh parser; the
// counter is the ratio of the summed times.
void BM_ParseOutputConfigLinearity(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    const GeneratedConfig& small = config5k();
    const GeneratedConfig& large = config10k();
    Clock::duration smallTime{};
    Clock::duration largeTime{};
    for (auto _ : state) {
        // Freeing what the other file built is not part of either figure.
        pwr::WriterInterfaceConfigFileParser::destroy();
        const auto t0 = Clock::now();
        small.parse();
        smallTime += Clock::now() - t0;
        pwr::WriterInterfaceConfigFileParser::destroy();
        const auto t1 = Clock::now();
        large.parse();
        largeTime += Clock::now() - t1;
    }
    state.SetItemsProcessed(state.iterations() * (small.lines() + large.lines()));
    state.counters["time_ratio_10k_vs_5k"] = std::chrono::duration<double>(largeTime).count() /
                                             std::chrono::duration<double>(smallTime).count();
}
BENCHMARK(BM_ParseOutputConfigLinearity);

}  // namespace

BENCHMARK_MAIN();
