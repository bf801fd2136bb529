#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "common/serialize/Serializer.h"
#include "common/serialize/TopTree.h"
#include "tests/serialize/RecordTestSupport.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::Bytes;
using test::cut;
using test::LogCapture;

constexpr uint32_t c_package = 1;
constexpr uint32_t c_core = 3;
constexpr uint32_t c_thread = 4;

// Package 0 with cores 0 and 1, each with threads 0 and 1.
TopTree machine() {
    TopTree tree;
    tree.addNode(0, -1, 0, 0, 0x40000001);
    tree.addNode(0, -1, 0, 1);
    tree.addNode(0, -1, 1, 0, 0x20000001);
    tree.addNode(0, -1, 1, 1);
    return tree;
}

std::vector<char> machineBytes() {
    Bytes b;
    b.u16(1).i32(0).u32(c_package);
    b.i32(0).u32(c_core).u32(0x40000001);
    b.i32(0).u32(c_thread).i32(-1).i32(1).u32(c_thread).i32(-1).i32(-1);
    b.i32(1).u32(c_core).u32(0x20000001);
    b.i32(0).u32(c_thread).i32(-1).i32(1).u32(c_thread).i32(-1).i32(-1);
    b.i32(-1);
    return b.data;
}

// The fully qualified names of all nodes, level by level.
std::vector<std::string> allNames(const TopTree& tree) {
    std::vector<std::string> out;
    std::vector<const TNode*> nodes;
    for (size_t t = 0; t < c_numTopNodeTypes; ++t) {
        tree.getAllNodesOfType(nodes, static_cast<top_node_type>(t));
        for (const TNode* n : nodes) {
            out.push_back(n->getFullyQualifiedName());
        }
    }
    return out;
}

uint32_t coreValue(const TNode* node) {
    const auto* core = dynamic_cast<const TNodeCore*>(node);
    return core == nullptr ? 0 : core->getCoreModelIDAndType();
}

TEST(TopTreeTest, RoundTripKeepsStructureKeysAndCoreValues) {
    Serializer out;
    machine().serializeTree(out);
    EXPECT_EQ(out.get_buffer(), machineBytes());
    TopTree back;
    Serializer in(out.get_buffer());
    ASSERT_EQ(back.deserializeTree(in), 0);
    EXPECT_EQ(allNames(back), allNames(machine()));
    EXPECT_EQ(coreValue(back.getNode(top_node_type::Core, 0)), 0x40000001u);
    EXPECT_EQ(coreValue(back.getNode(top_node_type::Core, 1)), 0x20000001u);
    // Thread 0 of core 0 and thread 0 of core 1 have distinct keys.
    const TNode* thread = back.getNode(top_node_type::Thread, 0x10000u);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(thread->getFullyQualifiedName(), "Package 0/Core 1/Thread 0");

    // An empty tree is two zero bytes, and reading it empties the tree.
    Serializer empty;
    EXPECT_EQ(TopTree().serializeTree(empty), 0);
    EXPECT_EQ(empty.get_buffer(), Bytes().u16(0).data);
    Serializer emptyIn(empty.get_buffer());
    EXPECT_EQ(back.deserializeTree(emptyIn), 0);
    EXPECT_EQ(back.getNumCores(), 0u);
    // A negative id where a package is expected leaves that package out.
    Serializer negative(Bytes().u16(2).i32(-1).i32(3).u32(c_package).i32(-1).data);
    ASSERT_EQ(back.deserializeTree(negative), 0);
    EXPECT_EQ(allNames(back), std::vector<std::string>{"Package 3"});
}

TEST(TopTreeTest, AddNodeSkipsNegativeLevelsAndReusesNodes) {
    LogCapture log;
    TopTree tree;
    EXPECT_EQ(tree.addNode(0, -1, 2, 1), 0);
    EXPECT_EQ(tree.addNode(0, -1, 2, -1, 0x40000001), 0);
    const std::string skip = "DEBUG: addNode_i::ID is negative -- going to next level!\n";
    EXPECT_TRUE(log.loggedExactly({skip, skip, skip}));
    EXPECT_EQ(allNames(tree), (std::vector<std::string>{"Package 0", "Package 0/Core 2",
                                                        "Package 0/Core 2/Thread 1"}));
    EXPECT_EQ(coreValue(tree.getNode(top_node_type::Core, 2)), 0x40000001u);

    // Refused paths leave the tree as it was.
    log.clear();
    EXPECT_EQ(tree.addNode(-1, -1, 5, 0), -1);
    EXPECT_EQ(tree.addNode(0, 70000, 5, 0), -1);
    EXPECT_TRUE(log.loggedExactly(
        {skip, skip, "WARNING: addNode_i::Core 5 has no package -- not added!\n",
         "WARNING: addNode_i::ID 70000 of Module does not fit in 16 bits -- not added!\n"}));
    // Core 1 directly under package 0 has the key of Core 1 under module 0.
    log.clear();
    EXPECT_EQ(tree.addNode(0, 0, 1, 0), 0);
    EXPECT_EQ(tree.addNode(0, -1, 1, 0), -1);
    EXPECT_TRUE(log.logged(
        "WARNING: addNode_i::key of Core 1 is taken by Package 0/Module 0/Core 1 -- not added!\n"));
    EXPECT_EQ(tree.getNumThreads(), 2u);

    TopTree deep;
    deep.addNode(1, 2, 3, 4);
    const TNode* leaf = deep.getNode(top_node_type::Thread, 0x0001000200030004ull);
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->getFullyQualifiedName(), "Package 1/Module 2/Core 3/Thread 4");
}

// Unique ids follow key order, not the order of insertion, and copies keep
// them with everything else.
TEST(TopTreeTest, UniqueIdsFollowKeyOrderAndCopiesAreDeep) {
    TopTree original;
    original.addNode(1, -1, 0, 0);
    original.addNode(0, -1, 1, 1, 0x20000001);
    original.addNode(0, -1, 1, 0);
    original.addNode(0, -1, 0, 0);
    original.setUniqueID();
    TopTree copy(original);
    original.addNode(0, -1, 2, 0);
    std::vector<const TNode*> threads;
    copy.getAllThreads(threads);
    std::vector<std::string> seen;
    for (const TNode* t : threads) {
        seen.push_back(t->getFullyQualifiedName() + " " + std::to_string(t->getUniqueID()));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "Package 0/Core 0/Thread 0 0", "Package 0/Core 1/Thread 0 1",
                        "Package 0/Core 1/Thread 1 2", "Package 1/Core 0/Thread 0 3"}));
    const TNode* core = copy.getNode(top_node_type::Core, 1);
    EXPECT_EQ(coreValue(core), 0x20000001u);
    EXPECT_EQ(core->getParent(), copy.getNode(top_node_type::Package, 0));

    TopTree moved(std::move(original));
    EXPECT_TRUE(original.empty());
    copy = moved;
    EXPECT_EQ(copy.getNumCores(), 4u);
}

TEST(TopTreeTest, DamagedInputKeepsTheNodesBeforeTheDamage) {
    // Each damaged input and the packages read before its damage.
    std::vector<std::pair<std::vector<char>, std::vector<std::string>>> inputs = {
        {Bytes().u16(1).i32(0).u32(8).i32(-1).data, {}},              // unknown type
        {Bytes().u16(1).i32(0).u32(c_core).u32(0).i32(-1).data, {}},  // a core at the root
        {Bytes().u16(1).i32(0).u32(c_package).i32(1).u32(c_package).i32(-1).i32(-1).data,
         {"Package 0"}},
        {Bytes().u16(2).i32(0).u32(c_package).i32(-1).i32(0).u32(c_package).i32(-1).data,
         {"Package 0"}},
        // Ids are cut to 16 bits in keys: 0x10001 takes the key of 1.
        {Bytes().u16(2).i32(1).u32(c_package).i32(-1).i32(0x10001).u32(c_package).i32(-1).data,
         {"Package 1"}},
    };
    Bytes tooDeep;
    tooDeep.u16(1).i32(0).u32(c_package);
    for (size_t i = 1; i <= TopTree::c_maxDepth; ++i) {
        tooDeep.i32(static_cast<int32_t>(i)).u32(c_thread);  // distinct keys
    }
    for (size_t i = 0; i <= TopTree::c_maxDepth; ++i) {
        tooDeep.i32(-1);
    }
    inputs.emplace_back(tooDeep.data, std::vector<std::string>{"Package 0"});
    TopTree before;
    before.addNode(7, -1, 7, 7);
    for (size_t i = 0; i < inputs.size(); ++i) {
        TopTree tree(before);
        Serializer in(inputs[i].first);
        EXPECT_EQ(tree.deserializeTree(in), -1) << "input " << i;
        std::vector<const TNode*> packages;
        tree.getAllPackages(packages);
        std::vector<std::string> names;
        for (const TNode* package : packages) {
            names.push_back(package->getFullyQualifiedName());
        }
        EXPECT_EQ(names, inputs[i].second) << "input " << i;
    }
}

TEST(TopTreeTest, CutInputEndsTheListsAndKeepsWhatWasRead) {
    const std::vector<char> full = machineBytes();
    const std::vector<std::string> all = allNames(machine());
    TopTree before;
    before.addNode(7, -1, 7, 7);
    size_t previous = 0;
    for (size_t length = 0; length < full.size(); ++length) {
        TopTree tree(before);
        Serializer in(cut(full, length));
        if (length < 2) {
            // Without the package count there is no tree: the old one stays.
            EXPECT_EQ(tree.deserializeTree(in), -1);
            EXPECT_EQ(allNames(tree), allNames(before));
            continue;
        }
        // A missing value ends the list: every node read before the cut is
        // kept, a node cut before its type or core value is left out.
        ASSERT_EQ(tree.deserializeTree(in), 0) << "length " << length;
        const std::vector<std::string> names = allNames(tree);
        for (const std::string& name : names) {
            EXPECT_NE(std::find(all.begin(), all.end(), name), all.end()) << name;
        }
        EXPECT_GE(names.size(), previous) << "length " << length;
        previous = names.size();
    }
    // Cut just before the last thread's end markers, every node is there.
    EXPECT_EQ(previous, all.size());
}

TEST(TopTreeTest, DeprecatedFormRoundTripsWithoutCoreValues) {
    const TopTree tree = machine();
    Serializer out;
    tree.serializeTreeDeprecated(out);
    Bytes b;
    b.u16(1).i32(0).u32(c_package).u16(2);
    b.i32(0).u32(c_core).u16(2).i32(0).u32(c_thread).u16(0).i32(1).u32(c_thread).u16(0);
    b.i32(1).u32(c_core).u16(2).i32(0).u32(c_thread).u16(0).i32(1).u32(c_thread).u16(0);
    EXPECT_EQ(out.get_buffer(), b.data);

    TopTree back;
    Serializer in(out.get_buffer());
    ASSERT_EQ(back.deserializeTreeDeprecated(in), 0);
    EXPECT_EQ(allNames(back), allNames(tree));
    EXPECT_EQ(coreValue(back.getNode(top_node_type::Core, 0)), TNodeCore::c_32BitMask);

    for (size_t length = 0; length < b.data.size(); ++length) {
        Serializer in(cut(b.data, length));
        EXPECT_EQ(back.deserializeTreeDeprecated(in), -1) << "length " << length;
    }

    Serializer negative(Bytes().u16(1).i32(-1).u32(c_package).u16(0).data);
    EXPECT_EQ(back.deserializeTreeDeprecated(negative), -1);
}

TEST(TopTreeTest, BuildTopologyParsesPathsAndDumpsTheTree) {
    LogCapture log;
    TopTree tree;
    const std::string description =
        "# two cores\n"
        "Package 0/Core 0 (0x4000000a)/Thread 0\r\n"
        "\n"
        "  Package 0 / Core 0 / Thread 1  \n"
        "Package 0/Core 1 (536870913)/Thread 0\n"
        "Package 0/Core 1/Thread 1";
    ASSERT_EQ(tree.buildTopology(description, 4), 0);
    EXPECT_TRUE(log.loggedExactly({
        "INFO: Dumping trees\n",
        "INFO: Package 0 (unique id 0)\n",
        "INFO:   Core 0 (unique id 0, core value 0x4000000A)\n",
        "INFO:     Thread 0 (unique id 0)\n",
        "INFO:     Thread 1 (unique id 1)\n",
        "INFO:   Core 1 (unique id 1, core value 0x20000001)\n",
        "INFO:     Thread 0 (unique id 2)\n",
        "INFO:     Thread 1 (unique id 3)\n",
    }));
    EXPECT_EQ(tree.buildTopology("Package 0/SOC 1/Die 2/Tile 3/Module 4/Core 5/Thread 6\n", 0), 0);
    EXPECT_EQ(tree.getNumNodesOfType(top_node_type::Tile), 1u);
}

std::string lineWarning(int line, const std::string& text) {
    return "WARNING: can't parse topology description line " + std::to_string(line) + ": \"" +
           text + "\"\n";
}

TEST(TopTreeTest, BadDescriptionsAreRefusedWithTheirWarning) {
    struct Bad {
        std::string text;
        size_t expectedThreads;
        std::string warning;
    };
    const std::string tooDeep = "Package 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0";
    const std::vector<Bad> cases = {
        {"Package 0\nSocket 1", 0, lineWarning(2, "Socket 1")},
        {"Core 0/Thread 0", 0, lineWarning(1, "Core 0/Thread 0")},
        {"Package 0/Package 1", 0, lineWarning(1, "Package 0/Package 1")},
        {"Package 65536", 0, lineWarning(1, "Package 65536")},
        {"Package 0/Thread 0 (1)", 0, lineWarning(1, "Package 0/Thread 0 (1)")},
        {tooDeep, 0, lineWarning(1, tooDeep)},
        {"Package 0/Core 0 (1)/Thread 0\nPackage 0/Core 0 (2)", 0,
         "WARNING: topology description line 2 gives Package 0/Core 0 a second core value\n"},
        {"Package 0/Core 0/Thread 0", 2,
         "WARNING: topology description has 1 threads, expected 2\n"},
    };
    for (const Bad& c : cases) {
        TopTree tree = machine();
        LogCapture log;
        EXPECT_EQ(tree.buildTopology(c.text, c.expectedThreads), -1) << c.text;
        EXPECT_TRUE(log.loggedExactly({c.warning}));
        EXPECT_EQ(allNames(tree), allNames(machine()));
    }
}

}  // namespace
}  // namespace pwr
