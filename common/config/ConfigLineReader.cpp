#include "common/config/ConfigLineReader.h"

#include <cstdio>
#include <cstring>

#include "common/runtime/FileOps.h"

namespace pwr {

namespace {

const char* const c_blanks = " \n\r\t";

// Strips, numbers and keeps one raw line.
void keepLine_i(std::string& raw, unsigned number, std::vector<ConfigLine>& out) {
    stripConfigLine(raw);
    if (!raw.empty()) {
        out.push_back(ConfigLine{number, raw});
    }
}

}  // namespace

void stripConfigLine(std::string& line) {
    const size_t hash = line.find('#');
    if (hash != std::string::npos) {
        line.erase(hash);
    }
    const size_t last = line.find_last_not_of(c_blanks);
    if (last == std::string::npos) {
        line.clear();
        return;
    }
    line.erase(last + 1);
    line.erase(0, line.find_first_not_of(c_blanks));
}

int readConfigLines(const std::string& path, std::vector<ConfigLine>& out, uint64_t maxBytes) {
    out.clear();
    // Binary mode: line ends are cut at "\n" here and a "\r" before it is
    // trimmed, so Windows reads exactly the bytes Linux reads (text mode
    // there would also stop at the first Ctrl-Z).
    std::string reason;
    std::FILE* file = openRegularFile(path, reason, nullptr, maxBytes);
    if (file == nullptr) {
        return -1;
    }
    // Read in blocks and cut at line feeds ourselves: every byte is looked at
    // once, whatever the file holds (NUL bytes, no final line feed, a single
    // line of megabytes). The bytes are counted as they come, so a file that
    // grows while it is read is still refused at the limit, and no line can
    // outgrow it.
    std::string current;
    unsigned number = 1;
    uint64_t total = 0;
    bool failed = false;
    char block[1 << 16];
    size_t got = 0;
    while ((got = std::fread(block, 1, sizeof block, file)) > 0) {
        total += got;
        if (total > maxBytes) {
            failed = true;
            break;
        }
        const char* pos = block;
        const char* const end = block + got;
        while (pos < end) {
            const void* found = std::memchr(pos, '\n', static_cast<size_t>(end - pos));
            if (found == nullptr) {
                current.append(pos, end);
                break;
            }
            const char* newline = static_cast<const char*>(found);
            current.append(pos, newline);
            keepLine_i(current, number, out);
            current.clear();
            ++number;
            pos = newline + 1;
        }
    }
    failed = failed || std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        out.clear();
        return -1;
    }
    keepLine_i(current, number, out);
    return 0;
}

bool tokenizeConfigLine(const std::string& line, std::vector<std::string>& tokens) {
    // Only a line that holds an "=" somewhere is worth cutting.
    if (line.find('=') == std::string::npos) {
        tokens.clear();
        return false;
    }
    // The strings of the previous line are overwritten, not rebuilt: a parser
    // that passes the same vector for every line allocates little.
    tokens.resize(6);
    size_t start = 0;
    // The head and the first three path tokens end at the next "_".
    for (size_t token = 0; token < 4; ++token) {
        const size_t cut = line.find('_', start);
        if (cut == std::string::npos) {
            tokens.clear();
            return false;
        }
        tokens[token].assign(line, start, cut - start);
        start = cut + 1;
    }
    // The last path token ends at the next "="; the value is everything after.
    const size_t equals = line.find('=', start);
    if (equals == std::string::npos) {
        tokens.clear();
        return false;
    }
    tokens[4].assign(line, start, equals - start);
    tokens[5].assign(line, equals + 1, std::string::npos);
    return true;
}

std::string configLineErrorText(const std::string& path, const ConfigLine& line) {
    return "ERROR parsing line " + line.text + " (line " + std::to_string(line.number) + " of " +
           path + ")";
}

}  // namespace pwr
