#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "common/serialize/Serializer.h"
#include "common/serialize/TopTree.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

using test::LogCapture;

// Builds expected byte streams field by field, little-endian.
struct Bytes {
    std::vector<char> data;
    Bytes& u16(uint16_t v) { return put(v, 2); }
    Bytes& i32(int32_t v) { return put(static_cast<uint32_t>(v), 4); }
    Bytes& u32(uint32_t v) { return put(v, 4); }
    Bytes& put(uint64_t v, int width) {
        for (int i = 0; i < width; ++i) {
            data.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
        }
        return *this;
    }
};

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
    b.u16(1);
    b.i32(0).u32(c_package);
    b.i32(0).u32(c_core).u32(0x40000001);
    b.i32(0).u32(c_thread).i32(-1);
    b.i32(1).u32(c_thread).i32(-1);
    b.i32(-1);
    b.i32(1).u32(c_core).u32(0x20000001);
    b.i32(0).u32(c_thread).i32(-1);
    b.i32(1).u32(c_thread).i32(-1);
    b.i32(-1);
    b.i32(-1);
    return b.data;
}

std::vector<std::string> names(const std::vector<const TNode*>& nodes) {
    std::vector<std::string> out;
    for (const TNode* n : nodes) {
        out.push_back(n->getFullyQualifiedName());
    }
    return out;
}

std::vector<std::string> allNames(const TopTree& tree) {
    std::vector<std::string> out;
    std::vector<const TNode*> nodes;
    for (size_t t = 0; t < c_numTopNodeTypes; ++t) {
        tree.getAllNodesOfType(nodes, static_cast<top_node_type>(t));
        for (const std::string& n : names(nodes)) {
            out.push_back(n);
        }
    }
    return out;
}

uint32_t coreValue(const TNode* node) {
    const auto* core = dynamic_cast<const TNodeCore*>(node);
    return core == nullptr ? 0 : core->getCoreModelIDAndType();
}

TEST(TopTreeTest, EmptyTreeIsTwoZeroBytes) {
    TopTree empty;
    Serializer out;
    EXPECT_EQ(empty.serializeTree(out), 0);
    EXPECT_EQ(out.get_buffer(), Bytes().u16(0).data);

    TopTree tree = machine();
    Serializer in(out.get_buffer());
    EXPECT_EQ(tree.deserializeTree(in), 0);
    EXPECT_TRUE(tree.empty());
    EXPECT_EQ(tree.getNumCores(), 0u);
}

TEST(TopTreeTest, RoundTripKeepsStructureAndCoreValues) {
    const TopTree tree = machine();
    Serializer out;
    tree.serializeTree(out);
    EXPECT_EQ(out.get_buffer(), machineBytes());

    TopTree back;
    Serializer in(out.get_buffer());
    ASSERT_EQ(back.deserializeTree(in), 0);
    EXPECT_EQ(back.getNumPackages(), 1u);
    EXPECT_EQ(back.getNumModules(), 0u);
    EXPECT_EQ(back.getNumCores(), 2u);
    EXPECT_EQ(back.getNumThreads(), 4u);
    std::vector<const TNode*> cores;
    back.getAllCores(cores);
    ASSERT_EQ(cores.size(), 2u);
    EXPECT_EQ(coreValue(cores[0]), 0x40000001u);
    EXPECT_EQ(coreValue(cores[1]), 0x20000001u);
    EXPECT_EQ(cores[1]->getUniqueID(), -1);
    EXPECT_EQ(allNames(back), allNames(tree));

    Serializer again;
    back.serializeTree(again);
    EXPECT_EQ(again.get_buffer(), machineBytes());
}

TEST(TopTreeTest, KeysAndNamesSpellThePathOfIds) {
    const TopTree tree = machine();
    std::vector<const TNode*> threads;
    tree.getAllThreads(threads);
    ASSERT_EQ(threads.size(), 4u);
    // Thread 0 of core 0 and thread 0 of core 1.
    EXPECT_EQ(threads[0]->getID(), threads[2]->getID());
    EXPECT_NE(threads[0]->getKey(), threads[2]->getKey());
    EXPECT_EQ(threads[2]->getKey(), 0x10000u);
    EXPECT_EQ(tree.getNode(top_node_type::Thread, 0x10001u), threads[3]);
    EXPECT_EQ(tree.getNode(top_node_type::Core, 0x10001u), nullptr);

    TopTree deep;
    deep.addNode(1, 2, 3, 4);
    std::vector<const TNode*> leaf;
    deep.getAllThreads(leaf);
    ASSERT_EQ(leaf.size(), 1u);
    EXPECT_EQ(leaf[0]->getKey(), 0x0001000200030004ull);
    EXPECT_EQ(leaf[0]->getName(), "Thread 4");
    EXPECT_EQ(leaf[0]->getFullyQualifiedName(), "Package 1/Module 2/Core 3/Thread 4");
    EXPECT_EQ(TopTree::makeKey(0x1234, 0x12345), 0x12342345u);
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
    std::vector<const TNode*> cores;
    tree.getAllCores(cores);
    EXPECT_EQ(coreValue(cores.at(0)), 0x40000001u);

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
    EXPECT_EQ(tree.getNumCores(), 2u);
    EXPECT_EQ(tree.getNumThreads(), 2u);
}

TEST(TopTreeTest, UniqueIdsNumberEachLevelInKeyOrder) {
    TopTree tree;
    tree.addNode(1, -1, 0, 0);
    tree.addNode(0, -1, 1, 1);
    tree.addNode(0, -1, 1, 0);
    tree.addNode(0, -1, 0, 0);
    std::vector<const TNode*> threads;
    tree.getAllThreads(threads);
    EXPECT_EQ(threads.at(0)->getUniqueID(), -1);
    tree.setUniqueID();
    std::vector<std::pair<std::string, int>> seen;
    for (const TNode* t : threads) {
        seen.emplace_back(t->getFullyQualifiedName(), t->getUniqueID());
    }
    EXPECT_EQ(seen, (std::vector<std::pair<std::string, int>>{{"Package 0/Core 0/Thread 0", 0},
                                                              {"Package 0/Core 1/Thread 0", 1},
                                                              {"Package 0/Core 1/Thread 1", 2},
                                                              {"Package 1/Core 0/Thread 0", 3}}));
    std::vector<const TNode*> packages;
    tree.getAllPackages(packages);
    EXPECT_EQ(packages.at(1)->getUniqueID(), 1);
}

TEST(TopTreeTest, CopiesAreDeepAndMovesEmptyTheSource) {
    TopTree original = machine();
    original.setUniqueID();
    TopTree copy(original);
    original.addNode(0, -1, 2, 0);
    EXPECT_EQ(copy.getNumCores(), 2u);
    std::vector<const TNode*> cores;
    copy.getAllCores(cores);
    EXPECT_EQ(coreValue(cores.at(1)), 0x20000001u);
    EXPECT_EQ(cores.at(1)->getUniqueID(), 1);
    EXPECT_EQ(cores.at(1)->getParent(), copy.getNode(top_node_type::Package, 0));

    TopTree moved(std::move(original));
    EXPECT_EQ(moved.getNumCores(), 3u);
    EXPECT_TRUE(original.empty());
    copy = moved;
    EXPECT_EQ(copy.getNumCores(), 3u);
    copy = TopTree();
    EXPECT_EQ(copy.getNumThreads(), 0u);
}

TEST(TopTreeTest, TruncatedInputFailsAndKeepsTheTree) {
    const std::vector<char> full = machineBytes();
    for (size_t length = 0; length < full.size(); ++length) {
        SCOPED_TRACE("length " + std::to_string(length));
        TopTree tree;
        tree.addNode(7, -1, 7, 7);
        Serializer in(std::vector<char>(full.begin(), full.begin() + length));
        EXPECT_EQ(tree.deserializeTree(in), -1);
        EXPECT_EQ(allNames(tree), (std::vector<std::string>{"Package 7", "Package 7/Core 7",
                                                            "Package 7/Core 7/Thread 7"}));
    }
}

TEST(TopTreeTest, NegativeIdInPlaceOfAPackageLeavesItOut) {
    Bytes b;
    b.u16(2).i32(-1);
    b.i32(3).u32(c_package).i32(-1);
    TopTree tree;
    Serializer in(b.data);
    ASSERT_EQ(tree.deserializeTree(in), 0);
    EXPECT_EQ(allNames(tree), std::vector<std::string>{"Package 3"});
}

struct MalformedCase {
    const char* name;
    std::vector<char> bytes;
};

class TopTreeMalformedTest : public ::testing::TestWithParam<MalformedCase> {};

TEST_P(TopTreeMalformedTest, IsRefusedWithoutChangingTheTree) {
    TopTree tree = machine();
    Serializer in(GetParam().bytes);
    EXPECT_EQ(tree.deserializeTree(in), -1);
    EXPECT_EQ(allNames(tree), allNames(machine()));
}

std::vector<char> tooDeep() {
    Bytes b;
    b.u16(1).i32(0).u32(c_package);
    for (size_t i = 1; i <= TopTree::c_maxDepth; ++i) {
        b.i32(static_cast<int32_t>(i)).u32(c_thread);  // distinct keys
    }
    for (size_t i = 0; i <= TopTree::c_maxDepth; ++i) {
        b.i32(-1);
    }
    return b.data;
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, TopTreeMalformedTest,
    ::testing::Values(
        MalformedCase{"unknown_type", Bytes().u16(1).i32(0).u32(8).i32(-1).data},
        MalformedCase{"core_at_root", Bytes().u16(1).i32(0).u32(c_core).u32(0).i32(-1).data},
        MalformedCase{
            "package_below_root",
            Bytes().u16(1).i32(0).u32(c_package).i32(1).u32(c_package).i32(-1).i32(-1).data},
        MalformedCase{
            "duplicate_key",
            Bytes().u16(2).i32(0).u32(c_package).i32(-1).i32(0).u32(c_package).i32(-1).data},
        MalformedCase{
            "same_key_with_wider_id",
            Bytes().u16(2).i32(1).u32(c_package).i32(-1).i32(0x10001).u32(c_package).i32(-1).data},
        MalformedCase{"core_value_missing",
                      Bytes().u16(1).i32(0).u32(c_package).i32(0).u32(c_core).data},
        MalformedCase{"end_marker_missing", Bytes().u16(1).i32(0).u32(c_package).data},
        MalformedCase{"fewer_packages_than_counted",
                      Bytes().u16(2).i32(0).u32(c_package).i32(-1).data},
        MalformedCase{"too_deep", tooDeep()}),
    [](const ::testing::TestParamInfo<MalformedCase>& info) {
        return std::string(info.param.name);
    });

TEST(TopTreeTest, DeprecatedFormRoundTripsWithoutCoreValues) {
    const TopTree tree = machine();
    Serializer out;
    tree.serializeTreeDeprecated(out);
    Bytes b;
    b.u16(1);
    b.i32(0).u32(c_package).u16(2);
    b.i32(0).u32(c_core).u16(2);
    b.i32(0).u32(c_thread).u16(0);
    b.i32(1).u32(c_thread).u16(0);
    b.i32(1).u32(c_core).u16(2);
    b.i32(0).u32(c_thread).u16(0);
    b.i32(1).u32(c_thread).u16(0);
    EXPECT_EQ(out.get_buffer(), b.data);

    TopTree back;
    Serializer in(out.get_buffer());
    ASSERT_EQ(back.deserializeTreeDeprecated(in), 0);
    EXPECT_EQ(allNames(back), allNames(tree));
    std::vector<const TNode*> cores;
    back.getAllCores(cores);
    EXPECT_EQ(coreValue(cores.at(0)), TNodeCore::c_32BitMask);

    for (size_t length = 0; length < b.data.size(); ++length) {
        Serializer cut(std::vector<char>(b.data.begin(), b.data.begin() + length));
        EXPECT_EQ(back.deserializeTreeDeprecated(cut), -1) << "length " << length;
    }
    EXPECT_EQ(back.getNumThreads(), 4u);

    Serializer negative(Bytes().u16(1).i32(-1).u32(c_package).u16(0).data);
    EXPECT_EQ(back.deserializeTreeDeprecated(negative), -1);
    Serializer empty(Bytes().u16(0).data);
    EXPECT_EQ(back.deserializeTreeDeprecated(empty), 0);
    EXPECT_TRUE(back.empty());
}

TEST(TopTreeTest, BuildTopologyParsesPathsAndDumpsTheTree) {
    LogCapture log;
    TopTree tree;
    const std::string description =
        "# two cores\r\n"
        "Package 0/Core 0 (0x40000001)/Thread 0\n"
        "\n"
        "  Package 0 / Core 0 / Thread 1  \n"
        "Package 0/Core 1 (536870913)/Thread 0\n"
        "Package 0/Core 1/Thread 1";
    ASSERT_EQ(tree.buildTopology(description, 4), 0);
    EXPECT_TRUE(log.loggedExactly({
        "INFO: Dumping trees\n",
        "INFO: Package 0 (unique id 0)\n",
        "INFO:   Core 0 (unique id 0, core value 0x40000001)\n",
        "INFO:     Thread 0 (unique id 0)\n",
        "INFO:     Thread 1 (unique id 1)\n",
        "INFO:   Core 1 (unique id 1, core value 0x20000001)\n",
        "INFO:     Thread 0 (unique id 2)\n",
        "INFO:     Thread 1 (unique id 3)\n",
    }));
    Serializer out;
    tree.serializeTree(out);
    EXPECT_EQ(out.get_buffer(), machineBytes());

    TopTree other;
    EXPECT_EQ(other.buildTopology("Package 0/SOC 1/Die 2/Tile 3/Module 4/Core 5/Thread 6\n", 0), 0);
    EXPECT_EQ(other.getNumDies(), 1u);
    EXPECT_EQ(other.getNumModules(), 1u);
    EXPECT_EQ(other.getNumNodesOfType(top_node_type::Tile), 1u);
}

struct BadDescription {
    const char* name;
    std::string text;
    size_t expectedThreads;
    std::string warning;
};

class TopTreeBadDescriptionTest : public ::testing::TestWithParam<BadDescription> {};

TEST_P(TopTreeBadDescriptionTest, IsRefusedWithItsWarning) {
    TopTree tree = machine();
    LogCapture log;
    EXPECT_EQ(tree.buildTopology(GetParam().text, GetParam().expectedThreads), -1);
    EXPECT_TRUE(log.loggedExactly({GetParam().warning}));
    EXPECT_EQ(allNames(tree), allNames(machine()));
}

std::string lineWarning(int line, const std::string& text) {
    return "WARNING: can't parse topology description line " + std::to_string(line) + ": \"" +
           text + "\"\n";
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TopTreeBadDescriptionTest,
    ::testing::Values(
        BadDescription{"unknown_level", "Package 0\nSocket 1", 0, lineWarning(2, "Socket 1")},
        BadDescription{"no_package", "Core 0/Thread 0", 0, lineWarning(1, "Core 0/Thread 0")},
        BadDescription{"package_twice", "Package 0/Package 1", 0,
                       lineWarning(1, "Package 0/Package 1")},
        BadDescription{"missing_id", "Package 0/Core", 0, lineWarning(1, "Package 0/Core")},
        BadDescription{"id_too_big", "Package 65536", 0, lineWarning(1, "Package 65536")},
        BadDescription{"empty_level", "Package 0//Core 1", 0, lineWarning(1, "Package 0//Core 1")},
        BadDescription{"value_on_thread", "Package 0/Thread 0 (1)", 0,
                       lineWarning(1, "Package 0/Thread 0 (1)")},
        BadDescription{"too_deep", "Package 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0", 0,
                       lineWarning(1, "Package 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0/Die 0")},
        BadDescription{"two_core_values", "Package 0/Core 0 (1)/Thread 0\nPackage 0/Core 0 (2)", 0,
                       "WARNING: topology description line 2 gives Package 0/Core 0 a second "
                       "core value\n"},
        BadDescription{"thread_count", "Package 0/Core 0/Thread 0", 2,
                       "WARNING: topology description has 1 threads, expected 2\n"}),
    [](const ::testing::TestParamInfo<BadDescription>& info) {
        return std::string(info.param.name);
    });

}  // namespace
}  // namespace pwr
