// MsgMetadata: the record of one kind of driver message: the plug-in, metric
// and capability it belongs to, its name, the operations that decode it, and
// the triggers and tracepoints that produce it.
//
// Body: pluginID, metricID, msgID (signed 32-bit); capName; a 16-bit count
// and the strings of capGroups; msgName; a 16-bit count of operations, each a
// complete framed OperationMetadata record (type code 3 and its body); count
// and strings of triggers; count and strings of tracepointNames. Sets are
// written in their sorted order. Every field is mandatory when reading, and
// every string must be non-empty (an empty string reads like a missing one).
// A nested record of any other kind makes the record unreadable.
//
// Ownership: the record owns the OperationMetadata objects handed to
// addMetaValue; a copy copies them. Threads: no locking.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "common/runtime/Export.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/OperationMetadata.h"

namespace pwr {

class PWR_API MsgMetadata : public Metadata {
  public:
    using StringSet = std::set<std::string>;
    using MetaValues = std::vector<const OperationMetadata*>;

    MsgMetadata(int pluginID, int metricID, int msgID);
    MsgMetadata(const MsgMetadata& other);
    MsgMetadata(MsgMetadata&& other) noexcept;
    MsgMetadata& operator=(const MsgMetadata& other);
    MsgMetadata& operator=(MsgMetadata&& other) noexcept;
    ~MsgMetadata() override;

    void swap(MsgMetadata& other) noexcept;

    int getPluginID() const override;
    int getMetricID() const { return m_metricID; }
    int getMsgID() const { return m_msgID; }

    const std::string& getCapName() const { return m_capName; }
    void setCapName(const std::string& name) { m_capName = name; }
    const StringSet& getCapGroups() const { return m_capGroups; }
    void setCapGroups(const StringSet& groups) { m_capGroups = groups; }
    const std::string& getMsgName() const { return m_msgName; }
    void setMsgName(const std::string& name) { m_msgName = name; }
    const StringSet& getTriggers() const { return m_triggers; }
    void setTriggers(const StringSet& triggers) { m_triggers = triggers; }
    const StringSet& getTracepointNames() const { return m_tracepointNames; }
    void setTracepointNames(const StringSet& names) { m_tracepointNames = names; }

    // Appends an operation and takes ownership of it; null is ignored.
    void addMetaValue(const OperationMetadata* value);
    const MetaValues& getMetaValues() const { return m_metaValues; }

  protected:
    void serialize_i(Serializer& ser) const override;
    // Passes version on to the nested operation records.
    int deserialize_i(Serializer& ser, unsigned version) override;

  private:
    void clearMetaValues_i();

    int m_pluginID;
    int m_metricID;
    int m_msgID;
    std::string m_capName;
    StringSet m_capGroups;
    std::string m_msgName;
    MetaValues m_metaValues;
    StringSet m_triggers;
    StringSet m_tracepointNames;
};

}  // namespace pwr
