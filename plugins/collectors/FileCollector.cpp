#include "plugins/collectors/FileCollector.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "common/runtime/Log.h"

namespace vantry {

namespace fs = std::filesystem;

namespace {

const char* const c_sourceRootOption = "source-root=";

std::string join(const std::string& dir, const std::string& name) {
    if (dir.empty()) {
        return name;
    }
    if (dir.back() == '/' || dir.back() == '\\') {
        return dir + name;
    }
    return dir + "/" + name;
}

bool exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(fs::path(path), ec);
}

bool isDirectory(const std::string& path) {
    std::error_code ec;
    return fs::is_directory(fs::path(path), ec);
}

std::string trim(const std::string& text) {
    const char* const blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// All of text is a decimal number (an optional sign for signed ones).
bool parseUnsigned(const std::string& text, unsigned long long& value) {
    if (text.empty() || text[0] < '0' || text[0] > '9') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    value = std::strtoull(text.c_str(), &end, 10);
    return errno == 0 && end != nullptr && *end == 0;
}

bool parseSigned(const std::string& text, long long& value) {
    if (text.empty()) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    value = std::strtoll(text.c_str(), &end, 10);
    return errno == 0 && end != text.c_str() && end != nullptr && *end == 0;
}

// Entries of dir called <prefix><number>, by number. Anything else is
// skipped; a missing dir has none.
std::map<unsigned, std::string> numberedEntries(const std::string& dir, const std::string& prefix,
                                                const std::string& suffix = std::string()) {
    std::map<unsigned, std::string> out;
    std::error_code ec;
    fs::directory_iterator it(fs::path(dir), ec);
    if (ec) {
        return out;
    }
    for (const fs::directory_entry& entry : it) {
        const std::string name = entry.path().filename().string();
        if (name.size() <= prefix.size() + suffix.size() ||
            name.compare(0, prefix.size(), prefix) != 0 ||
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
            continue;
        }
        unsigned long long number = 0;
        if (parseUnsigned(name.substr(prefix.size(), name.size() - prefix.size() - suffix.size()),
                          number) &&
            number <= 0xFFFFFFFFull) {
            out.emplace(static_cast<unsigned>(number), name);
        }
    }
    return out;
}

// Entries of dir by name (ascending, so readings keep one order).
std::vector<std::string> sortedEntries(const std::string& dir) {
    std::vector<std::string> out;
    std::error_code ec;
    fs::directory_iterator it(fs::path(dir), ec);
    if (ec) {
        return out;
    }
    for (const fs::directory_entry& entry : it) {
        out.push_back(entry.path().filename().string());
    }
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<std::string> words(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> out;
    std::string word;
    while (stream >> word) {
        out.push_back(word);
    }
    return out;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line)) {
        out.push_back(line);
    }
    return out;
}

// kHz as MHz, with the fraction only when there is one: 2400000 -> "2400",
// 2400500 -> "2400.5".
std::string kHzToMHz(unsigned long long kHz) {
    char text[48];
    const unsigned fraction = static_cast<unsigned>(kHz % 1000);
    if (fraction == 0) {
        std::snprintf(text, sizeof(text), "%llu", kHz / 1000);
        return text;
    }
    std::snprintf(text, sizeof(text), "%llu.%03u", kHz / 1000, fraction);
    std::string out = text;
    while (out.back() == '0') {
        out.pop_back();
    }
    return out;
}

// "2596.000" -> "2596", "2596.100" -> "2596.1"; empty for a non-number.
std::string normaliseMHz(const std::string& text) {
    const size_t dot = text.find('.');
    unsigned long long whole = 0;
    if (!parseUnsigned(text.substr(0, dot), whole)) {
        return std::string();
    }
    std::string fraction = dot == std::string::npos ? std::string() : text.substr(dot + 1);
    for (char c : fraction) {
        if (c < '0' || c > '9') {
            return std::string();
        }
    }
    while (!fraction.empty() && fraction.back() == '0') {
        fraction.pop_back();
    }
    return std::to_string(whole) + (fraction.empty() ? std::string() : "." + fraction);
}

std::string pairOf(unsigned long long a, unsigned long long b) {
    return std::to_string(a) + " " + std::to_string(b);
}

// A partition rather than a whole disk, by the kernel's naming: sda1, vdb2,
// nvme0n1p1, mmcblk0p1. Used only when the tree has no sys/block to ask.
bool looksLikePartition(const std::string& name) {
    if (name.empty() || name.back() < '0' || name.back() > '9') {
        return false;
    }
    size_t digits = name.find_last_not_of("0123456789");
    if (digits == std::string::npos) {
        return false;
    }
    const bool numberedDisk = name.compare(0, 4, "nvme") == 0 || name.compare(0, 6, "mmcblk") == 0;
    if (numberedDisk) {
        return name[digits] == 'p';
    }
    return name.compare(0, 2, "sd") == 0 || name.compare(0, 2, "vd") == 0 ||
           name.compare(0, 2, "hd") == 0 || name.compare(0, 3, "xvd") == 0;
}

bool isVirtualDisk(const std::string& name) {
    return name.compare(0, 4, "loop") == 0 || name.compare(0, 3, "ram") == 0;
}

}  // namespace

FileCollector::FileCollector()
#if defined(_WIN32)
    : FileCollector(std::string())
#else
    : FileCollector(std::string("/"))
#endif
{
}

FileCollector::FileCollector(const std::string& root)
    : ReadingCollector("FileCollector", "FILE", {"SOURCE", "PATH"}, systemSources()) {
    setRoot(root);
}

FileCollector::~FileCollector() = default;

void FileCollector::setRoot(const std::string& root) {
    m_root = root;
    m_snapshot = 0;
    m_snapshotMode = !root.empty() && isDirectory(join(root, "0"));
}

void FileCollector::handleBroadcastOption(const std::string& option) {
    const size_t length = std::char_traits<char>::length(c_sourceRootOption);
    if (option.compare(0, length, c_sourceRootOption) == 0) {
        setRoot(option.substr(length));
        pwr::pwLog(PW_INFO, "INFO: FILE collector reads its sources under %s\n", m_root.c_str());
    }
}

int FileCollector::continuousCollectionTick() {
    if (m_snapshotMode && isDirectory(join(m_root, std::to_string(m_snapshot + 1)))) {
        ++m_snapshot;
    }
    return 0;
}

pwr::ResetReturnCode FileCollector::reset(pwr::ResetReason reason, uint64_t ts,
                                          const pwr::SystemMetadata& sys) {
    m_snapshot = 0;
    m_sensorNames.clear();
    m_sensorKeys.clear();
    return ReadingCollector::reset(reason, ts, sys);
}

std::string FileCollector::base_i() const {
    return m_snapshotMode ? join(m_root, std::to_string(m_snapshot)) : m_root;
}

std::string FileCollector::at_i(const std::string& relative) const {
    return join(base_i(), relative);
}

std::string FileCollector::location_i(const std::string& source, const std::string& path) const {
    if (!path.empty()) {
        return at_i(path);
    }
    if (source == "CPUIDLE" || source == "CPUFREQ") {
        return at_i("sys/devices/system/cpu");
    }
    if (source == "THERMAL") {
        return at_i("sys/class/thermal");
    }
    if (source == "ENERGY") {
        return at_i("sys/class/powercap");
    }
    if (source == "INTERRUPTS") {
        return at_i("proc/interrupts");
    }
    if (source == "DISK") {
        return at_i("proc/diskstats");
    }
    if (source == "NET") {
        return at_i("proc/net/dev");
    }
    if (source == "BATTERY") {
        return at_i("sys/class/power_supply");
    }
    return std::string();
}

bool FileCollector::readText_i(const std::string& file, std::string& text) {
    FILE* stream = std::fopen(file.c_str(), "rb");
    if (stream == nullptr) {
        if (exists(file)) {
            warnOnce_i(file, "WARNING: Cannot read " + file + "\n");
        }
        return false;
    }
    text.clear();
    char chunk[4096];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof(chunk), stream)) > 0) {
        text.append(chunk, got);
    }
    const bool failed = std::ferror(stream) != 0;
    std::fclose(stream);
    if (failed) {
        warnOnce_i(file, "WARNING: Cannot read " + file + "\n");
        return false;
    }
    return true;
}

bool FileCollector::readLine_i(const std::string& file, std::string& line) {
    std::string text;
    if (!readText_i(file, text)) {
        return false;
    }
    line = trim(text.substr(0, text.find('\n')));
    return true;
}

bool FileCollector::readInteger_i(const std::string& file, long long& value) {
    std::string line;
    if (!readLine_i(file, line)) {
        return false;
    }
    if (!parseSigned(line, value)) {
        warnOnce_i(file, "WARNING: Unexpected content in " + file + "\n");
        return false;
    }
    return true;
}

std::string FileCollector::sensorName_i(const std::string& path, const std::string& proposed) {
    // Keyed by the path below the snapshot, so that one sensor keeps its
    // name from snapshot to snapshot.
    const std::string base = base_i();
    const std::string key =
        path.compare(0, base.size(), base) == 0 ? path.substr(base.size()) : path;
    auto known = m_sensorNames.find(key);
    if (known != m_sensorNames.end()) {
        return known->second;
    }
    // Names stay what they were first given for the whole collection, so a
    // sensor that vanishes never renames another one.
    std::string name = proposed;
    for (unsigned n = 2; m_sensorKeys.count(name) != 0; ++n) {
        name = proposed + "#" + std::to_string(n);
    }
    m_sensorNames.emplace(key, name);
    m_sensorKeys.emplace(name, key);
    return name;
}

bool FileCollector::canCollectSource_i(const std::string& source, const pwr::Operation& op) {
    if (m_root.empty()) {
        return false;
    }
    std::string path;
    if (op.getPacket() != nullptr) {
        op.getPacket()->get("PATH", path);
    }
    const std::string where = location_i(source, path);
    if (source == "CPUIDLE" || source == "CPUFREQ") {
        for (const auto& cpu : numberedEntries(where, "cpu")) {
            const std::string dir = join(where, cpu.second);
            if (source == "CPUIDLE" && exists(join(dir, "cpuidle/state0/time"))) {
                return true;
            }
            if (source == "CPUFREQ" && exists(join(dir, "cpufreq/scaling_cur_freq"))) {
                return true;
            }
        }
        return source == "CPUFREQ" && !cpuinfoMHz_i().empty();
    }
    if (source == "THERMAL") {
        for (const auto& zone : numberedEntries(where, "thermal_zone")) {
            if (exists(join(join(where, zone.second), "temp"))) {
                return true;
            }
        }
        const std::string hwmon = at_i("sys/class/hwmon");
        for (const auto& device : numberedEntries(hwmon, "hwmon")) {
            if (!numberedEntries(join(hwmon, device.second), "temp", "_input").empty()) {
                return true;
            }
        }
        return false;
    }
    if (source == "ENERGY") {
        for (const std::string& zone : sortedEntries(where)) {
            if (exists(join(join(where, zone), "energy_uj"))) {
                return true;
            }
        }
        return false;
    }
    if (source == "BATTERY") {
        ReadingPairs pairs;
        return readBattery_i(where, pairs) && !pairs.empty();
    }
    // INTERRUPTS, DISK, NET: one proc file.
    return exists(where);
}

bool FileCollector::readSource_i(const std::string& source, const pwr::Operation& op,
                                 ReadingPairs& out) {
    std::string path;
    if (op.getPacket() != nullptr) {
        op.getPacket()->get("PATH", path);
    }
    return readSource(source, path, out);
}

bool FileCollector::readSource(const std::string& source, const std::string& path,
                               ReadingPairs& out) {
    if (m_root.empty()) {
        pwr::pwLog(PW_ERROR,
                   "ERROR: FILE collector has no source root on this system; give "
                   "source-root=<dir>\n");
        return false;
    }
    const std::string where = location_i(source, path);
    if (source == "CPUIDLE") {
        return readCpuIdle_i(where, out);
    }
    if (source == "CPUFREQ") {
        return readCpuFreq_i(where, out);
    }
    if (source == "THERMAL") {
        return readThermal_i(where, out);
    }
    if (source == "ENERGY") {
        return readEnergy_i(where, out);
    }
    if (source == "INTERRUPTS") {
        return readInterrupts_i(where, out);
    }
    if (source == "DISK") {
        return readDisk_i(where, out);
    }
    if (source == "NET") {
        return readNet_i(where, out);
    }
    if (source == "BATTERY") {
        return readBattery_i(where, out);
    }
    pwr::pwLog(PW_ERROR, "ERROR: Unknown SOURCE %s for the FILE collector!\n", source.c_str());
    return false;
}

bool FileCollector::readCpuIdle_i(const std::string& dir, ReadingPairs& out) {
    for (const auto& cpu : numberedEntries(dir, "cpu")) {
        const std::string idle = join(join(dir, cpu.second), "cpuidle");
        for (const auto& state : numberedEntries(idle, "state")) {
            const std::string stateDir = join(idle, state.second);
            std::string name;
            long long time = 0;
            if (!readLine_i(join(stateDir, "name"), name) ||
                !readInteger_i(join(stateDir, "time"), time)) {
                continue;
            }
            out.emplace_back(std::to_string(cpu.first) + "/" + name, std::to_string(time));
        }
    }
    return true;
}

std::map<unsigned, std::string> FileCollector::cpuinfoMHz_i() {
    std::map<unsigned, std::string> out;
    const std::string file = at_i("proc/cpuinfo");
    if (!exists(file)) {
        return out;
    }
    std::string text;
    if (!readText_i(file, text)) {
        return out;
    }
    bool haveProcessor = false;
    unsigned processor = 0;
    for (const std::string& line : lines(text)) {
        const size_t colon = line.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        const std::string key = trim(line.substr(0, colon));
        const std::string value = trim(line.substr(colon + 1));
        unsigned long long number = 0;
        if (key == "processor" && parseUnsigned(value, number)) {
            processor = static_cast<unsigned>(number);
            haveProcessor = true;
        } else if (key == "cpu MHz" && haveProcessor) {
            const std::string mhz = normaliseMHz(value);
            if (mhz.empty()) {
                warnOnce_i(file, "WARNING: Unexpected content in " + file + "\n");
                continue;
            }
            out[processor] = mhz;
        }
    }
    return out;
}

bool FileCollector::readCpuFreq_i(const std::string& dir, ReadingPairs& out) {
    const auto cpus = numberedEntries(dir, "cpu");
    std::map<unsigned, std::string> fromCpuinfo;
    bool cpuinfoRead = false;
    auto cpuinfo = [&]() -> const std::map<unsigned, std::string>& {
        if (!cpuinfoRead) {
            fromCpuinfo = cpuinfoMHz_i();
            cpuinfoRead = true;
        }
        return fromCpuinfo;
    };
    if (cpus.empty()) {
        for (const auto& cpu : cpuinfo()) {
            out.emplace_back(std::to_string(cpu.first), cpu.second);
        }
        return true;
    }
    for (const auto& cpu : cpus) {
        const std::string file = join(join(dir, cpu.second), "cpufreq/scaling_cur_freq");
        if (exists(file)) {
            long long kHz = 0;
            if (readInteger_i(file, kHz) && kHz >= 0) {
                out.emplace_back(std::to_string(cpu.first),
                                 kHzToMHz(static_cast<unsigned long long>(kHz)));
            }
            continue;
        }
        auto found = cpuinfo().find(cpu.first);
        if (found != cpuinfo().end()) {
            out.emplace_back(std::to_string(cpu.first), found->second);
        }
    }
    return true;
}

bool FileCollector::readThermal_i(const std::string& dir, ReadingPairs& out) {
    for (const auto& zone : numberedEntries(dir, "thermal_zone")) {
        const std::string zoneDir = join(dir, zone.second);
        const std::string tempFile = join(zoneDir, "temp");
        if (!exists(tempFile)) {
            continue;
        }
        std::string type;
        if (!readLine_i(join(zoneDir, "type"), type) || type.empty()) {
            type = zone.second;
        }
        long long milliC = 0;
        if (readInteger_i(tempFile, milliC)) {
            out.emplace_back(sensorName_i(zoneDir, type), std::to_string(milliC));
        }
    }
    const std::string hwmon = at_i("sys/class/hwmon");
    for (const auto& device : numberedEntries(hwmon, "hwmon")) {
        const std::string deviceDir = join(hwmon, device.second);
        std::string chip;
        if (!readLine_i(join(deviceDir, "name"), chip) || chip.empty()) {
            chip = device.second;
        }
        for (const auto& input : numberedEntries(deviceDir, "temp", "_input")) {
            const std::string inputFile = join(deviceDir, input.second);
            const std::string labelFile =
                join(deviceDir, "temp" + std::to_string(input.first) + "_label");
            std::string label;
            if (!exists(labelFile) || !readLine_i(labelFile, label) || label.empty()) {
                label = "temp" + std::to_string(input.first);
            }
            long long milliC = 0;
            if (readInteger_i(inputFile, milliC)) {
                out.emplace_back(sensorName_i(inputFile, chip + "/" + label),
                                 std::to_string(milliC));
            }
        }
    }
    return true;
}

bool FileCollector::readEnergy_i(const std::string& dir, ReadingPairs& out) {
    // Zones are intel-rapl:0, intel-rapl:0:0, ...: a sub-zone is named after
    // its parent ("package-0/core"), so that the domains of several packages
    // stay apart.
    std::map<std::string, std::string> zoneNames;
    for (const std::string& zone : sortedEntries(dir)) {
        const std::string zoneDir = join(dir, zone);
        const std::string energyFile = join(zoneDir, "energy_uj");
        if (!exists(energyFile)) {
            continue;
        }
        std::string name;
        if (!readLine_i(join(zoneDir, "name"), name) || name.empty()) {
            name = zone;
        }
        const size_t lastColon = zone.rfind(':');
        if (lastColon != std::string::npos) {
            auto parent = zoneNames.find(zone.substr(0, lastColon));
            if (parent != zoneNames.end()) {
                name = parent->second + "/" + name;
            }
        }
        zoneNames[zone] = name;
        long long energy = 0;
        if (!readInteger_i(energyFile, energy) || energy < 0) {
            continue;
        }
        long long range = 0;
        const std::string rangeFile = join(zoneDir, "max_energy_range_uj");
        if (!exists(rangeFile) || !readInteger_i(rangeFile, range) || range < 0) {
            range = 0;
        }
        out.emplace_back(sensorName_i(zoneDir, name),
                         pairOf(static_cast<unsigned long long>(energy),
                                static_cast<unsigned long long>(range)));
    }
    return true;
}

bool FileCollector::readInterrupts_i(const std::string& file, ReadingPairs& out) {
    std::string text;
    if (!readText_i(file, text)) {
        return false;
    }
    const std::vector<std::string> all = lines(text);
    if (all.empty()) {
        warnOnce_i(file, "WARNING: Unexpected content in " + file + "\n");
        return false;
    }
    // The header names the online CPUs: "CPU0 CPU1 CPU3".
    std::vector<std::string> cpus;
    for (const std::string& word : words(all[0])) {
        unsigned long long number = 0;
        if (word.compare(0, 3, "CPU") != 0 || !parseUnsigned(word.substr(3), number)) {
            warnOnce_i(file, "WARNING: Unexpected content in " + file + "\n");
            return false;
        }
        cpus.push_back(std::to_string(number));
    }
    std::vector<unsigned long long> sums(cpus.size(), 0);
    for (size_t i = 1; i < all.size(); ++i) {
        const std::vector<std::string> fields = words(all[i]);
        // ERR and MIS are machine-wide totals, not per-CPU columns.
        if (fields.empty() || fields[0] == "ERR:" || fields[0] == "MIS:") {
            continue;
        }
        for (size_t column = 0; column < cpus.size() && column + 1 < fields.size(); ++column) {
            unsigned long long count = 0;
            if (!parseUnsigned(fields[column + 1], count)) {
                break;
            }
            sums[column] += count;
        }
    }
    for (size_t column = 0; column < cpus.size(); ++column) {
        out.emplace_back(cpus[column], std::to_string(sums[column]));
    }
    return true;
}

bool FileCollector::readDisk_i(const std::string& file, ReadingPairs& out) {
    std::string text;
    if (!readText_i(file, text)) {
        return false;
    }
    const std::string block = at_i("sys/block");
    const bool haveBlock = isDirectory(block);
    for (const std::string& line : lines(text)) {
        const std::vector<std::string> fields = words(line);
        // major minor name reads merged sectors-read ms writes merged sectors-written ...
        if (fields.size() < 10) {
            continue;
        }
        const std::string& name = fields[2];
        const bool whole = haveBlock ? isDirectory(join(block, name)) : !looksLikePartition(name);
        if (!whole || isVirtualDisk(name)) {
            continue;
        }
        unsigned long long read = 0;
        unsigned long long written = 0;
        if (!parseUnsigned(fields[5], read) || !parseUnsigned(fields[9], written)) {
            warnOnce_i(file, "WARNING: Unexpected content in " + file + "\n");
            continue;
        }
        out.emplace_back(name, pairOf(read * 512, written * 512));
    }
    return true;
}

bool FileCollector::readNet_i(const std::string& file, ReadingPairs& out) {
    std::string text;
    if (!readText_i(file, text)) {
        return false;
    }
    for (const std::string& line : lines(text)) {
        const size_t colon = line.find(':');
        // The two header lines have "|" where the interfaces have ":".
        if (colon == std::string::npos || line.find('|') != std::string::npos) {
            continue;
        }
        const std::vector<std::string> fields = words(line.substr(colon + 1));
        unsigned long long received = 0;
        unsigned long long sent = 0;
        if (fields.size() < 9 || !parseUnsigned(fields[0], received) ||
            !parseUnsigned(fields[8], sent)) {
            warnOnce_i(file, "WARNING: Unexpected content in " + file + "\n");
            continue;
        }
        out.emplace_back(trim(line.substr(0, colon)), pairOf(received, sent));
    }
    return true;
}

bool FileCollector::readBattery_i(const std::string& dir, ReadingPairs& out) {
    for (const std::string& supply : sortedEntries(dir)) {
        const std::string supplyDir = join(dir, supply);
        std::string type;
        std::string scope;
        const std::string typeFile = join(supplyDir, "type");
        const std::string scopeFile = join(supplyDir, "scope");
        if (exists(typeFile) ? !readLine_i(typeFile, type) || type != "Battery"
                             : supply.compare(0, 3, "BAT") != 0) {
            continue;
        }
        // Batteries of mice and keyboards say "Device"; they are not the
        // system's.
        if (exists(scopeFile) && readLine_i(scopeFile, scope) && scope == "Device") {
            continue;
        }
        auto has = [&](const char* name) { return exists(join(supplyDir, name)); };
        auto value = [&](const char* name, long long& v) {
            return readInteger_i(join(supplyDir, name), v);
        };
        long long energyMWh = 0;
        long long rateMW = 0;
        long long micro = 0;
        long long microVolts = 0;
        if (has("energy_now")) {
            if (!value("energy_now", micro)) {
                continue;
            }
            energyMWh = micro / 1000;
        } else if (has("charge_now") && has("voltage_now")) {
            if (!value("charge_now", micro) || !value("voltage_now", microVolts)) {
                continue;
            }
            // uAh x uV = 1e-12 Wh.
            energyMWh = micro * microVolts / 1000000000LL;
        } else {
            continue;
        }
        if (has("power_now")) {
            if (!value("power_now", micro)) {
                continue;
            }
            rateMW = (micro < 0 ? -micro : micro) / 1000;
        } else if (has("current_now") && has("voltage_now")) {
            if (!value("current_now", micro) || !value("voltage_now", microVolts)) {
                continue;
            }
            rateMW = (micro < 0 ? -micro : micro) * microVolts / 1000000000LL;
        }
        // Drivers disagree on the sign of current_now; the status does not.
        std::string status;
        if (has("status") && readLine_i(join(supplyDir, "status"), status) &&
            status == "Charging") {
            rateMW = -rateMW;
        }
        out.emplace_back(sensorName_i(supplyDir, supply),
                         std::to_string(energyMWh) + " " + std::to_string(rateMW));
    }
    return true;
}

}  // namespace vantry
