// Line reading and tokenizing shared by the two configuration languages (the
// platform configuration and the output configuration).
//
// readConfigLines reads a file and hands back its meaningful lines: a "#"
// starts a comment that runs to the end of the line, space, line feed,
// carriage return and tab are trimmed at both ends, and lines left empty are
// dropped. Each line keeps its 1-based number in the file, so that a parser
// can name it in its messages. Lines end at a line feed only; a carriage
// return before it is trimmed away with the other blanks. Only a regular
// file of at most a size limit is read: a folder, a FIFO or a device (which
// could block or never end) is refused before the first read.
//
// tokenizeConfigLine splits one such line into the six tokens of
// HEAD_A_B_C_D=VALUE: the text is cut at the first "_" four times, then at
// the first "=", and whatever remains, "_" and "=" included, is the value.
// A line without "=", with fewer than four "_" or with no "=" after the fourth
// "_" is refused. Tokens may be empty; the rules that read them decide.
//
// The parsers refuse a file at its first bad line with the text that
// configLineErrorText builds, so that both languages name the line, its
// number and its file the same way.
//
// None of these functions prints anything: each parser reports failures in
// its own words. They keep no state and are safe to call from several
// threads at once.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/runtime/Export.h"

namespace pwr {

// The largest configuration file read: the shipped ones are a few kilobytes,
// so a file this large is a wrong path, not a configuration. It also bounds
// the length of a line.
constexpr uint64_t c_maxConfigFileBytes = 64ull << 20;

// One meaningful line of a configuration file.
struct ConfigLine {
    unsigned number;   // 1-based line number in the file
    std::string text;  // comment removed, blanks trimmed, never empty
};

// Replaces out with the meaningful lines of the file at path. Returns 0, or
// -1 (out then empty) when the file cannot be opened or read, is not a
// regular file, or holds more than maxBytes bytes.
PWR_API int readConfigLines(const std::string& path, std::vector<ConfigLine>& out,
                            uint64_t maxBytes = c_maxConfigFileBytes);

// Removes a "#" comment and trims space, line feed, carriage return and tab
// at both ends of a raw line, in place.
PWR_API void stripConfigLine(std::string& line);

// Replaces tokens with the six tokens of line and returns true, or leaves
// tokens empty and returns false when the line does not have that shape.
PWR_API bool tokenizeConfigLine(const std::string& line, std::vector<std::string>& tokens);

// "ERROR parsing line <text> (line <number> of <path>)", without a line feed.
PWR_API std::string configLineErrorText(const std::string& path, const ConfigLine& line);

}  // namespace pwr
