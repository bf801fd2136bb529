#include "common/data/EntityHandle.h"

#include <algorithm>
#include <exception>
#include <map>
#include <vector>

#include "common/data/IdManager.h"
#include "common/plugins/WriterStream.h"
#include "common/runtime/Log.h"
// The topology entities are built from the system record of the serialize
// layer. Both are parts of this library, so the source may include it; the
// public header only forward-declares the record and stays free of it.
#include "common/serialize/SystemMetadata.h"
#include "common/serialize/TopTree.h"

namespace pwr {

EntityHandle::EntityHandle(const Description& description)
    : DataHandle(description, DataHandleType::ENTITY), m_parent(nullptr) {}

EntityHandle::~EntityHandle() = default;

EntityHandle* EntityHandle::create(const Description& description, const EntityHandle* parent) {
    EntityHandle* entity = new EntityHandle(description);
    if (parent != nullptr) {
        // Every entity is owned by the registry, so the parent may be changed
        // through the const pointer its creator handed out.
        const_cast<EntityHandle*>(parent)->addChild(entity);
    }
    register_i(entity);
    return entity;
}

EntityHandle* EntityHandle::create(const std::string& name, const EntityHandle* parent) {
    return create(Description(name, ""), parent);
}

EntityHandle* EntityHandle::create(const std::string& name, const std::string& description,
                                   const EntityHandle* parent) {
    Description d(name, "");
    d.setDescription(description);
    return create(d, parent);
}

int EntityHandle::addChild(EntityHandle* child) {
    if (child == nullptr) {
        return 1;
    }
    for (const EntityHandle* e = this; e != nullptr; e = e->m_parent) {
        if (e == child) {
            pwLog(PW_WARNING, "WARNING: Could not add relationship because cycle detected\n");
            return 1;
        }
    }
    // An entity has one parent: moving it takes it out of its old parent's
    // children, so that no row is listed twice.
    if (child->m_parent != nullptr) {
        auto& siblings = const_cast<EntityHandle*>(child->m_parent)->m_children;
        siblings.erase(std::remove(siblings.begin(), siblings.end(), child), siblings.end());
    }
    m_children.push_back(child);
    child->m_parent = this;
    return 0;
}

std::string EntityHandle::getQualifiedName() const {
    std::string name = getName();
    for (const EntityHandle* a = m_parent; a != nullptr && a->m_parent != nullptr;
         a = a->m_parent) {
        if (a->getName().empty()) {
            break;
        }
        name.insert(0, "/");
        name.insert(0, a->getName());
    }
    return name;
}

namespace {

// The registry when the topology entities exist, else null after a warning.
const IdManager* topologyForHandles() {
    const IdManager* m = idManager();
    if (m == nullptr || !m->topologyInitialized) {
        pwLog(PW_WARNING,
              "WARNING: Cannot retrieve a CPU Entity handle until it has been initialized\n");
        return nullptr;
    }
    return m;
}

const IdManager* topologyForCounts() {
    const IdManager* m = idManager();
    if (m == nullptr || !m->topologyInitialized) {
        pwLog(PW_WARNING,
              "WARNING: Cannot retrieve a CPU Entity count until it has been initialized\n");
        return nullptr;
    }
    return m;
}

// A node's lookup key: its level and its key in the topology tree (the path
// of its ids from the package down).
std::pair<int, uint64_t> nodeKey(const TNode& node) {
    return {static_cast<int>(node.getType()), node.getKey()};
}

template <typename Key>
const EntityHandle* lookup(const std::map<Key, EntityHandle*> IdManager::*table, Key key) {
    const IdManager* m = topologyForHandles();
    if (m == nullptr) {
        return nullptr;
    }
    auto it = (m->*table).find(key);
    return it == (m->*table).end() ? nullptr : it->second;
}

int count(const std::map<int, EntityHandle*> IdManager::*table) {
    const IdManager* m = topologyForCounts();
    return m == nullptr ? -1 : static_cast<int>((m->*table).size());
}

}  // namespace

const EntityHandle* EntityHandle::getSystemHandle() {
    const IdManager* m = topologyForHandles();
    return m == nullptr ? nullptr : m->system;
}

const EntityHandle* EntityHandle::getCPUEntityHandle(const TNode* node) {
    if (node == nullptr) {
        // No node has this key: null, with the usual warning before the
        // topology exists.
        return lookup(&IdManager::nodes, std::pair<int, uint64_t>(-1, 0));
    }
    return lookup(&IdManager::nodes, nodeKey(*node));
}
const EntityHandle* EntityHandle::getCPUPackageHandle(int id) {
    return lookup(&IdManager::packages, id);
}
const EntityHandle* EntityHandle::getCPUModuleHandle(int id) {
    return lookup(&IdManager::modules, id);
}
const EntityHandle* EntityHandle::getCPUCoreHandle(int id) {
    return lookup(&IdManager::cores, id);
}
const EntityHandle* EntityHandle::getCPUThreadHandle(int id) {
    return lookup(&IdManager::threads, id);
}
int EntityHandle::getCPUPackageCount() {
    return count(&IdManager::packages);
}
int EntityHandle::getCPUModuleCount() {
    return count(&IdManager::modules);
}
int EntityHandle::getCPUCoreCount() {
    return count(&IdManager::cores);
}
int EntityHandle::getCPUThreadCount() {
    return count(&IdManager::threads);
}

namespace {

// The lookup table of a level, or null for levels without one.
std::map<int, EntityHandle*>* levelTable(IdManager& m, top_node_type type) {
    switch (type) {
        case top_node_type::Package:
            return &m.packages;
        case top_node_type::Module:
            return &m.modules;
        case top_node_type::Core:
            return &m.cores;
        case top_node_type::Thread:
            return &m.threads;
        default:
            return nullptr;
    }
}

void clearTopologyLookups(IdManager& m) {
    m.topologyInitialized = false;
    m.packages.clear();
    m.modules.clear();
    m.cores.clear();
    m.threads.clear();
    m.nodes.clear();
}

// The child of parent with this name, made when there is none: building the
// same topology again reuses the entities (and ids) it made before.
EntityHandle* childNamed(EntityHandle* parent, const std::string& name) {
    for (EntityHandle* child : parent->getChildren()) {
        if (child->getName() == name) {
            return child;
        }
    }
    return EntityHandle::create(name, parent);
}

// The entity of node and of its subtree. levelIndex holds each node's
// position among the nodes of its level (the key of the lookup tables).
bool addNodeEntities(IdManager& m, const TNode& node,
                     const std::map<const TNode*, int>& levelIndex) {
    EntityHandle* parent = m.cpu;
    if (node.getParent() != nullptr) {
        const auto it = m.nodes.find(nodeKey(*node.getParent()));
        if (it == m.nodes.end()) {
            pwLog(PW_WARNING, "WARNING: Topology is broken");
            return false;
        }
        parent = it->second;
    }
    const std::string name = node.getName();
    pwLog(PW_INFO, "INFO: node name = %s\n", name.c_str());
    EntityHandle* entity = childNamed(parent, name);
    pwLog(PW_INFO, "INFO: NODE %p maps to ENTITY %p\n", static_cast<const void*>(&node),
          static_cast<const void*>(entity));
    m.nodes[nodeKey(node)] = entity;
    std::map<int, EntityHandle*>* table = levelTable(m, node.getType());
    const auto index = levelIndex.find(&node);
    if (table != nullptr && index != levelIndex.end()) {
        (*table)[index->second] = entity;
    }
    // In id order, whatever order the nodes were added in, so that entity
    // ids follow the topology.
    std::vector<const TNode*> children(node.begin(), node.end());
    std::stable_sort(children.begin(), children.end(),
                     [](const TNode* a, const TNode* b) { return a->getID() < b->getID(); });
    for (const TNode* child : children) {
        if (!addNodeEntities(m, *child, levelIndex)) {
            return false;
        }
    }
    return true;
}

int buildTopologyEntities(IdManager& m, const SystemMetadata& system) {
    bool built = false;
    try {
        if (m.system == nullptr) {
            m.system = EntityHandle::create("SYSTEM", nullptr);
        }
        if (m.cpu == nullptr) {
            m.cpu = EntityHandle::create("CPU", m.system);
        }
        const TopTree& tree = system.getCPUTopology();
        std::map<const TNode*, int> levelIndex;
        std::vector<const TNode*> nodes;
        for (top_node_type type : {top_node_type::Package, top_node_type::Module,
                                   top_node_type::Core, top_node_type::Thread}) {
            tree.getAllNodesOfType(nodes, type);
            for (size_t i = 0; i < nodes.size(); ++i) {
                levelIndex[nodes[i]] = static_cast<int>(i);
            }
        }
        tree.getAllPackages(nodes);
        built = true;
        for (const TNode* package : nodes) {
            if (!addNodeEntities(m, *package, levelIndex)) {
                built = false;
                break;
            }
        }
    } catch (const std::exception&) {
        built = false;
    }
    if (!built) {
        pwLog(PW_WARNING, "WARNING: Error processing topology\n");
        clearTopologyLookups(m);
        return -1;
    }
    m.topologyInitialized = true;
    return 0;
}

IdManager* registryForTopology() {
    IdManager* m = idManager();
    if (m == nullptr) {
        pwLog(PW_WARNING, "WARNING: ID Manager wasn't initialized!");
    }
    return m;
}

}  // namespace

int DataHandleProvider::initTopology(const SystemMetadata& system) {
    IdManager* m = registryForTopology();
    if (m == nullptr) {
        return -1;
    }
    if (m->topologyInitialized) {
        return 0;
    }
    return buildTopologyEntities(*m, system);
}

int DataHandleProvider::resetTopology(const SystemMetadata& system) {
    IdManager* m = registryForTopology();
    if (m == nullptr) {
        return -1;
    }
    clearTopologyLookups(*m);
    return buildTopologyEntities(*m, system);
}

void DataHandleProvider::addStream(IdAnnouncer* stream) {
    setAnnouncer_i(stream);
}

void DataHandleProvider::addStream(::WriterStream* stream) {
    setAnnouncer_i(stream);
}

void DataHandleProvider::addStream(std::nullptr_t) {
    setAnnouncer_i(nullptr);
}

}  // namespace pwr
