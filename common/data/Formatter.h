// Formatters: turn one Data into the text of a table cell.
//
// Each DataType has a default formatter (held by its helper); a Data or a
// table column may carry a custom one instead. Every formatter renders the
// number, appends its suffix and then pads the text on the left to its
// minimum width (widen). Ranges print as "first -- second"; the choice
// between scalar and range rendering follows the value's type, so one
// IntFormatter serves INT and INT_RANGE cells alike.
//
// Formatters are immutable values; format() may be called from any thread.
#pragma once

#include <string>

#include "common/runtime/Export.h"

namespace pwr {

class Data;

class PWR_API Formatter {
  public:
    explicit Formatter(int width = 0);
    Formatter(const std::string& suffix, bool hex, int width, int precision);
    virtual ~Formatter();
    Formatter(const Formatter&) = default;
    Formatter(Formatter&&) = default;
    Formatter& operator=(const Formatter&) = default;
    Formatter& operator=(Formatter&&) = default;

    // Renders value into out: 0, or 1 when the value cannot be read.
    virtual int format(std::string& out, const Data& value) const = 0;
    // A new exact copy that the caller owns.
    virtual Formatter* clone() const = 0;

    const std::string& getSuffix() const { return m_suffix; }
    bool isHex() const { return m_hex; }
    int getWidth() const { return m_width; }
    int getPrecision() const { return m_precision; }

    static int formatInt(const Formatter& f, std::string& out, const Data& value);
    static int formatUInt(const Formatter& f, std::string& out, const Data& value);
    static int formatReal(const Formatter& f, std::string& out, const Data& value);
    static int formatIntRange(const Formatter& f, std::string& out, const Data& value);
    static int formatUIntRange(const Formatter& f, std::string& out, const Data& value);
    static int formatRealRange(const Formatter& f, std::string& out, const Data& value);
    static int formatString(const Formatter& f, std::string& out, const Data& value);
    static int formatHandle(const Formatter& f, std::string& out, const Data& value);
    // Right-aligns text in a field of width blanks; longer text stays whole.
    static int widen(std::string& text, int width);

  private:
    std::string m_suffix;
    bool m_hex;
    int m_width;
    int m_precision;
};

class PWR_API IntFormatter : public Formatter {
  public:
    explicit IntFormatter(int width = 0, bool hex = false);
    IntFormatter(const std::string& suffix, int width, bool hex);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

class PWR_API UIntFormatter : public Formatter {
  public:
    explicit UIntFormatter(int width = 0, bool hex = false);
    UIntFormatter(const std::string& suffix, int width, bool hex);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

class PWR_API RealFormatter : public Formatter {
  public:
    explicit RealFormatter(int width = 0, int precision = 1);
    RealFormatter(const std::string& suffix, int width, int precision);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

// Reals with a number of significant digits rather than a fixed number of
// decimals, so that a small rate still shows (49,152 bytes in 5 s print
// as 0.00983 MB/s, not 0.0). At least one decimal is always printed, so
// large values read as with RealFormatter(width, 1): 11000.0. The
// precision field holds the number of significant digits; a value needing
// more than 12 decimals prints with 12. Ranges render each end this way.
class PWR_API SignificantFormatter : public Formatter {
  public:
    explicit SignificantFormatter(int width = 0, int digits = 3);
    SignificantFormatter(const std::string& suffix, int width, int digits);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
    // The decimals that value needs to show digits significant digits.
    static int decimalsFor(double value, int digits);
};

class PWR_API StringFormatter : public Formatter {
  public:
    explicit StringFormatter(int width = 0);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

class PWR_API HandleFormatter : public Formatter {
  public:
    explicit HandleFormatter(int width = 0);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

// The formatter of NONE values: prints "INVALID" after a warning.
class PWR_API VoidFormatter : public Formatter {
  public:
    VoidFormatter();
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

}  // namespace pwr
