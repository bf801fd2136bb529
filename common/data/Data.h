// Data: the one value type of the library.
//
// A Data holds nothing, a signed or unsigned 64-bit integer, a double, a pair
// of one of these (a range), the id of a DataHandle, or a string. Every table
// cell, sample and accumulator total is a Data. Per-type behaviour (setting,
// comparing, accumulating, scaling, the default formatter) lives in one
// static helper object per DataType, so a Data is a small value with an
// inline payload: numeric values never allocate.
//
// Misuse (wrong type, unset value) is reported as a "WARNING: " line and a
// status of 1; nothing throws. Getters never convert between types and leave
// their outputs untouched on failure.
//
// Some asymmetries are deliberate and relied on by callers:
// - the scalar setters (int64, uint64, double, string) adopt their type when
//   the value is NONE; the range and handle setters do not, and they raise
//   the set flag even when they fail;
// - initMax() of a REAL starts at the smallest positive normal double, so a
//   running maximum of negative values stays there;
// - the copy constructor clones a custom formatter, assignment shares it
//   (shared ownership makes the sharing safe).
//
// Threads: Data takes no locks. The helpers are immutable and shared.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "common/runtime/Export.h"

namespace pwr {

class DataHandle;
class DataHelper;
class Formatter;

enum class DataType : uint8_t {
    NONE = 0,
    INT = 1,
    UINT = 2,
    REAL = 3,
    INT_RANGE = 4,
    UINT_RANGE = 5,
    REAL_RANGE = 6,
    HANDLE = 7,
    STRING = 8,
};

class PWR_API Data {
  public:
    Data();
    explicit Data(DataType type);
    Data(const int64_t& value);
    Data(const uint64_t& value);
    Data(const double& value);
    Data(const std::string& value);
    Data(const DataHandle& handle);
    Data(int64_t first, int64_t second);
    Data(const std::pair<int64_t, int64_t>& value);
    Data(uint64_t first, uint64_t second);
    Data(const std::pair<uint64_t, uint64_t>& value);
    Data(double first, double second);
    Data(const std::pair<double, double>& value);
    // Copies value, flags and string; clones the custom formatter.
    Data(const Data& other);
    Data(Data&& other) noexcept;
    ~Data();
    // Copies value, flags and string; shares the custom formatter.
    Data& operator=(const Data& other);
    Data& operator=(Data&& other) noexcept;

    DataType getType() const { return m_type; }
    bool isSet() const { return m_set; }
    bool isValid() const { return m_valid; }
    bool isNumeric() const { return m_type >= DataType::INT && m_type <= DataType::REAL_RANGE; }
    // Clears the valid flag only.
    void invalidate() { m_valid = false; }

    int setValue(const int64_t& value);
    int setValue(const uint64_t& value);
    int setValue(const double& value);
    int setValue(const std::string& value);
    int setValue(const std::pair<int64_t, int64_t>& value);
    int setValue(const std::pair<uint64_t, uint64_t>& value);
    int setValue(const std::pair<double, double>& value);
    int setValue(const DataHandle& handle);
    // Assignment from a value of the same type.
    int setValue(const Data& other);
    int setCustomFormatter(const Formatter& formatter);
    // The custom formatter, or null.
    const Formatter* getCustomFormatter() const { return m_formatter.get(); }

    int toInt(int64_t& out) const;
    int toUInt(uint64_t& out) const;
    int toReal(double& out) const;
    int toIntRange(std::pair<int64_t, int64_t>& out) const;
    int toUIntRange(std::pair<uint64_t, uint64_t>& out) const;
    int toRealRange(std::pair<double, double>& out) const;
    int toString(std::string& out) const;
    int toHandle(const DataHandle*& out) const;

    // Renders with the custom formatter, else the type's default formatter.
    int toFormattedString(std::string& out) const;

    int initZero();
    int initMin();
    int initMax();
    int addValue(const Data& input);
    int multiplyValue(double factor);

    // A REAL or REAL_RANGE version of a numeric value (without custom
    // formatter); other types are copied after a warning.
    static const Data convertToReal(const Data* input);

    bool operator==(const Data& other) const;
    bool operator!=(const Data& other) const;
    bool operator<(const Data& other) const;
    bool operator<=(const Data& other) const;
    bool operator>(const Data& other) const;
    bool operator>=(const Data& other) const;

  protected:
    // Makes the value an unset value of type t (dropping any custom formatter).
    void init_i(DataType type);

  private:
    friend class DataHelper;
    friend class IntHelper;
    friend class UIntHelper;
    friend class RealHelper;
    friend class IntRangeHelper;
    friend class UIntRangeHelper;
    friend class RealRangeHelper;
    friend class HandleHelper;
    friend class StringHelper;
    friend class VoidHelper;

    // Stores a scalar of the setter's type, adopting the type from NONE.
    bool acceptScalar_i(DataType type);
    // Checks the exact type for the range and handle setters.
    bool acceptExact_i(DataType type);
    // Whether a getter of type wanted may read: warns (message) on another
    // type; false without a word when unset or invalid.
    bool readable_i(DataType wanted, const char* message) const;

    union Payload {
        int64_t i[2];
        uint64_t u[2];
        double d[2];
    };

    Payload m_value;
    const DataHelper* m_helper;
    std::shared_ptr<Formatter> m_formatter;
    std::string m_string;
    DataType m_type;
    bool m_valid;
    bool m_set;
};

}  // namespace pwr
