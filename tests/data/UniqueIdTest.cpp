#include <gtest/gtest.h>

#include <vector>

#include "common/data/EntityHandle.h"
#include "common/data/IdAnnouncer.h"
#include "common/data/Quantity.h"
#include "common/data/UniqueId.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

// A registered object that reports its destruction.
class Probe : public UniqueId {
  public:
    static std::vector<uint64_t>& destroyed() {
        static std::vector<uint64_t> ids;
        return ids;
    }
    static Probe* create() {
        Probe* p = new Probe();
        register_i(p);
        return p;
    }
    ~Probe() override { destroyed().push_back(getId()); }
    UniqueIdType getIdType() const override { return UniqueIdType::QUANTITY; }
};

class RecordingAnnouncer : public IdAnnouncer {
  public:
    void announce(const UniqueId& object) override {
        ids.push_back(object.getId());
        // The object is already owned and findable when it is announced.
        findable.push_back(UniqueId::find(object.getId()) == &object);
    }
    std::vector<uint64_t> ids;
    std::vector<bool> findable;
};

TEST(UniqueIdTest, RegistryOwnsObjectsAndDeletesThemInRegistrationOrder) {
    test::LogCapture log;
    UniqueId::initialize();
    Probe::destroyed().clear();
    std::vector<uint64_t> created;
    for (int i = 0; i < 5; ++i) {
        created.push_back(Probe::create()->getId());
    }
    for (size_t i = 1; i < created.size(); ++i) {
        EXPECT_EQ(created[i], created[i - 1] + 1);
    }
    EXPECT_NE(UniqueId::find(created[2]), nullptr);
    UniqueId::destroy();
    EXPECT_EQ(Probe::destroyed(), created);
    EXPECT_FALSE(UniqueId::isInitialized());
    EXPECT_EQ(UniqueId::find(created[0]), nullptr);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST(UniqueIdTest, ObjectsMadeWithoutRegistryAreReportedAndFreedLater) {
    test::LogCapture log;
    ASSERT_FALSE(UniqueId::isInitialized());
    Probe::destroyed().clear();
    Probe* orphan = Probe::create();
    EXPECT_TRUE(log.loggedExactly(
        {"Vantry internal state wasn't initialized correctly, this can cause issues with "
         "result correctness!",
         "WARNING: ID Manager wasn't initialized!"}));
    const uint64_t id = orphan->getId();
    EXPECT_EQ(UniqueId::find(id), nullptr);
    UniqueId::destroy();
    EXPECT_EQ(Probe::destroyed(), std::vector<uint64_t>{id});
}

TEST(UniqueIdTest, AttachedStreamHearsOfEveryNewObject) {
    test::LogCapture log;
    UniqueId::initialize();
    RecordingAnnouncer announcer;
    EntityHandle* before = EntityHandle::create("SYSTEM", nullptr);
    DataHandleProvider::addStream(&announcer);
    EntityHandle* a = EntityHandle::create("CPU", before);
    Probe* p = Probe::create();
    DataHandleProvider::addStream(nullptr);
    EntityHandle::create("GPU", before);
    EXPECT_EQ(announcer.ids, (std::vector<uint64_t>{a->getId(), p->getId()}));
    EXPECT_EQ(announcer.findable, (std::vector<bool>{true, true}));
    UniqueId::destroy();

    // A stream attached before the registry exists hears of the built-ins.
    DataHandleProvider::addStream(&announcer);
    announcer.ids.clear();
    UniqueId::initialize();
    DataHandleProvider::addStream(nullptr);
    EXPECT_EQ(announcer.ids.size(), 12u);
    EXPECT_EQ(announcer.ids.front(), Quantity::frequency()->getId());
    UniqueId::destroy();
    EXPECT_TRUE(log.loggedExactly({}));
}

}  // namespace
}  // namespace pwr
