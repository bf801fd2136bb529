// Enum: an enumeration with a keyword text for each value, as the output
// configuration names them ("MIN-MAX-AVG", "RESIDENCY-PERCENTAGE").
//
// A definition type Def supplies the enumerators as Def::Value (numbered from
// 0 without gaps) and the keyword table as Def::keywords(), defined in a .cpp
// of the library: each table is a constant array, ready before any code runs,
// and there is one per process whatever module uses it.
//
//   struct PWR_API SummaryKind {
//       enum Value : uint8_t { SAMPLE_COUNT = 0, TOTAL_DELTA = 1 };
//       static const EnumKeywords& keywords();
//   };
//   using Summary = Enum<SummaryKind>;
//
// Enum is a small value; it converts to Def::Value so it can be switched on.
// Immutable tables: safe to read from any thread.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

#include "common/runtime/Export.h"

namespace pwr {

// The keywords of an enumeration, index = value.
class PWR_API EnumKeywords {
  public:
    constexpr EnumKeywords(const char* const* keywords, size_t count)
        : m_keywords(keywords), m_count(count) {}

    size_t size() const { return m_count; }
    // The keyword of value, or "" for a value outside the table.
    const char* keyword(size_t value) const;
    // The value whose keyword is exactly text; false when there is none.
    bool find(const std::string& text, size_t& value) const;

  private:
    const char* const* m_keywords;
    size_t m_count;
};

template <typename Def>
class Enum {
  public:
    using Value = typename Def::Value;

    Enum() : m_value(static_cast<Value>(0)) {}
    Enum(Value value) : m_value(value) {}  // NOLINT: implicit by design

    operator Value() const { return m_value; }
    Value value() const { return m_value; }
    // The keyword of this value ("" for a value outside the table).
    const char* toString() const { return Def::keywords().keyword(static_cast<size_t>(m_value)); }

    // The value named by text; false, with out untouched, for an unknown text.
    static bool fromString(const std::string& text, Enum& out) {
        size_t value = 0;
        if (!Def::keywords().find(text, value)) {
            return false;
        }
        out.m_value = static_cast<Value>(value);
        return true;
    }
    // The number of values.
    static size_t count() { return Def::keywords().size(); }
    // The value with this number; false for a number outside the table.
    static bool fromIndex(size_t index, Enum& out) {
        if (index >= count()) {
            return false;
        }
        out.m_value = static_cast<Value>(index);
        return true;
    }

  private:
    Value m_value;
};

}  // namespace pwr
