#include "common/data/DataHelper.h"

#include <cmath>
#include <limits>

#include "common/data/DataHandle.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

using IntPair = std::pair<int64_t, int64_t>;
using UIntPair = std::pair<uint64_t, uint64_t>;
using RealPair = std::pair<double, double>;

// Signed sums wrap around like the unsigned ones instead of overflowing.
inline int64_t wrappingAdd(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

// Scales an integer through double, rounding half away from zero. Results
// beyond the integer range saturate (and NaN gives 0) rather than being
// undefined.
inline int64_t scaleInt(int64_t v, double factor) {
    double r = std::round(static_cast<double>(v) * factor);
    if (!(r == r)) {
        return 0;
    }
    if (r >= 9223372036854775808.0) {
        return std::numeric_limits<int64_t>::max();
    }
    if (r < -9223372036854775808.0) {
        return std::numeric_limits<int64_t>::min();
    }
    return static_cast<int64_t>(r);
}

inline uint64_t scaleUInt(uint64_t v, double factor) {
    double r = std::round(static_cast<double>(v) * factor);
    if (!(r > 0.0)) {
        return 0;
    }
    if (r >= 18446744073709551616.0) {
        return std::numeric_limits<uint64_t>::max();
    }
    return static_cast<uint64_t>(r);
}

}  // namespace

// Base behaviour: no start values, no arithmetic.
DataHelper::~DataHelper() = default;
int DataHelper::initZero(Data&) const {
    return 1;
}
int DataHelper::initMax(Data&) const {
    return 1;
}
int DataHelper::initMin(Data&) const {
    return 1;
}
int DataHelper::addValue(Data&, const Data&) const {
    pwLog(PW_WARNING, "WARNING: Attempt to accumulate on unsupported type\n");
    return 1;
}
int DataHelper::multiplyValue(Data&, double) const {
    pwLog(PW_WARNING, "WARNING: Multiply only supported for numeric types\n");
    return 1;
}

class VoidHelper final : public DataHelper {
  public:
    bool lessThan(const Data&, const Data&) const override {
        warn();
        return false;
    }
    bool isEqual(const Data&, const Data&) const override {
        warn();
        return true;
    }
    const Formatter* getFormatter() const override {
        warn();
        return &m_formatter;
    }

  private:
    static void warn() {
        pwLog(PW_WARNING, "WARNING: Cannot use data object with type pwr::DataType::NONE\n");
    }
    VoidFormatter m_formatter;
};

class IntHelper final : public DataHelper {
  public:
    int initZero(Data& t) const override { return t.setValue(int64_t{0}); }
    int initMax(Data& t) const override { return t.setValue(std::numeric_limits<int64_t>::min()); }
    int initMin(Data& t) const override { return t.setValue(std::numeric_limits<int64_t>::max()); }
    int addValue(Data& t, const Data& in) const override {
        if (in.m_type != DataType::INT) {
            pwLog(PW_WARNING, "WARNING: Accumulator must have INT type as input\n");
            return 1;
        }
        int64_t sum = wrappingAdd(current(t), in.m_set && in.m_valid ? in.m_value.i[0] : 0);
        if (t.m_type != DataType::INT) {
            return t.setValue(sum);  // a helper borrowed by an unknown type: refused
        }
        t.m_set = true;
        t.m_value.i[0] = sum;
        t.m_valid = true;
        return 0;
    }
    int multiplyValue(Data& t, double f) const override {
        return t.setValue(scaleInt(current(t), f));
    }
    bool lessThan(const Data& a, const Data& b) const override {
        return a.m_value.i[0] < b.m_value.i[0];
    }
    bool isEqual(const Data& a, const Data& b) const override {
        return a.m_value.i[0] == b.m_value.i[0];
    }
    const Formatter* getFormatter() const override { return &m_formatter; }

  private:
    // The target's value as toInt reads it; 0 when unset.
    static int64_t current(const Data& t) {
        int64_t v = 0;
        if (t.m_type == DataType::INT) {
            return t.m_set && t.m_valid ? t.m_value.i[0] : 0;
        }
        t.toInt(v);
        return v;
    }
    IntFormatter m_formatter;
};

class UIntHelper final : public DataHelper {
  public:
    int initZero(Data& t) const override { return t.setValue(uint64_t{0}); }
    int initMax(Data& t) const override { return initZero(t); }
    int initMin(Data& t) const override { return t.setValue(std::numeric_limits<uint64_t>::max()); }
    int addValue(Data& t, const Data& in) const override {
        if (in.m_type != DataType::UINT) {
            pwLog(PW_WARNING, "WARNING: Accumulator must have UINT type as input\n");
            return 1;
        }
        t.m_set = true;
        t.m_value.u[0] =
            (t.m_valid ? t.m_value.u[0] : 0) + (in.m_set && in.m_valid ? in.m_value.u[0] : 0);
        t.m_valid = true;
        return 0;
    }
    int multiplyValue(Data& t, double f) const override {
        return t.setValue(scaleUInt(t.m_set && t.m_valid ? t.m_value.u[0] : 0, f));
    }
    bool lessThan(const Data& a, const Data& b) const override {
        return a.m_value.u[0] < b.m_value.u[0];
    }
    bool isEqual(const Data& a, const Data& b) const override {
        return a.m_value.u[0] == b.m_value.u[0];
    }
    const Formatter* getFormatter() const override { return &m_formatter; }

  private:
    UIntFormatter m_formatter;
};

class RealHelper final : public DataHelper {
  public:
    int initZero(Data& t) const override { return t.setValue(0.0); }
    // The smallest positive normal double, not the most negative one: a
    // running maximum of negative values stays at this start value, and
    // summaries of such quantities rely on it.
    int initMax(Data& t) const override { return t.setValue(std::numeric_limits<double>::min()); }
    int initMin(Data& t) const override { return t.setValue(std::numeric_limits<double>::max()); }
    int addValue(Data& t, const Data& in) const override {
        const bool readable = in.m_set && in.m_valid;
        double inc;
        switch (in.m_type) {
            case DataType::REAL:
                inc = readable ? in.m_value.d[0] : 0.0;
                break;
            case DataType::INT:
                inc = readable ? static_cast<double>(in.m_value.i[0]) : 0.0;
                break;
            case DataType::UINT:
                inc = readable ? static_cast<double>(in.m_value.u[0]) : 0.0;
                break;
            case DataType::REAL_RANGE:
                inc = readable ? in.m_value.d[0] + in.m_value.d[1] : 0.0;
                break;
            default:
                pwLog(PW_WARNING,
                      "WARNING: Accumulator must have REAL, INT, UINT or REAL_RANGE type as "
                      "input\n");
                return 1;
        }
        t.m_set = true;
        t.m_value.d[0] = (t.m_valid ? t.m_value.d[0] : 0.0) + inc;
        t.m_valid = true;
        return 0;
    }
    int multiplyValue(Data& t, double f) const override {
        return t.setValue((t.m_set && t.m_valid ? t.m_value.d[0] : 0.0) * f);
    }
    bool lessThan(const Data& a, const Data& b) const override {
        return a.m_value.d[0] < b.m_value.d[0];
    }
    bool isEqual(const Data& a, const Data& b) const override {
        return a.m_value.d[0] == b.m_value.d[0];
    }
    const Formatter* getFormatter() const override { return &m_formatter; }

  private:
    RealFormatter m_formatter;
};

// Ranges are pairs of independent running sums. An unset target counts as
// (0, 0). Comparison orders by the first element and equality needs both.
class IntRangeHelper final : public DataHelper {
  public:
    int initZero(Data& t) const override { return t.setValue(IntPair(0, 0)); }
    int addValue(Data& t, const Data& in) const override {
        int64_t p;
        int64_t q;
        const bool readable = in.m_set && in.m_valid;
        if (in.m_type == DataType::INT) {
            p = q = readable ? in.m_value.i[0] : 0;
        } else if (in.m_type == DataType::INT_RANGE) {
            p = readable ? in.m_value.i[0] : 0;
            q = readable ? in.m_value.i[1] : 0;
        } else {
            pwLog(PW_WARNING, "WARNING: IntRange accumulate expects INT type\n");
            return 1;
        }
        const bool have = t.m_set && t.m_valid;
        return t.setValue(IntPair(wrappingAdd(have ? t.m_value.i[0] : 0, p),
                                  wrappingAdd(have ? t.m_value.i[1] : 0, q)));
    }
    int multiplyValue(Data& t, double f) const override {
        const bool have = t.m_set && t.m_valid;
        return t.setValue(IntPair(scaleInt(have ? t.m_value.i[0] : 0, f),
                                  scaleInt(have ? t.m_value.i[1] : 0, f)));
    }
    bool lessThan(const Data& a, const Data& b) const override {
        return a.m_value.i[0] < b.m_value.i[0];
    }
    bool isEqual(const Data& a, const Data& b) const override {
        return a.m_value.i[0] == b.m_value.i[0] && a.m_value.i[1] == b.m_value.i[1];
    }
    const Formatter* getFormatter() const override { return &m_formatter; }

  private:
    IntFormatter m_formatter;
};

class UIntRangeHelper final : public DataHelper {
  public:
    int initZero(Data& t) const override { return t.setValue(UIntPair(0, 0)); }
    int addValue(Data& t, const Data& in) const override {
        uint64_t p;
        uint64_t q;
        const bool readable = in.m_set && in.m_valid;
        if (in.m_type == DataType::UINT) {
            p = q = readable ? in.m_value.u[0] : 0;
        } else if (in.m_type == DataType::UINT_RANGE) {
            p = readable ? in.m_value.u[0] : 0;
            q = readable ? in.m_value.u[1] : 0;
        } else {
            pwLog(PW_WARNING, "WARNING: UIntRange accumulate expects UINT type\n");
            return 1;
        }
        const bool have = t.m_set && t.m_valid;
        return t.setValue(
            UIntPair((have ? t.m_value.u[0] : 0) + p, (have ? t.m_value.u[1] : 0) + q));
    }
    int multiplyValue(Data& t, double f) const override {
        const bool have = t.m_set && t.m_valid;
        return t.setValue(UIntPair(scaleUInt(have ? t.m_value.u[0] : 0, f),
                                   scaleUInt(have ? t.m_value.u[1] : 0, f)));
    }
    bool lessThan(const Data& a, const Data& b) const override {
        return a.m_value.u[0] < b.m_value.u[0];
    }
    bool isEqual(const Data& a, const Data& b) const override {
        return a.m_value.u[0] == b.m_value.u[0] && a.m_value.u[1] == b.m_value.u[1];
    }
    const Formatter* getFormatter() const override { return &m_formatter; }

  private:
    UIntFormatter m_formatter;
};

class RealRangeHelper final : public DataHelper {
  public:
    int initZero(Data& t) const override { return t.setValue(RealPair(0.0, 0.0)); }
    int addValue(Data& t, const Data& in) const override {
        const bool readable = in.m_set && in.m_valid;
        double p = 0.0;
        double q = 0.0;
        switch (in.m_type) {
            case DataType::REAL:
                p = q = in.m_value.d[0];
                break;
            case DataType::INT:
                p = q = static_cast<double>(in.m_value.i[0]);
                break;
            case DataType::UINT:
                p = q = static_cast<double>(in.m_value.u[0]);
                break;
            case DataType::REAL_RANGE:
                p = in.m_value.d[0];
                q = in.m_value.d[1];
                break;
            case DataType::INT_RANGE:
                p = static_cast<double>(in.m_value.i[0]);
                q = static_cast<double>(in.m_value.i[1]);
                break;
            case DataType::UINT_RANGE:
                p = static_cast<double>(in.m_value.u[0]);
                q = static_cast<double>(in.m_value.u[1]);
                break;
            default:
                pwLog(PW_WARNING,
                      "WARNING: Accumulator must have REAL, INT, or UINT type as input\n");
                return 1;
        }
        if (!readable) {
            p = q = 0.0;
        }
        const bool have = t.m_set && t.m_valid;
        return t.setValue(
            RealPair((have ? t.m_value.d[0] : 0.0) + p, (have ? t.m_value.d[1] : 0.0) + q));
    }
    int multiplyValue(Data& t, double f) const override {
        const bool have = t.m_set && t.m_valid;
        return t.setValue(
            RealPair((have ? t.m_value.d[0] : 0.0) * f, (have ? t.m_value.d[1] : 0.0) * f));
    }
    bool lessThan(const Data& a, const Data& b) const override {
        return a.m_value.d[0] < b.m_value.d[0];
    }
    bool isEqual(const Data& a, const Data& b) const override {
        return a.m_value.d[0] == b.m_value.d[0] && a.m_value.d[1] == b.m_value.d[1];
    }
    const Formatter* getFormatter() const override { return &m_formatter; }

  private:
    RealFormatter m_formatter;
};

// Handles compare through the registry: order by the resolved handles' ids,
// equality by identity. Ids that do not resolve (after the lookup's warning)
// are compared as stored, so that the order stays total.
class HandleHelper final : public DataHelper {
  public:
    bool lessThan(const Data& a, const Data& b) const override {
        const DataHandle* ha = resolve(a);
        const DataHandle* hb = resolve(b);
        if (ha != nullptr && hb != nullptr) {
            return ha->getId() < hb->getId();
        }
        return a.m_value.u[0] < b.m_value.u[0];
    }
    bool isEqual(const Data& a, const Data& b) const override {
        const DataHandle* ha = resolve(a);
        const DataHandle* hb = resolve(b);
        if (ha != nullptr && hb != nullptr) {
            return ha == hb;
        }
        return a.m_value.u[0] == b.m_value.u[0];
    }
    const Formatter* getFormatter() const override { return &m_formatter; }

  private:
    static const DataHandle* resolve(const Data& d) {
        const DataHandle* h = nullptr;
        return DataHandle::get(d.m_value.u[0], h) == 0 ? h : nullptr;
    }
    HandleFormatter m_formatter;
};

class StringHelper final : public DataHelper {
  public:
    bool lessThan(const Data& a, const Data& b) const override { return a.m_string < b.m_string; }
    bool isEqual(const Data& a, const Data& b) const override { return a.m_string == b.m_string; }
    const Formatter* getFormatter() const override { return &m_formatter; }

  private:
    StringFormatter m_formatter;
};

namespace {

// Built on first use, so that a Data made during static initialisation of
// any module already finds its helper.
struct Helpers {
    VoidHelper none;
    IntHelper i;
    UIntHelper u;
    RealHelper r;
    IntRangeHelper ir;
    UIntRangeHelper ur;
    RealRangeHelper rr;
    HandleHelper h;
    StringHelper s;
    const DataHelper* table[9] = {&none, &i, &u, &r, &ir, &ur, &rr, &h, &s};
};

const Helpers& helpers() {
    static const Helpers instance;
    return instance;
}

}  // namespace

const DataHelper* DataHelper::forType(DataType type) {
    const auto index = static_cast<unsigned>(type);
    return index < 9 ? helpers().table[index] : nullptr;
}

}  // namespace pwr
