#include "common/data/UniqueId.h"

#include <atomic>
#include <memory>
#include <vector>

#include "common/data/IdAnnouncer.h"
#include "common/data/IdManager.h"
#include "common/data/Quantity.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

// Ids are never reused within a process, not even across destroy() and
// initialize(): a HANDLE value or a writer that outlives a registry must never
// see an old id name a new object.
std::atomic<uint64_t> g_nextId{0};

IdManager* g_manager = nullptr;
IdAnnouncer* g_announcer = nullptr;

// Objects created while no registry exists. They stay alive (their creators
// hold pointers to them) until the next destroy() or the end of the process.
std::vector<std::unique_ptr<UniqueId>>& orphans() {
    static std::vector<std::unique_ptr<UniqueId>> list;
    return list;
}

}  // namespace

IdAnnouncer::~IdAnnouncer() = default;

IdManager* idManager() {
    return g_manager;
}

void setAnnouncer_i(IdAnnouncer* stream) {
    g_announcer = stream;
    if (g_manager != nullptr) {
        g_manager->stream = stream;
    }
}

UniqueId::UniqueId() : m_id(g_nextId.fetch_add(1, std::memory_order_relaxed)) {}

UniqueId::~UniqueId() = default;

uint64_t UniqueId::peekNextId() {
    return g_nextId.load(std::memory_order_relaxed);
}

bool UniqueId::isInitialized() {
    return g_manager != nullptr;
}

void UniqueId::initialize() {
    if (g_manager != nullptr) {
        return;
    }
    g_manager = new IdManager();
    g_manager->stream = g_announcer;
    Quantity::initDefaults_i();
}

void UniqueId::destroy() {
    Quantity::clearDefaults_i();
    orphans().clear();
    if (g_manager == nullptr) {
        return;
    }
    // Detach first: objects being deleted must not be looked up any more.
    IdManager* manager = g_manager;
    g_manager = nullptr;
    for (UniqueId* object : manager->objects) {
        delete object;
    }
    delete manager;
}

const UniqueId* UniqueId::find(uint64_t id) {
    if (g_manager == nullptr) {
        return nullptr;
    }
    auto it = g_manager->byId.find(id);
    return it == g_manager->byId.end() ? nullptr : it->second;
}

void UniqueId::register_i(UniqueId* object) {
    if (object == nullptr) {
        return;
    }
    if (g_manager == nullptr) {
        pwLog(PW_ERROR,
              "Vantry internal state wasn't initialized correctly, this can cause issues with "
              "result correctness!");
        pwLog(PW_WARNING, "WARNING: ID Manager wasn't initialized!");
        orphans().emplace_back(object);
        return;
    }
    g_manager->objects.push_back(object);
    g_manager->byId.emplace(object->getId(), object);
    if (g_manager->stream != nullptr) {
        g_manager->stream->announce(*object);
    }
}

}  // namespace pwr
