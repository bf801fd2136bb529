#include "common/serialize/SystemMetadata.h"

#include <ostream>
#include <sstream>
#include <utility>

#include "common/data/EntityHandle.h"
#include "common/runtime/Log.h"
#include "common/runtime/TimeFormat.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadataNames.h"

// The library's own version, shown when it post-processes a file. A build may
// pass its own values as compile definitions.
#ifndef VANTRY_LIBRARY_VERSION
#define VANTRY_LIBRARY_VERSION "0.1.0"
#endif
#ifndef VANTRY_LIBRARY_BUILD_DATE
#define VANTRY_LIBRARY_BUILD_DATE __DATE__
#endif
#ifndef VANTRY_LIBRARY_BUILD_REF
#define VANTRY_LIBRARY_BUILD_REF ""
#endif

namespace pwr {

namespace {

// Warnings of the fields added last are also written when debug logging is
// on for this tag, so that a user can see why a newer field kept its default
// without turning on every warning.
const char* const c_deserializeTag = "SystemMeta::deserialize";
const char* const c_notAvailable = "N/A";
// The longest string a 16-bit length field can announce.
constexpr size_t c_maxStringLength = 0xFFFF;
constexpr size_t c_dashCount = 74;
constexpr uint16_t c_maxQuantumSeconds = 0xFFFF;
constexpr uint32_t c_msecsPerSecond = 1000;
constexpr double c_nsecsPerSecond = 1e9;

// Models whose records list the native model of every CPU in
// cpuNativeModelIds; other processors carry it in their topology cores.
const uint8_t c_nativeModelListModels[] = {0x8A, 0x97, 0x9A, 0xAA, 0xAC, 0xB7, 0xBA, 0xBE, 0xBF};
// Models with an IO extender tile.
const uint8_t c_ioeModels[] = {0xAA, 0xAC};

template <size_t N>
bool isFamily6ModelIn(const FMS& fms, const uint8_t (&models)[N]) {
    if (fms.family != names::c_family6) {
        return false;
    }
    for (uint8_t model : models) {
        if (model == fms.model) {
            return true;
        }
    }
    return false;
}

std::string versionText(uint32_t version) {
    return std::to_string(version >> 16) + "." + std::to_string((version >> 8) & 0xFF) + "." +
           std::to_string(version & 0xFF);
}

std::string orNotAvailable(const std::string& text) {
    return text.empty() ? std::string(c_notAvailable) : text;
}

// The string encoding of Serializer, with strings too long for their length
// field cut to what it can announce: the record stays readable.
void writeString(Serializer& ser, const std::string& text) {
    size_t length = text.size();
    if (length > c_maxStringLength) {
        pwLog(PW_WARNING,
              "WARNING: a string of %zu bytes is cut to %zu bytes; the length field holds 16 "
              "bits!\n",
              length, c_maxStringLength);
        length = c_maxStringLength;
    }
    ser.write(static_cast<uint16_t>(length));
    ser.write_to(text.data(), length);
}

// An empty string reads like a missing one, and a missing mandatory field
// makes the whole record unreadable; "N/A" keeps it readable.
void writeMandatoryString(Serializer& ser, const std::string& text) {
    if (text.empty()) {
        writeString(ser, c_notAvailable);
    } else {
        writeString(ser, text);
    }
}

bool readMandatoryString(Serializer& ser, std::string& out) {
    out.clear();
    return ser.read(out) != 0;
}

// A string of the optional part: a zero length is a present, empty string.
// Only a missing length field or a body cut short count as missing.
bool readOptionalString(Serializer& ser, std::string& out) {
    uint16_t length = 0;
    if (ser.read(length) == 0) {
        return false;
    }
    out.clear();
    if (length == 0) {
        return true;
    }
    ser.rewind_read(sizeof(length));
    return ser.read(out) != 0;
}

// The end of an accepted older record: one warning, then the fields that
// follow keep their defaults.
int olderRecord(const char* warning) {
    pwLog(PW_WARNING, "%s", warning);
    return 0;
}

int olderRecordTagged(const char* warning) {
    pwLogTagged(c_deserializeTag, PW_WARNING, "%s", warning);
    return 0;
}

std::string dashes() {
    return std::string(c_dashCount, '-') + "\n";
}

}  // namespace

// FMS

std::ostream& operator<<(std::ostream& os, const FMS& fms) {
    std::ostringstream text;
    text << std::hex << "0x" << static_cast<unsigned>(fms.family) << ".0x"
         << static_cast<unsigned>(fms.model) << ".0x" << static_cast<unsigned>(fms.stepping);
    return os << text.str();
}

// TopologyChange

constexpr size_t TopologyChange::c_serializedSize;

TopologyChange::TopologyChange() : TopologyChange(0, cpu_action::NOP, 0, 0, 0, -1) {}

TopologyChange::TopologyChange(uint64_t timestamp, cpu_action action, uint16_t logicalProcessorID,
                               uint16_t coreID, uint16_t packageID, int32_t moduleID)
    : m_timestamp(timestamp),
      m_action(action),
      m_logicalProcessorID(logicalProcessorID),
      m_coreID(coreID),
      m_packageID(packageID),
      m_moduleID(moduleID) {}

TopologyChange TopologyChange::fromDriverEvent(uint64_t timestamp, cpu_action action,
                                               uint16_t logicalProcessorID, uint16_t coreID,
                                               uint16_t packageID, uint32_t coresPerModule) {
    const int32_t moduleID =
        coresPerModule == 0 ? -1 : static_cast<int32_t>(coreID / coresPerModule);
    return TopologyChange(timestamp, action, logicalProcessorID, coreID, packageID, moduleID);
}

const char* TopologyChange::getActionName() const {
    switch (m_action) {
        case cpu_action::OFFLINE:
            return "OFFLINE";
        case cpu_action::ONLINE_PREPARE:
            return "ONLINE PREPARE";
        case cpu_action::ONLINE:
            return "ONLINE";
        default:
            return "NOP";
    }
}

void TopologyChange::serialize(Serializer& ser) const {
    ser.write(m_timestamp);
    ser.write(static_cast<int32_t>(m_action));
    ser.write(m_logicalProcessorID);
    ser.write(m_coreID);
    ser.write(m_packageID);
    ser.write(m_moduleID);
}

int TopologyChange::deserialize(Serializer& ser) {
    uint64_t timestamp = 0;
    int32_t action = 0;
    uint16_t logicalProcessorID = 0;
    uint16_t coreID = 0;
    uint16_t packageID = 0;
    int32_t moduleID = 0;
    if (ser.read(timestamp) == 0 || ser.read(action) == 0 || ser.read(logicalProcessorID) == 0 ||
        ser.read(coreID) == 0 || ser.read(packageID) == 0 || ser.read(moduleID) == 0) {
        return -1;
    }
    *this = TopologyChange(timestamp, static_cast<cpu_action>(action), logicalProcessorID, coreID,
                           packageID, moduleID);
    return 0;
}

std::ostream& operator<<(std::ostream& os, const TopologyChange& change) {
    std::ostringstream text;
    text << "Timestamp: " << change.getTimestamp() << ", Action: " << change.getActionName()
         << ", LP: " << change.getLogicalProcessorID() << ", Core: " << change.getCoreID()
         << ", Module: " << change.getModuleID() << ", Package: " << change.getPackageID();
    return os << text.str();
}

// SystemMetadata

constexpr uint32_t SystemMetadata::c_quantumInMsecsVersion;

SystemMetadata::SystemMetadata() : Metadata(c_systemMetadataType) {}
SystemMetadata::SystemMetadata(const SystemMetadata&) = default;
SystemMetadata::SystemMetadata(SystemMetadata&&) = default;
SystemMetadata& SystemMetadata::operator=(const SystemMetadata&) = default;
SystemMetadata& SystemMetadata::operator=(SystemMetadata&&) = default;
SystemMetadata::~SystemMetadata() = default;

void SystemMetadata::serialize_i(Serializer& ser) const {
    const uint16_t sidCount = writableCount_i(sidToUuid.size());
    ser.write(sidCount);
    auto sid = sidToUuid.begin();
    for (uint16_t i = 0; i < sidCount; ++i, ++sid) {
        ser.write(sid->first);
        writeMandatoryString(ser, sid->second);
    }
    ser.write(fms.family);
    ser.write(fms.model);
    ser.write(fms.stepping);
    ser.write(appVersion);
    ser.write(driverVersion);
    ser.write(scuVersion);
    writeMandatoryString(ser, platformName);
    writeMandatoryString(ser, hostName);
    writeMandatoryString(ser, osName);
    writeMandatoryString(ser, osType);
    writeMandatoryString(ser, osVersion);
    // The deprecated topology tree: old readers expect its count here.
    ser.write(uint16_t{0});
    ser.write(busFreqMHz);
    ser.write(clockFreqMHz);
    ser.write(lfmFreqMHz);
    ser.write(hfmFreqMHz);
    ser.write(cpuFreqMHz);
    ser.write(startTsc);
    ser.write(stopTsc);
    ser.write(startTimeval);
    ser.write(stopTimeval);
    ser.write(pollingIntervalMsecs);
    ser.write(maxDetail);
    const uint16_t words = writableCount_i(commandLine.size());
    ser.write(words);
    for (uint16_t i = 0; i < words; ++i) {
        writeMandatoryString(ser, commandLine[i]);
    }

    // The optional part.
    ser.write(producedSamples);
    ser.write(droppedSamples);
    ser.write(lowOverheadMode);
    const uint16_t specifiers = writableCount_i(platformSpecifiers.size());
    ser.write(specifiers);
    for (uint16_t i = 0; i < specifiers; ++i) {
        writeString(ser, platformSpecifiers[i].first);
        writeString(ser, platformSpecifiers[i].second);
    }
    const uint16_t changes = writableCount_i(topologyChanges.size());
    ser.write(changes);
    for (uint16_t i = 0; i < changes; ++i) {
        topologyChanges[i].serialize(ser);
    }
    ser.write(hyperVEnabled);
    ser.write(vsmEnabled);
    // Native model ids are not carried in result files.
    ser.write(uint16_t{0});
    ser.write(platformId);
    ser.write(edramCap);
    ser.write(igfxId);
    writeString(ser, driverBuildDate);
    ser.write(programStartTimeval);
    ser.write(programStopTimeval);
    writeString(ser, exeBuildDate);
    // Readers take the quantum's width from appVersion, so a record that
    // claims an old writer gets the old form (whole seconds).
    if (appVersion < c_quantumInMsecsVersion) {
        const uint32_t seconds = continuousCollectionQuantum / c_msecsPerSecond;
        ser.write(
            static_cast<uint16_t>(seconds > c_maxQuantumSeconds ? c_maxQuantumSeconds : seconds));
    } else {
        ser.write(continuousCollectionQuantum);
    }
    const uint16_t syncs = writableCount_i(clockSyncs.size());
    ser.write(syncs);
    for (uint16_t i = 0; i < syncs; ++i) {
        const VexaClockSync& sync = clockSyncs[i];
        writeString(ser, sync.clockUUID);
        writeString(ser, sync.clockName);
        ser.write(sync.clockFreqMHz);
        ser.write(sync.clockValue);
        writeString(ser, sync.defaultClockUUID);
        writeString(ser, sync.defaultClockName);
        ser.write(sync.defaultClockFreqMHz);
        ser.write(sync.defaultClockValue);
    }
    ser.write(hvciEnabled);
    writeString(ser, nonNumericVersion);
    writeString(ser, buildRef);
    writeString(ser, packageType);
    ser.write(vtioEnabled);
    cpuTopology.serializeTree(ser);
}

int SystemMetadata::deserialize_i(Serializer& ser, unsigned /*version*/) {
    // Read into a fresh record so that a refused one leaves this untouched
    // and an accepted older one has defaults in every missing field.
    SystemMetadata record;
    if (record.readBody_i(ser) != 0) {
        return -1;
    }
    *this = std::move(record);
    DataHandleProvider::resetTopology(*this);
    return 0;
}

int SystemMetadata::readBody_i(Serializer& ser) {
    uint16_t sidCount = 0;
    if (ser.read(sidCount) == 0) {
        return -1;
    }
    for (uint16_t i = 0; i < sidCount; ++i) {
        int32_t sid = 0;
        std::string uuid;
        if (ser.read(sid) == 0 || ser.read(uuid) == 0) {
            return -1;
        }
        sidToUuid[sid] = std::move(uuid);
    }
    if (ser.read(fms.family) == 0 || ser.read(fms.model) == 0 || ser.read(fms.stepping) == 0) {
        return -1;
    }
    if (ser.read(appVersion) == 0) {
        return -1;
    }
    pwLog(PW_INFO, "INFO: OK, read app version = %u (%u.%u.%u)\n", appVersion, appVersion >> 16,
          (appVersion >> 8) & 0xFF, appVersion & 0xFF);
    if (ser.read(driverVersion) == 0) {
        return -1;
    }
    pwLog(PW_INFO, "INFO: OK, read driver version = %u (%u.%u.%u)\n", driverVersion,
          driverVersion >> 16, (driverVersion >> 8) & 0xFF, driverVersion & 0xFF);
    if (ser.read(scuVersion) == 0 || !readMandatoryString(ser, platformName) ||
        !readMandatoryString(ser, hostName) || !readMandatoryString(ser, osName) ||
        !readMandatoryString(ser, osType) || !readMandatoryString(ser, osVersion)) {
        return -1;
    }
    // Old files carry the topology here, in the deprecated form.
    uint16_t deprecatedPackages = 0;
    if (ser.read(deprecatedPackages) == 0) {
        return -1;
    }
    if (deprecatedPackages != 0) {
        ser.rewind_read(sizeof(deprecatedPackages));
        if (cpuTopology.deserializeTreeDeprecated(ser) != 0) {
            return -1;
        }
        cpuTopology.setUniqueID();
    }
    struct Frequency {
        float* field;
        const char* line;
    };
    const Frequency frequencies[] = {
        {&busFreqMHz, "INFO: OK: read bus freq = %.2f\n"},
        {&clockFreqMHz, "INFO: OK: read QPC clock freq = %.2f\n"},
        {&lfmFreqMHz, "INFO: OK: read lfm freq = %.2f\n"},
        {&hfmFreqMHz, "INFO: OK: read hfm freq = %.2f\n"},
        {&cpuFreqMHz, "INFO: OK: read CPU freq = %.2f\n"},
    };
    for (const Frequency& frequency : frequencies) {
        if (ser.read(*frequency.field) == 0) {
            return -1;
        }
        pwLog(PW_INFO, frequency.line, static_cast<double>(*frequency.field));
    }
    if (ser.read(startTsc) == 0 || ser.read(stopTsc) == 0) {
        return -1;
    }
    pwLog(PW_INFO, "INFO: OK: read start, stop TSC = %llu, %llu\n",
          static_cast<unsigned long long>(startTsc), static_cast<unsigned long long>(stopTsc));
    if (ser.read(startTimeval) == 0 || ser.read(stopTimeval) == 0) {
        return -1;
    }
    pwLog(PW_INFO, "INFO: OK: read start, stop Timeval = %llu, %llu\n",
          static_cast<unsigned long long>(startTimeval),
          static_cast<unsigned long long>(stopTimeval));
    if (ser.read(pollingIntervalMsecs) == 0) {
        return -1;
    }
    pwLog(PW_INFO, "INFO: OK: read polling interval msecs = %d\n",
          static_cast<int>(pollingIntervalMsecs));
    if (ser.read(maxDetail) == 0) {
        return -1;
    }
    pwLog(PW_INFO, "INFO: OK: read max detail = %u\n", static_cast<unsigned>(maxDetail));
    uint16_t words = 0;
    if (ser.read(words) == 0) {
        return -1;
    }
    // No reservation from the count: each word must be present before it is
    // stored, so memory follows the bytes actually read.
    for (uint16_t i = 0; i < words; ++i) {
        std::string word;
        if (ser.read(word) == 0) {
            return -1;
        }
        commandLine.push_back(std::move(word));
    }
    if (logContext().admits(PW_INFO)) {
        std::string line = "OK: read command line: ";
        for (const std::string& word : commandLine) {
            line += word;
            line += ' ';
        }
        line += '\n';
        pwLog(PW_INFO, "%s", line.c_str());
    }
    return readOptionalFields_i(ser);
}

int SystemMetadata::readOptionalFields_i(Serializer& ser) {
    if (ser.read(producedSamples) == 0) {
        return olderRecord("WARNING: couldn't extract # produced samples -- older file?!\n");
    }
    if (ser.read(droppedSamples) == 0) {
        return olderRecord("WARNING: couldn't extract # dropped samples -- older file?!\n");
    }
    if (ser.read(lowOverheadMode) == 0) {
        return olderRecord(
            "WARNING: couldn't extract low overhead mode information -- older file?!\n");
    }
    uint16_t count = 0;
    if (ser.read(count) == 0) {
        return olderRecord("WARNING: couldn't extract platform specifiers -- older file?!\n");
    }
    for (uint16_t i = 0; i < count; ++i) {
        std::pair<std::string, std::string> specifier;
        if (!readOptionalString(ser, specifier.first) ||
            !readOptionalString(ser, specifier.second)) {
            // The pair list was cut: the record ends here.
            return olderRecord("WARNING: couldn't extract platform specifiers -- older file?!\n");
        }
        platformSpecifiers.push_back(std::move(specifier));
    }
    if (ser.read(count) == 0) {
        return olderRecord("WARNING: couldn't extract topology changes -- older file?!\n");
    }
    for (uint16_t i = 0; i < count; ++i) {
        TopologyChange change;
        if (change.deserialize(ser) != 0) {
            pwLog(PW_WARNING, "WARNING: error extracting topology changes!\n");
            return -1;
        }
        topologyChanges.push_back(change);
    }
    if (ser.read(hyperVEnabled) == 0) {
        return olderRecord("WARNING: couldn't extract HyperV enable information -- older file?!\n");
    }
    if (ser.read(vsmEnabled) == 0) {
        return olderRecord("WARNING: couldn't extract VSM enable information -- older file?!\n");
    }
    if (ser.read(count) == 0) {
        return olderRecord("WARNING: couldn't extract cpu native model IDs -- older file?!\n");
    }
    for (uint16_t i = 0; i < count; ++i) {
        uint32_t id = 0;
        if (ser.read(id) == 0) {
            return -1;
        }
        cpuNativeModelIds.push_back(id);
    }
    if (ser.read(platformId) == 0) {
        return olderRecord("WARNING: couldn't extract Platform Id information -- older file?!\n");
    }
    if (ser.read(edramCap) == 0) {
        return olderRecord("WARNING: couldn't extract Edram Cap information -- older file?!\n");
    }
    if (ser.read(igfxId) == 0) {
        return olderRecord("WARNING: couldn't extract iGfx Id information -- older file?!\n");
    }
    // A file that ends here has no build date rather than "N/A".
    driverBuildDate.clear();
    if (!readOptionalString(ser, driverBuildDate)) {
        return olderRecord(
            "WARNING: couldn't extract driver build date information -- older file?!\n");
    }
    if (ser.read(programStartTimeval) == 0 || ser.read(programStopTimeval) == 0) {
        return olderRecordTagged(
            "WARNING: couldn't extract program start/stop timeval -- older file?!\n");
    }
    if (!readOptionalString(ser, exeBuildDate)) {
        return olderRecordTagged(
            "WARNING: couldn't extract .exe build date information -- older file?!\n");
    }
    const char* const quantumWarning =
        "WARNING: couldn't extract continuous collection quantum information -- older file?!\n";
    if (appVersion < c_quantumInMsecsVersion) {
        uint16_t seconds = 0;
        if (ser.read(seconds) == 0) {
            return olderRecordTagged(quantumWarning);
        }
        continuousCollectionQuantum = static_cast<uint32_t>(seconds) * c_msecsPerSecond;
    } else if (ser.read(continuousCollectionQuantum) == 0) {
        return olderRecordTagged(quantumWarning);
    }
    if (ser.read(count) == 0) {
        return olderRecordTagged("WARNING: couldn't extract clock sync info -- older file?!\n");
    }
    for (uint16_t i = 0; i < count; ++i) {
        VexaClockSync sync;
        if (!readOptionalString(ser, sync.clockUUID) || !readOptionalString(ser, sync.clockName) ||
            ser.read(sync.clockFreqMHz) == 0 || ser.read(sync.clockValue) == 0 ||
            !readOptionalString(ser, sync.defaultClockUUID) ||
            !readOptionalString(ser, sync.defaultClockName) ||
            ser.read(sync.defaultClockFreqMHz) == 0 || ser.read(sync.defaultClockValue) == 0) {
            pwLogTagged(c_deserializeTag, PW_WARNING,
                        "WARNING: Couldn't extract clock sync data\n");
            return -1;
        }
        clockSyncs.push_back(std::move(sync));
    }
    if (ser.read(hvciEnabled) == 0) {
        return olderRecordTagged(
            "WARNING: couldn't extract Hypervisor Enforced Code Integrity enable information -- "
            "older file?!\n");
    }
    if (!readOptionalString(ser, nonNumericVersion)) {
        return olderRecordTagged(
            "WARNING: couldn't extract non-numeric version number -- older file?!\n");
    }
    if (!readOptionalString(ser, buildRef)) {
        return olderRecordTagged(
            "WARNING: couldn't extract build ref information -- older file?!\n");
    }
    if (!readOptionalString(ser, packageType)) {
        return olderRecordTagged(
            "WARNING: couldn't extract package type information -- older file?!\n");
    }
    if (ser.read(vtioEnabled) == 0) {
        return olderRecordTagged("WARNING: couldn't extract VTIO information -- older file?!\n");
    }
    // The tree is the last field: a record cut or damaged inside it keeps
    // the nodes read before (a missing tree leaves the deprecated one of an
    // old file), so its result is not checked. Trees are stored without
    // their unique ids; numbering them again in key order gives threads
    // their logical-processor index, as on the collecting machine.
    cpuTopology.deserializeTree(ser);
    cpuTopology.setUniqueID();
    return 0;
}

int SystemMetadata::buildTopology(const std::string& description, size_t expectedThreads) {
    return cpuTopology.buildTopology(description, expectedThreads);
}

std::string SystemMetadata::formatTimevalAsString(uint64_t ns) const {
    if (ns == 0) {
        return c_notAvailable;
    }
    std::string text;
    if (!formatUtcTime(ns / 1000000000u, "%Y-%m-%d %H:%M:%S GMT", text)) {
        return c_notAvailable;
    }
    return text;
}

std::string SystemMetadata::getCollectionStartTime() const {
    return formatTimevalAsString(startTimeval);
}

std::string SystemMetadata::getProgramStartTime() const {
    return formatTimevalAsString(programStartTimeval);
}

double SystemMetadata::getCollectionDurationSec() const {
    return static_cast<double>(stopTimeval - startTimeval) / c_nsecsPerSecond;
}

std::string SystemMetadata::getCPUNativeModelName(uint32_t id) const {
    const char* name = names::nativeModelName(fms.family, fms.model, id);
    return name == nullptr ? c_notAvailable : name;
}

std::string SystemMetadata::getOSVersionString(bool postProcessed) const {
    std::string text = "Orvane(R) Vantry for Windows* OS Version ";
    text += nonNumericVersion.empty() ? versionText(appVersion) : nonNumericVersion;
    text += " [" + orNotAvailable(exeBuildDate) + "]\n";
    text += "Build Ref: " + orNotAvailable(buildRef) + "\n";
    text += "Driver Version " + versionText(driverVersion) + " [" +
            orNotAvailable(driverBuildDate) + "]\n";
    if (postProcessed) {
        text += std::string("Post Processed using Vantry for Windows* OS Version ") +
                getLibraryVersion() + " [" + getLibraryBuildDate() + "]\n";
        text += "Post Processed Build Ref: " + orNotAvailable(getLibraryBuildRef()) + "\n";
    }
    return text;
}

std::string SystemMetadata::getVersionHeader(bool postProcessed) const {
    return dashes() + getOSVersionString(postProcessed) +
           "Copyright (C) Orvane Corporation. All rights reserved.\n"
           "Vantry measures platform power: processor sleep and frequency states, "
           "temperatures and device activity.\n" +
           dashes();
}

std::string SystemMetadata::getCollectionHeader() const {
    std::ostringstream text;
    text << "Command line options: ";
    for (const std::string& word : commandLine) {
        text << word << ' ';
    }
    text << "\n\nProgram Started: " << getProgramStartTime()
         << "\nData Collection Started: " << getCollectionStartTime()
         << " \nQPC Clock Frequency (MHz): " << clockFreqMHz
         << " \nCPU Base Operating Frequency (MHz): " << cpuFreqMHz
         << "\nCollection duration (sec):" << getCollectionDurationSec();
    return text.str();
}

std::string SystemMetadata::getSystemHWHeader() const {
    std::ostringstream text;
    text << "\nSystem Name: " << hostName << "\nOperating System: " << osName << " [" << osVersion
         << "]";
    text << "\nCPU: " << getFormattedCPUCodeName();
    text << "\nCPU ID (family.model.stepping): " << std::hex << "0x"
         << static_cast<unsigned>(fms.family) << ".0x" << static_cast<unsigned>(fms.model) << ".0x"
         << static_cast<unsigned>(fms.stepping) << std::dec;
    text << "\nPlatform ID: 0b" << ((platformId >> 2) & 1u) << ((platformId >> 1) & 1u)
         << (platformId & 1u);
    if (igfxId != 0) {
        text << "\nIntegrated GPU Device ID: 0x" << std::hex << igfxId << std::dec;
    } else {
        text << "\nIntegrated GPU Device: NA";
    }
    std::vector<std::string> devices;
    getFormattedPMTDeviceNames(devices, platformName);
    for (const std::string& device : devices) {
        text << "\nPMT: " << device;
    }
    getFormattedPCIDeviceNames(devices, platformName);
    for (const std::string& device : devices) {
        text << "\nPCI: " << device;
    }
    text << "\nPCH: " << getFormattedPCHDeviceName();
    if (isFamily6ModelIn(fms, c_ioeModels)) {
        text << "\nIOE: " << getFormattedIOEDeviceName();
    }
    text << "\nEDRAM Present: " << (edramCap == 0 ? "Yes" : edramCap == 1 ? "No" : "Unsupported");
    text << " \nTotal # of packages: " << cpuTopology.getNumPackages();
    if (cpuTopology.getNumModules() != 0) {
        text << " \nTotal # of modules: " << cpuTopology.getNumModules();
    }
    text << " \nTotal # of cores: " << cpuTopology.getNumCores();
    text << " \nTotal # of logical processors: " << cpuTopology.getNumThreads() << "\n";
    text << "\nCPU native model:";
    if (isFamily6ModelIn(fms, c_nativeModelListModels) && !cpuNativeModelIds.empty()) {
        for (size_t i = 0; i < cpuNativeModelIds.size(); ++i) {
            text << "\nCore" << i << " = " << getCPUNativeModelName(cpuNativeModelIds[i]);
        }
    } else {
        std::vector<const TNode*> cores;
        cpuTopology.getAllCores(cores);
        for (size_t i = 0; i < cores.size(); ++i) {
            const auto* core = dynamic_cast<const TNodeCore*>(cores[i]);
            // Every core that carries a value gets its line, also one whose
            // model the processor did not report (c_32BitMask, the value of
            // every core of an older tree): its name reads N/A.
            if (core == nullptr || core->getCoreModelIDAndType() == 0) {
                continue;
            }
            text << "\nCore" << i << " = " << getCPUNativeModelName(core->getCoreModelIDAndType());
        }
    }
    return text.str();
}

bool SystemMetadata::isClientPlatform() const {
    return names::isClientModel(fms.family, fms.model);
}
bool SystemMetadata::isServerPlatform() const {
    return names::isServerModel(fms.family, fms.model);
}
bool SystemMetadata::isAtomPlatform() const {
    return names::isAtomModel(fms.family, fms.model);
}
bool SystemMetadata::isHybridPlatform() const {
    return names::isHybridModel(fms.family, fms.model);
}

void SystemMetadata::getFormattedPCIDeviceNames(std::vector<std::string>& out,
                                                const std::string& platform) const {
    out = names::pciDeviceNames(platform);
    if (out.empty()) {
        out.emplace_back(c_notAvailable);
    }
}

void SystemMetadata::getFormattedPMTDeviceNames(std::vector<std::string>& out,
                                                const std::string& platform) const {
    out = names::pmtDeviceNames(platform);
    if (out.empty()) {
        out.emplace_back(c_notAvailable);
    }
}

std::string SystemMetadata::getFormattedPCHDeviceName() const {
    const char* name = names::pchName(platformName);
    return name == nullptr ? c_notAvailable : name;
}

std::string SystemMetadata::getFormattedIOEDeviceName() const {
    const char* name = names::ioeName(fms.family, fms.model);
    return name == nullptr ? c_notAvailable : name;
}

std::string SystemMetadata::getFormattedCPUCodeName() const {
    const char* name = names::cpuCodeName(fms.family, fms.model);
    return name == nullptr ? c_notAvailable : name;
}

const char* SystemMetadata::getLibraryVersion() {
    return VANTRY_LIBRARY_VERSION;
}
const char* SystemMetadata::getLibraryBuildDate() {
    return VANTRY_LIBRARY_BUILD_DATE;
}
const char* SystemMetadata::getLibraryBuildRef() {
    return VANTRY_LIBRARY_BUILD_REF;
}

std::ostream& operator<<(std::ostream& os, const SystemMetadata& s) {
    // Composed apart from os, so that the caller's stream flags (hex, fixed,
    // ...) do not change the dump.
    std::ostringstream text;
    text << "FMS: " << s.fms << "\n"
         << "App version: " << versionText(s.appVersion) << "\n"
         << "App build date: " << s.exeBuildDate << "\n"
         << "Driver version: " << versionText(s.driverVersion) << "\n"
         << "Driver build date: " << s.driverBuildDate << "\n"
         << "SCU version: " << s.scuVersion << "\n"
         << "Platform name: " << s.platformName << "\n"
         << "Host name: " << s.hostName << "\n"
         << "OS name: " << s.osName << "\n"
         << "OS type: " << s.osType << "\n"
         << "OS version: " << s.osVersion << "\n"
         << "Bus freq (MHz): " << s.busFreqMHz << "\n"
         << "QPC clock freq (MHz): " << s.clockFreqMHz << "\n"
         << "LFM freq (MHz): " << s.lfmFreqMHz << "\n"
         << "HFM freq (MHz): " << s.hfmFreqMHz << "\n"
         << "Base operating freq (MHz): " << s.cpuFreqMHz << "\n"
         << "Start TSC: " << s.startTsc << "\n"
         << "Stop TSC: " << s.stopTsc << "\n"
         << "Start Timeval: " << s.startTimeval << "\n"
         << "Stop Timeval: " << s.stopTimeval << "\n"
         << "Polling interval (msecs): " << s.pollingIntervalMsecs << "\n"
         << "Collection command line: ";
    for (const std::string& word : s.commandLine) {
        text << word << ' ';
    }
    text << "\n"
         << "Collected samples : " << s.producedSamples << ", dropped samples: " << s.droppedSamples
         << "\n";
    for (const auto& sid : s.sidToUuid) {
        text << "\tsid[" << sid.first << "] => uuid[" << sid.second << "]\n";
    }
    text << "Platform specifiers: \n";
    for (const auto& specifier : s.platformSpecifiers) {
        text << "\t" << specifier.first << " => " << specifier.second << "\n";
    }
    text << "Topology changes: \n";
    for (const TopologyChange& change : s.topologyChanges) {
        text << "\t" << change << "\n";
    }
    text << "Synchronized clocks: \n";
    for (size_t i = 0; i < s.clockSyncs.size(); ++i) {
        const VexaClockSync& sync = s.clockSyncs[i];
        text << "\tClock[" << i << "]:\n"
             << "\t\tClock UUID: " << sync.clockUUID << "\n"
             << "\t\tClock Name: " << sync.clockName << "\n"
             << "\t\tClock Freq (MHz): " << sync.clockFreqMHz << "\n"
             << "\t\tClock Value: " << sync.clockValue << "\n"
             << "\t\tDefault Clock UUID: " << sync.defaultClockUUID << "\n"
             << "\t\tDefault Clock Name: " << sync.defaultClockName << "\n"
             << "\t\tDefault Clock Freq (MHz): " << sync.defaultClockFreqMHz << "\n"
             << "\t\tDefault Clock Value: " << sync.defaultClockValue << "\n";
    }
    text << "Package Type: " << s.packageType << "\n";
    return os << text.str();
}

}  // namespace pwr
