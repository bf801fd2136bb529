// TopTree: the processor topology of the measured system as a forest, with
// packages at the roots and modules or dies, cores and hardware threads below.
// It lives in the system record, is written into the result file with it, and
// answers count and list queries per level.
//
// Keys. Every node has a 64-bit key: its parent's key shifted left by 16 bits,
// OR-ed with the low 16 bits of its own id (a package's parent key is 0). A
// key therefore spells the path of ids from the package down; two threads
// with the same id under different cores have different keys. The tree keeps
// one ordered map per node type from key to node, so every list and every
// serialised form runs in key order. Trees are limited to c_maxDepth levels.
//
// Names. getName() is the type's name, a blank and the node's id ("Package 0",
// "Core 1", "Thread 0"); getFullyQualifiedName() joins the names from the
// package down with "/" ("Package 0/Core 1/Thread 0").
//
// Unique ids. setUniqueID() numbers the nodes of each type separately, 0, 1,
// 2, ... in key order: a thread's unique id is its logical-processor index in
// package, core, thread order, a core's unique id its index among all cores.
// Nodes have unique id -1 until then; buildTopology numbers the tree it
// builds, addNode and the readers do not.
//
// Textual description (buildTopology). One path per line, from the package
// down; the tree is the union of all paths, so listing every hardware thread
// describes the whole machine:
//
//     # package 0: two cores with two threads each
//     Package 0/Core 0 (0x40000001)/Thread 0
//     Package 0/Core 0/Thread 1
//     Package 0/Core 1 (0x20000001)/Thread 0
//     Package 0/Core 1/Thread 1
//
// - Lines end with "\n" (a "\r" before it is ignored). Blank lines and lines
//   whose first non-blank character is "#" are skipped.
// - A path is one or more levels separated by "/". A level is a type name
//   (Package, Module, Core, Thread, SOC, Die, Tile; case matters), blanks, and
//   a decimal id from 0 to 65535. Blanks around levels are ignored.
// - The first level is a Package, and Package appears nowhere else.
// - A Core level may end with its model id and core type in parentheses,
//   decimal or hexadecimal with "0x" (for example "(0x40000001)"). It can be
//   given on any line naming the core; two different values are an error.
//   Cores without one hold TNodeCore::c_32BitMask.
//
// Serialised forms (little-endian, see Serializer):
// - Current: a 16-bit count of packages, then each package in key order,
//   written depth-first. A node is its id (signed 32-bit), its type (unsigned
//   32-bit), for a Core its core value (unsigned 32-bit; 0xFFFFFFFF when the
//   node is not a TNodeCore), its children, and the end marker -1 (signed
//   32-bit). A node with a negative id would be written as its id alone; the
//   tree never holds one, since a negative id reads as an end marker.
// - Deprecated: a 16-bit count of packages, then each package depth-first as
//   id (signed 32-bit), type (unsigned 32-bit), a 16-bit count of children,
//   and the children. It carries no core values: cores read from it hold
//   c_32BitMask. The system record writes an empty count in its place; this
//   tree still writes the whole form so that old files can be produced.
//
// Ownership: the tree owns its nodes; a node owns its children. Pointers
// handed out stay valid until the tree is changed, cleared or destroyed.
// TopTree is a value type (a copy is deep). Threads: no locking; a tree is
// built on one thread and may then be read from several.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/runtime/Export.h"

namespace pwr {

class Serializer;

// The levels of the topology. The values are part of the serialised form.
enum class top_node_type : uint32_t {
    NONE = 0,
    Package = 1,
    Module = 2,
    Core = 3,
    Thread = 4,
    SOC = 5,
    Die = 6,
    Tile = 7,
};

// The number of top_node_type values.
constexpr size_t c_numTopNodeTypes = 8;

// The level name: "NONE", "Package", "Module", "Core", "Thread", "SOC", "Die",
// "Tile"; "Unknown" for any other value.
PWR_API const char* getTopNodeTypeName(top_node_type type);

class PWR_API TNode {
  public:
    using const_iterator = std::vector<TNode*>::const_iterator;

    // A node without parent or children; unique id -1.
    TNode(int id, top_node_type type);
    TNode(const TNode&) = delete;
    TNode& operator=(const TNode&) = delete;
    // Deletes the children.
    virtual ~TNode();

    // The id within the parent.
    int getID() const { return m_id; }
    int getUniqueID() const { return m_uniqueID; }
    top_node_type getType() const { return m_type; }
    const TNode* getParent() const { return m_parent; }

    // The children in the order they were added.
    const_iterator begin() const { return m_children.begin(); }
    const_iterator end() const { return m_children.end(); }
    size_t getNumChildren() const { return m_children.size(); }

    // "Core 1": the type name, a blank and the id.
    std::string getName() const;
    // "Package 0/Core 1/Thread 0": the names from the root down.
    std::string getFullyQualifiedName() const;
    // The key of this node (see the top of this file).
    uint64_t getKey() const;

  protected:
    // A deep copy of this node and its subtree, without a parent.
    virtual TNode* clone_i() const;
    // Clones every child of this node into copy.
    void cloneChildrenInto_i(TNode& copy) const;
    void setUniqueID_i(int uniqueID) { m_uniqueID = uniqueID; }

  private:
    friend class TopTree;

    // Appends child (taking ownership) and makes this node its parent.
    void addChild_i(TNode* child);

    int m_id;
    int m_uniqueID;
    top_node_type m_type;
    TNode* m_parent;
    std::vector<TNode*> m_children;
};

// A core, with its native model id and core type as the processor reports
// them.
class PWR_API TNodeCore : public TNode {
  public:
    // The value of a core whose model id and type are unknown.
    static constexpr uint32_t c_32BitMask = 0xFFFFFFFFu;

    explicit TNodeCore(int id, uint32_t coreModelIDAndType = c_32BitMask);

    uint32_t getCoreModelIDAndType() const { return m_coreModelIDAndType; }

  protected:
    TNode* clone_i() const override;

  private:
    friend class TopTree;

    uint32_t m_coreModelIDAndType;
};

class PWR_API TopTree {
  public:
    // The deepest tree accepted: a package and seven levels below it.
    static constexpr size_t c_maxDepth = 8;

    TopTree();
    TopTree(const TopTree& other);
    TopTree(TopTree&& other) noexcept;
    TopTree& operator=(const TopTree& other);
    TopTree& operator=(TopTree&& other) noexcept;
    ~TopTree();

    void swap(TopTree& other) noexcept;
    void clear();
    bool empty() const { return m_nodes[index_i(top_node_type::Package)].empty(); }

    // Fill out (cleared first) with the nodes of one level in key order.
    void getAllPackages(std::vector<const TNode*>& out) const;
    void getAllModules(std::vector<const TNode*>& out) const;
    void getAllDies(std::vector<const TNode*>& out) const;
    void getAllCores(std::vector<const TNode*>& out) const;
    void getAllThreads(std::vector<const TNode*>& out) const;
    void getAllNodesOfType(std::vector<const TNode*>& out, top_node_type type) const;

    size_t getNumPackages() const;
    size_t getNumModules() const;
    size_t getNumDies() const;
    size_t getNumCores() const;
    size_t getNumThreads() const;
    size_t getNumNodesOfType(top_node_type type) const;

    // The node of this type with this key, or null.
    const TNode* getNode(top_node_type type, uint64_t key) const;
    // The key of a node with this id below a node with parentKey (0 for a
    // package).
    static uint64_t makeKey(uint64_t parentKey, int id);

    // Adds the path package/module/core/thread, reusing the nodes that exist
    // already. A negative id skips its level (logged at debug level), so
    // addNode(0, -1, 2, 1) adds "Package 0/Core 2/Thread 1". A new core gets
    // coreModelIDAndType, and an existing one takes it unless it is
    // c_32BitMask. Returns 0, or -1 with a warning and the tree unchanged when
    // the path has no package, an id does not fit in 16 bits or a new node's
    // key is taken by a node elsewhere in the tree.
    int addNode(int packageID, int moduleID, int coreID, int threadID, uint32_t coreModelIDAndType);
    // The same for a core whose model the processor does not report.
    int addNode(int packageID, int moduleID, int coreID, int threadID);

    // Replaces the tree with the one described by description (format at the
    // top of this file), numbers it with setUniqueID and dumps it at
    // information level. expectedThreads, when not 0, is the number of
    // hardware threads the description must hold. Returns 0, or -1 with a
    // warning and the tree unchanged.
    int buildTopology(const std::string& description, size_t expectedThreads);

    // Logs every tree at information level, one node per line, indented by
    // two blanks per level: "INFO: Package 0 (unique id 0)\n",
    // "INFO:   Core 1 (unique id 1, core value 0x40000001)\n".
    void dumpPackages() const;

    // Numbers the nodes of each type 0, 1, 2, ... in key order.
    void setUniqueID();

    // The current serialised form. Always returns 0.
    int serializeTree(Serializer& out) const;
    // Replaces the tree with one read in the current form. Returns 0, or -1
    // with the tree unchanged when the input is cut short or malformed
    // (unknown type, a Package below the root or another type at the root,
    // two nodes with one key, more than c_maxDepth levels). A negative id
    // where a package is expected leaves that package out. Unique ids stay -1.
    int deserializeTree(Serializer& in);

    // The same for the deprecated form.
    int serializeTreeDeprecated(Serializer& out) const;
    int deserializeTreeDeprecated(Serializer& in);

  private:
    using NodeMap = std::map<uint64_t, TNode*>;
    struct PathStep {
        top_node_type type;
        int id;
        uint32_t coreModelIDAndType;
    };

    static size_t index_i(top_node_type type) { return static_cast<size_t>(type); }

    int addPath_i(const std::vector<PathStep>& path);
    // Makes node (owned by the caller until it returns) a child of parent, or
    // a root when parent is null, and enters it in its map under key.
    TNode* insert_i(TNode* parent, uint64_t key, TNode* node);
    // Enters node and its subtree in the maps.
    void indexSubtree_i(TNode* node, uint64_t key);
    void copyFrom_i(const TopTree& other);

    enum class ReadResult { Node, End, Error };
    ReadResult readNode_i(Serializer& in, TNode* parent, uint64_t parentKey, size_t depth);
    bool readNodeDeprecated_i(Serializer& in, TNode* parent, uint64_t parentKey, size_t depth);
    // Whether a node of this type may sit at this depth, with this key.
    bool acceptsNode_i(top_node_type type, TNode* parent, uint64_t key, size_t depth) const;

    // One map per type; the Package map owns the roots.
    std::array<NodeMap, c_numTopNodeTypes> m_nodes;
};

}  // namespace pwr
