// SystemMetadata: the record of one collection's system: CPU identity, tool
// and driver versions, host and operating system, clock frequencies, start
// and stop instants, collection settings, the CPU topology and its changes,
// virtualisation state and clock-synchronisation points. It is written once
// at the end of a collection into the result file (type code
// Metadata::c_systemMetadataType), read back when a result file is
// post-processed, handed to every plug-in and printed in the report headers.
//
// Record body, after the type code (Serializer encodings; counts are
// unsigned 16-bit, strings a 16-bit length and the bytes):
//
//   sidToUuid (count; key int32, uuid string)   fms (3 x uint8)
//   appVersion, driverVersion, scuVersion (uint32)
//   platformName, hostName, osName, osType, osVersion (strings)
//   deprecated topology tree (always written as an empty count)
//   bus, clock, lfm, hfm, cpu frequencies (float, MHz)
//   startTsc, stopTsc, startTimeval, stopTimeval (uint64)
//   pollingIntervalMsecs (uint16), maxDetail (uint8), commandLine (count; strings)
//   -------- end of the mandatory prefix; everything below is optional --------
//   producedSamples, droppedSamples (uint64)   lowOverheadMode (uint8)
//   platformSpecifiers (count; name, value)    topologyChanges (count; 26 bytes each)
//   hyperVEnabled, vsmEnabled (uint8)          cpuNativeModelIds (always count 0)
//   platformId (uint32), edramCap (uint8), igfxId (uint32)   driverBuildDate
//   programStartTimeval, programStopTimeval (uint64)   exeBuildDate
//   continuousCollectionQuantum (uint32 ms; uint16 seconds from writers
//   older than 2020.3.0)   clockSyncs (count; records)   hvciEnabled (uint8)
//   nonNumericVersion, buildRef, packageType (strings)   vtioEnabled (uint8)
//   current topology tree (TopTree::serializeTree)
//
// Versioning is by position only: newer fields are appended, the writer always
// writes all of them, and a reader that runs out of data in the optional part
// logs which field was missing ("... -- older file?!") and accepts the record
// with the remaining fields at their defaults.
//
// Strings. The string reader cannot tell an empty string from a missing one,
// so an empty mandatory string makes a record unreadable: the writer puts
// "N/A" in place of an empty mandatory string. In the optional part the reader
// takes a zero length as a present, empty string, so that an empty field
// (nonNumericVersion usually is) does not cut off everything after it. Strings
// are cut to 65,535 bytes when written, the most a length field can announce.
//
// Reading a record rebuilds the topology entities (DataHandleProvider::
// resetTopology) from it.
//
// Ownership: a value type; fields are public. Threads: no locking; a record is
// filled or read on one thread and may then be read from several.
#pragma once

#include <cstdint>
#include <deque>
#include <iosfwd>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/runtime/Export.h"
#include "common/runtime/VexaClockSync.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/TopTree.h"

namespace pwr {

class Serializer;

// Family, model and stepping of the processor.
struct FMS {
    uint8_t family = 0;
    uint8_t model = 0;
    uint8_t stepping = 0;

    friend bool operator==(const FMS& a, const FMS& b) {
        return a.family == b.family && a.model == b.model && a.stepping == b.stepping;
    }
    friend bool operator!=(const FMS& a, const FMS& b) { return !(a == b); }
};

// "0x6.0x8c.0x1": each value in lower-case hexadecimal.
PWR_API std::ostream& operator<<(std::ostream& os, const FMS& fms);

// What happened to a logical processor. The values are part of the file
// format; a record may carry any other value, which reads as a no-op.
enum class cpu_action : int32_t {
    NOP = 0,
    OFFLINE = 1,
    ONLINE_PREPARE = 2,
    ONLINE = 3,
};

// One logical processor going offline or online during a collection.
// Serialised as timestamp (uint64), action (int32), logical processor, core
// and package ids (uint16 each) and module id (int32): 26 bytes.
class PWR_API TopologyChange {
  public:
    static constexpr size_t c_serializedSize = 26;

    // Action NOP, module -1, everything else 0.
    TopologyChange();
    TopologyChange(uint64_t timestamp, cpu_action action, uint16_t logicalProcessorID,
                   uint16_t coreID, uint16_t packageID, int32_t moduleID);
    // From a driver's topology-change event, which names no module: the
    // module is the core id divided by the number of cores per module, or -1
    // when that number is 0.
    static TopologyChange fromDriverEvent(uint64_t timestamp, cpu_action action,
                                          uint16_t logicalProcessorID, uint16_t coreID,
                                          uint16_t packageID, uint32_t coresPerModule);

    uint64_t getTimestamp() const { return m_timestamp; }
    // Replaces the timestamp (after converting it to another clock).
    void resetTimestamp(uint64_t timestamp) { m_timestamp = timestamp; }
    cpu_action getActionType() const { return m_action; }
    // "OFFLINE", "ONLINE PREPARE", "ONLINE"; "NOP" for any other action.
    const char* getActionName() const;
    uint16_t getLogicalProcessorID() const { return m_logicalProcessorID; }
    uint16_t getCoreID() const { return m_coreID; }
    int32_t getModuleID() const { return m_moduleID; }
    uint16_t getPackageID() const { return m_packageID; }

    void serialize(Serializer& ser) const;
    // Returns 0, or -1 with this change untouched when the bytes run out.
    int deserialize(Serializer& ser);

    friend bool operator==(const TopologyChange& a, const TopologyChange& b) {
        return a.m_timestamp == b.m_timestamp && a.m_action == b.m_action &&
               a.m_logicalProcessorID == b.m_logicalProcessorID && a.m_coreID == b.m_coreID &&
               a.m_packageID == b.m_packageID && a.m_moduleID == b.m_moduleID;
    }
    friend bool operator!=(const TopologyChange& a, const TopologyChange& b) { return !(a == b); }

  private:
    uint64_t m_timestamp;
    cpu_action m_action;
    uint16_t m_logicalProcessorID;
    uint16_t m_coreID;
    uint16_t m_packageID;
    int32_t m_moduleID;
};

// "Timestamp: 1000, Action: ONLINE, LP: 3, Core: 1, Module: 0, Package: 0"
PWR_API std::ostream& operator<<(std::ostream& os, const TopologyChange& change);

class PWR_API SystemMetadata : public Metadata {
  public:
    // The version argument of deserialize_i is not used by this record: its
    // layout is told apart by position and by the writer's appVersion. Files
    // written by tools older than this version hold the continuous
    // collection quantum as 16-bit seconds.
    static constexpr uint32_t c_quantumInMsecsVersion = 0x07E40300;  // 2020.3.0

    SystemMetadata();
    SystemMetadata(const SystemMetadata&);
    SystemMetadata(SystemMetadata&&);
    SystemMetadata& operator=(const SystemMetadata&);
    SystemMetadata& operator=(SystemMetadata&&);
    ~SystemMetadata() override;

    // The record body (Metadata::serialize writes the type code before it).
    // Public so that a reader that has consumed the framing itself can read
    // the body directly.
    void serialize_i(Serializer& ser) const override;
    // Reads a body into this record. Returns 0 for a complete record or an
    // accepted older one (missing fields at their defaults), -1 with this
    // record untouched when a mandatory field or a repeated record is
    // malformed. Every accepted record rebuilds the topology entities.
    int deserialize_i(Serializer& ser, unsigned version) override;

    const TopTree& getCPUTopology() const { return cpuTopology; }
    // Replaces the topology with one built from its textual description (see
    // TopTree). Returns 0 or -1.
    int buildTopology(const std::string& description, size_t expectedThreads);

    // "N/A" for 0; otherwise the UTC time of ns / 1e9 whole seconds as
    // "%Y-%m-%d %H:%M:%S GMT".
    std::string formatTimevalAsString(uint64_t ns) const;
    std::string getCollectionStartTime() const;
    std::string getProgramStartTime() const;
    // (stopTimeval - startTimeval) as an unsigned difference, in seconds.
    double getCollectionDurationSec() const;

    // The core microarchitecture of a hybrid processor's native model id (as
    // CPUID reports it: core type in bits 31..24, model id below), as a
    // three-letter abbreviation; "N/A" for unknown ids and non-family-6 CPUs.
    std::string getCPUNativeModelName(uint32_t id) const;

    // Report texts.
    // The version banner: tool and driver versions; with postProcessed also
    // the version of this library, which read the file.
    std::string getOSVersionString(bool postProcessed) const;
    // The banner between dashed lines, with the product's legal lines.
    std::string getVersionHeader(bool postProcessed) const;
    // Command line, start times, clock frequencies and duration.
    std::string getCollectionHeader() const;
    // Host, OS, CPU identity, devices and topology counts.
    std::string getSystemHWHeader() const;

    // Platform families, by family 6 model number.
    bool isClientPlatform() const;
    bool isServerPlatform() const;
    bool isAtomPlatform() const;
    // Processors with two kinds of cores.
    bool isHybridPlatform() const;

    // Name look-ups for the hardware header. Unknown entries give "N/A".
    // The device lists are replaced, and hold "N/A" alone for an unknown
    // platform. Platform names start with the platform's abbreviation
    // ("ADL-P", "MTL", ...) and may name the PCH after it.
    void getFormattedPCIDeviceNames(std::vector<std::string>& out,
                                    const std::string& platform) const;
    void getFormattedPMTDeviceNames(std::vector<std::string>& out,
                                    const std::string& platform) const;
    // The PCH named in platformName.
    std::string getFormattedPCHDeviceName() const;
    // The IO extender of processors that have one (by model).
    std::string getFormattedIOEDeviceName() const;
    // The processor's code name (by family and model).
    std::string getFormattedCPUCodeName() const;

    // The version, build date and build reference of this library, shown
    // when it post-processes a file.
    static const char* getLibraryVersion();
    static const char* getLibraryBuildDate();
    static const char* getLibraryBuildRef();

    // Fields, in record order (see the top of this file).
    std::map<int32_t, std::string> sidToUuid;
    FMS fms;
    // Versions are packed: major in bits 31..16, minor 15..8, patch 7..0.
    uint32_t appVersion = 0;
    uint32_t driverVersion = 0;
    uint32_t scuVersion = 0;
    std::string platformName;
    std::string hostName;
    std::string osName;
    std::string osType;
    std::string osVersion;
    TopTree cpuTopology;
    float busFreqMHz = 0.0f;
    // The clock that timestamps samples (the performance counter).
    float clockFreqMHz = 0.0f;
    float lfmFreqMHz = 0.0f;
    float hfmFreqMHz = 0.0f;
    // Base operating frequency.
    float cpuFreqMHz = 0.0f;
    uint64_t startTsc = 0;
    uint64_t stopTsc = 0;
    // Wall-clock instants in nanoseconds since the Unix epoch.
    uint64_t startTimeval = 0;
    uint64_t stopTimeval = 0;
    uint16_t pollingIntervalMsecs = 0;
    uint8_t maxDetail = 0;
    std::vector<std::string> commandLine;
    uint64_t producedSamples = 0;
    uint64_t droppedSamples = 0;
    bool lowOverheadMode = false;
    std::vector<std::pair<std::string, std::string>> platformSpecifiers;
    std::vector<TopologyChange> topologyChanges;
    bool hyperVEnabled = false;
    bool vsmEnabled = false;
    // Per-CPU native model ids. Never written to result files: the writer
    // always writes an empty list here.
    std::vector<uint32_t> cpuNativeModelIds;
    // Only the low 3 bits are shown.
    uint32_t platformId = 0;
    // 0 present, 1 absent, anything else unsupported.
    uint8_t edramCap = 0;
    // PCI device id of the integrated GPU; 0 for none.
    uint32_t igfxId = 0;
    std::string driverBuildDate = "N/A";
    uint64_t programStartTimeval = 0;
    uint64_t programStopTimeval = 0;
    std::string exeBuildDate;
    uint32_t continuousCollectionQuantum = 0;
    std::deque<VexaClockSync> clockSyncs;
    bool hvciEnabled = false;
    // Replaces the packed appVersion in the banner when not empty.
    std::string nonNumericVersion;
    std::string buildRef;
    std::string packageType;
    bool vtioEnabled = false;

  private:
    // Reads the body into this (fresh) record; see deserialize_i.
    int readBody_i(Serializer& ser);
    // Reads the optional part; returns 0 also when it ends early.
    int readOptionalFields_i(Serializer& ser);
};

// The text dump, one item per line.
PWR_API std::ostream& operator<<(std::ostream& os, const SystemMetadata& system);

}  // namespace pwr
