// Model matching: how the platform configuration recognises a platform.
// Each model specifier has a type ("FMS", "PCI", "PMT", or a name of the
// configuration's own such as "SOC-ID") and answers whether a value of that
// type, as text, matches it exactly, partially (it covers the value among
// others), or not at all.
//
//   FMSSpecifier    "6.0x8C/1": family, model, stepping, each decimal or
//                   "0x" hexadecimal, separated by "." or "/"; a part given
//                   as "-" (or a stepping left out) is open and matches
//                   anything. All parts given and equal: exact; equal where
//                   given but some open: partial.
//   PCISpecifier    "VENDOR=0x8086,DEVICE=0x9A49": both ids equal: exact.
//   PMTSpecifier    "GUID=0x1A2B3C4D": equal: exact.
//   RangeSpecifier  "0x10-0x1F": the value within, both ends included. A
//                   range of one value is exact, a wider one partial.
//   ValueSpecifier  any text: equal as numbers when both are numbers,
//                   otherwise as text: exact.
//
// Specifiers are immutable once built; they may be asked from any thread
// (matching logs through the process-wide log function). The platform
// configuration parser owns the ones it builds.
#pragma once

#include <cstdint>
#include <string>

#include "common/runtime/Export.h"

namespace pwr {

enum class SpecifierMatch : int {
    NONE = 0,
    PARTIAL = 1,
    EXACT = 2,
};

class PWR_API Specifier {
  public:
    Specifier& operator=(const Specifier&) = delete;
    virtual ~Specifier();

    const std::string& getType() const { return m_type; }
    // Answers through is_match_i; a subclass may also take over the whole
    // match.
    virtual SpecifierMatch is_match(const std::string& value) const { return is_match_i(value); }
    // The specifier in the form the configuration writes it.
    virtual std::string toString() const = 0;
    // A copy of the same class, owned by the caller.
    virtual Specifier* clone() const = 0;

  protected:
    explicit Specifier(const std::string& type);
    // Only the classes themselves copy, through clone: no slicing.
    Specifier(const Specifier&) = default;
    virtual SpecifierMatch is_match_i(const std::string& value) const = 0;

  private:
    std::string m_type;
};

class PWR_API ValueSpecifier : public Specifier {
  public:
    ValueSpecifier(const std::string& type, const std::string& value);
    ~ValueSpecifier() override;
    ValueSpecifier* clone() const override;
    std::string toString() const override;

  protected:
    SpecifierMatch is_match_i(const std::string& value) const override;

  private:
    std::string m_valueStr;
    uint64_t m_value;
    bool m_isNumber;
};

class PWR_API RangeSpecifier : public Specifier {
  public:
    RangeSpecifier(const std::string& type, uint64_t first, uint64_t last);
    ~RangeSpecifier() override;
    RangeSpecifier* clone() const override;
    uint64_t getFirst() const { return m_first; }
    uint64_t getLast() const { return m_last; }
    std::string toString() const override;

  protected:
    // A value that is not a number logs "ERROR: range specifier MUST be a
    // number!" and does not match.
    SpecifierMatch is_match_i(const std::string& value) const override;

  private:
    uint64_t m_first;
    uint64_t m_last;
};

class PWR_API FMSSpecifier : public Specifier {
  public:
    // A part of -1 is open.
    FMSSpecifier(int family, int model, int stepping);
    ~FMSSpecifier() override;
    FMSSpecifier* clone() const override;

    // Reads the configuration form into the parts (-1 for an open part);
    // false, with the parts untouched, when text is not one. Without
    // allowOpen every part must be a number.
    static bool parse(const std::string& text, int& family, int& model, int& stepping,
                      bool allowOpen = true);

    int getFamily() const { return m_family; }
    int getModel() const { return m_model; }
    int getStepping() const { return m_stepping; }
    std::string toString() const override;

  protected:
    // A value that is not a complete FMS logs "ERROR: <value> is NOT a valid
    // FMS specifier!" and does not match.
    SpecifierMatch is_match_i(const std::string& value) const override;

  private:
    int m_family;
    int m_model;
    int m_stepping;
};

class PWR_API PCISpecifier : public Specifier {
  public:
    // Throws std::invalid_argument ("Invalid version and/or device passed to
    // PCI specifier") unless both are numbers of 16 bits.
    PCISpecifier(const std::string& vendor, const std::string& device);
    ~PCISpecifier() override;
    PCISpecifier* clone() const override;

    // Cuts "VENDOR=<vendor>,DEVICE=<device>" into its two non-empty parts.
    static bool split(const std::string& text, std::string& vendor, std::string& device);

    uint32_t getVendor() const { return m_vendor; }
    uint32_t getDevice() const { return m_device; }
    std::string toString() const override;

  protected:
    SpecifierMatch is_match_i(const std::string& value) const override;

  private:
    uint32_t m_vendor;
    uint32_t m_device;
};

class PWR_API PMTSpecifier : public Specifier {
  public:
    // Throws std::invalid_argument ("Invalid version and/or device passed to
    // PMT specifier") unless guid is a number of 32 bits.
    explicit PMTSpecifier(const std::string& guid);
    ~PMTSpecifier() override;
    PMTSpecifier* clone() const override;

    // Cuts "GUID=<guid>" into its non-empty number part.
    static bool split(const std::string& text, std::string& guid);

    uint32_t getGuid() const { return m_guid; }
    std::string toString() const override;

  protected:
    SpecifierMatch is_match_i(const std::string& value) const override;

  private:
    uint32_t m_guid;
};

}  // namespace pwr
