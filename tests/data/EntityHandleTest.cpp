#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/data/EntityHandle.h"
#include "tests/support/LogCapture.h"

namespace pwr {

// Reaches the private parent-child link, which only the topology builder uses.
struct EntityHandleTestPeer {
    static int addChild(EntityHandle* parent, EntityHandle* child) {
        return parent->addChild(child);
    }
};

namespace {

class EntityHandleTest : public test::RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        system = EntityHandle::create("SYSTEM", nullptr);
        cpu = EntityHandle::create("CPU", system);
        package = EntityHandle::create("Package 0", cpu);
        core0 = EntityHandle::create("Core 0", "first core", package);
        core1 = EntityHandle::create(Description("Core 1", "C1"), package);
        thread = EntityHandle::create("Thread 0", core1);
    }
    EntityHandle* system = nullptr;
    EntityHandle* cpu = nullptr;
    EntityHandle* package = nullptr;
    EntityHandle* core0 = nullptr;
    EntityHandle* core1 = nullptr;
    EntityHandle* thread = nullptr;
};

TEST_F(EntityHandleTest, CreateBuildsTheTreeInInsertionOrder) {
    EXPECT_EQ(system->getParent(), nullptr);
    EXPECT_EQ(package->getChildren(), (std::vector<EntityHandle*>{core0, core1}));
    EXPECT_EQ(core0->getDescription(), "first core");
    EXPECT_EQ(core1->getShortName(), "C1");
    EXPECT_EQ(core1->getId(), core0->getId() + 1);
    const DataHandle* found = nullptr;
    EXPECT_EQ(DataHandle::get(thread->getId(), found), 0);
    EXPECT_EQ(found, thread);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(EntityHandleTest, QualifiedNamesLeaveOutTheSystemRoot) {
    EXPECT_EQ(system->getQualifiedName(), "SYSTEM");
    EXPECT_EQ(cpu->getQualifiedName(), "CPU");
    EXPECT_EQ(package->getQualifiedName(), "CPU/Package 0");
    EXPECT_EQ(thread->getQualifiedName(), "CPU/Package 0/Core 1/Thread 0");
    EntityHandle* gpu = EntityHandle::create("GPU", system);
    EXPECT_EQ(gpu->getQualifiedName(), "GPU");
    // An ancestor without a name ends the walk.
    EntityHandle* unnamed = EntityHandle::create("", cpu);
    EntityHandle* below = EntityHandle::create("Die 1", unnamed);
    EntityHandle* leaf = EntityHandle::create("Tile 2", below);
    EXPECT_EQ(leaf->getQualifiedName(), "Die 1/Tile 2");
    // DataHandle's own rule is the plain name.
    EXPECT_EQ(static_cast<const DataHandle*>(thread)->DataHandle::getQualifiedName(), "Thread 0");
}

TEST_F(EntityHandleTest, CyclesAreRefusedAndLeaveTheTreesAlone) {
    const std::string cycle = "WARNING: Could not add relationship because cycle detected\n";
    EXPECT_EQ(EntityHandleTestPeer::addChild(thread, package), 1);
    EXPECT_EQ(EntityHandleTestPeer::addChild(core1, core1), 1);
    EXPECT_EQ(EntityHandleTestPeer::addChild(thread, system), 1);
    EXPECT_TRUE(log.loggedExactly({cycle, cycle, cycle}));
    EXPECT_EQ(package->getParent(), cpu);
    EXPECT_TRUE(thread->getChildren().empty());
    EXPECT_EQ(core1->getChildren(), std::vector<EntityHandle*>{thread});
    EXPECT_EQ(thread->getQualifiedName(), "CPU/Package 0/Core 1/Thread 0");

    // Moving a subtree elsewhere is not a cycle; it leaves its old parent.
    log.clear();
    EXPECT_EQ(EntityHandleTestPeer::addChild(core0, thread), 0);
    EXPECT_EQ(thread->getParent(), core0);
    EXPECT_TRUE(core1->getChildren().empty());
    EXPECT_EQ(thread->getQualifiedName(), "CPU/Package 0/Core 0/Thread 0");
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(EntityHandleTest, TopologyLookupsWarnBeforeTheTopologyExists) {
    const std::string handleWarning =
        "WARNING: Cannot retrieve a CPU Entity handle until it has been initialized\n";
    const std::string countWarning =
        "WARNING: Cannot retrieve a CPU Entity count until it has been initialized\n";
    EXPECT_EQ(EntityHandle::getSystemHandle(), nullptr);
    EXPECT_EQ(EntityHandle::getCPUEntityHandle(nullptr), nullptr);
    EXPECT_EQ(EntityHandle::getCPUPackageHandle(0), nullptr);
    EXPECT_EQ(EntityHandle::getCPUModuleHandle(0), nullptr);
    EXPECT_EQ(EntityHandle::getCPUCoreHandle(0), nullptr);
    EXPECT_EQ(EntityHandle::getCPUThreadHandle(0), nullptr);
    EXPECT_EQ(EntityHandle::getCPUPackageCount(), -1);
    EXPECT_EQ(EntityHandle::getCPUModuleCount(), -1);
    EXPECT_EQ(EntityHandle::getCPUCoreCount(), -1);
    EXPECT_EQ(EntityHandle::getCPUThreadCount(), -1);
    std::vector<std::string> expected(6, handleWarning);
    expected.insert(expected.end(), 4, countWarning);
    EXPECT_TRUE(log.loggedExactly(expected));
}

}  // namespace
}  // namespace pwr
