// EntityHandle: a row of the result tables: the system, the CPU, a package,
// module, core or thread, a device.
//
// Entities form a tree: "SYSTEM" at the root, "CPU" below it, the processor
// topology below that. Each entity knows its parent and its children in the
// order they were added. Entities are registered objects owned by the
// registry. The static lookups find the entities made from the CPU topology;
// they answer only after the topology entity tree has been built.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "common/data/AttributeValueManager.h"
#include "common/data/DataHandle.h"
#include "common/runtime/Export.h"

class WriterStream;

namespace pwr {

class TNode;
class DataHandleProvider;
class IdAnnouncer;
// The system record lives in a higher layer; the data layer only takes it by
// reference here.
class SystemMetadata;

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
//
// The entity tree: "SYSTEM" at the root, "CPU" below it, and one entity per
// node of the system record's CPU topology below that, named after the node
// ("Package 0", "Core 1", "Thread 0") and placed under its parent node's
// entity. Children are created in id order, so that entity ids (the order of
// table rows) follow the topology.
//
// Lookups. EntityHandle::getCPUPackageHandle, getCPUModuleHandle,
// getCPUCoreHandle and getCPUThreadHandle take the node's index among all
// nodes of its level in key order, which is the unique id TopTree::setUniqueID
// gives it (the system record numbers every tree it reads or builds): for a
// thread its logical-processor index, for a core its index among all cores of
// the machine. A node's own id is not unique (every core has a "Thread 0").
// getCPUEntityHandle takes a node of the very record the entities were built
// from, while that record lives.
//
// Threads: set-up only, on one thread, like the registry.
class PWR_API DataHandleProvider {
  public:
    // Builds the topology entities once. A second call does nothing and
    // returns 0. Returns -1 with a warning when there is no registry or the
    // topology cannot be processed.
    static int initTopology(const SystemMetadata& system);
    // Forgets the lookups and builds them again from system. SYSTEM, CPU and
    // the entity of every node whose path (names from CPU down) existed
    // before are reused, so reading the same topology again creates nothing;
    // entities of nodes that are gone stay registered and in the tree (tables
    // may refer to them) but leave the lookups.
    static int resetTopology(const SystemMetadata& system);
    // New objects are announced to stream from now on (null stops it).
    static void addStream(IdAnnouncer* stream);
    static void addStream(::WriterStream* stream);
    // Stops the announcements (a plain null would fit both forms above).
    static void addStream(std::nullptr_t);
};

}  // namespace pwr
