// ThermalSampleHandler: gathers the temperatures that several metric plug-ins
// report (cores, packages, devices) into one shared Metric, "Temperature
// Metrics", so that all of them land in one summary.
//
// There is one handler per process, shared by the plug-ins that use it: a
// plug-in registers when it obtains the handler (getInstance) and leaves with
// release(); the last one to leave finalises the shared metric. freeInstance()
// destroys the handler.
//
// Unless the system record asks for one point per sample (lowOverheadMode),
// temperatures are grouped into cycles: every entity set in a cycle gets the
// timestamp of the cycle's first sample, so the temperatures of one polling
// round form one data point. A cycle ends when an entity is set a second
// time; a cycle that did not set every entity is reported.
//
// Ownership: the handler owns the shared metric and one DataElement per
// entity; entities and plug-ins are borrowed. Not thread-safe: the plug-ins
// that share the handler are called on one thread.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "common/data/DataElement.h"
#include "common/runtime/Export.h"

class MetricPlugin;

namespace pwr {

class EntityHandle;
class Metric;
class SystemMetadata;

class PWR_API ThermalSampleHandler {
  public:
    // The handler, created with this system record on the first call; the
    // plug-in is registered (once, however often it asks). Throws what the
    // shared metric's construction throws (no writer stream, no output
    // configuration parser).
    static ThermalSampleHandler* getInstance(const SystemMetadata& system,
                                             const MetricPlugin* plugin);
    // Unregisters the plug-in; the last one finalises the shared metric.
    // 1 without a handler, for an unknown plug-in, or when finalising fails.
    static int release(const MetricPlugin* plugin);
    // Destroys the handler (and the shared metric).
    static void freeInstance();

    ThermalSampleHandler(const ThermalSampleHandler&) = delete;
    ThermalSampleHandler& operator=(const ThermalSampleHandler&) = delete;

    // An entity whose temperature will be set. 1 for null or an entity added
    // before.
    int addEntity(const EntityHandle* entity);
    // Sets the entity's temperature. reset marks the sample as taken after a
    // counter reset: it is kept with zero duration. 1 for an unknown entity
    // or when the metric refuses the sample.
    int setTemperature(const EntityHandle* entity, uint64_t timestamp, uint16_t temperature,
                       bool reset);
    // Gives every listed entity a reset sample at timestamp (at the start of
    // a collection or after a gap) and starts cycles afresh. Stops at the
    // first entity it cannot set, with 1.
    int resetTemperatures(std::vector<const EntityHandle*>& entities, uint64_t timestamp,
                          uint16_t temperature);

    // The shared metric.
    const Metric& getMetric() const { return *m_metric; }

  private:
    ThermalSampleHandler(const SystemMetadata& system);
    ~ThermalSampleHandler();

    int registerMetric(const MetricPlugin* plugin);
    int unregisterMetric(const MetricPlugin* plugin);
    // The entity's element, or null after the warning.
    DataElement* findElement_i(const EntityHandle* entity);
    bool isInCycle_i(uint64_t entityId) const;

    std::set<const MetricPlugin*> m_plugins;
    Metric* m_metric;
    uint64_t m_cycleCounter;
    uint64_t m_cycleTimestamp;
    bool m_perSample;
    std::map<uint64_t, DataElement> m_entities;
    uint64_t m_entityCount;
    std::vector<uint64_t> m_cycleEntities;
};

}  // namespace pwr
