// A plug-in module for the host's end-to-end tests: one collector, one metric
// plug-in and two writers whose output depends only on what the host hands
// them, so that a simulated collection gives the same report on every run.
//
// - "fake-collector" serves the operation kind FAKE. Each read of a message
//   yields one record with the pairs "reads" (how many reads of that message
//   so far) and "value" (reads x the packet's STEP, default 1). With the
//   broadcast option "source-root=<dir>" the step comes from the file
//   <dir>/step instead. It refuses messages whose tag is NEVER.
// - "fake-metric" serves the prefix FAKE as feature "ticks" (group
//   "fakegroup") and the prefix SECRET. It counts records per message and sums their values, and
//   at the end writes one text message per message in name order.
// - "fake-sum" (format "sum") writes every header and text message to the
//   console and to "<prefix>.txt"; "fake-list" (format "list") writes the
//   count of messages it saw to "<prefix>.list". Both write under a
//   temporary name and rename in cleanup().
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "common/config/InputMsg.h"
#include "common/config/Operation.h"
#include "common/messages/TextMessage.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/plugins/DriverMessage.h"
#include "common/plugins/MetricPlugin.h"
#include "common/plugins/MetricPluginCapability.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/plugins/PluginModule.h"
#include "common/runtime/FileOps.h"
#include "common/runtime/Log.h"
#include "common/plugins/WriterPlugin.h"
#include "common/plugins/WriterPluginCapability.h"
#include "common/plugins/WriterStream.h"
#include "common/runtime/VexaClock.h"

namespace {

using pwr::ResetReason;
using pwr::ResetReturnCode;

class FakeCollector : public CollectorPlugin {
  public:
    FakeCollector() : CollectorPlugin("fake-collector", "8b0e2d7c-1f4a-4c55-9e2b-6d1f00c0ffee") {
        m_prototype.reset(new pwr::Operation("FAKE", "FAKE"));
        addOperation(m_prototype.get());
    }
    ResetReturnCode reset(ResetReason, uint64_t, const pwr::SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    void handleBroadcastOption(const std::string& option) override {
        const std::string key = "source-root=";
        if (option.compare(0, key.size(), key) == 0) {
            std::ifstream in(option.substr(key.size()) + "/step");
            in >> m_rootStep;
            // A tree may ask for a crash at a given tick, to stand for a
            // host that dies in the middle of a collection.
            std::ifstream crash(option.substr(key.size()) + "/crash-at-tick");
            crash >> m_crashAtTick;
        }
    }
    bool canCollectMessage(const pwr::InputMsg* msg) override { return msg->getName() != "NEVER"; }
    int continuousCollectionTick() override {
        ++m_ticks;
        if (m_crashAtTick != 0 && m_ticks >= m_crashAtTick) {
            std::_Exit(70);  // no clean-up at all, as in a crash
        }
        return 0;
    }
    using CollectorPlugin::doImmediateRead;
    int doImmediateRead(pwr::Operation* op, const std::string& target) override {
        long step = m_rootStep;
        std::string text;
        if (step == 0 && op->getPacket() != nullptr && op->getPacket()->get("STEP", text)) {
            step = std::stol(text);
        }
        if (step == 0) {
            step = 1;
        }
        const long reads = ++m_reads[target];
        vexa_driver_msg msg;
        msg.timestamp = pwr::getVexaATimestamp();
        msg.msgName = target;
        msg.opName = op->getName();
        msg.values.emplace_back("reads", std::to_string(reads));
        msg.values.emplace_back("value", std::to_string(reads * step));
        msg.values.emplace_back("ticks", std::to_string(m_ticks));
        pwr::appendDriverMessage(m_pending, msg);
        ++m_produced;
        return 0;
    }
    int getContinuousResult(pwr::VexaBuffer& buffer, CollectionData& data) override {
        buffer = std::move(m_pending);
        m_pending.clear();
        data.setSamplesProduced(m_produced);
        m_produced = 0;
        return 0;
    }

  private:
    std::unique_ptr<pwr::Operation> m_prototype;
    std::map<std::string, long> m_reads;
    pwr::VexaBuffer m_pending;
    uint64_t m_produced = 0;
    long m_rootStep = 0;
    long m_ticks = 0;
    long m_crashAtTick = 0;
};

class FakeMetric : public MetricPlugin {
  public:
    FakeMetric() : MetricPlugin("fake-metric") {
        addCapability(new pwr::MetricPluginCapability("ticks", "Counts fake ticks", "FAKE", 7,
                                                      pwr::FMS{0, 0, 0}, "fakegroup"));
        addCapability(new pwr::MetricPluginCapability("secret", "A hidden feature", "SECRET", 8,
                                                      pwr::FMS{0, 0, 0}, ""));
    }
    ResetReturnCode reset(ResetReason, uint64_t, const pwr::SystemMetadata&) override {
        return ResetReturnCode::NOT_NEEDED;
    }
    int processMetadata(const pwr::Metadata*) override {
        ++m_metadata;
        return 0;
    }
    int initializeCollection(const std::vector<const pwr::InputMsg*>& inputs,
                             const std::vector<const pwr::Metadata*>&, const std::string& feature,
                             const pwr::AttributePairs&, const pwr::SystemMetadata&) override {
        m_feature = feature;
        m_messages.clear();
        for (const pwr::InputMsg* msg : inputs) {
            m_messages.push_back(msg->getFullName() + " [" + msg->getFeatureName() + "]");
        }
        return 0;
    }
    int processDriverMessage(const vexa_driver_msg& msg, const pwr::SystemMetadata&) override {
        Totals& totals = m_totals[msg.msgName];
        ++totals.records;
        for (const auto& pair : msg.values) {
            if (pair.first == "value") {
                totals.sum += std::stol(pair.second);
            }
        }
        if (totals.records == 1) {
            totals.first = msg.timestamp;
        }
        totals.last = msg.timestamp;
        return 0;
    }
    int getDynamicHelpDisplayType(const std::string&, const pwr::AttributePairs&,
                                  const pwr::SystemMetadata&) override {
        return 0;
    }
    int finalizeCollection(const std::string& feature, const pwr::AttributePairs&,
                           const pwr::SystemMetadata&) override {
        std::ostringstream text;
        text << "Feature " << feature << " (initialised as " << m_feature << "), " << m_metadata
             << " metadata records\n";
        for (const std::string& msg : m_messages) {
            text << "  input " << msg << "\n";
        }
        for (const auto& entry : m_totals) {
            const PluginEnvironment* env = PluginEnvironment::current();
            text << "  " << entry.first << ": " << entry.second.records << " records, sum "
                 << entry.second.sum << ", first " << entry.second.first << ", last "
                 << entry.second.last << " ("
                 << env->getSecFromTimestamp(entry.second.last - entry.second.first) << " s)\n";
        }
        static_cast<WriterStream*>(PluginEnvironment::current()->getWriterStream())
            ->pushTextMessage(text.str());
        return 0;
    }
    bool getOrgMsgTag(const vexa_driver_msg*, std::string&) const override { return false; }
    bool getOrgMsgPayload(const vexa_driver_msg*, std::string&) const override { return false; }

  private:
    struct Totals {
        long records = 0;
        long sum = 0;
        uint64_t first = 0;
        uint64_t last = 0;
    };
    std::string m_feature;
    std::vector<std::string> m_messages;
    std::map<std::string, Totals> m_totals;
    int m_metadata = 0;
};

// Collects text and renames its file into place in cleanup().
class FakeTextWriter : public WriterPlugin {
  public:
    FakeTextWriter(const char* name, const char* format, const char* suffix, bool console)
        : WriterPlugin(name), m_suffix(suffix), m_console(console) {
        addCapability(new pwr::WriterPluginCapability(format, "Fake writer", suffix, {}));
    }
    ResetReturnCode reset(ResetReason, uint64_t, const pwr::SystemMetadata&) override {
        return ResetReturnCode::NOT_NEEDED;
    }
    using WriterPlugin::writeMessage;
    int writeMessage(const pwr::TextMessage& msg) override {
        ++m_count;
        if (m_console) {
            m_text += msg.getMessage() + "\n";
            // The console is the environment's data output, as for the
            // reference summary writer.
            PluginEnvironment::current()->getDataOutputHandle()->log(
                (msg.getMessage() + "\n").c_str());
        }
        return 0;
    }
    int flushContinuousResults(const pwr::SystemMetadata&) override { return 0; }
    void cleanup() override {
        const std::string path = PluginEnvironment::current()->getResultFilePrefix() + m_suffix;
        std::string body = m_console ? m_text : "messages " + std::to_string(m_count) + "\n";
        // As the reference writers do: a new file under a unique temporary
        // name, renamed when complete, and a failure named in the line the
        // host counts.
        pwr::NewFile file;
        std::string error;
        if (!file.create(path, ".tmp", error) || !file.write(body, error) || !file.commit(error)) {
            pwr::pwLog(PW_ERROR, "ERROR: Cannot write result file %s: %s\n", path.c_str(),
                       file.failureReason().c_str());
        }
    }
    int getColumnTitles(const pwr::TableMessage&, std::deque<std::string>&) const override {
        return 0;
    }
    int getRowValues(const pwr::TableMessage&, std::deque<std::string>&) const override {
        return 0;
    }

  private:
    std::string m_suffix;
    bool m_console;
    std::string m_text;
    int m_count = 0;
};

class FakeSumWriter : public FakeTextWriter {
  public:
    FakeSumWriter() : FakeTextWriter("fake-sum", "sum", ".txt", true) {}
};

class FakeListWriter : public FakeTextWriter {
  public:
    FakeListWriter() : FakeTextWriter("fake-list", "list", ".list", false) {}
};

}  // namespace

VANTRY_PLUGIN_ENTRY {
    return pwr::providePlugins<FakeCollector, FakeMetric, FakeSumWriter, FakeListWriter>(out,
                                                                                         capacity);
}
