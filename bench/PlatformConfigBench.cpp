// Parsing a platform configuration: a generated file of 10,000 lines (50
// platforms in a tree, 2,000 messages with their triggers, ids and MSR
// operations), read from disk, parsed and bound to one collector. Reports
// lines per second and heap allocations per line, and the time for twice the
// platforms and messages over the time for the original, which stays near 2
// while parsing is linear.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/AllocationCounter.h"
#include "common/config/VexaConfigFileParser.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/serialize/SystemMetadata.h"

namespace {

using vantry::bench::allocationCount;

// Lines per platform: four for the platform itself, then 39 messages of five
// lines and one message that copies another's operations.
constexpr unsigned kLinesPerPlatform = 200;
constexpr unsigned kMessagesPerPlatform = 40;

class MsrCollector : public CollectorPlugin {
  public:
    MsrCollector() : CollectorPlugin("msr"), m_msr("MSR", "MSR") {
        m_msr.addCategory("ADDRESS");
        m_msr.addCategory("MASK");
        m_msr.addCategory("DATA-FORMAT");
        addOperation(&m_msr);
    }
    pwr::ResetReturnCode reset(pwr::ResetReason, uint64_t, const pwr::SystemMetadata&) override {
        return pwr::ResetReturnCode::SUCCESS;
    }
    int getContinuousResult(pwr::VexaBuffer&, CollectionData&) override { return 0; }

  private:
    pwr::Operation m_msr;
};

// A file for `platforms` platforms, written in the working directory and
// removed when the program ends.
class GeneratedConfig {
  public:
    explicit GeneratedConfig(unsigned platforms)
        : m_path("platform_config_bench_" + std::to_string(platforms) + ".cfg"),
          m_lines(platforms * kLinesPerPlatform) {
        std::string text;
        for (unsigned p = 0; p < platforms; ++p) {
            const std::string name = "P" + std::to_string(p);
            // A tree four wide; every parent comes before its children.
            const std::string parent = p == 0 ? "" : "-P" + std::to_string((p - 1) / 4);
            const std::string prefix = name + "_CORE" + std::to_string(p % 5);
            text += name + parent + "_MODEL_FMS_CONSTANT_VALUE=6." + std::to_string(p) + ".1\n";
            text += name + "_MODEL_PCI_CONSTANT_VALUE=VENDOR=0x8086,DEVICE=0x" +
                    std::to_string(1000 + p) + "\n";
            text += prefix + "_CAPABILITY_COMMAND-LINE_VALUE=feature-" + std::to_string(p) + "\n";
            text += prefix + "_INHERIT_MODE_VALUE=EXTEND\n";
            for (unsigned m = 0; m + 1 < kMessagesPerPlatform; ++m) {
                const std::string msg = prefix + "_M" + std::to_string(m);
                text += msg + "_MSG_READ-WHEN=BEGIN,POLL,END  # sampled\n";
                text += msg + "_MSG_ID=" + std::to_string(m) + "\n";
                text += msg + "_MSR_ADDRESS=0x" + std::to_string(600 + m) + "\n";
                text += msg + "_MSR_MASK=63:0\n";
                text += msg + "_MSR_DATA-FORMAT=U32.0\n";
            }
            text += prefix + "_COPY_MSG_SOURCE=M0\n";
        }
        std::FILE* file = std::fopen(m_path.c_str(), "wb");
        if (file != nullptr) {
            std::fwrite(text.data(), 1, text.size(), file);
            std::fclose(file);
        }
    }
    ~GeneratedConfig() { std::remove(m_path.c_str()); }

    unsigned lines() const { return m_lines; }
    // Parses the file; aborts the run if it is refused. The parser must be
    // fresh (destroyed since its last parse).
    void parse() const {
        if (pwr::VexaConfigFileParser::instance()->parse({m_path}, {&m_collector}, m_system) != 0) {
            std::fprintf(stderr, "generated platform configuration refused\n");
            std::abort();
        }
    }

  private:
    std::string m_path;
    unsigned m_lines;
    mutable MsrCollector m_collector;
    pwr::SystemMetadata m_system;
};

const GeneratedConfig& config10k() {
    static const GeneratedConfig config(50);
    return config;
}

const GeneratedConfig& config20k() {
    static const GeneratedConfig config(100);
    return config;
}

void BM_ParsePlatformConfig10000Lines(benchmark::State& state) {
    const GeneratedConfig& config = config10k();
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        // Freeing the previous parse is part of the figure.
        pwr::VexaConfigFileParser::destroy();
        config.parse();
    }
    const uint64_t allocations = allocationCount() - before;
    const double lines = static_cast<double>(state.iterations()) * config.lines();
    state.SetItemsProcessed(static_cast<int64_t>(lines));
    state.counters["allocs_per_line"] = static_cast<double>(allocations) / lines;
}
BENCHMARK(BM_ParsePlatformConfig10000Lines);

// Each iteration parses 10,000 and then 20,000 lines; the counter is the
// ratio of the summed times.
void BM_ParsePlatformConfigLinearity(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    const GeneratedConfig& small = config10k();
    const GeneratedConfig& large = config20k();
    Clock::duration smallTime{};
    Clock::duration largeTime{};
    for (auto _ : state) {
        // Freeing what the other file built is not part of either figure.
        pwr::VexaConfigFileParser::destroy();
        const auto t0 = Clock::now();
        small.parse();
        smallTime += Clock::now() - t0;
        pwr::VexaConfigFileParser::destroy();
        const auto t1 = Clock::now();
        large.parse();
        largeTime += Clock::now() - t1;
    }
    state.SetItemsProcessed(state.iterations() * (small.lines() + large.lines()));
    state.counters["time_ratio_20k_vs_10k"] = std::chrono::duration<double>(largeTime).count() /
                                              std::chrono::duration<double>(smallTime).count();
}
BENCHMARK(BM_ParsePlatformConfigLinearity);

void BM_QueryMessagesOfDeepestPlatform(benchmark::State& state) {
    const GeneratedConfig& config = config10k();
    pwr::VexaConfigFileParser::destroy();
    config.parse();
    const pwr::VexaConfigFileParser& parser = *pwr::VexaConfigFileParser::instance();
    std::vector<pwr::InputMsg*> out;
    for (auto _ : state) {
        out.clear();
        parser.getMessagesFor(out, "P49", "CORE4", {});
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["messages"] = static_cast<double>(out.size());
    pwr::VexaConfigFileParser::destroy();
}
BENCHMARK(BM_QueryMessagesOfDeepestPlatform);

}  // namespace

BENCHMARK_MAIN();
