// InputMsg: one unit of work that a collector performs, as the platform
// configuration declares it: a named list of operations, the triggers that
// say when they run ("INIT", "BEGIN", "POLL", "END", "FINI", "REQUIREMENTS",
// "NOTIFIER" with notifier names, "TRACEPOINT" with tracepoint names), the
// CPU on which they run and the capability (feature) they belong to. Each
// trigger set exists twice: for normal collections and for maximum detail.
//
// A message is a read or a write, never both: the first trigger decides, and
// only operations that can serve that direction may join. "INIT",
// "REQUIREMENTS" and "FINI" run alone: a trigger set holding one of them
// takes no other trigger. All operations of a message are served by one
// collector.
//
// Ownership: a message owns its operations; copies clone them. It borrows
// its entity handle. Threads: no locking.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/config/Operation.h"
#include "common/runtime/Export.h"
#include "common/serialize/MsgMetadata.h"

namespace pwr {

class EntityHandle;

class PWR_API InputMsg {
  public:
    using StringSet = std::set<std::string>;
    using Operations = std::vector<Operation*>;
    using Results = std::vector<std::pair<std::string, std::string>>;

    // A message named name; its full name is "<prefix>_<name>" (name alone
    // without a prefix). The feature name starts as the prefix.
    explicit InputMsg(const std::string& name, const std::string& platformPrefix = std::string(),
                      const std::string& platformName = std::string());
    InputMsg(const InputMsg& other);
    InputMsg(InputMsg&& other) noexcept;
    InputMsg& operator=(const InputMsg& other);
    InputMsg& operator=(InputMsg&& other) noexcept;
    ~InputMsg();

    void swap(InputMsg& other) noexcept;

    const std::string& getName() const { return m_name; }
    const std::string& getFullName() const { return m_fullName; }
    const std::string& getPlatformName() const { return m_platformName; }
    // The capability prefix of the configuration that declared the message.
    const std::string& getConfigfilePrefix() const { return m_platformPrefix; }

    const std::string& getFeatureName() const { return m_featureName; }
    void setFeatureName(const std::string& name) { m_featureName = name; }
    const StringSet& getCapGroups() const { return m_capGroups; }
    void setCapGroups(const StringSet& groups) { m_capGroups = groups; }

    int getMsgID() const { return m_msgID; }
    void setMsgID(int id) { m_msgID = id; }
    int getPluginID() const { return m_pluginID; }
    void setPluginID(int id) { m_pluginID = id; }
    int getMetricID() const { return m_metricID; }
    void setMetricID(int id) { m_metricID = id; }

    // "ANY" unless the configuration names a CPU.
    const std::string& getCPUString() const { return m_cpu; }
    void setCPUString(const std::string& cpu) { m_cpu = cpu; }
    const EntityHandle* getEntityHandle() const { return m_entity; }
    void setEntityHandle(const EntityHandle* entity) { m_entity = entity; }
    VexaOpCommand getCommand() const { return m_command; }
    void setCommand(VexaOpCommand command) { m_command = command; }
    uint16_t getSamplingInterval() const { return m_samplingInterval; }
    void setSamplingInterval(uint16_t interval) { m_samplingInterval = interval; }

    // Adds a trigger of a normal collection. 0, or -1 when the direction or
    // the trigger does not fit the message (see the header comment): a
    // direction clash prints "Commands are not compatible!" on standard
    // error, a trigger clash logs an error line.
    int addReadTrigger(const std::string& trigger);
    int addWriteTrigger(const std::string& trigger);
    void addNotifierName(const std::string& name);
    void addTracepointName(const std::string& name);
    const StringSet& getTriggers(bool maxDetail = false) const { return m_triggers[maxDetail]; }
    const StringSet& getNotifierNames(bool maxDetail = false) const {
        return m_notifierNames[maxDetail];
    }
    const StringSet& getTracepointNames(bool maxDetail = false) const {
        return m_tracepointNames[maxDetail];
    }

    // Takes ownership of op and returns 0; an operation without an original
    // message tag gets this message's name. Returns -1, leaving op with the
    // caller, for null, for an operation served by another collector than
    // the message's operations (error line), or for one that cannot serve
    // the message's direction ("Commands are not compatible!" on standard
    // error).
    int addOperation(Operation* op);
    // Deletes every operation.
    void resetOperations();
    const Operations& getOperations() const { return m_operations; }
    size_t getOperationCount() const { return m_operations.size(); }
    Operations::const_iterator begin() const { return m_operations.begin(); }
    Operations::const_iterator end() const { return m_operations.end(); }

    // Appends copies of other's operations (a configured message group).
    // Refused, with an error line and -1, when the collectors differ, or
    // when the direction or the triggers, notifiers and tracepoints of a
    // normal or a maximum-detail collection differ.
    int appendMessage(const InputMsg& other);

    // Performs the message now through the collector of its first operation:
    // a write hands the message to the collector's doImmediateWrite; a read
    // reads each operation on the message's CPU and appends (operation name,
    // collector status) to results. The collector's status, the first
    // failing one for a read; -1 when there are no operations or no
    // collector serves them.
    int execute(Results& results);

    MsgMetadata getMetadata() const;

  private:
    friend class VexaConfigFileParser;

    // The same for the maximum-detail sets when maxDetail is set.
    int addReadTrigger(const std::string& trigger, bool maxDetail);
    int addWriteTrigger(const std::string& trigger, bool maxDetail);
    void addNotifierName(const std::string& name, bool maxDetail);
    void addTracepointName(const std::string& name, bool maxDetail);
    int addTrigger(VexaOpCommand command, const std::string& trigger, bool maxDetail);
    bool areOperationsCompatible_i(VexaOpCommand command) const;

    std::string m_name;
    std::string m_fullName;
    std::string m_platformName;
    std::string m_platformPrefix;
    std::string m_featureName;
    StringSet m_capGroups;
    int m_msgID;
    int m_pluginID;
    int m_metricID;
    std::string m_cpu;
    const EntityHandle* m_entity;
    VexaOpCommand m_command;
    uint16_t m_samplingInterval;
    Operations m_operations;
    // [0] normal collection, [1] maximum detail.
    StringSet m_triggers[2];
    StringSet m_notifierNames[2];
    StringSet m_tracepointNames[2];
};

}  // namespace pwr
