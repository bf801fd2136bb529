// TableMessage: a titled table for the writers, and TextNotes, the lines a
// writer prints before and after it.
//
// Rows are entities (EntityHandle), columns are data handles (fields or
// states), and each cell is a Data. Besides per-entity columns a table has
// shared columns: one cell for the whole table, such as a total.
//
// Life of a table: define columns and rows; createTable() freezes the shape
// and allocates every cell (not set); the metric code fills cells through the
// private filling functions; the message is pushed to the writer stream, and
// writers read cells by (entity, handle). resetData() invalidates every cell
// so that the same table can be filled again.
//
// Layout: shared cells first, in the order the shared columns were added,
// then one block per row with one cell per per-entity column. Rows are
// numbered in ascending entity id (the creation order of the entities), not
// in the order of addEntity. A table without entities still has one
// anonymous row block.
//
// The table owns its cells and its column formatters; entities, handles,
// the quantity and the notes are borrowed. Filling and reading a created
// table never allocate. Not thread-safe: one producer fills, then writers read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/data/Data.h"
#include "common/data/EntityHandle.h"
#include "common/messages/WriterMessage.h"
#include "common/runtime/Export.h"

namespace pwr {

class Description;
class Field;
class Formatter;
class Quantity;
struct TableBody;

// The family of a table. Writers declare which families they render; the
// writer stream tests a class with isSupportedTableClass.
enum class TableClass : uint8_t {
    GENERIC = 0,      // any table not covered below
    SUMMARY = 1,      // end-of-collection summary of a metric container
    INTERVAL = 2,     // data points of one interval, written during collection
    STATIC_INFO = 3,  // static per-row information of a container
    TIMELINE = 4,     // states or residencies over time
};

// What a table shows: the summary kind that built it, or its other role.
// The summary kinds follow the output configuration's table-type keywords.
enum class TableMessageType : uint8_t {
    GENERIC = 0,
    MIN_MAX_AVG = 1,                    // "MIN-MAX-AVG"
    MIN_MAX = 2,                        // "MIN-MAX"
    NUMBER_OF_OCCURRENCES = 3,          // "NUMBER-OF-OCCURENCES"
    RELATIVE_FREQUENCY_PERCENTAGE = 4,  // "RELATIVE-FREQUENCY-PERCENTAGE"
    APPROXIMATED_RESIDENCY = 5,         // "APPROXIMATED-RESIDENCY"
    RESIDENCY_PERCENTAGE = 6,           // "RESIDENCY-PERCENTAGE"
    RESIDENCY_MILLISECOND = 7,          // "RESIDENCY-MILLISECOND"
    RESIDENCY_COMBINED = 8,             // "RESIDENCY-COMBINED"
    TRANSITION_COUNTS = 9,              // "TRANSITION-COUNTS"
    AVERAGE_RATE_TOTAL = 10,            // "AVERAGE-RATE-TOTAL"
    TOTAL_DELTA = 11,                   // "TOTAL-DELTA"
    EVENT_NAME_COUNTS = 12,             // "EVENT-NAME-COUNTS"
    TOP_TEN_EVENT = 13,                 // "TOP-TEN-EVENT"
    DATA_POINT = 14,                    // one data point of an interval table
    STATIC_ROW_INFO = 15,               // a container's static row information
};

enum class TextLocation : uint8_t {
    PRE_TABLE = 0,
    POST_TABLE = 1,
};

class PWR_API TextNotes {
  public:
    int addPreTableNote(const std::string& line) { return addNote(line, TextLocation::PRE_TABLE); }
    int addPostTableNote(const std::string& line) {
        return addNote(line, TextLocation::POST_TABLE);
    }
    // Copy the lines out; true when there is at least one.
    bool getPreTableNotes(std::vector<std::string>& out) const;
    bool getPostTableNotes(std::vector<std::string>& out) const;

  private:
    int addNote(const std::string& line, TextLocation location);
    std::vector<std::string> m_pre;
    std::vector<std::string> m_post;
};

// Orders entities by unique id, so that rows run in creation order.
struct PWR_API EntityIdLess {
    bool operator()(const EntityHandle* a, const EntityHandle* b) const {
        return a->getId() < b->getId();
    }
};

class PWR_API TableMessage : public WriterMessage {
  public:
    using EntityIterator = std::set<const EntityHandle*, EntityIdLess>::const_iterator;
    using FieldIterator = std::vector<const DataHandle*>::const_iterator;
    using ValidPair = std::pair<const EntityHandle*, const DataHandle*>;

    // Walks the (entity, handle) pairs of the cells set since creation or the
    // last reset, ordered by the entity's address, then the handle's (an
    // order without meaning: writers that need one walk rows and columns).
    // A shared cell or a cell of the anonymous row has a null entity.
    class PWR_API ValidIterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = ValidPair;
        using difference_type = std::ptrdiff_t;
        using pointer = const ValidPair*;
        using reference = const ValidPair&;

        ValidIterator(const TableBody* body, size_t index);
        const ValidPair& operator*() const;
        const ValidPair* operator->() const { return &**this; }
        ValidIterator& operator++();
        bool operator==(const ValidIterator& other) const { return m_index == other.m_index; }
        bool operator!=(const ValidIterator& other) const { return m_index != other.m_index; }

      private:
        void skip_i();
        const TableBody* m_body;
        size_t m_index;
    };

    TableMessage(const std::string& title, const Quantity* quantity);
    TableMessage(const TableMessage& other);
    TableMessage& operator=(const TableMessage& other);
    ~TableMessage() override;

    MessageType getMessageType() const override { return MessageType::TABLE; }
    virtual TableClass getTableClass() const { return m_tableClass; }
    virtual FieldIterator sharedFieldBegin() const;
    virtual FieldIterator sharedFieldEnd() const;
    virtual FieldIterator fieldBegin() const;
    virtual FieldIterator fieldEnd() const;
    virtual FieldIterator sharedHandleBegin() const;
    virtual FieldIterator sharedHandleEnd() const;
    virtual FieldIterator handleBegin() const;
    virtual FieldIterator handleEnd() const;
    virtual EntityIterator entityBegin() const;
    virtual EntityIterator entityEnd() const;
    virtual ValidIterator validBegin() const;
    virtual ValidIterator validEnd() const;

    // Columns. shared = true makes a shared column (one cell for the table).
    // A formatter given here is cloned for the column and for each of its
    // cells. All forms are refused once the table is created.
    int addField(const std::string& name, DataType type, bool shared);
    int addField(const std::string& name, DataType type, const Formatter& formatter, bool shared);
    // A state description gives a State column, any other a Field column.
    int addField(const Description& description, DataType type, bool shared);
    int addField(const Description& description, DataType type, const Formatter& formatter,
                 bool shared);
    int addField(const Field* field, DataType type, bool shared);
    int addField(const Field* field, DataType type, const Formatter& formatter, bool shared);

    // Rows. A repeated entity is ignored.
    int addEntity(const EntityHandle* entity);

    // Freezes the shape and allocates every cell.
    int createTable();
    bool isCreated() const;

    // Reading. out is the cell and valid its valid flag; on failure out is
    // null, valid false and 1 is returned after a warning.
    int getFieldValue(const EntityHandle* entity, const DataHandle* handle, const Data*& out,
                      bool& valid) const;
    int getFieldValue(const DataHandle* handle, const Data*& out, bool& valid) const;
    // The cell rendered with its formatter; an invalid cell leaves out alone.
    int getFieldAsString(const EntityHandle* entity, const DataHandle* handle, std::string& out,
                         bool& valid) const;
    int getFieldAsString(const DataHandle* handle, std::string& out, bool& valid) const;

    size_t getEntityCount() const;
    size_t getFieldCount() const;
    size_t getSharedFieldCount() const;
    size_t getHandleCount() const;
    size_t getSharedHandleCount() const;

    const std::string& getTitle() const { return m_title; }
    const Quantity* getQuantity() const { return m_quantity; }
    const TextNotes* getTextNotes() const { return m_notes; }
    int setTextNotes(const TextNotes* notes) {
        m_notes = notes;
        return 0;
    }
    // The entity a per-entity table is about (null for ordinary tables).
    const EntityHandle* getRowEntity() const { return m_rowEntity; }
    void setRowEntity(const EntityHandle* entity) { m_rowEntity = entity; }
    // Whether writers print a header line with the column names (default).
    bool hasFieldHeaders() const { return m_hasFieldHeaders; }
    void setHasFieldHeaders(bool value) { m_hasFieldHeaders = value; }
    TableMessageType getTableMessageType() const { return m_tableMessageType; }
    void setTableMessageType(TableMessageType type) { m_tableMessageType = type; }
    void setTableClass(TableClass tableClass) { m_tableClass = tableClass; }
    // Whether writers should print entities as columns and fields as rows
    // (the output configuration's TRANSPOSE); false by default.
    bool isTransposed() const { return m_transposed; }
    void setTransposed(bool transposed) { m_transposed = transposed; }

    // Invalidates every cell (keeping the shape) so the table can be refilled.
    int resetData();

    // out = prefix + units of q + suffix; false with an empty out for null q.
    static bool quantityToUnits(const Quantity* q, std::string& out, const std::string& prefix,
                                const std::string& suffix);

  protected:
    // A new table with the shape (columns, rows, formatters) of source;
    // created, with fresh unset cells, when source is.
    explicit TableMessage(const TableMessage* source);

  private:
    // The metric code fills tables.
    friend class Accumulator;
    friend class Metric;
    friend class ThermalSampleHandler;
    // Tests and benchmarks fill tables directly.
    friend struct TableMessageFillAccess;

    // The cell of a shared column.
    Data* getDataToSet_i(unsigned int column);
    // The cell of an entity's row in a per-entity column, and the column's handle.
    Data* getDataToSet_i(const EntityHandle* entity, unsigned int column,
                         const DataHandle*& handle);
    void addValidValue_i(const EntityHandle* entity, const DataHandle* handle);

    int addColumn_i(const DataHandle* handle, DataType type, const Formatter* formatter,
                    bool shared);
    int readCell_i(const EntityHandle* entity, const DataHandle* handle, const Data*& out,
                   bool& valid) const;
    // The value of attribute handle held by target (a state, event or data
    // descriptor) or, without one, by the entity.
    int readAttribute_i(const EntityHandle* entity, const DataHandle* handle, const Data*& out,
                        bool& valid, const DataHandle* target) const;

    std::string m_title;
    const Quantity* m_quantity;
    const TextNotes* m_notes;
    bool m_hasFieldHeaders;
    TableMessageType m_tableMessageType;
    TableClass m_tableClass;
    const EntityHandle* m_rowEntity;
    bool m_transposed = false;
    std::unique_ptr<TableBody> m_body;
};

}  // namespace pwr
