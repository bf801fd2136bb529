#include <gtest/gtest.h>

#include <string>

#include "common/data/Attribute.h"
#include "common/data/Data.h"
#include "common/data/DataDescriptor.h"
#include "common/data/DataElement.h"
#include "common/data/EntityHandle.h"
#include "tests/support/LogCapture.h"

namespace pwr {
namespace {

const std::string kNoValue =
    "WARNING: Value is not set in the DataElement object. Returning an invalid Data object.\n";

class DataElementTest : public test::RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        core = EntityHandle::create("Core 0", nullptr);
        c6 = DataDescriptor::create(DataDescriptorBuilder("C6", ""));
        c7 = DataDescriptor::create(DataDescriptorBuilder("C7", ""));
    }
    const EntityHandle* core = nullptr;
    const DataDescriptor* c6 = nullptr;
    const DataDescriptor* c7 = nullptr;
};

TEST_F(DataElementTest, SettersRefuseNullWithTheirWarnings) {
    DataElement e(core, c6);
    EXPECT_EQ(e.getValue(), nullptr);
    EXPECT_EQ(e.setEntity(nullptr), 1);
    EXPECT_EQ(e.setDescriptor(nullptr), 1);
    EXPECT_EQ(e.setAdditionalInfo(nullptr), 1);
    EXPECT_TRUE(
        log.loggedExactly({kNoValue, "WARNING: Please provide a valid entity.\n",
                           "WARNING: Please provide a valid descriptor.\n",
                           "WARNING: Please provide a valid DynamicAttributeValueManager.\n"}));
    EXPECT_EQ(e.getEntity(), core);
    EXPECT_EQ(e.getDescriptor(), c6);
    // The viewer's descriptor follows the descriptor, not the other way round.
    EXPECT_EQ(e.getViewerDescriptor(), c6);
    EXPECT_EQ(e.setViewerDescriptor(c7), 0);
    EXPECT_EQ(e.getDescriptor(), c6);
    EXPECT_EQ(e.setDescriptor(c6), 0);
    EXPECT_EQ(e.getViewerDescriptor(), c6);
}

TEST_F(DataElementTest, CopyOwnsItsValueAndAssignmentSharesIt) {
    DataElement source(core, c6);
    source.setValue(Data(uint64_t(40)));
    source.setDuration(12);

    const DataElement copy(source);
    EXPECT_NE(copy.getValue(), source.getValue());
    EXPECT_EQ(*copy.getValue(), Data(uint64_t(40)));
    EXPECT_EQ(copy.getDuration(), 12u);
    const DataElement valueless(core, nullptr);
    const DataElement empty(valueless);
    EXPECT_FALSE(empty.hasValue());

    DataElement target(core, c7);
    {
        DataElement shortLived(core, c6);
        shortLived.setValue(Data(uint64_t(41)));
        target = shortLived;
        EXPECT_EQ(target.getValue(), shortLived.getValue());
        EXPECT_EQ(target.getDescriptor(), c6);
    }
    // The shared value outlives the element it came from and is freed once,
    // with the last element (the sanitizer reports any second release).
    EXPECT_EQ(*target.getValue(), Data(uint64_t(41)));
    target = target;
    EXPECT_EQ(*target.getValue(), Data(uint64_t(41)));

    // A value of its own is reused in place; a shared one is left to the
    // other element.
    DataElement other(core, c6);
    other = source;
    const Data* shared = source.getValue();
    source.setValue(Data(uint64_t(50)));
    EXPECT_NE(source.getValue(), shared);
    EXPECT_EQ(other.getValue(), shared);
    EXPECT_EQ(*other.getValue(), Data(uint64_t(40)));
    const Data* own = source.getValue();
    source.setValue(Data(std::string("hot")));
    EXPECT_EQ(source.getValue(), own);
    EXPECT_EQ(*source.getValue(), Data(std::string("hot")));
    EXPECT_TRUE(log.loggedExactly({}));
}

}  // namespace
}  // namespace pwr
