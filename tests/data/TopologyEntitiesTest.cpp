#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/data/EntityHandle.h"
#include "common/data/UniqueId.h"
#include "common/serialize/SystemMetadata.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

// Package 0 with module 0 holding cores 0 and 1 (two threads each), and
// package 1 with one core and thread, added out of order.
SystemMetadata machine() {
    SystemMetadata system;
    TopTree& tree = system.cpuTopology;
    tree.addNode(1, -1, 0, 0);
    tree.addNode(0, 0, 1, 1);
    tree.addNode(0, 0, 1, 0);
    tree.addNode(0, 0, 0, 0);
    tree.addNode(0, 0, 0, 1);
    tree.setUniqueID();
    return system;
}

std::string nameOf(const EntityHandle* entity) {
    return entity == nullptr ? "(null)" : entity->getQualifiedName();
}

class TopologyEntitiesTest : public test::RegistryTest {};

TEST_F(TopologyEntitiesTest, OneEntityPerNodeUnderItsParent) {
    const SystemMetadata system = machine();
    ASSERT_EQ(DataHandleProvider::initTopology(system), 0);

    const EntityHandle* root = EntityHandle::getSystemHandle();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->getName(), "SYSTEM");
    ASSERT_EQ(root->getChildren().size(), 1u);
    EXPECT_EQ(nameOf(root->getChildren()[0]), "CPU");

    EXPECT_EQ(EntityHandle::getCPUPackageCount(), 2);
    EXPECT_EQ(EntityHandle::getCPUModuleCount(), 1);
    EXPECT_EQ(EntityHandle::getCPUCoreCount(), 3);
    EXPECT_EQ(EntityHandle::getCPUThreadCount(), 5);
    // Lookups take the index within the level: for threads the logical
    // processor.
    EXPECT_EQ(nameOf(EntityHandle::getCPUPackageHandle(1)), "CPU/Package 1");
    EXPECT_EQ(nameOf(EntityHandle::getCPUModuleHandle(0)), "CPU/Package 0/Module 0");
    EXPECT_EQ(nameOf(EntityHandle::getCPUCoreHandle(2)), "CPU/Package 1/Core 0");
    EXPECT_EQ(nameOf(EntityHandle::getCPUThreadHandle(3)),
              "CPU/Package 0/Module 0/Core 1/Thread 1");
    EXPECT_EQ(nameOf(EntityHandle::getCPUThreadHandle(4)), "CPU/Package 1/Core 0/Thread 0");
    EXPECT_EQ(EntityHandle::getCPUThreadHandle(5), nullptr);

    std::vector<const TNode*> threads;
    system.getCPUTopology().getAllThreads(threads);
    for (size_t i = 0; i < threads.size(); ++i) {
        EXPECT_EQ(EntityHandle::getCPUEntityHandle(threads[i]),
                  EntityHandle::getCPUThreadHandle(static_cast<int>(i)));
    }
    // Entities are made in id order, whatever order the nodes were added in.
    EXPECT_LT(EntityHandle::getCPUThreadHandle(2)->getId(),
              EntityHandle::getCPUThreadHandle(3)->getId());
    EXPECT_TRUE(log.logged("INFO: node name = Package 0\n"));
    EXPECT_TRUE(log.logged("INFO: node name = Thread 1\n"));
}

TEST_F(TopologyEntitiesTest, NodesOfACopyFindTheSameEntities) {
    const SystemMetadata system = machine();
    ASSERT_EQ(DataHandleProvider::initTopology(system), 0);
    const SystemMetadata copy = system;
    std::vector<const TNode*> original;
    std::vector<const TNode*> copied;
    for (top_node_type type : {top_node_type::Package, top_node_type::Module, top_node_type::Core,
                               top_node_type::Thread}) {
        system.getCPUTopology().getAllNodesOfType(original, type);
        copy.getCPUTopology().getAllNodesOfType(copied, type);
        ASSERT_EQ(original.size(), copied.size());
        for (size_t i = 0; i < original.size(); ++i) {
            ASSERT_NE(original[i], copied[i]);
            const EntityHandle* entity = EntityHandle::getCPUEntityHandle(original[i]);
            ASSERT_NE(entity, nullptr) << original[i]->getFullyQualifiedName();
            EXPECT_EQ(EntityHandle::getCPUEntityHandle(copied[i]), entity);
        }
    }
    EXPECT_EQ(nameOf(EntityHandle::getCPUEntityHandle(copied.back())),
              "CPU/Package 1/Core 0/Thread 0");
    EXPECT_EQ(EntityHandle::getCPUEntityHandle(nullptr), nullptr);
}

TEST_F(TopologyEntitiesTest, InitOnceResetRebuilds) {
    const SystemMetadata system = machine();
    ASSERT_EQ(DataHandleProvider::initTopology(system), 0);
    const EntityHandle* package0 = EntityHandle::getCPUPackageHandle(0);
    const uint64_t next = UniqueId::peekNextId();
    log.clear();
    EXPECT_EQ(DataHandleProvider::initTopology(SystemMetadata()), 0);
    EXPECT_TRUE(log.loggedExactly({}));
    EXPECT_EQ(EntityHandle::getCPUThreadCount(), 5);

    // The same topology again reuses every entity.
    EXPECT_EQ(DataHandleProvider::resetTopology(system), 0);
    EXPECT_EQ(UniqueId::peekNextId(), next);
    EXPECT_EQ(EntityHandle::getCPUPackageHandle(0), package0);

    // Another topology: new lookups, the entities of common paths kept.
    SystemMetadata small;
    small.cpuTopology.addNode(0, -1, 0, 0);
    small.cpuTopology.setUniqueID();
    EXPECT_EQ(DataHandleProvider::resetTopology(small), 0);
    EXPECT_EQ(EntityHandle::getCPUPackageCount(), 1);
    EXPECT_EQ(EntityHandle::getCPUModuleCount(), 0);
    EXPECT_EQ(EntityHandle::getCPUThreadCount(), 1);
    EXPECT_EQ(EntityHandle::getCPUPackageHandle(0), package0);
    EXPECT_EQ(EntityHandle::getCPUPackageHandle(1), nullptr);
    EXPECT_EQ(nameOf(EntityHandle::getCPUThreadHandle(0)), "CPU/Package 0/Core 0/Thread 0");
}

TEST(TopologyEntitiesNoRegistryTest, RefusedWithoutARegistry) {
    const SystemMetadata system = machine();
    test::LogCapture log;
    EXPECT_EQ(DataHandleProvider::initTopology(system), -1);
    EXPECT_EQ(DataHandleProvider::resetTopology(system), -1);
    const std::string warning = "WARNING: ID Manager wasn't initialized!";
    EXPECT_TRUE(log.loggedExactly({warning, warning}));
}

}  // namespace
}  // namespace pwr
