// CollectorPlugin: a plug-in that talks to drivers and hardware and collects
// raw data: it is handed the operations of the input messages it supports,
// reads and writes on request (doImmediateRead/Write), and in a continuous
// collection is ticked by the host and hands back its result as bytes with a
// CollectionData summary.
//
// Ownership: the plug-in borrows its operations (owned by the configuration
// that declared them) and its clock source.
// Threads: the host calls a collector from its collection thread; the
// defaults below take no locks.
#pragma once

#include <string>
#include <vector>

#include "common/plugins/CollectionData.h"
#include "common/plugins/Plugin.h"
#include "common/plugins/VexaBuffer.h"
#include "common/runtime/Export.h"

namespace pwr {
class EntityHandle;
class InputMsg;
class Operation;
class VexaClockSource;
}  // namespace pwr

class PWR_API CollectorPlugin : public Plugin {
  public:
    explicit CollectorPlugin(const std::string& name, const std::string& uuid = std::string());
    ~CollectorPlugin() override;

    // Whether this plug-in can collect msg; by default every message.
    virtual bool canCollectMessage(const pwr::InputMsg* msg);
    // Whether it can collect in the low-overhead mode; by default not.
    virtual bool doesSupportLowOverhead() const;
    // One step of a continuous collection. 0 when the step collected; the
    // default 1 says the plug-in does not collect continuously.
    virtual int continuousCollectionTick();
    // Moves what was collected since the last call into buffer, and its
    // summary into data. 0 on success.
    virtual int getContinuousResult(pwr::VexaBuffer& buffer, CollectionData& data) = 0;
    // Immediate reads and writes of an operation, for a named target or an
    // entity, and writes of an input message. 0 on success; the defaults
    // return -1: not supported.
    virtual int doImmediateRead(pwr::Operation* op, const std::string& target);
    virtual int doImmediateRead(pwr::Operation* op, const pwr::EntityHandle* entity);
    virtual int doImmediateWrite(pwr::Operation* op, const std::string& target);
    virtual int doImmediateWrite(const pwr::InputMsg* msg);

    // The operations this plug-in was given, in the order they were added.
    void addOperation(const pwr::Operation* op);
    const std::vector<const pwr::Operation*>& getSupportedOperations() const {
        return m_operations;
    }

    // The clock that stamps this plug-in's samples. Null (the default) means
    // the environment's default clock.
    pwr::VexaClockSource* getClockSource() const { return m_clockSource; }
    void setClockSource(pwr::VexaClockSource* clock) { m_clockSource = clock; }

  private:
    std::vector<const pwr::Operation*> m_operations;
    pwr::VexaClockSource* m_clockSource;
};
