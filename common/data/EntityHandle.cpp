#include "common/data/EntityHandle.h"

#include <algorithm>
#include <map>

#include "common/data/IdManager.h"
#include "common/runtime/Log.h"

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
    return lookup(&IdManager::nodes, node);
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

void DataHandleProvider::addStream(IdAnnouncer* stream) {
    IdManager* m = idManager();
    if (m == nullptr) {
        pwLog(PW_WARNING, "WARNING: ID Manager wasn't initialized!");
        return;
    }
    m->stream = stream;
}

}  // namespace pwr
