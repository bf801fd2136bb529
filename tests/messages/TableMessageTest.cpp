#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/data/Attribute.h"
#include "common/data/Description.h"
#include "common/data/Formatter.h"
#include "common/data/State.h"
#include "common/data/Quantity.h"
#include "common/messages/TableMessage.h"
#include "tests/support/LogCapture.h"

namespace pwr {

// The filling functions are private to the metric code.
struct TableMessageFillAccess {
    static Data* cell(TableMessage& t, const EntityHandle* e, unsigned int column,
                      const DataHandle*& handle) {
        return t.getDataToSet_i(e, column, handle);
    }
    static Data* shared(TableMessage& t, unsigned int column) { return t.getDataToSet_i(column); }
    static void markValid(TableMessage& t, const EntityHandle* e, const DataHandle* h) {
        t.addValidValue_i(e, h);
    }
    // The cell's address relative to the first shared cell reveals the layout.
    static long offset(TableMessage& t, const Data* cell) {
        return static_cast<long>(cell - shared(t, 0));
    }
};

namespace {

using Peer = TableMessageFillAccess;

class TableMessageTest : public test::RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        system = EntityHandle::create("SYSTEM", nullptr);
        a = EntityHandle::create("A", system);
        b = EntityHandle::create("B", system);
        c = EntityHandle::create("C", system);
    }
    const EntityHandle* system = nullptr;
    const EntityHandle* a = nullptr;
    const EntityHandle* b = nullptr;
    const EntityHandle* c = nullptr;
};

TEST_F(TableMessageTest, RowsRunInEntityIdOrderAndCellsFollowTheLayout) {
    TableMessage t("Power", Quantity::power());
    ASSERT_EQ(t.addField("Total", DataType::REAL, true), 0);  // column 0, shared 0
    ASSERT_EQ(t.addField("Min", DataType::UINT, false), 0);   // column 1, per-entity 0
    ASSERT_EQ(t.addField("Count", DataType::UINT, true), 0);  // column 2, shared 1
    ASSERT_EQ(t.addField("Max", DataType::UINT, false), 0);   // column 3, per-entity 1
    EXPECT_EQ(t.addEntity(c), 0);
    EXPECT_EQ(t.addEntity(a), 0);
    EXPECT_EQ(t.addEntity(c), 0);  // repeated: ignored
    EXPECT_EQ(t.addEntity(nullptr), 1);
    ASSERT_EQ(t.createTable(), 0);

    EXPECT_EQ(std::vector<const EntityHandle*>(t.entityBegin(), t.entityEnd()),
              (std::vector<const EntityHandle*>{a, c}));
    EXPECT_EQ(t.getEntityCount(), 2u);
    EXPECT_EQ(t.getFieldCount(), 2u);
    EXPECT_EQ(t.getSharedFieldCount(), 2u);
    EXPECT_EQ(t.getHandleCount(), 2u);
    std::vector<std::string> names;
    for (auto it = t.fieldBegin(); it != t.fieldEnd(); ++it) {
        names.push_back((*it)->getName());
    }
    for (auto it = t.sharedHandleBegin(); it != t.sharedHandleEnd(); ++it) {
        names.push_back((*it)->getName());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Min", "Max", "Total", "Count"}));

    const DataHandle* h = nullptr;
    // cell(row, c) = 2 * row + 2 shared + c; a is row 0, c is row 1.
    EXPECT_EQ(Peer::offset(t, Peer::shared(t, 2)), 1);
    EXPECT_EQ(Peer::offset(t, Peer::cell(t, a, 1, h)), 2);
    EXPECT_EQ(h->getName(), "Min");
    EXPECT_EQ(Peer::offset(t, Peer::cell(t, a, 3, h)), 3);
    EXPECT_EQ(Peer::offset(t, Peer::cell(t, c, 1, h)), 4);
    EXPECT_EQ(Peer::offset(t, Peer::cell(t, c, 3, h)), 5);
    EXPECT_EQ(h->getName(), "Max");
    EXPECT_EQ(Peer::cell(t, a, 0, h), nullptr);  // a shared column has no row cells
    EXPECT_TRUE(log.loggedExactly({"WARNING: Could not find field 0 in table Power\n"}));
}

TEST_F(TableMessageTest, RefusalsOnceCreatedAndBadCellRequests) {
    TableMessage t("T", nullptr);
    const DataHandle* h = nullptr;
    EXPECT_EQ(Peer::cell(t, a, 0, h), nullptr);
    EXPECT_EQ(t.resetData(), 1);
    EXPECT_EQ(t.createTable(), 1);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Can't set table field before table is created\n",
                                   "WARNING: Can't reset table data before table is created\n",
                                   "WARNING: Can't create empty table T\n"}));
    log.clear();
    t.addField("V", DataType::INT, false);
    t.addEntity(a);
    ASSERT_EQ(t.createTable(), 0);
    EXPECT_EQ(t.addField("W", DataType::INT, false), 1);
    EXPECT_EQ(t.addField(Description("X", ""), DataType::INT, IntFormatter(), true), 1);
    EXPECT_EQ(t.addEntity(b), 1);
    EXPECT_EQ(Peer::cell(t, b, 0, h), nullptr);
    EXPECT_EQ(Peer::cell(t, nullptr, 0, h), nullptr);
    EXPECT_EQ(Peer::cell(t, a, 7, h), nullptr);
    EXPECT_EQ(Peer::shared(t, 0), nullptr);  // column 0 is per-entity
    EXPECT_TRUE(log.loggedExactly({
        "WARNING: May not add field once table T is created\n",
        "WARNING: May not add field once table T is created\n",
        "WARNING: Can't add new EntityHandle to table after table is created\n",
        "WARNING: No such entity B found in table T\n",
        "WARNING: No such entity NULL found in table T\n",
        "WARNING: Could not find field 7 in table T\n",
        "WARNING: Could not find field 0 in table T\n",
    }));
}

TEST_F(TableMessageTest, NoDataUntilACellIsHandedOutOrTheTableReset) {
    TableMessage t("Temps", Quantity::temperature());
    t.addField("Max", DataType::UINT, false);
    t.addField("Sum", DataType::UINT, true);
    const Data* out = reinterpret_cast<const Data*>(&t);
    bool valid = true;
    EXPECT_EQ(t.getFieldValue(*t.sharedFieldBegin(), out, valid), 1);
    t.addEntity(a);
    t.createTable();
    const DataHandle* maxH = *t.fieldBegin();
    const DataHandle* sumH = *t.sharedFieldBegin();
    EXPECT_EQ(t.getFieldValue(sumH, out, valid), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_FALSE(valid);
    EXPECT_EQ(t.getFieldValue(a, maxH, out, valid), 1);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Attempt to retrieve value from uncreated table Temps",
                                   "WARNING: No data in table yet Temps\n",
                                   "WARNING: No data in table yet Temps\n"}));

    // Resetting lifts the rule: reads now see the (invalid) cells.
    log.clear();
    EXPECT_EQ(t.resetData(), 0);
    EXPECT_EQ(t.getFieldValue(sumH, out, valid), 0);
    EXPECT_NE(out, nullptr);
    EXPECT_FALSE(valid);
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(TableMessageTest, FillReadResetAndValidPairs) {
    TableMessage t("Residency", Quantity::time());
    t.addField("C0", DataType::REAL, RealFormatter(std::string("%"), 7, 2), false);
    t.addField("Total", DataType::UINT, true);
    t.addEntity(b);
    t.addEntity(a);
    t.createTable();
    const DataHandle* c0 = *t.fieldBegin();
    const DataHandle* total = *t.sharedFieldBegin();
    const DataHandle* h = nullptr;

    Data* cellA = Peer::cell(t, a, 0, h);
    Data* cellB = Peer::cell(t, b, 0, h);
    // Each cell carries its own clone of the column formatter.
    ASSERT_NE(cellA->getCustomFormatter(), nullptr);
    EXPECT_NE(cellA->getCustomFormatter(), cellB->getCustomFormatter());
    cellA->setValue(12.345);
    Peer::markValid(t, a, c0);
    cellB->setValue(int64_t{1});  // wrong type: the cell stays invalid
    Peer::shared(t, 1)->setValue(uint64_t{99});
    Peer::markValid(t, nullptr, total);

    std::string text = "unchanged";
    bool valid = false;
    EXPECT_EQ(t.getFieldAsString(a, c0, text, valid), 0);
    EXPECT_TRUE(valid);
    EXPECT_EQ(text, " 12.35%");
    text = "unchanged";
    EXPECT_EQ(t.getFieldAsString(b, c0, text, valid), 0);
    EXPECT_FALSE(valid);
    EXPECT_EQ(text, "unchanged");
    EXPECT_EQ(t.getFieldAsString(total, text, valid), 0);
    EXPECT_EQ(text, "99");
    // A shared cell reads the same through any row.
    EXPECT_EQ(t.getFieldAsString(b, total, text, valid), 0);
    EXPECT_EQ(text, "99");

    std::vector<TableMessage::ValidPair> pairs(t.validBegin(), t.validEnd());
    EXPECT_EQ(pairs.size(), 2u);
    EXPECT_NE(std::find(pairs.begin(), pairs.end(), TableMessage::ValidPair(a, c0)), pairs.end());
    EXPECT_NE(std::find(pairs.begin(), pairs.end(), TableMessage::ValidPair(nullptr, total)),
              pairs.end());

    log.clear();
    EXPECT_EQ(t.resetData(), 0);
    EXPECT_EQ(t.validBegin(), t.validEnd());
    const Data* out = nullptr;
    EXPECT_EQ(t.getFieldValue(a, c0, out, valid), 0);
    EXPECT_FALSE(valid);
    EXPECT_TRUE(out->isSet());  // values and set flags survive a reset
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(TableMessageTest, ReadingWarnings) {
    TableMessage rows("R", nullptr);
    rows.addField("V", DataType::INT, false);
    rows.addEntity(a);
    rows.createTable();
    rows.resetData();
    TableMessage anonymous("N", nullptr);
    anonymous.addField("S", DataType::INT, true);
    anonymous.addField("P", DataType::INT, false);
    anonymous.createTable();
    anonymous.resetData();
    const Data* out = nullptr;
    bool valid = false;
    const DataHandle* v = *rows.fieldBegin();
    EXPECT_EQ(rows.getFieldValue(c, v, out, valid), 1);
    EXPECT_EQ(rows.getFieldValue(a, *anonymous.fieldBegin(), out, valid), 1);
    EXPECT_EQ(rows.getFieldValue(v, out, valid), 1);
    EXPECT_EQ(anonymous.getFieldValue(a, *anonymous.fieldBegin(), out, valid), 1);
    EXPECT_TRUE(log.loggedExactly({
        "WARNING: Entity C not found in table R\n",
        "WARNING: Unknown field P in table R\n",
        "WARNING: Entity NULL not found in table R\n",
        "WARNING: Entity specified in request for field where not relevant N\n",
    }));

    // The anonymous row: one block of per-entity cells after the shared ones.
    log.clear();
    const DataHandle* h = nullptr;
    Data* p = Peer::cell(anonymous, nullptr, 1, h);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(Peer::offset(anonymous, p), 1);
    p->setValue(int64_t{-4});
    std::string text;
    EXPECT_EQ(anonymous.getFieldAsString(h, text, valid), 0);
    EXPECT_EQ(text, "-4");
    EXPECT_TRUE(log.loggedExactly({}));
}

TEST_F(TableMessageTest, AttributeColumnsShowTheValueOfWhatTheCellNames) {
    const Attribute* level =
        Attribute::create("Level", Quantity::frequency(), AttributeType::LEVEL);
    StateDescription c6("C6", "");
    c6.addAttributeValue(level, Data(uint64_t{800}), true);
    const State* state = State::create(c6);
    const_cast<EntityHandle*>(b)->addAttributeValue(level, Data(uint64_t{1200}));

    TableMessage t("States", nullptr);
    t.addField("State", DataType::HANDLE, false);
    t.addField(level, DataType::HANDLE, false);
    t.addField("Count", DataType::INT, false);
    t.addEntity(a);
    t.addEntity(b);
    t.createTable();
    const DataHandle* h = nullptr;
    Peer::cell(t, a, 1, h)->setValue(*state);
    Peer::cell(t, a, 2, h)->setValue(int64_t{3});
    const DataHandle* count = h;

    std::string text;
    bool valid = false;
    EXPECT_EQ(t.getFieldAsString(a, level, text, valid), 0);
    EXPECT_TRUE(valid);
    EXPECT_EQ(text, "800");
    // Not a column here, but the row's entity carries the attribute.
    TableMessage counts("Counts", nullptr);
    counts.addField("Count", DataType::INT, false);
    counts.addEntity(b);
    counts.createTable();
    counts.resetData();
    EXPECT_EQ(counts.getFieldAsString(b, level, text, valid), 0);
    EXPECT_EQ(text, "1200");
    EXPECT_TRUE(log.loggedExactly({}));

    // Row b names nothing, and an attribute cannot come from a number.
    EXPECT_EQ(t.getFieldAsString(b, level, text, valid), 1);
    EXPECT_TRUE(log.loggedExactly({"WARNING: Could not convert to handle type in States\n"}));
    log.clear();
    TableMessage numbers("Numbers", nullptr);
    numbers.addField(level, DataType::INT, false);
    numbers.addEntity(a);
    numbers.createTable();
    Peer::cell(numbers, a, 0, h)->setValue(int64_t{1});
    EXPECT_EQ(numbers.getFieldAsString(a, level, text, valid), 1);
    EXPECT_EQ(counts.getFieldAsString(b, count, text, valid), 1);
    EXPECT_TRUE(log.loggedExactly(
        {"WARNING: Attempt to retrieve an attribute from a simple type in Numbers\n",
         "WARNING: Unknown field Count in table Counts\n"}));
}

// A table made from another's shape, as derived tables are.
class ShapedTable : public TableMessage {
  public:
    explicit ShapedTable(const TableMessage* source) : TableMessage(source) {}
};

TEST_F(TableMessageTest, CopiesKeepIdAndCellsShapeCopiesDoNot) {
    TableMessage t("Orig", nullptr);
    t.addField("V", DataType::UINT, UIntFormatter(4, false), false);
    t.addEntity(a);
    t.createTable();
    const DataHandle* h = nullptr;
    Peer::cell(t, a, 0, h)->setValue(uint64_t{5});
    TableMessage copy(t);
    EXPECT_EQ(copy.getMessageId(), t.getMessageId());
    std::string text;
    bool valid = false;
    EXPECT_EQ(copy.getFieldAsString(a, h, text, valid), 0);
    EXPECT_TRUE(valid);
    EXPECT_EQ(text, "   5");

    ShapedTable shaped(&t);
    EXPECT_NE(shaped.getMessageId(), t.getMessageId());
    EXPECT_TRUE(shaped.isCreated());
    EXPECT_EQ(shaped.getTitle(), "Orig");
    const Data* out = nullptr;
    EXPECT_EQ(shaped.getFieldValue(a, h, out, valid), 1);  // fresh cells: no data yet
    Data* cell = Peer::cell(shaped, a, 0, h);
    ASSERT_NE(cell, nullptr);
    EXPECT_FALSE(cell->isSet());
    ASSERT_NE(cell->getCustomFormatter(), nullptr);
    EXPECT_TRUE(log.loggedExactly({"WARNING: No data in table yet Orig\n"}));
}

TEST(TableMessageStaticTest, QuantityToUnitsAndNotes) {
    test::LogCapture log;
    UniqueId::initialize();
    std::string out = "x";
    EXPECT_TRUE(TableMessage::quantityToUnits(Quantity::power(), out, " (", ")"));
    EXPECT_EQ(out, " (mW)");
    EXPECT_FALSE(TableMessage::quantityToUnits(nullptr, out, " (", ")"));
    EXPECT_EQ(out, "");
    UniqueId::destroy();

    TextNotes notes;
    std::vector<std::string> lines{"stale"};
    EXPECT_FALSE(notes.getPreTableNotes(lines));
    EXPECT_TRUE(lines.empty());
    notes.addPreTableNote("first");
    notes.addPreTableNote("second");
    notes.addPostTableNote("after");
    EXPECT_TRUE(notes.getPreTableNotes(lines));
    EXPECT_EQ(lines, (std::vector<std::string>{"first", "second"}));
    EXPECT_TRUE(notes.getPostTableNotes(lines));
    EXPECT_EQ(lines, std::vector<std::string>{"after"});
}

}  // namespace
}  // namespace pwr
