// Operation: one read or write of a hardware or software source that an input
// message performs. Its operation string names the kind of collector that
// serves it ("MSR", "CONSTANT", ...); its packet holds the key/value pairs
// that the collector needs (an address, a mask, a DATA-FORMAT); its
// requirements say on which systems it can be used.
//
// A collector plug-in announces the kinds it serves by adding one prototype
// operation per kind (CollectorPlugin::addOperation): the prototype's
// categories are the packet keys that the kind accepts (none listed: any
// key), its directions say whether the kind can read and write, and its
// requirements are copied into every operation made from it. Its packet, when
// it has one, lists for a key the values the kind knows, as a comma list
// ("SOURCE" = "CPUIDLE,CPUFREQ"), so that the host can tell a value outside
// them (a mistake in the configuration) from a source this machine lacks;
// operations made from it start without a packet. The platform
// configuration parser makes the operations of the messages from these
// prototypes and keeps the collectors in a registry by operation string,
// through which dispatchRead and dispatchWrite reach the collector.
//
// Ownership: an operation owns its packet and its requirements; copies (and
// clone) copy both. It borrows its collector. An input message owns the
// operations added to it. Threads: no locking.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/plugins/PluginCapability.h"
#include "common/plugins/PluginRequirement.h"
#include "common/runtime/Export.h"
#include "common/serialize/OperationMetadata.h"

class CollectorPlugin;

namespace pwr {

class EntityHandle;
class SystemMetadata;

// The direction of a message or a request.
enum class VexaOpCommand : int {
    READ = 0,
    WRITE = 1,
    // No trigger has decided it yet: either direction may still be added.
    UNDECIDED = 2,
};

// The key/value pairs handed to a collector, in the order they were set.
class PWR_API OperationPacket {
  public:
    using Pairs = std::vector<std::pair<std::string, std::string>>;

    // Appends key=value. A key that is already there keeps its value: logs
    // "ERROR: key %s already set!\n" and returns -1.
    int set(const std::string& key, const std::string& value);
    // False, with value untouched, for a key that was never set.
    bool get(const std::string& key, std::string& value) const;
    bool has(const std::string& key) const;
    size_t size() const { return m_pairs.size(); }
    bool empty() const { return m_pairs.empty(); }
    Pairs::const_iterator begin() const { return m_pairs.begin(); }
    Pairs::const_iterator end() const { return m_pairs.end(); }

  private:
    Pairs m_pairs;
};

class PWR_API Operation {
  public:
    Operation(const std::string& name, const std::string& operation);
    // A new operation named name of the prototype's kind: its operation
    // string, categories, directions, size, collector and requirements, but
    // no packet.
    Operation(const std::string& name, const Operation& prototype);
    Operation(const Operation& other);
    Operation& operator=(const Operation& other);
    virtual ~Operation();

    // A copy of the same kind, owned by the caller.
    virtual Operation* clone() const;

    const std::string& getName() const { return m_name; }
    void setName(const std::string& name) { m_name = name; }
    const std::string& getOperation() const { return m_operation; }

    // The packet keys this kind accepts; none listed means any key.
    const std::set<std::string>& getCategories() const { return m_categories; }
    void addCategory(const std::string& category) { m_categories.insert(category); }
    bool acceptsCategory(const std::string& category) const;

    // Null until the first key is set or createPacket is called.
    OperationPacket* getPacket() { return m_packet.get(); }
    const OperationPacket* getPacket() const { return m_packet.get(); }
    OperationPacket& createPacket();

    // Whether the kind can read, write; both by default.
    bool supportsCommand(VexaOpCommand command) const;
    void setDirections(bool canRead, bool canWrite);

    // The collector that serves this operation (borrowed); null when none
    // was bound.
    ::CollectorPlugin* getCollector() const { return m_collector; }
    void setCollector(::CollectorPlugin* collector) { m_collector = collector; }

    // The tag of the message the operation was declared in; it stays when
    // the operation is copied into another message.
    const std::string& getOrgMsgTag() const { return m_orgMsgTag; }
    void setOrgMsgTag(const std::string& tag) { m_orgMsgTag = tag; }

    // The size of the data the operation reads, for its metadata record.
    unsigned getSize() const { return m_size; }
    void setSize(unsigned size) { m_size = size; }

    // Appends a requirement and takes ownership of it; false for null.
    bool addPluginRequirement(PluginRequirement* requirement);
    size_t getRequirementCount() const { return m_requirements.size(); }
    // The requirements in order, the first that fails making the operation
    // unsuitable; SUITABLE when there are none.
    PluginRequirementResult isOperationSuitableFor(const SystemMetadata& sys) const;

    virtual OperationMetadata getOperationMetadata() const;

    // Immediate read or write of op through the collector registered for
    // its operation string, with target handed to the collector. The
    // collector's result, or -1 (with an error line) when op has no packet,
    // no parser has registered collectors, or none serves its kind.
    static int dispatchRead(Operation* op, const std::string& target);
    static int dispatchWrite(Operation* op, const std::string& target);
    // Not available for entities yet: logs a warning and returns -1.
    static int dispatchRead(Operation* op, const EntityHandle* entity);
    static int dispatchWrite(Operation* op, const EntityHandle* entity);

  protected:
    // Appends copies of other's requirements.
    void copyRequirementsFrom_i(const Operation& other);

  private:
    std::string m_name;
    std::string m_operation;
    std::set<std::string> m_categories;
    std::unique_ptr<OperationPacket> m_packet;
    std::vector<std::unique_ptr<PluginRequirement>> m_requirements;
    ::CollectorPlugin* m_collector;
    std::string m_orgMsgTag;
    unsigned m_size;
    bool m_canRead;
    bool m_canWrite;
};

// A message's constant values: key/value pairs that a collector reports as
// they stand. Read-only; its operation string is "CONSTANT".
class PWR_API CONSTANTOperation : public Operation {
  public:
    explicit CONSTANTOperation(const std::string& name);
    // Takes the prototype's categories, requirements, size and collector.
    CONSTANTOperation(const std::string& name, const Operation& prototype);
    CONSTANTOperation(const CONSTANTOperation& other);
    CONSTANTOperation& operator=(const CONSTANTOperation& other);
    ~CONSTANTOperation() override;

    // The operation string of every constant operation.
    static const std::string& kind();

    CONSTANTOperation* clone() const override;

    // Appends key=value; a key already there is refused (see
    // OperationPacket::set).
    int set(const std::string& key, const std::string& value);
    OperationPacket::Pairs::const_iterator begin() const;
    OperationPacket::Pairs::const_iterator end() const;

    // Its size is the number of pairs.
    OperationMetadata getOperationMetadata() const override;
};

}  // namespace pwr
