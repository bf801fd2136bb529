// EntityHandle: a row of the result tables: the system, the CPU, a package,
// module, core or thread, a device.
//
// Entities form a tree: "SYSTEM" at the root, "CPU" below it, the processor
// topology below that. Each entity knows its parent and its children in the
// order they were added. Entities are registered objects owned by the
// registry. The static lookups find the entities made from the CPU topology;
// they answer only after the topology entity tree has been built.
#pragma once

#include <string>
#include <vector>

#include "common/data/AttributeValueManager.h"
#include "common/data/DataHandle.h"
#include "common/runtime/Export.h"

namespace pwr {

class TNode;
class DataHandleProvider;
class IdAnnouncer;

class PWR_API EntityHandle : public DataHandle, public AttributeValueManager {
  public:
    ~EntityHandle() override;

    // Create and register an entity, as a child of parent when one is given.
    static EntityHandle* create(const Description& description, const EntityHandle* parent);
    static EntityHandle* create(const std::string& name, const EntityHandle* parent);
    static EntityHandle* create(const std::string& name, const std::string& description,
                                const EntityHandle* parent);

    const EntityHandle* getParent() const { return m_parent; }
    const std::vector<EntityHandle*>& getChildren() const { return m_children; }

    // The names from below the system root down to this entity, joined with
    // "/": the root never appears, and an ancestor with an empty name ends
    // the walk.
    std::string getQualifiedName() const override;

    // Entities of the CPU topology. Before the topology entity tree exists
    // the handle lookups warn and return null, the counts warn and return -1.
    static const EntityHandle* getSystemHandle();
    static const EntityHandle* getCPUEntityHandle(const TNode* node);
    static const EntityHandle* getCPUPackageHandle(int id);
    static const EntityHandle* getCPUModuleHandle(int id);
    static const EntityHandle* getCPUCoreHandle(int id);
    static const EntityHandle* getCPUThreadHandle(int id);
    static int getCPUPackageCount();
    static int getCPUModuleCount();
    static int getCPUCoreCount();
    static int getCPUThreadCount();

  private:
    friend class DataHandleProvider;
    friend struct EntityHandleTestPeer;

    explicit EntityHandle(const Description& description);

    // Makes child a child of this entity. Refused (1, with a warning) when
    // child is this entity or one of its ancestors, which would close a cycle.
    int addChild(EntityHandle* child);

    const EntityHandle* m_parent;
    std::vector<EntityHandle*> m_children;
};

// Builds the topology entities and attaches the writer stream that the
// registry announces new objects to.
class PWR_API DataHandleProvider {
  public:
    // New objects are announced to stream from now on (null stops it).
    static void addStream(IdAnnouncer* stream);
};

}  // namespace pwr
