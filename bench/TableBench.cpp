// A summary table of a large machine: 1,000 entity rows by 10 columns.
// Measures building (columns, rows, createTable), filling and reading back a
// created table, and resetting and refilling it. Reports cells per second and
// heap allocations per cell.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/support/AllocationCounter.h"
#include "common/data/EntityHandle.h"
#include "common/data/Quantity.h"
#include "common/messages/TableMessage.h"

namespace pwr {

// The filling functions are private to the metric code.
struct TableMessageFillAccess {
    static Data* cell(TableMessage& t, const EntityHandle* e, unsigned int column,
                      const DataHandle*& handle) {
        return t.getDataToSet_i(e, column, handle);
    }
    static void markValid(TableMessage& t, const EntityHandle* e, const DataHandle* h) {
        t.addValidValue_i(e, h);
    }
};

}  // namespace pwr

namespace {

using pwr::Data;
using pwr::DataHandle;
using pwr::EntityHandle;
using pwr::TableMessage;
using Fill = pwr::TableMessageFillAccess;
using vantry::bench::allocationCount;

constexpr unsigned kRows = 1000;
constexpr unsigned kColumns = 10;
constexpr double kCells = static_cast<double>(kRows) * kColumns;

struct Machine {
    Machine() {
        pwr::UniqueId::initialize();
        const EntityHandle* system = EntityHandle::create("SYSTEM", nullptr);
        for (unsigned i = 0; i < kRows; ++i) {
            entities.push_back(EntityHandle::create("Thread " + std::to_string(i), system));
        }
    }
    ~Machine() { pwr::UniqueId::destroy(); }
    std::vector<const EntityHandle*> entities;
};

TableMessage* buildTable(const Machine& m) {
    auto* t = new TableMessage("Power Summary", pwr::Quantity::power());
    for (unsigned c = 0; c < kColumns; ++c) {
        t->addField("Column " + std::to_string(c), pwr::DataType::UINT, false);
    }
    for (const EntityHandle* e : m.entities) {
        t->addEntity(e);
    }
    t->createTable();
    return t;
}

void fill(TableMessage& t, const Machine& m) {
    uint64_t v = 0;
    for (const EntityHandle* e : m.entities) {
        for (unsigned c = 0; c < kColumns; ++c) {
            const DataHandle* h = nullptr;
            Data* cell = Fill::cell(t, e, c, h);
            cell->setValue(++v);
            Fill::markValid(t, e, h);
        }
    }
}

uint64_t readBack(const TableMessage& t, const Machine& m) {
    uint64_t sum = 0;
    for (const EntityHandle* e : m.entities) {
        for (auto it = t.fieldBegin(); it != t.fieldEnd(); ++it) {
            const Data* cell = nullptr;
            bool valid = false;
            uint64_t v = 0;
            if (t.getFieldValue(e, *it, cell, valid) == 0 && valid) {
                cell->toUInt(v);
            }
            sum += v;
        }
    }
    return sum;
}

void report(benchmark::State& state, uint64_t allocations, double cellsPerIteration) {
    const double cells = cellsPerIteration * static_cast<double>(state.iterations());
    state.counters["cells_per_second"] = benchmark::Counter(cells, benchmark::Counter::kIsRate);
    state.counters["allocs_per_cell"] = static_cast<double>(allocations) / cells;
}

// Build, fill and read back: allocations here are the table's creation.
void BM_BuildFillRead(benchmark::State& state) {
    Machine m;
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        TableMessage* t = buildTable(m);
        fill(*t, m);
        uint64_t sum = readBack(*t, m);
        benchmark::DoNotOptimize(sum);
        delete t;
    }
    report(state, allocationCount() - before, 2 * kCells);
}
BENCHMARK(BM_BuildFillRead);

// Fill and read a created table: must not allocate per cell.
void BM_FillRead(benchmark::State& state) {
    Machine m;
    TableMessage* t = buildTable(m);
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        fill(*t, m);
        uint64_t sum = readBack(*t, m);
        benchmark::DoNotOptimize(sum);
    }
    report(state, allocationCount() - before, 2 * kCells);
    delete t;
}
BENCHMARK(BM_FillRead);

void BM_ResetRefill(benchmark::State& state) {
    Machine m;
    TableMessage* t = buildTable(m);
    fill(*t, m);
    const uint64_t before = allocationCount();
    for (auto _ : state) {
        t->resetData();
        fill(*t, m);
    }
    report(state, allocationCount() - before, kCells);
    delete t;
}
BENCHMARK(BM_ResetRefill);

}  // namespace

BENCHMARK_MAIN();
