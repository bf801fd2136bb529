// The registry behind UniqueId (the "ID manager"). Internal to the library:
// the classes of the data model reach it through idManager(); everybody else
// uses the static functions of UniqueId, DataHandle and EntityHandle.
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <string>
#include <vector>

namespace pwr {

class UniqueId;
class IdAnnouncer;
class Attribute;
class Event;
class DataDescriptor;
class EntityHandle;
class TNode;

struct IdManager {
    // The writer stream that new objects are announced to (null until one is
    // attached).
    IdAnnouncer* stream = nullptr;
    // Every registered object, in registration order; the registry owns them.
    std::vector<UniqueId*> objects;
    std::map<uint64_t, UniqueId*> byId;
    // Attributes by their one-byte type code.
    std::map<uint8_t, const Attribute*> attributes;
    // Events and data descriptors by their de-duplication key.
    std::map<std::string, std::vector<const Event*>> events;
    std::map<std::string, std::vector<const DataDescriptor*>> descriptors;
    // Set once the entity tree of the CPU topology has been built.
    bool topologyInitialized = false;

    // Lookup tables of the topology entities (filled with the tree).
    EntityHandle* system = nullptr;
    EntityHandle* cpu = nullptr;
    std::map<int, EntityHandle*> packages;
    std::map<int, EntityHandle*> modules;
    std::map<int, EntityHandle*> cores;
    std::map<int, EntityHandle*> threads;
    // By node: its level and the path of ids from its package down, so the
    // nodes of a copy of the system record find the same entities.
    std::map<std::pair<int, uint64_t>, EntityHandle*> nodes;
};

// The registry, or null before UniqueId::initialize and after destroy.
IdManager* idManager();

// Attaches the writer stream that new objects are announced to. The host
// may attach it before the registry exists: the registry made later picks
// it up (and announces the built-in quantities through it).
void setAnnouncer_i(IdAnnouncer* stream);

}  // namespace pwr
