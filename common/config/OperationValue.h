// Helpers that turn the text of a configuration value and the raw numbers an
// operation reads into values: configuration numbers, bit masks and the
// DATA-FORMAT fixed-point rule.
//
// A bit mask is "MSB:LSB", the most significant bit first ("7:4" is bits 7
// down to 4). A DATA-FORMAT is "UX.Y" (unsigned, X integer and Y fraction
// bits) or "SX.Y" (signed, which the conversion does not support yet).
//
// Plain functions without state; safe to call from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "common/runtime/Export.h"

namespace pwr {

// A Q-format: sign letter ('U' or 'S'), integer bits, fraction bits.
struct QFormat {
    char sign = 'U';
    uint8_t integerBits = 0;
    uint8_t fractionBits = 0;
};

// A whole decimal number, or hexadecimal after "0x" or "0X", that fits 64
// bits. Nothing else (signs, blanks, suffixes) is accepted.
PWR_API bool parseConfigNumber(const std::string& text, uint64_t& out);

// Exactly two ":"-separated fields, both numbers (as parseConfigNumber reads
// them). Whether the bits exist is the reader's business: "300:0" is a mask.
PWR_API bool isMaskValid(const std::string& mask);
// The first (most significant) and second (least significant) field of a
// mask as 8-bit numbers (a larger field keeps its low 8 bits); 0 when the
// mask is not valid.
PWR_API uint8_t retrieveMsbFromMask(const std::string& mask);
PWR_API uint8_t retrieveLsbFromMask(const std::string& mask);
// Bits msb down to lsb of value, shifted down to bit 0. An msb of 63 or more
// keeps every bit above lsb; an lsb above 63 or above msb gives 0.
PWR_API uint64_t extractBitRangeValue(uint64_t value, uint8_t msb, uint8_t lsb);

// Reads "UX.Y" or "SX.Y" into out. Logs "ERROR: Invalid DATA-FORMAT entry. ..."
// and returns false, with out untouched, for anything else.
PWR_API bool retrieveQFormat(const std::string& text, QFormat& out);
// raw divided by 2 to the power of the fraction bits, for an unsigned format.
// A signed or unknown format logs an error and returns raw unscaled.
PWR_API double convertToFloatPoint(uint64_t raw, const QFormat& format);

}  // namespace pwr
