#include "common/messages/TableMessage.h"

#include <algorithm>
#include <functional>
#include <map>

#include "common/data/Attribute.h"
#include "common/data/AttributeValueManager.h"
#include "common/data/DataDescriptor.h"
#include "common/data/Description.h"
#include "common/data/Event.h"
#include "common/data/Field.h"
#include "common/data/Formatter.h"
#include "common/data/Quantity.h"
#include "common/data/State.h"
#include "common/runtime/Log.h"

namespace pwr {

// Where a column lives: shared or per-entity, and its index among those.
struct ColumnRef {
    bool shared;
    unsigned int index;
    bool attribute;  // the column shows an attribute of what its cells name
};

struct TableBody {
    std::vector<Data> cells;
    bool dataSet = false;
    bool created = false;
    std::map<const EntityHandle*, unsigned int> rows;
    std::set<const EntityHandle*, EntityIdLess> entities;
    // Column number (all columns, in order added) by handle, and back.
    std::map<const DataHandle*, unsigned int> columns;
    std::vector<ColumnRef> columnRefs;
    std::vector<const DataHandle*> fields;
    std::vector<const DataHandle*> handles;
    std::vector<DataType> types;
    std::vector<const DataHandle*> sharedFields;
    std::vector<const DataHandle*> sharedHandles;
    std::vector<DataType> sharedTypes;
    // Column formatters are immutable once made, so copies of a table share them.
    std::map<const DataHandle*, std::shared_ptr<const Formatter>> formatters;
    // Every (entity, handle) pair that has a cell, in address order, with a
    // flag per pair for "set since creation or the last reset". Built once by
    // createTable, so that filling never allocates.
    std::vector<TableMessage::ValidPair> validOrder;
    std::vector<uint8_t> validFlags;

    size_t cellIndex(unsigned int row, unsigned int column) const {
        return static_cast<size_t>(fields.size()) * row + sharedFields.size() + column;
    }
    const Formatter* formatterOf(const DataHandle* h) const {
        auto it = formatters.find(h);
        return it == formatters.end() ? nullptr : it->second.get();
    }
};

namespace {

const char* nameOf(const DataHandle* h) {
    return h == nullptr ? "NULL" : h->getName().c_str();
}

bool pairLess(const TableMessage::ValidPair& a, const TableMessage::ValidPair& b) {
    std::less<const void*> less;
    if (a.first != b.first) {
        return less(a.first, b.first);
    }
    return less(a.second, b.second);
}

}  // namespace

// --- TextNotes -------------------------------------------------------------

int TextNotes::addNote(const std::string& line, TextLocation location) {
    (location == TextLocation::PRE_TABLE ? m_pre : m_post).push_back(line);
    return 0;
}

bool TextNotes::getPreTableNotes(std::vector<std::string>& out) const {
    out = m_pre;
    return !m_pre.empty();
}

bool TextNotes::getPostTableNotes(std::vector<std::string>& out) const {
    out = m_post;
    return !m_post.empty();
}

// --- ValidIterator ---------------------------------------------------------

TableMessage::ValidIterator::ValidIterator(const TableBody* body, size_t index)
    : m_body(body), m_index(index) {
    skip_i();
}

const TableMessage::ValidPair& TableMessage::ValidIterator::operator*() const {
    return m_body->validOrder[m_index];
}

TableMessage::ValidIterator& TableMessage::ValidIterator::operator++() {
    ++m_index;
    skip_i();
    return *this;
}

void TableMessage::ValidIterator::skip_i() {
    while (m_index < m_body->validFlags.size() && m_body->validFlags[m_index] == 0) {
        ++m_index;
    }
}

// --- construction ------------------------------------------------------------

TableMessage::TableMessage(const std::string& title, const Quantity* quantity)
    : m_title(title),
      m_quantity(quantity),
      m_notes(nullptr),
      m_hasFieldHeaders(true),
      m_tableMessageType(TableMessageType::GENERIC),
      m_tableClass(TableClass::GENERIC),
      m_rowEntity(nullptr),
      m_body(new TableBody()) {}

TableMessage::TableMessage(const TableMessage& other)
    : WriterMessage(other),
      m_title(other.m_title),
      m_quantity(other.m_quantity),
      m_notes(other.m_notes),
      m_hasFieldHeaders(other.m_hasFieldHeaders),
      m_tableMessageType(other.m_tableMessageType),
      m_tableClass(other.m_tableClass),
      m_rowEntity(other.m_rowEntity),
      m_transposed(other.m_transposed),
      m_body(new TableBody(*other.m_body)) {}

TableMessage& TableMessage::operator=(const TableMessage& other) {
    if (this != &other) {
        WriterMessage::operator=(other);
        m_title = other.m_title;
        m_quantity = other.m_quantity;
        m_notes = other.m_notes;
        m_hasFieldHeaders = other.m_hasFieldHeaders;
        m_tableMessageType = other.m_tableMessageType;
        m_tableClass = other.m_tableClass;
        m_rowEntity = other.m_rowEntity;
        m_transposed = other.m_transposed;
        m_body.reset(new TableBody(*other.m_body));
    }
    return *this;
}

// A new message (with an id of its own) of the same shape: the cells are
// built afresh, unset, as createTable makes them.
TableMessage::TableMessage(const TableMessage* source)
    : m_title(source->m_title),
      m_quantity(source->m_quantity),
      m_notes(source->m_notes),
      m_hasFieldHeaders(source->m_hasFieldHeaders),
      m_tableMessageType(source->m_tableMessageType),
      m_tableClass(source->m_tableClass),
      m_rowEntity(source->m_rowEntity),
      m_transposed(source->m_transposed),
      m_body(new TableBody(*source->m_body)) {
    if (m_body->created) {
        m_body->created = false;
        createTable();
    }
}

TableMessage::~TableMessage() = default;

// --- shape -------------------------------------------------------------------

int TableMessage::addColumn_i(const DataHandle* handle, DataType type, const Formatter* formatter,
                              bool shared) {
    TableBody& b = *m_body;
    if (b.created) {
        pwLog(PW_WARNING, "WARNING: May not add field once table %s is created\n", m_title.c_str());
        return 1;
    }
    if (handle == nullptr) {
        return 1;
    }
    const auto number = static_cast<unsigned int>(b.columnRefs.size());
    ColumnRef ref{shared, 0, dynamic_cast<const Attribute*>(handle) != nullptr};
    if (shared) {
        ref.index = static_cast<unsigned int>(b.sharedFields.size());
        b.sharedFields.push_back(handle);
        b.sharedHandles.push_back(handle);
        b.sharedTypes.push_back(type);
    } else {
        ref.index = static_cast<unsigned int>(b.fields.size());
        b.fields.push_back(handle);
        b.handles.push_back(handle);
        b.types.push_back(type);
    }
    b.columnRefs.push_back(ref);
    b.columns.emplace(handle, number);
    if (formatter != nullptr) {
        b.formatters[handle] = std::shared_ptr<const Formatter>(formatter->clone());
    }
    return 0;
}

int TableMessage::addField(const std::string& name, DataType type, bool shared) {
    return addField(Description(name, ""), type, shared);
}

int TableMessage::addField(const std::string& name, DataType type, const Formatter& formatter,
                           bool shared) {
    return addField(Description(name, ""), type, formatter, shared);
}

namespace {

// The column handle for a description: a State for a state description,
// else a Field. Null (after a warning) when a state description is not one.
const DataHandle* handleFor(const Description& d) {
    if (d.getType() == DescriptionType::STATE) {
        const auto* state = dynamic_cast<const StateDescription*>(&d);
        if (state == nullptr) {
            pwLog(PW_WARNING, "WARNING: Could not get state description\n");
            return nullptr;
        }
        return State::create(*state);
    }
    return Field::create(d);
}

}  // namespace

// A created table refuses the column before a handle is made for it.
int TableMessage::addField(const Description& description, DataType type, bool shared) {
    if (m_body->created) {
        return addColumn_i(nullptr, type, nullptr, shared);
    }
    const DataHandle* h = handleFor(description);
    return h == nullptr ? 0 : addColumn_i(h, type, nullptr, shared);
}

int TableMessage::addField(const Description& description, DataType type,
                           const Formatter& formatter, bool shared) {
    if (m_body->created) {
        return addColumn_i(nullptr, type, nullptr, shared);
    }
    const DataHandle* h = handleFor(description);
    return h == nullptr ? 0 : addColumn_i(h, type, &formatter, shared);
}

int TableMessage::addField(const Field* field, DataType type, bool shared) {
    return addColumn_i(field, type, nullptr, shared);
}

int TableMessage::addField(const Field* field, DataType type, const Formatter& formatter,
                           bool shared) {
    return addColumn_i(field, type, &formatter, shared);
}

int TableMessage::addEntity(const EntityHandle* entity) {
    if (entity == nullptr) {
        return 1;
    }
    if (m_body->created) {
        pwLog(PW_WARNING, "WARNING: Can't add new EntityHandle to table after table is created\n");
        return 1;
    }
    m_body->entities.insert(entity);
    return 0;
}

bool TableMessage::isCreated() const {
    return m_body->created;
}

int TableMessage::createTable() {
    TableBody& b = *m_body;
    if (b.fields.empty() && b.sharedFields.empty()) {
        pwLog(PW_WARNING, "WARNING: Can't create empty table %s\n", m_title.c_str());
        return 1;
    }
    b.rows.clear();
    unsigned int row = 0;
    for (const EntityHandle* e : b.entities) {
        b.rows.emplace(e, row++);
    }
    const size_t blocks = b.entities.empty() ? 1 : b.entities.size();
    b.cells.clear();
    b.cells.reserve(b.sharedFields.size() + blocks * b.fields.size());
    auto addCell = [&b](const DataHandle* h, DataType type) {
        b.cells.emplace_back(type);
        if (const Formatter* f = b.formatterOf(h)) {
            b.cells.back().setCustomFormatter(*f);
        }
    };
    for (size_t i = 0; i < b.sharedFields.size(); ++i) {
        addCell(b.sharedFields[i], b.sharedTypes[i]);
    }
    for (size_t r = 0; r < blocks; ++r) {
        for (size_t i = 0; i < b.fields.size(); ++i) {
            addCell(b.fields[i], b.types[i]);
        }
    }

    b.validOrder.clear();
    for (const DataHandle* h : b.sharedFields) {
        b.validOrder.emplace_back(nullptr, h);
    }
    if (b.entities.empty()) {
        for (const DataHandle* h : b.fields) {
            b.validOrder.emplace_back(nullptr, h);
        }
    }
    for (const EntityHandle* e : b.entities) {
        for (const DataHandle* h : b.fields) {
            b.validOrder.emplace_back(e, h);
        }
    }
    std::sort(b.validOrder.begin(), b.validOrder.end(), pairLess);
    b.validFlags.assign(b.validOrder.size(), 0);
    b.dataSet = false;
    b.created = true;
    return 0;
}

// --- filling -----------------------------------------------------------------

Data* TableMessage::getDataToSet_i(unsigned int column) {
    TableBody& b = *m_body;
    if (!b.created) {
        pwLog(PW_WARNING, "WARNING: Can't set table field before table is created\n");
        return nullptr;
    }
    if (column >= b.columnRefs.size() || !b.columnRefs[column].shared) {
        pwLog(PW_WARNING, "WARNING: Could not find field %u in table %s\n", column,
              m_title.c_str());
        return nullptr;
    }
    b.dataSet = true;
    return &b.cells[b.columnRefs[column].index];
}

Data* TableMessage::getDataToSet_i(const EntityHandle* entity, unsigned int column,
                                   const DataHandle*& handle) {
    TableBody& b = *m_body;
    if (!b.created) {
        pwLog(PW_WARNING, "WARNING: Can't set table field before table is created\n");
        return nullptr;
    }
    unsigned int row = 0;
    if (entity != nullptr || !b.entities.empty()) {
        auto it = b.rows.find(entity);
        if (it == b.rows.end()) {
            pwLog(PW_WARNING, "WARNING: No such entity %s found in table %s\n", nameOf(entity),
                  m_title.c_str());
            return nullptr;
        }
        row = it->second;
    }
    if (column >= b.columnRefs.size() || b.columnRefs[column].shared) {
        pwLog(PW_WARNING, "WARNING: Could not find field %u in table %s\n", column,
              m_title.c_str());
        return nullptr;
    }
    const unsigned int index = b.columnRefs[column].index;
    handle = b.fields[index];
    b.dataSet = true;
    return &b.cells[b.cellIndex(row, index)];
}

void TableMessage::addValidValue_i(const EntityHandle* entity, const DataHandle* handle) {
    TableBody& b = *m_body;
    const ValidPair key(entity, handle);
    auto it = std::lower_bound(b.validOrder.begin(), b.validOrder.end(), key, pairLess);
    if (it != b.validOrder.end() && *it == key) {
        b.validFlags[static_cast<size_t>(it - b.validOrder.begin())] = 1;
    }
}

int TableMessage::resetData() {
    TableBody& b = *m_body;
    if (!b.created) {
        pwLog(PW_WARNING, "WARNING: Can't reset table data before table is created\n");
        return 1;
    }
    for (Data& cell : b.cells) {
        cell.invalidate();
    }
    std::fill(b.validFlags.begin(), b.validFlags.end(), 0);
    b.dataSet = true;
    return 0;
}

// --- reading -----------------------------------------------------------------

int TableMessage::getFieldValue(const EntityHandle* entity, const DataHandle* handle,
                                const Data*& out, bool& valid) const {
    out = nullptr;
    valid = false;
    return readCell_i(entity, handle, out, valid);
}

int TableMessage::getFieldValue(const DataHandle* handle, const Data*& out, bool& valid) const {
    return getFieldValue(nullptr, handle, out, valid);
}

int TableMessage::readCell_i(const EntityHandle* entity, const DataHandle* handle, const Data*& out,
                             bool& valid) const {
    const TableBody& b = *m_body;
    const char* title = m_title.c_str();
    if (!b.created) {
        pwLog(PW_WARNING, "WARNING: Attempt to retrieve value from uncreated table %s", title);
        return 1;
    }
    if (!b.dataSet) {
        pwLog(PW_WARNING, "WARNING: No data in table yet %s\n", title);
        return 1;
    }
    if (entity != nullptr) {
        if (b.entities.empty()) {
            pwLog(PW_WARNING,
                  "WARNING: Entity specified in request for field where not relevant %s\n", title);
            return 1;
        }
        if (b.rows.find(entity) == b.rows.end()) {
            pwLog(PW_WARNING, "WARNING: Entity %s not found in table %s\n", nameOf(entity), title);
            return 1;
        }
    }
    auto col = b.columns.find(handle);
    if (col == b.columns.end()) {
        if (dynamic_cast<const Attribute*>(handle) != nullptr && entity != nullptr) {
            return readAttribute_i(entity, handle, out, valid, nullptr);
        }
        pwLog(PW_WARNING, "WARNING: Unknown field %s in table %s\n", nameOf(handle), title);
        return 1;
    }
    const ColumnRef& ref = b.columnRefs[col->second];
    const Data* cell;
    if (ref.shared) {
        cell = &b.cells[ref.index];
    } else {
        unsigned int row = 0;
        if (entity != nullptr) {
            row = b.rows.find(entity)->second;
        } else if (!b.entities.empty()) {
            pwLog(PW_WARNING, "WARNING: Entity %s not found in table %s\n", nameOf(entity), title);
            return 1;
        }
        cell = &b.cells[b.cellIndex(row, ref.index)];
    }
    if (ref.attribute) {
        // The cell names the state, event, entity or data descriptor whose
        // attribute value the column shows.
        if (cell->getType() != DataType::HANDLE) {
            pwLog(PW_WARNING,
                  "WARNING: Attempt to retrieve an attribute from a simple type in %s\n", title);
            return 1;
        }
        const DataHandle* target = nullptr;
        if (!cell->isValid() || cell->toHandle(target) != 0 || target == nullptr) {
            pwLog(PW_WARNING, "WARNING: Could not convert to handle type in %s\n", title);
            return 1;
        }
        return readAttribute_i(dynamic_cast<const EntityHandle*>(target), handle, out, valid,
                               target);
    }
    out = cell;
    valid = cell->isValid();
    return 0;
}

int TableMessage::readAttribute_i(const EntityHandle* entity, const DataHandle* handle,
                                  const Data*& out, bool& valid, const DataHandle* target) const {
    const auto* attribute = dynamic_cast<const Attribute*>(handle);
    const auto* state = dynamic_cast<const State*>(target);
    const auto* event = dynamic_cast<const Event*>(target);
    const auto* descriptor = dynamic_cast<const DataDescriptor*>(target);
    const AttributeValueManager* values = nullptr;
    if (state != nullptr) {
        values = state;
    } else if (event != nullptr) {
        values = event;
    } else if (descriptor != nullptr) {
        values = descriptor;
    } else if (entity != nullptr) {
        values = entity;
    }
    const Data* value = values == nullptr ? nullptr : values->getAttributeValue(attribute);
    if (value == nullptr) {
        pwLog(PW_WARNING,
              "WARNING: Error getting state/event/entity/dataDescriptor and attribute (%p %p %p "
              "%p %p) from table %s\n",
              static_cast<const void*>(state), static_cast<const void*>(event),
              static_cast<const void*>(entity), static_cast<const void*>(descriptor),
              static_cast<const void*>(attribute), m_title.c_str());
        return 1;
    }
    out = value;
    valid = value->isValid();
    return 0;
}

int TableMessage::getFieldAsString(const EntityHandle* entity, const DataHandle* handle,
                                   std::string& out, bool& valid) const {
    const Data* cell = nullptr;
    valid = false;
    if (readCell_i(entity, handle, cell, valid) != 0) {
        return 1;
    }
    if (valid) {
        cell->toFormattedString(out);
    }
    return 0;
}

int TableMessage::getFieldAsString(const DataHandle* handle, std::string& out, bool& valid) const {
    return getFieldAsString(nullptr, handle, out, valid);
}

// --- iteration and counts ----------------------------------------------------

TableMessage::FieldIterator TableMessage::sharedFieldBegin() const {
    return m_body->sharedFields.begin();
}
TableMessage::FieldIterator TableMessage::sharedFieldEnd() const {
    return m_body->sharedFields.end();
}
TableMessage::FieldIterator TableMessage::fieldBegin() const {
    return m_body->fields.begin();
}
TableMessage::FieldIterator TableMessage::fieldEnd() const {
    return m_body->fields.end();
}
TableMessage::FieldIterator TableMessage::sharedHandleBegin() const {
    return m_body->sharedHandles.begin();
}
TableMessage::FieldIterator TableMessage::sharedHandleEnd() const {
    return m_body->sharedHandles.end();
}
TableMessage::FieldIterator TableMessage::handleBegin() const {
    return m_body->handles.begin();
}
TableMessage::FieldIterator TableMessage::handleEnd() const {
    return m_body->handles.end();
}
TableMessage::EntityIterator TableMessage::entityBegin() const {
    return m_body->entities.begin();
}
TableMessage::EntityIterator TableMessage::entityEnd() const {
    return m_body->entities.end();
}
TableMessage::ValidIterator TableMessage::validBegin() const {
    return ValidIterator(m_body.get(), 0);
}
TableMessage::ValidIterator TableMessage::validEnd() const {
    return ValidIterator(m_body.get(), m_body->validOrder.size());
}

size_t TableMessage::getEntityCount() const {
    return m_body->entities.size();
}
size_t TableMessage::getFieldCount() const {
    return m_body->fields.size();
}
size_t TableMessage::getSharedFieldCount() const {
    return m_body->sharedFields.size();
}
size_t TableMessage::getHandleCount() const {
    return m_body->handles.size();
}
size_t TableMessage::getSharedHandleCount() const {
    return m_body->sharedHandles.size();
}

bool TableMessage::quantityToUnits(const Quantity* q, std::string& out, const std::string& prefix,
                                   const std::string& suffix) {
    if (q == nullptr) {
        out.clear();
        return false;
    }
    out = prefix + q->toUnitsString() + suffix;
    return true;
}

}  // namespace pwr
