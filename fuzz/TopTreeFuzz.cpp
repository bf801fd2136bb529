// Fuzz target: the topology tree readers, TopTree::deserializeTree (current
// form) and deserializeTreeDeprecated (old files). The first input byte picks
// the form (its low bit: 1 deprecated); the rest is the serialised tree.
//
// Checks, besides the sanitizers: a refused tree leaves the tree it was read
// into unchanged; an accepted one has consistent counts and keys, survives a
// copy, and written and read again in the same form writes the same bytes.
#include <string>
#include <vector>

#include "common/serialize/Serializer.h"
#include "common/serialize/TopTree.h"
#include "fuzz/FuzzSupport.h"

namespace {

std::vector<char> written(const pwr::TopTree& tree, bool deprecated) {
    pwr::Serializer out;
    if (deprecated) {
        tree.serializeTreeDeprecated(out);
    } else {
        tree.serializeTree(out);
    }
    return out.get_buffer();
}

int readInto(pwr::TopTree& tree, const std::vector<char>& bytes, bool deprecated) {
    pwr::Serializer in(bytes);
    return deprecated ? tree.deserializeTreeDeprecated(in) : tree.deserializeTree(in);
}

// Every node is found under its key in its type's map, and every child is one
// level below its parent with the key built from the parent's.
void checkConsistent(const pwr::TopTree& tree) {
    size_t total = 0;
    std::vector<const pwr::TNode*> nodes;
    for (uint32_t t = 0; t < pwr::c_numTopNodeTypes; ++t) {
        const auto type = static_cast<pwr::top_node_type>(t);
        tree.getAllNodesOfType(nodes, type);
        FUZZ_CHECK(nodes.size() == tree.getNumNodesOfType(type));
        total += nodes.size();
        for (const pwr::TNode* node : nodes) {
            FUZZ_CHECK(node->getType() == type);
            FUZZ_CHECK(tree.getNode(type, node->getKey()) == node);
            const uint64_t parentKey = node->getParent() ? node->getParent()->getKey() : 0;
            FUZZ_CHECK(node->getKey() == pwr::TopTree::makeKey(parentKey, node->getID()));
            FUZZ_CHECK((node->getParent() == nullptr) == (type == pwr::top_node_type::Package));
            FUZZ_CHECK(!node->getFullyQualifiedName().empty());
        }
    }
    // Each node sits in exactly one map: count the forest from the roots.
    size_t reachable = 0;
    std::vector<const pwr::TNode*> stack;
    tree.getAllPackages(stack);
    while (!stack.empty()) {
        const pwr::TNode* node = stack.back();
        stack.pop_back();
        ++reachable;
        for (const pwr::TNode* child : *node) {
            FUZZ_CHECK(child->getParent() == node);
            stack.push_back(child);
        }
    }
    FUZZ_CHECK(reachable == total);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pwr::fuzz::quietLogging();
    if (size == 0) {
        return 0;
    }
    const bool deprecated = (data[0] & 1) != 0;
    const std::vector<char> bytes(data + 1, data + size);

    // A tree that is already there, so that a refused input can be seen to
    // leave it alone.
    pwr::TopTree tree;
    FUZZ_CHECK(tree.addNode(3, -1, 1, 0, 0x40000001u) == 0);
    const std::vector<char> before = written(tree, false);
    if (readInto(tree, bytes, deprecated) != 0) {
        FUZZ_CHECK(written(tree, false) == before);
        return 0;
    }
    checkConsistent(tree);
    const pwr::TopTree copy(tree);
    checkConsistent(copy);
    FUZZ_CHECK(written(copy, false) == written(tree, false));

    const std::vector<char> first = written(tree, deprecated);
    pwr::TopTree again;
    FUZZ_CHECK(readInto(again, first, deprecated) == 0);
    FUZZ_CHECK(written(again, deprecated) == first);
    FUZZ_CHECK(again.getNumThreads() == tree.getNumThreads());
    // The other form holds the same structure (core values aside).
    pwr::TopTree other;
    FUZZ_CHECK(readInto(other, written(tree, !deprecated), !deprecated) == 0);
    FUZZ_CHECK(written(other, true) == written(tree, true));

    tree.setUniqueID();
    tree.dumpPackages();
    return 0;
}
