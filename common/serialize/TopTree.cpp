#include "common/serialize/TopTree.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <memory>

#include "common/runtime/Log.h"
#include "common/serialize/Serializer.h"

namespace pwr {

namespace {

const char* const c_typeNames[c_numTopNodeTypes] = {"NONE",   "Package", "Module", "Core",
                                                    "Thread", "SOC",     "Die",    "Tile"};

// Ids enter keys through their low 16 bits; larger ids would share keys.
constexpr int c_maxId = 0xFFFF;
// The end of a child list in the current form.
constexpr int32_t c_endMarker = -1;
// The largest count a 16-bit count field holds.
constexpr size_t c_maxCount = 0xFFFF;

bool isKnownType(uint32_t type) {
    return type < c_numTopNodeTypes;
}

TNode* makeNode(int id, top_node_type type, uint32_t coreModelIDAndType) {
    if (type == top_node_type::Core) {
        return new TNodeCore(id, coreModelIDAndType);
    }
    return new TNode(id, type);
}

uint32_t coreValueOf(const TNode& node) {
    const auto* core = dynamic_cast<const TNodeCore*>(&node);
    return core == nullptr ? TNodeCore::c_32BitMask : core->getCoreModelIDAndType();
}

void dumpNode(const TNode& node, size_t depth) {
    const std::string indent(2 * depth, ' ');
    if (node.getType() == top_node_type::Core) {
        pwLog(PW_INFO, "INFO: %s%s (unique id %d, core value 0x%08" PRIX32 ")\n", indent.c_str(),
              node.getName().c_str(), node.getUniqueID(), coreValueOf(node));
    } else {
        pwLog(PW_INFO, "INFO: %s%s (unique id %d)\n", indent.c_str(), node.getName().c_str(),
              node.getUniqueID());
    }
    for (const TNode* child : node) {
        dumpNode(*child, depth + 1);
    }
}

void writeNode(Serializer& out, const TNode& node) {
    out.write(static_cast<int32_t>(node.getID()));
    if (node.getID() < 0) {
        return;
    }
    out.write(static_cast<uint32_t>(node.getType()));
    if (node.getType() == top_node_type::Core) {
        out.write(coreValueOf(node));
    }
    for (const TNode* child : node) {
        writeNode(out, *child);
    }
    out.write(c_endMarker);
}

void writeNodeDeprecated(Serializer& out, const TNode& node) {
    const size_t count = std::min(node.getNumChildren(), c_maxCount);
    out.write(static_cast<int32_t>(node.getID()));
    out.write(static_cast<uint32_t>(node.getType()));
    out.write(static_cast<uint16_t>(count));
    auto child = node.begin();
    for (size_t i = 0; i < count; ++i, ++child) {
        writeNodeDeprecated(out, **child);
    }
}

// Text parsing for buildTopology.

std::string trim(const std::string& text) {
    const char* blanks = " \t";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return std::string();
    }
    const size_t last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int hexDigit(char c) {
    if (isDigit(c)) {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// A whole unsigned number, decimal or with "0x" hexadecimal, up to max.
bool parseNumber(const std::string& text, uint64_t max, bool allowHex, uint64_t& value) {
    uint64_t result = 0;
    size_t pos = 0;
    unsigned base = 10;
    if (allowHex && text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        pos = 2;
    }
    if (pos >= text.size()) {
        return false;
    }
    for (; pos < text.size(); ++pos) {
        const int digit =
            base == 16 ? hexDigit(text[pos]) : (isDigit(text[pos]) ? text[pos] - '0' : -1);
        if (digit < 0) {
            return false;
        }
        result = result * base + static_cast<uint64_t>(digit);
        if (result > max) {
            return false;
        }
    }
    value = result;
    return true;
}

struct ParsedLevel {
    top_node_type type = top_node_type::NONE;
    int id = 0;
    bool hasCoreValue = false;
    uint32_t coreValue = TNodeCore::c_32BitMask;
};

// "<Type> <id>" or "Core <id> (<value>)".
bool parseLevel(const std::string& text, ParsedLevel& level) {
    const size_t nameEnd = text.find_first_of(" \t");
    if (nameEnd == std::string::npos) {
        return false;
    }
    const std::string name = text.substr(0, nameEnd);
    bool known = false;
    for (size_t t = 1; t < c_numTopNodeTypes; ++t) {
        if (name == c_typeNames[t]) {
            level.type = static_cast<top_node_type>(t);
            known = true;
        }
    }
    if (!known) {
        return false;
    }
    std::string rest = trim(text.substr(nameEnd));
    const size_t open = rest.find('(');
    if (open != std::string::npos) {
        if (level.type != top_node_type::Core || rest.back() != ')') {
            return false;
        }
        uint64_t value = 0;
        if (!parseNumber(trim(rest.substr(open + 1, rest.size() - open - 2)), UINT32_MAX, true,
                         value)) {
            return false;
        }
        level.hasCoreValue = true;
        level.coreValue = static_cast<uint32_t>(value);
        rest = trim(rest.substr(0, open));
    }
    uint64_t id = 0;
    if (!parseNumber(rest, static_cast<uint64_t>(c_maxId), false, id)) {
        return false;
    }
    level.id = static_cast<int>(id);
    return true;
}

bool parsePath(const std::string& line, std::vector<ParsedLevel>& levels) {
    levels.clear();
    size_t start = 0;
    while (true) {
        const size_t slash = line.find('/', start);
        ParsedLevel level;
        const std::string text = trim(
            line.substr(start, slash == std::string::npos ? std::string::npos : slash - start));
        if (!parseLevel(text, level)) {
            return false;
        }
        // Packages are the roots, and only the roots.
        if ((levels.empty()) != (level.type == top_node_type::Package)) {
            return false;
        }
        levels.push_back(level);
        if (levels.size() > TopTree::c_maxDepth) {
            return false;
        }
        if (slash == std::string::npos) {
            return true;
        }
        start = slash + 1;
    }
}

}  // namespace

const char* getTopNodeTypeName(top_node_type type) {
    const auto index = static_cast<uint32_t>(type);
    return isKnownType(index) ? c_typeNames[index] : "Unknown";
}

// TNode

TNode::TNode(int id, top_node_type type)
    : m_id(id), m_uniqueID(-1), m_type(type), m_parent(nullptr) {}

TNode::~TNode() {
    for (TNode* child : m_children) {
        delete child;
    }
}

std::string TNode::getName() const {
    return std::string(getTopNodeTypeName(m_type)) + " " + std::to_string(m_id);
}

std::string TNode::getFullyQualifiedName() const {
    std::string name = getName();
    for (const TNode* node = m_parent; node != nullptr; node = node->m_parent) {
        name = node->getName() + "/" + name;
    }
    return name;
}

uint64_t TNode::getKey() const {
    return TopTree::makeKey(m_parent == nullptr ? 0 : m_parent->getKey(), m_id);
}

TNode* TNode::clone_i() const {
    std::unique_ptr<TNode> copy(new TNode(m_id, m_type));
    copy->m_uniqueID = m_uniqueID;
    cloneChildrenInto_i(*copy);
    return copy.release();
}

void TNode::cloneChildrenInto_i(TNode& copy) const {
    copy.m_children.reserve(m_children.size());
    for (const TNode* child : m_children) {
        // reserve() above keeps addChild_i from throwing once the clone exists.
        copy.addChild_i(child->clone_i());
    }
}

void TNode::addChild_i(TNode* child) {
    m_children.push_back(child);
    child->m_parent = this;
}

// TNodeCore

// Emitted here so that the DLL exports the constant: callers that take its
// address (bind it to a reference) import it from the library.
constexpr uint32_t TNodeCore::c_32BitMask;

TNodeCore::TNodeCore(int id, uint32_t coreModelIDAndType)
    : TNode(id, top_node_type::Core), m_coreModelIDAndType(coreModelIDAndType) {}

TNode* TNodeCore::clone_i() const {
    std::unique_ptr<TNodeCore> copy(new TNodeCore(getID(), m_coreModelIDAndType));
    copy->setUniqueID_i(getUniqueID());
    cloneChildrenInto_i(*copy);
    return copy.release();
}

// TopTree

TopTree::TopTree() = default;

TopTree::TopTree(const TopTree& other) {
    copyFrom_i(other);
}

TopTree::TopTree(TopTree&& other) noexcept {
    swap(other);
}

TopTree& TopTree::operator=(const TopTree& other) {
    if (this != &other) {
        TopTree copy(other);
        swap(copy);
    }
    return *this;
}

TopTree& TopTree::operator=(TopTree&& other) noexcept {
    if (this != &other) {
        clear();
        swap(other);
    }
    return *this;
}

TopTree::~TopTree() {
    clear();
}

void TopTree::swap(TopTree& other) noexcept {
    m_nodes.swap(other.m_nodes);
}

void TopTree::clear() {
    NodeMap& roots = m_nodes[index_i(top_node_type::Package)];
    for (auto& entry : roots) {
        delete entry.second;
    }
    for (NodeMap& map : m_nodes) {
        map.clear();
    }
}

void TopTree::copyFrom_i(const TopTree& other) {
    try {
        for (const auto& entry : other.m_nodes[index_i(top_node_type::Package)]) {
            std::unique_ptr<TNode> root(entry.second->clone_i());
            m_nodes[index_i(top_node_type::Package)].emplace(entry.first, root.get());
            TNode* owned = root.release();
            for (TNode* child : owned->m_children) {
                indexSubtree_i(child, makeKey(entry.first, child->m_id));
            }
        }
    } catch (...) {
        clear();
        throw;
    }
}

void TopTree::indexSubtree_i(TNode* node, uint64_t key) {
    m_nodes[index_i(node->m_type)].emplace(key, node);
    for (TNode* child : node->m_children) {
        indexSubtree_i(child, makeKey(key, child->m_id));
    }
}

void TopTree::getAllPackages(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, top_node_type::Package);
}
void TopTree::getAllModules(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, top_node_type::Module);
}
void TopTree::getAllDies(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, top_node_type::Die);
}
void TopTree::getAllCores(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, top_node_type::Core);
}
void TopTree::getAllThreads(std::vector<const TNode*>& out) const {
    getAllNodesOfType(out, top_node_type::Thread);
}

void TopTree::getAllNodesOfType(std::vector<const TNode*>& out, top_node_type type) const {
    out.clear();
    if (!isKnownType(static_cast<uint32_t>(type))) {
        return;
    }
    const NodeMap& map = m_nodes[index_i(type)];
    out.reserve(map.size());
    for (const auto& entry : map) {
        out.push_back(entry.second);
    }
}

size_t TopTree::getNumPackages() const {
    return getNumNodesOfType(top_node_type::Package);
}
size_t TopTree::getNumModules() const {
    return getNumNodesOfType(top_node_type::Module);
}
size_t TopTree::getNumDies() const {
    return getNumNodesOfType(top_node_type::Die);
}
size_t TopTree::getNumCores() const {
    return getNumNodesOfType(top_node_type::Core);
}
size_t TopTree::getNumThreads() const {
    return getNumNodesOfType(top_node_type::Thread);
}

size_t TopTree::getNumNodesOfType(top_node_type type) const {
    return isKnownType(static_cast<uint32_t>(type)) ? m_nodes[index_i(type)].size() : 0;
}

const TNode* TopTree::getNode(top_node_type type, uint64_t key) const {
    if (!isKnownType(static_cast<uint32_t>(type))) {
        return nullptr;
    }
    const NodeMap& map = m_nodes[index_i(type)];
    const auto it = map.find(key);
    return it == map.end() ? nullptr : it->second;
}

uint64_t TopTree::makeKey(uint64_t parentKey, int id) {
    return (parentKey << 16) | (static_cast<uint64_t>(static_cast<uint32_t>(id)) & 0xFFFFu);
}

TNode* TopTree::insert_i(TNode* parent, uint64_t key, TNode* node) {
    std::unique_ptr<TNode> owned(node);
    if (parent == nullptr) {
        // Callers check that the key is free; should it not be, the node
        // already there is kept.
        const auto entry = m_nodes[index_i(node->m_type)].emplace(key, node);
        if (!entry.second) {
            return entry.first->second;
        }
        return owned.release();
    }
    parent->m_children.push_back(node);
    node->m_parent = parent;
    owned.release();
    // From here the parent owns the node; a failing map insertion leaves the
    // tree complete, only less indexed.
    m_nodes[index_i(node->m_type)].emplace(key, node);
    return node;
}

int TopTree::addNode(int packageID, int moduleID, int coreID, int threadID) {
    return addNode(packageID, moduleID, coreID, threadID, TNodeCore::c_32BitMask);
}

int TopTree::addNode(int packageID, int moduleID, int coreID, int threadID,
                     uint32_t coreModelIDAndType) {
    return addPath_i({{top_node_type::Package, packageID, TNodeCore::c_32BitMask},
                      {top_node_type::Module, moduleID, TNodeCore::c_32BitMask},
                      {top_node_type::Core, coreID, coreModelIDAndType},
                      {top_node_type::Thread, threadID, TNodeCore::c_32BitMask}});
}

int TopTree::addPath_i(const std::vector<PathStep>& path) {
    // First pass: check the whole path, so that a refused path adds nothing.
    std::vector<PathStep> steps;
    for (const PathStep& step : path) {
        if (step.id < 0) {
            pwLog(PW_DEBUG, "DEBUG: addNode_i::ID is negative -- going to next level!\n");
            continue;
        }
        if (step.id > c_maxId) {
            pwLog(PW_WARNING,
                  "WARNING: addNode_i::ID %d of %s does not fit in 16 bits -- not added!\n",
                  step.id, getTopNodeTypeName(step.type));
            return -1;
        }
        steps.push_back(step);
    }
    if (steps.empty()) {
        return 0;
    }
    if (steps.front().type != top_node_type::Package) {
        pwLog(PW_WARNING, "WARNING: addNode_i::%s %d has no package -- not added!\n",
              getTopNodeTypeName(steps.front().type), steps.front().id);
        return -1;
    }
    {
        const TNode* parent = nullptr;
        bool existing = true;
        uint64_t key = 0;
        for (const PathStep& step : steps) {
            key = makeKey(key, step.id);
            const TNode* node = getNode(step.type, key);
            if (node != nullptr && existing && node->m_parent == parent && node->m_id == step.id) {
                parent = node;
                continue;
            }
            if (node != nullptr) {
                pwLog(PW_WARNING, "WARNING: addNode_i::key of %s %d is taken by %s -- not added!\n",
                      getTopNodeTypeName(step.type), step.id,
                      node->getFullyQualifiedName().c_str());
                return -1;
            }
            existing = false;
        }
    }
    // Second pass: create what is missing.
    TNode* parent = nullptr;
    uint64_t key = 0;
    for (const PathStep& step : steps) {
        key = makeKey(key, step.id);
        NodeMap& map = m_nodes[index_i(step.type)];
        const auto it = map.find(key);
        TNode* node = nullptr;
        if (it != map.end()) {
            node = it->second;
            auto* core = dynamic_cast<TNodeCore*>(node);
            if (core != nullptr && step.coreModelIDAndType != TNodeCore::c_32BitMask) {
                core->m_coreModelIDAndType = step.coreModelIDAndType;
            }
        } else {
            node = insert_i(parent, key, makeNode(step.id, step.type, step.coreModelIDAndType));
        }
        parent = node;
    }
    return 0;
}

int TopTree::buildTopology(const std::string& description, size_t expectedThreads) {
    TopTree tree;
    size_t lineNumber = 0;
    size_t start = 0;
    std::vector<ParsedLevel> levels;
    while (start <= description.size()) {
        size_t end = description.find('\n', start);
        if (end == std::string::npos) {
            end = description.size();
        }
        std::string line = description.substr(start, end - start);
        start = end + 1;
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const std::string text = trim(line);
        if (text.empty() || text[0] == '#') {
            continue;
        }
        if (!parsePath(text, levels)) {
            pwLog(PW_WARNING, "WARNING: can't parse topology description line %zu: \"%s\"\n",
                  lineNumber, text.c_str());
            return -1;
        }
        std::vector<PathStep> path;
        uint64_t key = 0;
        for (const ParsedLevel& level : levels) {
            path.push_back({level.type, level.id, level.coreValue});
            key = makeKey(key, level.id);
            if (!level.hasCoreValue) {
                continue;
            }
            // A core named on several lines keeps the one value it was given.
            const TNode* existing = tree.getNode(top_node_type::Core, key);
            if (existing != nullptr && coreValueOf(*existing) != TNodeCore::c_32BitMask &&
                coreValueOf(*existing) != level.coreValue) {
                pwLog(PW_WARNING,
                      "WARNING: topology description line %zu gives %s a second core value\n",
                      lineNumber, existing->getFullyQualifiedName().c_str());
                return -1;
            }
        }
        if (tree.addPath_i(path) != 0) {
            return -1;
        }
    }
    if (expectedThreads != 0 && tree.getNumThreads() != expectedThreads) {
        pwLog(PW_WARNING, "WARNING: topology description has %zu threads, expected %zu\n",
              tree.getNumThreads(), expectedThreads);
        return -1;
    }
    tree.setUniqueID();
    swap(tree);
    pwLog(PW_INFO, "INFO: Dumping trees\n");
    dumpPackages();
    return 0;
}

void TopTree::dumpPackages() const {
    for (const auto& entry : m_nodes[index_i(top_node_type::Package)]) {
        dumpNode(*entry.second, 0);
    }
}

void TopTree::setUniqueID() {
    for (NodeMap& map : m_nodes) {
        int uniqueID = 0;
        for (auto& entry : map) {
            entry.second->setUniqueID_i(uniqueID++);
        }
    }
}

int TopTree::serializeTree(Serializer& out) const {
    const NodeMap& roots = m_nodes[index_i(top_node_type::Package)];
    const size_t count = std::min(roots.size(), c_maxCount);
    out.write(static_cast<uint16_t>(count));
    auto root = roots.begin();
    for (size_t i = 0; i < count; ++i, ++root) {
        writeNode(out, *root->second);
    }
    return 0;
}

int TopTree::serializeTreeDeprecated(Serializer& out) const {
    const NodeMap& roots = m_nodes[index_i(top_node_type::Package)];
    const size_t count = std::min(roots.size(), c_maxCount);
    out.write(static_cast<uint16_t>(count));
    auto root = roots.begin();
    for (size_t i = 0; i < count; ++i, ++root) {
        writeNodeDeprecated(out, *root->second);
    }
    return 0;
}

int TopTree::deserializeTree(Serializer& in) {
    uint16_t count = 0;
    if (in.read(count) == 0) {
        return -1;
    }
    // A record cut inside the tree keeps the nodes read before the cut (a
    // missing value ends the list it was read for); a damaged node stops
    // the reading and also keeps what came before it, with -1.
    TopTree tree;
    int status = 0;
    for (uint16_t i = 0; i < count; ++i) {
        // An end marker in place of a package is a package left out.
        if (tree.readNode_i(in, nullptr, 0, 0) == ReadResult::Error) {
            status = -1;
            break;
        }
    }
    swap(tree);
    return status;
}

int TopTree::deserializeTreeDeprecated(Serializer& in) {
    uint16_t count = 0;
    if (in.read(count) == 0) {
        return -1;
    }
    TopTree tree;
    for (uint16_t i = 0; i < count; ++i) {
        if (!tree.readNodeDeprecated_i(in, nullptr, 0, 0)) {
            return -1;
        }
    }
    swap(tree);
    return 0;
}

bool TopTree::acceptsNode_i(top_node_type type, TNode* parent, uint64_t key, size_t depth) const {
    if (depth >= c_maxDepth || !isKnownType(static_cast<uint32_t>(type))) {
        return false;
    }
    if ((parent == nullptr) != (type == top_node_type::Package)) {
        return false;
    }
    return m_nodes[index_i(type)].count(key) == 0;
}

TopTree::ReadResult TopTree::readNode_i(Serializer& in, TNode* parent, uint64_t parentKey,
                                        size_t depth) {
    // The end marker, or the end of the record: either ends this list. A
    // node cut before its type or core value is left out the same way.
    int32_t id = 0;
    if (in.read(id) == 0 || id < 0) {
        return ReadResult::End;
    }
    uint32_t rawType = 0;
    if (in.read(rawType) == 0) {
        return ReadResult::End;
    }
    if (!isKnownType(rawType)) {
        return ReadResult::Error;
    }
    const auto type = static_cast<top_node_type>(rawType);
    uint32_t coreValue = TNodeCore::c_32BitMask;
    if (type == top_node_type::Core && in.read(coreValue) == 0) {
        return ReadResult::End;
    }
    const uint64_t key = makeKey(parentKey, id);
    if (!acceptsNode_i(type, parent, key, depth)) {
        return ReadResult::Error;
    }
    TNode* node = insert_i(parent, key, makeNode(id, type, coreValue));
    while (true) {
        const ReadResult child = readNode_i(in, node, key, depth + 1);
        if (child == ReadResult::Error) {
            return ReadResult::Error;
        }
        if (child == ReadResult::End) {
            return ReadResult::Node;
        }
    }
}

bool TopTree::readNodeDeprecated_i(Serializer& in, TNode* parent, uint64_t parentKey,
                                   size_t depth) {
    int32_t id = 0;
    uint32_t rawType = 0;
    uint16_t children = 0;
    if (in.read(id) == 0 || id < 0 || in.read(rawType) == 0 || !isKnownType(rawType) ||
        in.read(children) == 0) {
        return false;
    }
    const auto type = static_cast<top_node_type>(rawType);
    const uint64_t key = makeKey(parentKey, id);
    if (!acceptsNode_i(type, parent, key, depth)) {
        return false;
    }
    TNode* node = insert_i(parent, key, makeNode(id, type, TNodeCore::c_32BitMask));
    for (uint16_t i = 0; i < children; ++i) {
        if (!readNodeDeprecated_i(in, node, key, depth + 1)) {
            return false;
        }
    }
    return true;
}

}  // namespace pwr
