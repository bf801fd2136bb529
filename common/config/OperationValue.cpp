#include "common/config/OperationValue.h"

#include <cmath>
#include <limits>

#include "common/runtime/Log.h"

namespace pwr {

namespace {

bool splitMask_i(const std::string& mask, uint64_t& msb, uint64_t& lsb) {
    const size_t colon = mask.find(':');
    if (colon == std::string::npos || mask.find(':', colon + 1) != std::string::npos) {
        return false;
    }
    return parseConfigNumber(mask.substr(0, colon), msb) &&
           parseConfigNumber(mask.substr(colon + 1), lsb);
}

bool parseDecimal8_i(const std::string& text, uint8_t& out) {
    if (text.empty() || text.size() > 3) {
        return false;
    }
    unsigned value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    if (value > 0xFF) {
        return false;
    }
    out = static_cast<uint8_t>(value);
    return true;
}

}  // namespace

bool parseConfigNumber(const std::string& text, uint64_t& out) {
    size_t pos = 0;
    unsigned base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        pos = 2;
        base = 16;
    }
    if (pos >= text.size()) {
        return false;
    }
    uint64_t value = 0;
    for (; pos < text.size(); ++pos) {
        const char c = text[pos];
        unsigned digit = 0;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if (base == 16 && c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned>(c - 'a' + 10);
        } else if (base == 16 && c >= 'A' && c <= 'F') {
            digit = static_cast<unsigned>(c - 'A' + 10);
        } else {
            return false;
        }
        if (value > (std::numeric_limits<uint64_t>::max() - digit) / base) {
            return false;
        }
        value = value * base + digit;
    }
    out = value;
    return true;
}

bool isMaskValid(const std::string& mask) {
    uint64_t msb = 0;
    uint64_t lsb = 0;
    return splitMask_i(mask, msb, lsb);
}

uint8_t retrieveMsbFromMask(const std::string& mask) {
    uint64_t msb = 0;
    uint64_t lsb = 0;
    return splitMask_i(mask, msb, lsb) ? static_cast<uint8_t>(msb) : 0;
}

uint8_t retrieveLsbFromMask(const std::string& mask) {
    uint64_t msb = 0;
    uint64_t lsb = 0;
    return splitMask_i(mask, msb, lsb) ? static_cast<uint8_t>(lsb) : 0;
}

uint64_t extractBitRangeValue(uint64_t value, uint8_t msb, uint8_t lsb) {
    if (lsb > 63 || lsb > msb) {
        return 0;
    }
    const uint64_t shifted = value >> lsb;
    // A field reaching bit 63 needs no mask, and its width could be 64, which
    // no shift may use.
    if (msb >= 63) {
        return shifted;
    }
    const unsigned width = static_cast<unsigned>(msb - lsb) + 1;
    return shifted & ((uint64_t{1} << width) - 1);
}

bool retrieveQFormat(const std::string& text, QFormat& out) {
    const size_t dot = text.find('.');
    QFormat format;
    const bool valid = dot != std::string::npos && text.find('.', dot + 1) == std::string::npos &&
                       dot > 0 && (text[0] == 'U' || text[0] == 'S') &&
                       parseDecimal8_i(text.substr(1, dot - 1), format.integerBits) &&
                       parseDecimal8_i(text.substr(dot + 1), format.fractionBits);
    if (!valid) {
        pwLog(PW_ERROR,
              "ERROR: Invalid DATA-FORMAT entry. %s is invalid. Format expected as UX.Y or SX.Y",
              text.c_str());
        return false;
    }
    format.sign = text[0];
    out = format;
    return true;
}

double convertToFloatPoint(uint64_t raw, const QFormat& format) {
    const double value = static_cast<double>(raw);
    if (format.sign == 'U') {
        return format.fractionBits == 0 ? value : std::ldexp(value, -format.fractionBits);
    }
    if (format.sign == 'S') {
        pwLog(PW_ERROR, "ERROR: Signed Qformat is currently not supported");
    } else {
        pwLog(PW_ERROR,
              "ERROR: Invalid DATA-FORMAT entry. %c%d.%d is invalid. Format expected as UX.Y or "
              "SX.Y",
              format.sign, format.integerBits, format.fractionBits);
    }
    return value;
}

}  // namespace pwr
