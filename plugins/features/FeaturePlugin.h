// FeaturePlugin: what the metric plug-ins of this module share. Each plug-in
// serves one feature: it offers one capability (the feature's command-line
// name, its configuration prefix and its groups), takes the collector records
// whose message names start with that prefix, checks them, and hands their
// readings to the feature's own code, which keeps the previous reading per
// key and feeds the feature's Metric containers.
//
// A record is checked whole before any of it is used: a reading that is not
// made of the numbers the feature expects makes the record damaged, and a
// damaged record is skipped with a WARNING (processDriverMessage answers 1)
// while the collection goes on.
//
// Rows. Logical processors are the entities of the topology's Thread nodes;
// the collectors name a processor by its operating-system number, which the
// system probe stores as the Thread node's id. Devices (disks, interfaces,
// sensors, energy domains, batteries) are entities made here under the
// system entity, one per name and collection.
//
// Ownership: the plug-in owns its Metric containers from
// initializeCollection to finalizeCollection; entities and descriptors
// belong to the registry. Threads: the host serialises every call.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/data/Data.h"
#include "common/metrics/Metric.h"
#include "common/plugins/DriverMessage.h"
#include "common/plugins/MetricPlugin.h"

namespace pwr {
class DataDescriptor;
class EntityHandle;
class Quantity;
}  // namespace pwr

namespace vantry::features {

// What one number of a reading is.
enum class FieldKind : uint8_t {
    // A cumulative counter: a decimal unsigned integer.
    Counter,
    // A level: a decimal number, which may be negative or have a fraction.
    Real,
};

// What the name of a reading is.
enum class NameKind : uint8_t {
    // Any non-empty name (a device, a sensor, a domain).
    Device,
    // "<cpu>": a logical processor's operating-system number.
    Cpu,
    // "<cpu>/<state>".
    CpuState,
};

// One name/value pair of a record, its value checked and split into numbers
// (the fields the feature declared, in order).
struct Reading {
    std::string name;
    uint64_t counter[2] = {0, 0};
    double real[2] = {0.0, 0.0};
};

// What a feature is called.
struct FeatureNames {
    // The plug-in's name.
    const char* plugin;
    // The command-line name of the feature (the capability's name).
    const char* command;
    // The prefix of its configuration entries and message names; also the
    // feature tag of its containers in the output configuration.
    const char* prefix;
    const char* description;
    // Groups the feature belongs to besides "all".
    std::vector<std::string> groups;
};

class FeaturePlugin : public MetricPlugin {
  public:
    ~FeaturePlugin() override;

    pwr::ResetReturnCode reset(pwr::ResetReason reason, uint64_t ts,
                               const pwr::SystemMetadata& sys) override;
    int processMetadata(const pwr::Metadata* metadata) override;
    // Creates the feature's containers. 1, with an ERROR line, when they
    // cannot be made (no writer stream or output configuration yet).
    int initializeCollection(const std::vector<const pwr::InputMsg*>& inputMessages,
                             const std::vector<const pwr::Metadata*>& metadata,
                             const std::string& featureName, const pwr::AttributePairs& attrs,
                             const pwr::SystemMetadata& sys) override;
    // Always 0: the help text is shown as it stands.
    int getDynamicHelpDisplayType(const std::string& featureName, const pwr::AttributePairs& attrs,
                                  const pwr::SystemMetadata& sys) override;
    // Finalises the containers and frees them. 1 when a container that had
    // data could not be finalised.
    int finalizeCollection(const std::string& featureName, const pwr::AttributePairs& attrs,
                           const pwr::SystemMetadata& sys) override;
    // The tag is the record's message name; the payload its pairs as
    // "name=value" joined with "; ". False for records of other features.
    bool getOrgMsgTag(const vexa_driver_msg* msg, std::string& out) const override;
    bool getOrgMsgPayload(const vexa_driver_msg* msg, std::string& out) const override;
    // Records of other features and records outside a collection are
    // ignored (0); a damaged record is skipped with a WARNING (1).
    int processDriverMessage(const vexa_driver_msg& msg, const pwr::SystemMetadata& sys) override;

    const std::string& getPrefix() const { return m_prefix; }
    const std::string& getCommandName() const { return m_command; }
    // The containers of the running collection, in creation order.
    const std::vector<pwr::Metric*>& getMetrics() const { return m_metrics; }

  protected:
    FeaturePlugin(const FeatureNames& names, std::vector<FieldKind> fields);

    // Creates the containers (addMetric_i); may throw what Metric throws.
    virtual void createMetrics_i(const pwr::SystemMetadata& sys) = 0;
    // Folds the checked readings of one record, read at ts, into the
    // containers.
    virtual void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                                  const pwr::SystemMetadata& sys) = 0;
    // Forgets every previous reading.
    virtual void forgetReadings_i() = 0;
    // Called before the containers are finalised and freed.
    virtual int endCollection_i() { return 0; }
    // What a reading's name must be; a record with another name is damaged.
    virtual NameKind nameKind_i() const { return NameKind::Device; }

    // A container of the feature, owned by the plug-in until the collection
    // ends.
    pwr::Metric* addMetric_i(const std::string& name, pwr::MetricType type,
                             const std::string& containerTag, const pwr::SystemMetadata& sys,
                             const pwr::Quantity* quantity);
    // The entity of the logical processor with this operating-system
    // number, or null (warned once per number) when the topology has none.
    const pwr::EntityHandle* cpuEntity_i(unsigned cpu);
    // The entity of a device, made under the system entity on first use.
    const pwr::EntityHandle* deviceEntity_i(const std::string& name);
    // The system-wide row "All" of this plug-in's tables: the sum (counts,
    // bytes) or the mean (frequencies, residencies) of its processors or
    // devices at each reading. Made on first use, so it follows the rows it
    // sums up.
    const pwr::EntityHandle* systemRow_i() { return deviceEntity_i(c_systemRowName); }
    static constexpr const char* c_systemRowName = "All";
    // The descriptor of a state or direction.
    static const pwr::DataDescriptor* descriptor_i(const std::string& name);

    // The part of the interval (prevTs, ts] that a container accepts: an
    // interval that began before the collection start is cut there (the
    // container measures a first sample from the start), and share is the
    // fraction of the interval that is kept, so that amounts read over the
    // whole interval can be scaled to the part. False when nothing is left.
    static bool window_i(uint64_t prevTs, uint64_t ts, const pwr::SystemMetadata& sys,
                         uint64_t& duration, double& share);
    // Hands one sample to a container; a refused sample is left to the
    // container's own warning.
    static int feed_i(pwr::Metric& metric, uint64_t ts, const pwr::EntityHandle* entity,
                      const pwr::DataDescriptor* descriptor, const pwr::Data& value,
                      uint64_t duration);

    // The OS number and the state name of a "<cpu>/<state>" reading name.
    static bool splitCpuState_i(const std::string& name, unsigned& cpu, std::string& state);
    // The OS number of a "<cpu>" reading name.
    static bool parseCpu_i(const std::string& name, unsigned& cpu);

  private:
    bool parseRecord_i(const vexa_driver_msg& msg, std::vector<Reading>& out) const;
    void buildCpuMap_i(const pwr::SystemMetadata& sys);
    void freeMetrics_i();

    std::string m_command;
    std::string m_prefix;
    std::vector<FieldKind> m_fields;
    bool m_collecting;
    std::vector<pwr::Metric*> m_metrics;
    std::map<unsigned, const pwr::EntityHandle*> m_cpus;
    std::set<unsigned> m_unknownCpus;
    std::map<std::string, const pwr::EntityHandle*> m_devices;
    // Scratch, kept between records to avoid allocating per record.
    std::vector<Reading> m_readings;
};

}  // namespace vantry::features
