#include "plugins/features/FeaturePlugin.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <utility>

#include "common/data/DataDescriptor.h"
#include "common/data/Description.h"
#include "common/data/EntityHandle.h"
#include "common/plugins/MetricPluginCapability.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"
#include "common/serialize/TopTree.h"

namespace vantry::features {

namespace {

// The blank-separated items of a value.
std::vector<std::string> splitBlanks(const std::string& text) {
    std::vector<std::string> items;
    size_t pos = 0;
    while (pos < text.size()) {
        while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) {
            ++pos;
        }
        size_t end = pos;
        while (end < text.size() && text[end] != ' ' && text[end] != '\t') {
            ++end;
        }
        if (end > pos) {
            items.push_back(text.substr(pos, end - pos));
        }
        pos = end;
    }
    return items;
}

// Digits only; no sign, no blanks, no overflow.
bool parseCounter(const std::string& text, uint64_t& out) {
    if (text.empty() || text.size() > 20) {
        return false;
    }
    uint64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        const uint64_t digit = static_cast<uint64_t>(c - '0');
        if (value > (~uint64_t(0) - digit) / 10) {
            return false;
        }
        value = value * 10 + digit;
    }
    out = value;
    return true;
}

// A finite decimal number, the whole text.
bool parseReal(const std::string& text, double& out) {
    if (text.empty()) {
        return false;
    }
    const char first = text[0];
    if (!(first == '-' || first == '+' || first == '.' || (first >= '0' && first <= '9'))) {
        return false;
    }
    // Hexadecimal, infinities and NaN are not what a collector writes.
    if (text.find_first_of("xXnN") != std::string::npos) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || errno == ERANGE || !std::isfinite(value)) {
        return false;
    }
    out = value;
    return true;
}

}  // namespace

FeaturePlugin::FeaturePlugin(const FeatureNames& names, std::vector<FieldKind> fields)
    : MetricPlugin(names.plugin),
      m_command(names.command),
      m_prefix(names.prefix),
      m_fields(std::move(fields)),
      m_collecting(false) {
    auto* cap = new pwr::MetricPluginCapability(names.command, names.description, names.prefix, 0,
                                                pwr::FMS{}, "all");
    for (const std::string& group : names.groups) {
        cap->addGroupName(group);
    }
    addCapability(cap);
}

FeaturePlugin::~FeaturePlugin() {
    freeMetrics_i();
}

pwr::ResetReturnCode FeaturePlugin::reset(pwr::ResetReason /*reason*/, uint64_t /*ts*/,
                                          const pwr::SystemMetadata& /*sys*/) {
    // Counters read before a reset cannot be compared with those read
    // after it: start again from the next reading.
    forgetReadings_i();
    return pwr::ResetReturnCode::SUCCESS;
}

int FeaturePlugin::processMetadata(const pwr::Metadata* /*metadata*/) {
    return 0;
}

int FeaturePlugin::initializeCollection(const std::vector<const pwr::InputMsg*>& /*inputMessages*/,
                                        const std::vector<const pwr::Metadata*>& /*metadata*/,
                                        const std::string& /*featureName*/,
                                        const pwr::AttributePairs& /*attrs*/,
                                        const pwr::SystemMetadata& sys) {
    // A collection that was never finalised leaves nothing behind.
    freeMetrics_i();
    forgetReadings_i();
    m_devices.clear();
    m_unknownCpus.clear();
    buildCpuMap_i(sys);
    try {
        createMetrics_i(sys);
    } catch (const std::exception& e) {
        pwr::pwLog(PW_ERROR, "ERROR: %s: cannot create the metrics of feature %s: %s\n",
                   getName().c_str(), m_command.c_str(), e.what());
        freeMetrics_i();
        m_collecting = false;
        return 1;
    }
    m_collecting = true;
    return 0;
}

int FeaturePlugin::getDynamicHelpDisplayType(const std::string& /*featureName*/,
                                             const pwr::AttributePairs& /*attrs*/,
                                             const pwr::SystemMetadata& /*sys*/) {
    return 0;
}

int FeaturePlugin::finalizeCollection(const std::string& /*featureName*/,
                                      const pwr::AttributePairs& /*attrs*/,
                                      const pwr::SystemMetadata& /*sys*/) {
    if (!m_collecting) {
        return 0;
    }
    int status = endCollection_i();
    for (pwr::Metric* metric : m_metrics) {
        // A container without data warns in finalize; only a failure of one
        // that had data is a failure of the collection.
        const bool hadData = !metric->isEmpty();
        if (metric->finalize() != 0 && hadData) {
            status = 1;
        }
    }
    freeMetrics_i();
    forgetReadings_i();
    m_collecting = false;
    return status;
}

bool FeaturePlugin::getOrgMsgTag(const vexa_driver_msg* msg, std::string& out) const {
    if (msg == nullptr || pwr::driverMessagePrefix(msg->msgName) != m_prefix) {
        return false;
    }
    out = msg->msgName;
    return true;
}

bool FeaturePlugin::getOrgMsgPayload(const vexa_driver_msg* msg, std::string& out) const {
    if (msg == nullptr || pwr::driverMessagePrefix(msg->msgName) != m_prefix) {
        return false;
    }
    std::string text;
    for (const auto& pair : msg->values) {
        if (!text.empty()) {
            text += "; ";
        }
        text += pair.first + "=" + pair.second;
    }
    out = text;
    return true;
}

int FeaturePlugin::processDriverMessage(const vexa_driver_msg& msg,
                                        const pwr::SystemMetadata& sys) {
    if (!m_collecting || pwr::driverMessagePrefix(msg.msgName) != m_prefix) {
        return 0;
    }
    if (!parseRecord_i(msg, m_readings)) {
        return 1;
    }
    handleReadings_i(msg.timestamp, m_readings, sys);
    return 0;
}

bool FeaturePlugin::parseRecord_i(const vexa_driver_msg& msg, std::vector<Reading>& out) const {
    out.resize(msg.values.size());
    for (size_t i = 0; i < msg.values.size(); ++i) {
        const auto& pair = msg.values[i];
        Reading& reading = out[i];
        reading.name = pair.first;
        const std::vector<std::string> items = splitBlanks(pair.second);
        bool ok = items.size() == m_fields.size() && !pair.first.empty();
        for (size_t f = 0; ok && f < m_fields.size(); ++f) {
            ok = m_fields[f] == FieldKind::Counter ? parseCounter(items[f], reading.counter[f])
                                                   : parseReal(items[f], reading.real[f]);
        }
        if (ok) {
            unsigned cpu = 0;
            std::string state;
            switch (nameKind_i()) {
                case NameKind::Device:
                    break;
                case NameKind::Cpu:
                    ok = parseCpu_i(pair.first, cpu);
                    break;
                case NameKind::CpuState:
                    ok = splitCpuState_i(pair.first, cpu, state);
                    break;
            }
        }
        if (!ok) {
            pwr::pwLog(PW_WARNING,
                       "WARNING: %s: damaged reading \"%s=%s\" in record %s at %llu; the record is "
                       "skipped.\n",
                       getName().c_str(), pair.first.c_str(), pair.second.c_str(),
                       msg.msgName.c_str(), static_cast<unsigned long long>(msg.timestamp));
            return false;
        }
    }
    return true;
}

void FeaturePlugin::buildCpuMap_i(const pwr::SystemMetadata& sys) {
    m_cpus.clear();
    std::vector<const pwr::TNode*> threads;
    sys.getCPUTopology().getAllThreads(threads);
    bool unique = true;
    for (const pwr::TNode* node : threads) {
        if (node->getID() < 0 ||
            !m_cpus.emplace(static_cast<unsigned>(node->getID()), nullptr).second) {
            unique = false;
            break;
        }
    }
    m_cpus.clear();
    if (threads.empty() || pwr::EntityHandle::getSystemHandle() == nullptr) {
        return;
    }
    for (const pwr::TNode* node : threads) {
        // A tree whose thread ids repeat (numbered within their core, as
        // older records are) names processors by their position in
        // package, core, thread order instead, which is the operating
        // system's numbering on most machines.
        const int number = unique ? node->getID() : node->getUniqueID();
        if (number >= 0) {
            m_cpus[static_cast<unsigned>(number)] = pwr::EntityHandle::getCPUEntityHandle(node);
        }
    }
}

const pwr::EntityHandle* FeaturePlugin::cpuEntity_i(unsigned cpu) {
    const auto found = m_cpus.find(cpu);
    if (found != m_cpus.end() && found->second != nullptr) {
        return found->second;
    }
    if (m_unknownCpus.insert(cpu).second) {
        pwr::pwLog(
            PW_WARNING,
            "WARNING: %s: logical processor %u is not in the system's topology; its readings "
            "are ignored.\n",
            getName().c_str(), cpu);
    }
    return nullptr;
}

const pwr::EntityHandle* FeaturePlugin::deviceEntity_i(const std::string& name) {
    const auto found = m_devices.find(name);
    if (found != m_devices.end()) {
        return found->second;
    }
    const pwr::EntityHandle* entity =
        pwr::EntityHandle::create(name, pwr::EntityHandle::getSystemHandle());
    m_devices.emplace(name, entity);
    return entity;
}

const pwr::DataDescriptor* FeaturePlugin::descriptor_i(const std::string& name) {
    return pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, name));
}

pwr::Metric* FeaturePlugin::addMetric_i(const std::string& name, pwr::MetricType type,
                                        const std::string& containerTag,
                                        const pwr::SystemMetadata& sys,
                                        const pwr::Quantity* quantity) {
    auto* metric = new pwr::Metric(name, type, m_prefix, containerTag, sys, quantity);
    m_metrics.push_back(metric);
    return metric;
}

void FeaturePlugin::freeMetrics_i() {
    for (pwr::Metric* metric : m_metrics) {
        delete metric;
    }
    m_metrics.clear();
}

bool FeaturePlugin::window_i(uint64_t prevTs, uint64_t ts, const pwr::SystemMetadata& sys,
                             uint64_t& duration, double& share) {
    const uint64_t start = prevTs > sys.startTsc ? prevTs : sys.startTsc;
    if (ts <= prevTs || ts <= start) {
        return false;
    }
    duration = ts - start;
    share = static_cast<double>(duration) / static_cast<double>(ts - prevTs);
    return true;
}

int FeaturePlugin::feed_i(pwr::Metric& metric, uint64_t ts, const pwr::EntityHandle* entity,
                          const pwr::DataDescriptor* descriptor, const pwr::Data& value,
                          uint64_t duration) {
    pwr::DataElement element(entity, descriptor);
    element.setValue(value);
    return metric.setData(ts, element, duration);
}

bool FeaturePlugin::parseCpu_i(const std::string& name, unsigned& cpu) {
    uint64_t value = 0;
    if (!parseCounter(name, value) || value > 0xFFFFu) {
        return false;
    }
    cpu = static_cast<unsigned>(value);
    return true;
}

bool FeaturePlugin::splitCpuState_i(const std::string& name, unsigned& cpu, std::string& state) {
    const size_t slash = name.find('/');
    if (slash == std::string::npos || slash + 1 >= name.size() ||
        !parseCpu_i(name.substr(0, slash), cpu)) {
        return false;
    }
    state = name.substr(slash + 1);
    return true;
}

}  // namespace vantry::features
