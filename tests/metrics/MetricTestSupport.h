// Set-up shared by the metric tests: a plug-in environment whose writer
// stream holds one writer that records what reaches it (summary tables with
// their valid cells, data points of metrics, container information), a fresh
// registry, and the output configuration of tests/data/metrics_output.cfg.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "common/config/WriterInterfaceConfigFileParser.h"
#include "common/data/Data.h"
#include "common/data/DataDescriptor.h"
#include "common/data/EntityHandle.h"
#include "common/messages/MetricContainerInfoMessage.h"
#include "common/messages/TableMessage.h"
#include "common/metrics/Metric.h"
#include "common/plugins/WriterPlugin.h"
#include "common/plugins/WriterStream.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/EnvironmentCapture.h"

namespace pwr::test {

struct RecordedElement {
    std::string entity;
    std::string descriptor;  // "" when the element has none
    Data value;
    uint64_t duration;
};

struct RecordedPoint {
    uint64_t timestamp;
    std::vector<RecordedElement> elements;
};

struct RecordedTable {
    std::string title;
    std::vector<std::string> rows;      // entity names in row order
    std::map<std::string, Data> cells;  // "entity/column" -> valid cell
};

class RecordingWriter : public WriterPlugin {
  public:
    RecordingWriter() : WriterPlugin("recorder") {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int writeMessage(const TableMessage& t) override {
        RecordedTable rec{t.getTitle(), {}, {}};
        for (auto e = t.entityBegin(); e != t.entityEnd(); ++e) {
            rec.rows.push_back((*e)->getName());
            for (auto f = t.fieldBegin(); f != t.fieldEnd(); ++f) {
                const Data* cell = nullptr;
                bool valid = false;
                if (t.getFieldValue(*e, *f, cell, valid) == 0 && valid) {
                    rec.cells.emplace((*e)->getName() + "/" + (*f)->getName(), *cell);
                }
            }
        }
        tables.push_back(rec);
        return 0;
    }
    int writeMessage(const Metric& m) override {
        RecordedPoint point{m.getData().getTimestamp(), {}};
        for (const DataElement& e : m.getData()) {
            point.elements.push_back({e.getEntity()->getName(),
                                      e.getDescriptor() ? e.getDescriptor()->getName() : "",
                                      *e.getValue(), e.getDuration()});
        }
        points.push_back(point);
        return 0;
    }
    int writeMessage(const MetricContainerInfoMessage& m) override {
        infos.push_back(m.getContainerHeader());
        return 0;
    }
    int flushContinuousResults(const SystemMetadata&) override { return 0; }
    int getColumnTitles(const TableMessage&, std::deque<std::string>&) const override { return 0; }
    int getRowValues(const TableMessage&, std::deque<std::string>&) const override { return 0; }

    std::vector<RecordedTable> tables;
    std::vector<RecordedPoint> points;
    std::vector<std::string> infos;
};

class MetricFixture : public ::testing::Test {
  protected:
    MetricFixture() : writers{&writer}, stream(&writers) {}
    void SetUp() override {
        UniqueId::initialize();
        system.startTsc = 1000;
        system.clockFreqMHz = 1.0f;
        ASSERT_EQ(parseOutputConfig(), 0);
        cap.env().setWriterStream(&stream);
        root = EntityHandle::create("SYSTEM", nullptr);
        cap.env().setVerbosity(PW_WARNING);
        cap.clear();
    }
    void TearDown() override {
        cap.env().setWriterStream(nullptr);
        WriterInterfaceConfigFileParser::destroy();
        UniqueId::destroy();
    }
    int parseOutputConfig() {
        return WriterInterfaceConfigFileParser::instance()->parse(
            {VANTRY_TEST_DATA_DIR "/metrics_output.cfg"}, system);
    }
    const EntityHandle* entity(const std::string& name) { return EntityHandle::create(name, root); }
    static const DataDescriptor* state(const std::string& name) {
        return DataDescriptor::create(DataDescriptorBuilder(name, name));
    }
    static DataElement element(const EntityHandle* e, const DataDescriptor* d, const Data& v) {
        DataElement el(e, d);
        el.setValue(v);
        return el;
    }
    const RecordedTable* table(const std::string& title) const {
        for (const RecordedTable& t : writer.tables) {
            if (t.title == title) {
                return &t;
            }
        }
        return nullptr;
    }

    EnvironmentCapture cap;
    RecordingWriter writer;
    WriterStream::PluginSet writers;
    WriterStream stream;
    SystemMetadata system;
    const EntityHandle* root = nullptr;
};

inline double realOf(const Data& d) {
    double out = -1.0;
    if (d.getType() == DataType::UINT) {
        uint64_t u = 0;
        d.toUInt(u);
        out = static_cast<double>(u);
    } else {
        d.toReal(out);
    }
    return out;
}

}  // namespace pwr::test
