#include "common/config/ModelMatch.h"

#include <cinttypes>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "common/config/OperationValue.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

// Reads a number into out when it fits max.
bool parseBounded_i(const std::string& text, uint64_t max, uint32_t& out) {
    uint64_t value = 0;
    if (!parseConfigNumber(text, value) || value > max) {
        return false;
    }
    out = static_cast<uint32_t>(value);
    return true;
}

// Cuts "<key>=<rest>" and returns rest, or false when text does not start so
// or rest is empty.
bool afterKey_i(const std::string& text, const std::string& key, std::string& rest) {
    if (text.size() <= key.size() + 1 || text.compare(0, key.size(), key) != 0 ||
        text[key.size()] != '=') {
        return false;
    }
    rest = text.substr(key.size() + 1);
    return true;
}

}  // namespace

Specifier::Specifier(const std::string& type) : m_type(type) {}

Specifier::~Specifier() = default;

ValueSpecifier::ValueSpecifier(const std::string& type, const std::string& value)
    : Specifier(type),
      m_valueStr(value),
      m_value(0),
      m_isNumber(parseConfigNumber(value, m_value)) {}

ValueSpecifier::~ValueSpecifier() = default;

ValueSpecifier* ValueSpecifier::clone() const {
    return new ValueSpecifier(*this);
}

std::string ValueSpecifier::toString() const {
    return m_valueStr;
}

SpecifierMatch ValueSpecifier::is_match_i(const std::string& value) const {
    pwLog(PW_INFO, "INFO: ValueSpecifier::is_match_i:m_valueStr:%s, str:%s\n", m_valueStr.c_str(),
          value.c_str());
    uint64_t number = 0;
    if (m_isNumber && parseConfigNumber(value, number)) {
        return number == m_value ? SpecifierMatch::EXACT : SpecifierMatch::NONE;
    }
    return value == m_valueStr ? SpecifierMatch::EXACT : SpecifierMatch::NONE;
}

RangeSpecifier::RangeSpecifier(const std::string& type, uint64_t first, uint64_t last)
    : Specifier(type), m_first(first), m_last(last) {}

RangeSpecifier::~RangeSpecifier() = default;

RangeSpecifier* RangeSpecifier::clone() const {
    return new RangeSpecifier(*this);
}

std::string RangeSpecifier::toString() const {
    char text[64];
    std::snprintf(text, sizeof text, "0x%" PRIx64 "-0x%" PRIx64, m_first, m_last);
    return text;
}

SpecifierMatch RangeSpecifier::is_match_i(const std::string& value) const {
    uint64_t number = 0;
    if (!parseConfigNumber(value, number)) {
        pwLog(PW_ERROR, "ERROR: range specifier MUST be a number!");
        return SpecifierMatch::NONE;
    }
    if (number < m_first || number > m_last) {
        return SpecifierMatch::NONE;
    }
    return m_first == m_last ? SpecifierMatch::EXACT : SpecifierMatch::PARTIAL;
}

FMSSpecifier::FMSSpecifier(int family, int model, int stepping)
    : Specifier("FMS"), m_family(family), m_model(model), m_stepping(stepping) {}

FMSSpecifier::~FMSSpecifier() = default;

FMSSpecifier* FMSSpecifier::clone() const {
    return new FMSSpecifier(*this);
}

bool FMSSpecifier::parse(const std::string& text, int& family, int& model, int& stepping,
                         bool allowOpen) {
    std::vector<std::string> parts(1);
    for (char c : text) {
        if (c == '.' || c == '/') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    if (parts.size() < 2 || parts.size() > 3 || (parts.size() == 2 && !allowOpen)) {
        return false;
    }
    int values[3] = {-1, -1, -1};
    for (size_t i = 0; i < parts.size(); ++i) {
        uint32_t number = 0;
        if (allowOpen && parts[i] == "-") {
            continue;
        }
        if (!parseBounded_i(parts[i], 0xFF, number)) {
            return false;
        }
        values[i] = static_cast<int>(number);
    }
    family = values[0];
    model = values[1];
    stepping = values[2];
    return true;
}

std::string FMSSpecifier::toString() const {
    std::string text;
    for (int part : {m_family, m_model, m_stepping}) {
        char number[16];
        std::snprintf(number, sizeof number, "0x%x", static_cast<unsigned>(part));
        text += text.empty() ? "" : ".";
        text += part < 0 ? "-" : number;
    }
    return text;
}

SpecifierMatch FMSSpecifier::is_match_i(const std::string& value) const {
    int parts[3] = {0, 0, 0};
    if (!parse(value, parts[0], parts[1], parts[2], false)) {
        pwLog(PW_ERROR, "ERROR: %s is NOT a valid FMS specifier!\n", value.c_str());
        return SpecifierMatch::NONE;
    }
    const int mine[3] = {m_family, m_model, m_stepping};
    SpecifierMatch match = SpecifierMatch::EXACT;
    for (int i = 0; i < 3; ++i) {
        if (mine[i] < 0) {
            match = SpecifierMatch::PARTIAL;
        } else if (mine[i] != parts[i]) {
            return SpecifierMatch::NONE;
        }
    }
    return match;
}

PCISpecifier::PCISpecifier(const std::string& vendor, const std::string& device)
    : Specifier("PCI"), m_vendor(0), m_device(0) {
    if (!parseBounded_i(vendor, 0xFFFF, m_vendor) || !parseBounded_i(device, 0xFFFF, m_device)) {
        throw std::invalid_argument("Invalid version and/or device passed to PCI specifier");
    }
}

PCISpecifier::~PCISpecifier() = default;

PCISpecifier* PCISpecifier::clone() const {
    return new PCISpecifier(*this);
}

bool PCISpecifier::split(const std::string& text, std::string& vendor, std::string& device) {
    const size_t comma = text.find(',');
    std::string v;
    std::string d;
    if (comma == std::string::npos || !afterKey_i(text.substr(0, comma), "VENDOR", v) ||
        !afterKey_i(text.substr(comma + 1), "DEVICE", d)) {
        return false;
    }
    vendor = v;
    device = d;
    return true;
}

std::string PCISpecifier::toString() const {
    char text[64];
    std::snprintf(text, sizeof text, "VENDOR=0x%x,DEVICE=0x%x", m_vendor, m_device);
    return text;
}

SpecifierMatch PCISpecifier::is_match_i(const std::string& value) const {
    std::string vendor;
    std::string device;
    uint32_t v = 0;
    uint32_t d = 0;
    if (!split(value, vendor, device) || !parseBounded_i(vendor, 0xFFFF, v) ||
        !parseBounded_i(device, 0xFFFF, d)) {
        pwLog(PW_ERROR, "ERROR: Invalid syntax for \"PCI\" model specifier\n");
        return SpecifierMatch::NONE;
    }
    return v == m_vendor && d == m_device ? SpecifierMatch::EXACT : SpecifierMatch::NONE;
}

PMTSpecifier::PMTSpecifier(const std::string& guid) : Specifier("PMT"), m_guid(0) {
    if (!parseBounded_i(guid, 0xFFFFFFFFu, m_guid)) {
        throw std::invalid_argument("Invalid version and/or device passed to PMT specifier");
    }
}

PMTSpecifier::~PMTSpecifier() = default;

PMTSpecifier* PMTSpecifier::clone() const {
    return new PMTSpecifier(*this);
}

bool PMTSpecifier::split(const std::string& text, std::string& guid) {
    return afterKey_i(text, "GUID", guid);
}

std::string PMTSpecifier::toString() const {
    char text[32];
    std::snprintf(text, sizeof text, "GUID=0x%x", m_guid);
    return text;
}

SpecifierMatch PMTSpecifier::is_match_i(const std::string& value) const {
    std::string text;
    uint32_t guid = 0;
    if (!split(value, text) || !parseBounded_i(text, 0xFFFFFFFFu, guid)) {
        pwLog(PW_ERROR, "ERROR: Invalid syntax for \"PMT\" GUID specifier\n");
        return SpecifierMatch::NONE;
    }
    return guid == m_guid ? SpecifierMatch::EXACT : SpecifierMatch::NONE;
}

}  // namespace pwr
