// Samples through Metric::setData to the accumulators, with a writer stream of
// one writer that does nothing, for each kind of metric; and finalize of each
// with 1,000 entities. Reports samples per second and heap allocations per
// sample (the per-sample figures must not depend on how many samples came
// before: the buffered point keeps its storage and is emptied after every
// push). The finalize benchmarks time finalize alone (finalize_us) and count
// its allocations (finalize_allocs); the rest of each iteration builds and
// fills the metric.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/AllocationCounter.h"
#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/data/Data.h"
#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "common/data/Quantity.h"
#include "common/metrics/Metric.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/WriterPlugin.h"
#include "common/plugins/WriterStream.h"
#include "common/serialize/SystemMetadata.h"

namespace {

using pwr::Data;
using pwr::DataDescriptor;
using pwr::DataElement;
using pwr::EntityHandle;
using pwr::Metric;
using pwr::MetricType;
using vantry::bench::allocationCount;

const char* const kConfig =
    "ALL_bench_VALUE_MIN-MAX-AVG_TABLE=YES\n"
    "ALL_bench_VALUE_SAMPLE-COUNT_TABLE=YES\n"
    "ALL_bench_RES_RESIDENCY-PERCENTAGE_TABLE=YES\n"
    "ALL_bench_RES_RESIDENCY-MILLISECOND_TABLE=YES\n"
    "ALL_bench_DELTA_AVERAGE-RATE-TOTAL_TABLE=YES\n"
    "ALL_bench_EVENT_EVENT-NAME-COUNTS_TABLE=YES\n"
    "ALL_bench_EVENT_TOP-TEN-EVENT_TABLE=YES\n";

class NullWriter : public WriterPlugin {
  public:
    NullWriter() : WriterPlugin("null") {}
    pwr::ResetReturnCode reset(pwr::ResetReason, uint64_t, const pwr::SystemMetadata&) override {
        return pwr::ResetReturnCode::SUCCESS;
    }
    int flushContinuousResults(const pwr::SystemMetadata&) override { return 0; }
    int getColumnTitles(const pwr::TableMessage&, std::deque<std::string>&) const override {
        return 0;
    }
    int getRowValues(const pwr::TableMessage&, std::deque<std::string>&) const override {
        return 0;
    }
};

// What a collection sets up before metrics exist: the environment with its
// writer stream, the registry, the output configuration.
struct Collection {
    Collection() : writers{&writer}, stream(&writers) {
        env.setVerbosity(PW_ERROR);
        env.setErrorLogger(&quiet);
        env.setDebugLogger(&quiet);
        env.setWriterStream(&stream);
        pwr::UniqueId::initialize();
        system.startTsc = 1;
        system.clockFreqMHz = 1000.0f;
        const std::string path =
            (std::filesystem::temp_directory_path() / "vantry_metric_bench.cfg").string();
        if (FILE* f = std::fopen(path.c_str(), "w")) {
            std::fputs(kConfig, f);
            std::fclose(f);
        }
        pwr::WriterInterfaceConfigFileParser::instance()->parse({path}, system);
        std::remove(path.c_str());
        root = EntityHandle::create("SYSTEM", nullptr);
    }
    ~Collection() {
        env.setWriterStream(nullptr);
        pwr::WriterInterfaceConfigFileParser::destroy();
        pwr::UniqueId::destroy();
    }
    std::vector<const EntityHandle*> entities(unsigned count) {
        std::vector<const EntityHandle*> out;
        for (unsigned i = 0; i < count; ++i) {
            out.push_back(EntityHandle::create("Core " + std::to_string(i), root));
        }
        return out;
    }
    static std::vector<const DataDescriptor*> descriptors(const char* prefix, unsigned count) {
        std::vector<const DataDescriptor*> out;
        for (unsigned i = 0; i < count; ++i) {
            const std::string name = prefix + std::to_string(i);
            out.push_back(DataDescriptor::create(pwr::DataDescriptorBuilder(name, name)));
        }
        return out;
    }

    pwr::NullLogger quiet;
    PluginEnvironment env;
    NullWriter writer;
    WriterStream::PluginSet writers;
    WriterStream stream;
    pwr::SystemMetadata system;
    const EntityHandle* root = nullptr;
};

// One kind of metric with its elements: which element comes next, when the
// timestamp moves on, and the value each sample carries.
struct Workload {
    MetricType type;
    const char* container;
    const pwr::Quantity* quantity;
    std::vector<DataElement> elements;
    // Elements per timestamp (sampled); 1 for traced metrics.
    size_t perPoint;
    uint64_t step;
    // The value of the element at index i.
    Data (*value)(size_t i);
};

Workload makeWorkload(Collection& c, MetricType type, unsigned entities) {
    Workload w{type, "", nullptr, {}, 0, 0, nullptr};
    const auto rows = c.entities(entities);
    switch (type) {
        case MetricType::SampledValue:
            w.container = "VALUE";
            w.quantity = pwr::Quantity::temperature();
            for (const EntityHandle* e : rows) {
                w.elements.emplace_back(e, nullptr);
            }
            w.value = [](size_t i) { return Data(uint64_t{40 + i % 16}); };
            break;
        case MetricType::SampledResidency: {
            w.container = "RES";
            w.quantity = pwr::Quantity::time();
            const auto states = Collection::descriptors("C", 4);
            for (const EntityHandle* e : rows) {
                for (const DataDescriptor* s : states) {
                    w.elements.emplace_back(e, s);
                }
            }
            w.value = [](size_t i) { return Data(uint64_t{10 + i % 4}); };
            break;
        }
        case MetricType::SampledDelta:
            w.container = "DELTA";
            w.quantity = pwr::Quantity::energy();
            for (const EntityHandle* e : rows) {
                w.elements.emplace_back(e, nullptr);
            }
            w.value = [](size_t i) { return Data(uint64_t{1000 + i}); };
            break;
        default: {
            w.container = "EVENT";
            const auto events = Collection::descriptors("Event ", 1000);
            // Every event name once, spread over the entities.
            for (size_t i = 0; i < events.size(); ++i) {
                w.elements.emplace_back(rows[i % rows.size()], events[i]);
                w.elements.back().setValue(Data(*events[i]));
            }
            w.value = nullptr;
            break;
        }
    }
    const bool traced = type == MetricType::TracedEvent;
    w.perPoint = traced ? 1 : w.elements.size();
    // Enough ticks per point for every residency to fit in it.
    w.step = 100;
    for (size_t i = 0; i < w.elements.size() && w.value != nullptr; ++i) {
        w.elements[i].setValue(w.value(i));
    }
    return w;
}

// Feeds samples round-robin; the timestamp moves on after every perPoint.
struct Feeder {
    Workload& w;
    Metric& m;
    size_t next = 0;
    size_t inPoint = 0;
    uint64_t ts = 1000;

    void sample() {
        DataElement& el = w.elements[next];
        if (w.value != nullptr) {
            el.setValue(w.value(next + ts));
        }
        m.setData(ts, el, 0);
        if (++next == w.elements.size()) {
            next = 0;
        }
        if (++inPoint == w.perPoint) {
            inPoint = 0;
            ts += w.step;
        }
    }
};

void runSetData(benchmark::State& state, MetricType type, unsigned entities) {
    Collection c;
    Workload w = makeWorkload(c, type, entities);
    Metric m("Bench", type, "bench", w.container, c.system, w.quantity);
    Feeder feed{w, m};
    // Two rounds first: the keys, the buffered point's storage and the
    // accumulators' initialisation are one-time costs.
    for (size_t i = 0; i < 2 * w.elements.size(); ++i) {
        feed.sample();
    }
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        feed.sample();
    }
    const uint64_t allocations = allocationCount() - before;
    state.SetItemsProcessed(state.iterations());
    state.counters["allocs_per_sample"] =
        static_cast<double>(allocations) / static_cast<double>(state.iterations());
}

void BM_SetDataSampledValue64(benchmark::State& state) {
    runSetData(state, MetricType::SampledValue, 64);
}
BENCHMARK(BM_SetDataSampledValue64);

void BM_SetDataSampledResidency64x4(benchmark::State& state) {
    runSetData(state, MetricType::SampledResidency, 64);
}
BENCHMARK(BM_SetDataSampledResidency64x4);

void BM_SetDataSampledDelta64(benchmark::State& state) {
    runSetData(state, MetricType::SampledDelta, 64);
}
BENCHMARK(BM_SetDataSampledDelta64);

void BM_SetDataTracedEvent1000Names(benchmark::State& state) {
    runSetData(state, MetricType::TracedEvent, 16);
}
BENCHMARK(BM_SetDataTracedEvent1000Names);

// finalize after ten rounds of samples from 1,000 entities.
void runFinalize(benchmark::State& state, MetricType type) {
    const unsigned kEntities = 1000;
    Collection c;
    Workload w = makeWorkload(c, type, kEntities);
    double finalizeSeconds = 0.0;
    uint64_t finalizeAllocations = 0;
    for (auto _ : state) {
        Metric m("Bench", type, "bench", w.container, c.system, w.quantity);
        Feeder feed{w, m};
        for (size_t i = 0; i < w.elements.size() * 10; ++i) {
            feed.sample();
        }
        const uint64_t before = allocationCount();
        const auto start = std::chrono::steady_clock::now();
        m.finalize();
        finalizeSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        finalizeAllocations += allocationCount() - before;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["finalize_us"] =
        benchmark::Counter(finalizeSeconds * 1e6, benchmark::Counter::kAvgIterations);
    state.counters["finalize_allocs"] = benchmark::Counter(static_cast<double>(finalizeAllocations),
                                                           benchmark::Counter::kAvgIterations);
}

void BM_FinalizeSampledValue1000(benchmark::State& state) {
    runFinalize(state, MetricType::SampledValue);
}
BENCHMARK(BM_FinalizeSampledValue1000);

void BM_FinalizeSampledResidency1000x4(benchmark::State& state) {
    runFinalize(state, MetricType::SampledResidency);
}
BENCHMARK(BM_FinalizeSampledResidency1000x4);

void BM_FinalizeSampledDelta1000(benchmark::State& state) {
    runFinalize(state, MetricType::SampledDelta);
}
BENCHMARK(BM_FinalizeSampledDelta1000);

void BM_FinalizeTracedEvent1000(benchmark::State& state) {
    runFinalize(state, MetricType::TracedEvent);
}
BENCHMARK(BM_FinalizeTracedEvent1000);

}  // namespace

BENCHMARK_MAIN();
