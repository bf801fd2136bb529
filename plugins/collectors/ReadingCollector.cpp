#include "plugins/collectors/ReadingCollector.h"

#include <algorithm>

#include "common/config/InputMsg.h"
#include "common/plugins/PluginEnvironment.h"
#include "common/runtime/Log.h"
#include "common/runtime/VexaClock.h"

namespace vantry {

namespace {

pwr::VexaClockSource* defaultClock_i() {
    PluginEnvironment* env = PluginEnvironment::current();
    if (env != nullptr && env->getDefaultClock() != nullptr) {
        return env->getDefaultClock();
    }
    return pwr::defaultClockSource();
}

}  // namespace

std::string operationSource(const pwr::Operation& op) {
    std::string source;
    if (op.getPacket() != nullptr) {
        op.getPacket()->get("SOURCE", source);
    }
    return source;
}

ReadingCollector::ReadingCollector(const std::string& name, const std::string& kind,
                                   const std::vector<std::string>& categories,
                                   const std::vector<std::string>& sources)
    : CollectorPlugin(name),
      m_kind(kind),
      m_sources(sources),
      m_prototype(new pwr::Operation(kind, kind)) {
    for (const std::string& category : categories) {
        m_prototype->addCategory(category);
    }
    // Readings only: nothing here writes to a source.
    m_prototype->setDirections(true, false);
    // The SOURCEs this kind knows, for the host: a SOURCE outside them is a
    // mistake in the configuration, not a source this machine lacks.
    std::string known;
    for (const std::string& source : m_sources) {
        known += (known.empty() ? "" : ",") + source;
    }
    if (!known.empty()) {
        m_prototype->createPacket().set("SOURCE", known);
    }
    addOperation(m_prototype.get());
}

ReadingCollector::~ReadingCollector() = default;

const std::vector<std::string>& ReadingCollector::systemSources() {
    static const std::vector<std::string> sources = {"CPUIDLE",    "CPUFREQ", "THERMAL", "ENERGY",
                                                     "INTERRUPTS", "DISK",    "NET",     "BATTERY"};
    return sources;
}

bool ReadingCollector::isKnownSource(const std::string& source) const {
    return std::find(m_sources.begin(), m_sources.end(), source) != m_sources.end();
}

pwr::ResetReturnCode ReadingCollector::reset(pwr::ResetReason, uint64_t,
                                             const pwr::SystemMetadata&) {
    m_pending.clear();
    m_warned.clear();
    return pwr::ResetReturnCode::SUCCESS;
}

bool ReadingCollector::canCollectMessage(const pwr::InputMsg* msg) {
    if (msg == nullptr) {
        return false;
    }
    for (const pwr::Operation* op : msg->getOperations()) {
        if (op == nullptr || op->getOperation() != m_kind) {
            continue;
        }
        const std::string source = operationSource(*op);
        if (isKnownSource(source) && canCollectSource_i(source, *op)) {
            return true;
        }
    }
    return false;
}

int ReadingCollector::doImmediateRead(pwr::Operation* op, const std::string& target) {
    if (op == nullptr) {
        pwr::pwLog(PW_ERROR, "ERROR: %s collector asked to read without an operation!\n",
                   m_kind.c_str());
        return -1;
    }
    const std::string source = operationSource(*op);
    if (source.empty()) {
        pwr::pwLog(PW_ERROR, "ERROR: Operation %s has no SOURCE for the %s collector!\n",
                   op->getName().c_str(), m_kind.c_str());
        return -1;
    }
    if (!isKnownSource(source)) {
        pwr::pwLog(PW_ERROR, "ERROR: Unknown SOURCE %s for the %s collector!\n", source.c_str(),
                   m_kind.c_str());
        return -1;
    }
    vexa_driver_msg record;
    if (!readSource_i(source, *op, record.values)) {
        return -1;
    }
    // Stamped after the read: the values are those of this instant at the
    // latest, and a poll's delta then never covers time not yet read.
    record.timestamp = timestamp_i();
    record.msgName = target;
    record.opName = op->getName();
    pushRecord_i(std::move(record));
    return 0;
}

int ReadingCollector::getContinuousResult(pwr::VexaBuffer& buffer, CollectionData& data) {
    uint64_t produced = 0;
    uint64_t dropped = 0;
    bool first = true;
    for (const vexa_driver_msg& record : m_pending) {
        if (!pwr::appendDriverMessage(buffer, record)) {
            ++dropped;
            continue;
        }
        ++produced;
        if (first) {
            data.setStartTimestamp(record.timestamp);
            first = false;
        }
        data.setStopTimestamp(record.timestamp);
    }
    m_pending.clear();
    data.setSamplesProduced(produced);
    data.setSamplesDropped(dropped);
    data.setClockUUID(clockUUID_i());
    return 0;
}

void ReadingCollector::pushRecord_i(vexa_driver_msg record) {
    m_pending.push_back(std::move(record));
}

uint64_t ReadingCollector::timestamp_i() const {
    if (getClockSource() != nullptr) {
        return getClockSource()->getTimestamp();
    }
    pwr::VexaClockSource* clock = defaultClock_i();
    // Without any clock getVexaATimestamp says so and answers 0.
    return clock != nullptr ? clock->getTimestamp() : pwr::getVexaATimestamp();
}

std::string ReadingCollector::clockUUID_i() const {
    if (getClockSource() != nullptr) {
        return getClockSource()->getUUID();
    }
    pwr::VexaClockSource* clock = defaultClock_i();
    return clock != nullptr ? clock->getUUID() : std::string();
}

void ReadingCollector::warnOnce_i(const std::string& key, const std::string& line) {
    if (m_warned.insert(key).second) {
        pwr::pwLog(PW_WARNING, "%s", line.c_str());
    }
}

}  // namespace vantry
