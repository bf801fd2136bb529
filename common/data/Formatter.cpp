#include "common/data/Formatter.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>

#include "common/data/Data.h"
#include "common/data/DataHandle.h"
#include "common/data/Process.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

// The renderings below match what a default-locale text stream prints: no
// digit grouping, "-" for negatives, fixed notation for reals. snprintf into
// a stack buffer does it without a stream object per cell.
//
// Hexadecimal follows the stream's base-prefix rule: "0x" before every
// value except 0, which prints as "0"; negative signed values print as their
// 64-bit two's complement.
void appendInt(std::string& out, int64_t v, bool hex) {
    char buf[32];
    int n;
    if (hex) {
        n = v == 0 ? std::snprintf(buf, sizeof buf, "0")
                   : std::snprintf(buf, sizeof buf, "0x%" PRIx64, static_cast<uint64_t>(v));
    } else {
        n = std::snprintf(buf, sizeof buf, "%" PRId64, v);
    }
    out.append(buf, static_cast<size_t>(n));
}

void appendUInt(std::string& out, uint64_t v, bool hex) {
    char buf[32];
    int n;
    if (hex) {
        n = v == 0 ? std::snprintf(buf, sizeof buf, "0")
                   : std::snprintf(buf, sizeof buf, "0x%" PRIx64, v);
    } else {
        n = std::snprintf(buf, sizeof buf, "%" PRIu64, v);
    }
    out.append(buf, static_cast<size_t>(n));
}

// A negative precision means the stream's default of six digits.
void appendReal(std::string& out, double v, int precision) {
    char buf[64];
    if (precision < 0) {
        precision = 6;
    }
    int n = std::snprintf(buf, sizeof buf, "%.*f", precision, v);
    if (n < 0) {
        return;
    }
    if (static_cast<size_t>(n) < sizeof buf) {
        out.append(buf, static_cast<size_t>(n));
        return;
    }
    // Huge values in fixed notation run to hundreds of digits.
    std::string big(static_cast<size_t>(n) + 1, '\0');
    std::snprintf(&big[0], big.size(), "%.*f", precision, v);
    big.resize(static_cast<size_t>(n));
    out += big;
}

const char* const kRangeSeparator = " -- ";

}  // namespace

Formatter::Formatter(int width) : m_hex(false), m_width(width), m_precision(1) {}

Formatter::Formatter(const std::string& suffix, bool hex, int width, int precision)
    : m_suffix(suffix), m_hex(hex), m_width(width), m_precision(precision) {}

Formatter::~Formatter() = default;

int Formatter::widen(std::string& text, int width) {
    if (width > 0 && text.size() < static_cast<size_t>(width)) {
        text.insert(0, static_cast<size_t>(width) - text.size(), ' ');
    }
    return 0;
}

int Formatter::formatInt(const Formatter& f, std::string& out, const Data& value) {
    out.clear();
    if (value.getType() == DataType::INT_RANGE) {
        return formatIntRange(f, out, value);
    }
    int64_t v = 0;
    if (value.toInt(v) != 0) {
        return 1;
    }
    appendInt(out, v, f.m_hex);
    out += f.m_suffix;
    return widen(out, f.m_width);
}

int Formatter::formatUInt(const Formatter& f, std::string& out, const Data& value) {
    out.clear();
    if (value.getType() == DataType::UINT_RANGE) {
        return formatUIntRange(f, out, value);
    }
    uint64_t v = 0;
    if (value.toUInt(v) != 0) {
        return 1;
    }
    appendUInt(out, v, f.m_hex);
    out += f.m_suffix;
    return widen(out, f.m_width);
}

int Formatter::formatReal(const Formatter& f, std::string& out, const Data& value) {
    out.clear();
    if (value.getType() == DataType::REAL_RANGE) {
        return formatRealRange(f, out, value);
    }
    double v = 0.0;
    if (value.toReal(v) != 0) {
        return 1;
    }
    appendReal(out, v, f.m_precision);
    out += f.m_suffix;
    return widen(out, f.m_width);
}

int Formatter::formatIntRange(const Formatter& f, std::string& out, const Data& value) {
    out.clear();
    std::pair<int64_t, int64_t> v;
    if (value.toIntRange(v) != 0) {
        return 1;
    }
    appendInt(out, v.first, f.m_hex);
    out += kRangeSeparator;
    appendInt(out, v.second, f.m_hex);
    out += f.m_suffix;
    return widen(out, f.m_width);
}

int Formatter::formatUIntRange(const Formatter& f, std::string& out, const Data& value) {
    out.clear();
    std::pair<uint64_t, uint64_t> v;
    if (value.toUIntRange(v) != 0) {
        return 1;
    }
    appendUInt(out, v.first, f.m_hex);
    out += kRangeSeparator;
    appendUInt(out, v.second, f.m_hex);
    out += f.m_suffix;
    return widen(out, f.m_width);
}

int Formatter::formatRealRange(const Formatter& f, std::string& out, const Data& value) {
    out.clear();
    std::pair<double, double> v;
    if (value.toRealRange(v) != 0) {
        return 1;
    }
    appendReal(out, v.first, f.m_precision);
    out += kRangeSeparator;
    appendReal(out, v.second, f.m_precision);
    out += f.m_suffix;
    return widen(out, f.m_width);
}

int Formatter::formatString(const Formatter& f, std::string& out, const Data& value) {
    out.clear();
    if (value.toString(out) != 0) {
        return 1;
    }
    return widen(out, f.m_width);
}

int Formatter::formatHandle(const Formatter& f, std::string& out, const Data& value) {
    out.clear();
    const DataHandle* handle = nullptr;
    if (value.toHandle(handle) != 0 || handle == nullptr) {
        return 1;
    }
    switch (handle->getHandleType()) {
        case DataHandleType::PROCESS:
            appendUInt(out, static_cast<const Process*>(handle)->getPid(), false);
            break;
        case DataHandleType::THREAD:
            appendUInt(out, static_cast<const Thread*>(handle)->getTid(), false);
            break;
        case DataHandleType::NAME_VALUE_PAIR:
            appendUInt(out, static_cast<const NameValuePair*>(handle)->getValue(), false);
            out += " - ";
            out += handle->getName();
            break;
        default:
            out = handle->getQualifiedName();
            break;
    }
    return widen(out, f.m_width);
}

IntFormatter::IntFormatter(int width, bool hex) : Formatter("", hex, width, 1) {}
IntFormatter::IntFormatter(const std::string& suffix, int width, bool hex)
    : Formatter(suffix, hex, width, 1) {}
int IntFormatter::format(std::string& out, const Data& value) const {
    return formatInt(*this, out, value);
}
Formatter* IntFormatter::clone() const {
    return new IntFormatter(*this);
}

UIntFormatter::UIntFormatter(int width, bool hex) : Formatter("", hex, width, 1) {}
UIntFormatter::UIntFormatter(const std::string& suffix, int width, bool hex)
    : Formatter(suffix, hex, width, 1) {}
int UIntFormatter::format(std::string& out, const Data& value) const {
    return formatUInt(*this, out, value);
}
Formatter* UIntFormatter::clone() const {
    return new UIntFormatter(*this);
}

RealFormatter::RealFormatter(int width, int precision) : Formatter("", false, width, precision) {}
RealFormatter::RealFormatter(const std::string& suffix, int width, int precision)
    : Formatter(suffix, false, width, precision) {}
int RealFormatter::format(std::string& out, const Data& value) const {
    return formatReal(*this, out, value);
}
Formatter* RealFormatter::clone() const {
    return new RealFormatter(*this);
}

SignificantFormatter::SignificantFormatter(int width, int digits)
    : Formatter("", false, width, digits) {}
SignificantFormatter::SignificantFormatter(const std::string& suffix, int width, int digits)
    : Formatter(suffix, false, width, digits) {}

int SignificantFormatter::decimalsFor(double value, int digits) {
    const int c_maxDecimals = 12;
    const double magnitude = std::fabs(value);
    if (!(magnitude > 0.0) || !std::isfinite(magnitude)) {
        return 1;
    }
    const int decimals = digits - 1 - static_cast<int>(std::floor(std::log10(magnitude)));
    return decimals < 1 ? 1 : decimals > c_maxDecimals ? c_maxDecimals : decimals;
}

int SignificantFormatter::format(std::string& out, const Data& value) const {
    out.clear();
    const int digits = getPrecision();
    if (value.getType() == DataType::REAL_RANGE) {
        std::pair<double, double> v;
        if (value.toRealRange(v) != 0) {
            return 1;
        }
        appendReal(out, v.first, decimalsFor(v.first, digits));
        out += kRangeSeparator;
        appendReal(out, v.second, decimalsFor(v.second, digits));
    } else {
        double v = 0.0;
        if (value.toReal(v) != 0) {
            return 1;
        }
        appendReal(out, v, decimalsFor(v, digits));
    }
    out += getSuffix();
    return widen(out, getWidth());
}

Formatter* SignificantFormatter::clone() const {
    return new SignificantFormatter(*this);
}

StringFormatter::StringFormatter(int width) : Formatter(width) {}
int StringFormatter::format(std::string& out, const Data& value) const {
    return formatString(*this, out, value);
}
Formatter* StringFormatter::clone() const {
    return new StringFormatter(*this);
}

HandleFormatter::HandleFormatter(int width) : Formatter(width) {}
int HandleFormatter::format(std::string& out, const Data& value) const {
    return formatHandle(*this, out, value);
}
Formatter* HandleFormatter::clone() const {
    return new HandleFormatter(*this);
}

VoidFormatter::VoidFormatter() : Formatter(0) {}
int VoidFormatter::format(std::string& out, const Data&) const {
    pwLog(PW_WARNING, "WARNING: Data of type pwr::DataType::NONE can't be formatted\n");
    out = "INVALID";
    return 1;
}
Formatter* VoidFormatter::clone() const {
    return new VoidFormatter(*this);
}

}  // namespace pwr
