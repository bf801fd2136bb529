#include "common/metrics/ThermalSampleHandler.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "common/data/Data.h"
#include "common/data/EntityHandle.h"
#include "common/data/Quantity.h"
#include "common/metrics/Metric.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr {

namespace {

// The handler of this process. Lives in the library so that every plug-in
// module shares it.
ThermalSampleHandler* g_instance = nullptr;

std::string toUpper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

uint64_t durationFor(bool reset) {
    return reset ? static_cast<uint64_t>(Metric::kResetDuration) : 0;
}

}  // namespace

ThermalSampleHandler::ThermalSampleHandler(const SystemMetadata& system)
    : m_plugins(),
      m_metric(new Metric("Temperature Metrics", Metric::MetricType::SampledValue,
                          "ALL-THERMAL-DATA", toUpper("temp"), system, Quantity::temperature())),
      m_cycleCounter(0),
      m_cycleTimestamp(0),
      m_perSample(system.lowOverheadMode),
      m_entities(),
      m_entityCount(0),
      m_cycleEntities() {}

ThermalSampleHandler::~ThermalSampleHandler() {
    delete m_metric;
}

ThermalSampleHandler* ThermalSampleHandler::getInstance(const SystemMetadata& system,
                                                        const MetricPlugin* plugin) {
    if (g_instance == nullptr) {
        g_instance = new ThermalSampleHandler(system);
    }
    g_instance->registerMetric(plugin);
    return g_instance;
}

int ThermalSampleHandler::release(const MetricPlugin* plugin) {
    if (g_instance == nullptr) {
        pwLog(PW_WARNING,
              "WARNING: Attempt to unregister a plugin from a non-existant "
              "ThermalSampleHandler\n");
        return 1;
    }
    return g_instance->unregisterMetric(plugin);
}

void ThermalSampleHandler::freeInstance() {
    delete g_instance;
    g_instance = nullptr;
}

int ThermalSampleHandler::registerMetric(const MetricPlugin* plugin) {
    m_plugins.insert(plugin);
    return 0;
}

int ThermalSampleHandler::unregisterMetric(const MetricPlugin* plugin) {
    if (m_plugins.erase(plugin) == 0) {
        pwLog(PW_WARNING,
              "WARNING: ThermalSampleHandler: Attempt to unregister a plugin that has not been "
              "registered or it may have already been unregistered.\n");
        return 1;
    }
    if (!m_plugins.empty() || m_metric->isEmpty()) {
        return 0;
    }
    return m_metric->finalize() != 0 ? 1 : 0;
}

int ThermalSampleHandler::addEntity(const EntityHandle* entity) {
    if (entity == nullptr) {
        pwLog(PW_WARNING, "WARNING: ThermalSampleHandler: please provide a valid entity.\n");
        return 1;
    }
    if (m_entities.count(entity->getId()) != 0) {
        pwLog(PW_WARNING, "WARNING: ThermalSampleHandler: Entity %s already added\n",
              entity->getName().c_str());
        return 1;
    }
    m_entities.emplace(entity->getId(), DataElement(entity, nullptr));
    ++m_entityCount;
    return 0;
}

DataElement* ThermalSampleHandler::findElement_i(const EntityHandle* entity) {
    if (entity == nullptr) {
        pwLog(PW_WARNING,
              "WARNING: ThermalSampleHandler: Please provide a valid entity when setting "
              "temperature.\n");
        return nullptr;
    }
    const auto found = m_entities.find(entity->getId());
    if (found == m_entities.end()) {
        pwLog(PW_WARNING,
              "WARNING: ThermalSampleHandler: cannot set temperature for an entity that has not "
              "been added yet.\n");
        return nullptr;
    }
    return &found->second;
}

bool ThermalSampleHandler::isInCycle_i(uint64_t entityId) const {
    return std::find(m_cycleEntities.begin(), m_cycleEntities.end(), entityId) !=
           m_cycleEntities.end();
}

int ThermalSampleHandler::setTemperature(const EntityHandle* entity, uint64_t timestamp,
                                         uint16_t temperature, bool reset) {
    DataElement* element = findElement_i(entity);
    if (element == nullptr) {
        return 1;
    }
    element->setValue(Data(static_cast<uint64_t>(temperature)));

    if (m_perSample) {
        ++m_cycleCounter;
        return m_metric->setData(timestamp, *element, durationFor(reset));
    }

    const uint64_t id = entity->getId();
    if (m_cycleEntities.empty() || isInCycle_i(id)) {
        // A new polling round.
        if (m_cycleCounter % m_entityCount != 0) {
            pwLog(PW_WARNING,
                  "WARNING: Temperature values were not set for all the entities at %llu.\n",
                  static_cast<unsigned long long>(m_cycleTimestamp));
            m_cycleCounter = 0;
        }
        m_cycleTimestamp = timestamp;
        m_cycleEntities.clear();
    }
    m_cycleEntities.push_back(id);
    ++m_cycleCounter;
    return m_metric->setData(m_cycleTimestamp, *element, durationFor(reset));
}

int ThermalSampleHandler::resetTemperatures(std::vector<const EntityHandle*>& entities,
                                            uint64_t timestamp, uint16_t temperature) {
    m_cycleTimestamp = timestamp;
    if (!m_perSample) {
        m_cycleCounter = 0;
        m_cycleEntities.clear();
    }
    for (const EntityHandle* entity : entities) {
        DataElement* element = findElement_i(entity);
        if (element == nullptr) {
            return 1;
        }
        element->setValue(Data(static_cast<uint64_t>(temperature)));
        if (m_metric->setData(timestamp, *element, durationFor(true)) != 0) {
            return 1;
        }
    }
    return 0;
}

}  // namespace pwr
