// CollectionData: the summary of one continuous-collection result that a
// collector plug-in hands back with its bytes: when the collection started
// and stopped (in the plug-in's clock and as wall-clock time), how many
// samples it produced and dropped, which clock stamped them, and the result
// file the bytes belong to.
//
// A value type at global scope, like the plug-in classes. Not thread-safe.
#pragma once

#include <cstdint>
#include <string>

#include "common/runtime/Export.h"

class PWR_API CollectionData {
  public:
    CollectionData() = default;
    CollectionData(const CollectionData&) = default;
    CollectionData(CollectionData&&) = default;
    CollectionData& operator=(const CollectionData&) = default;
    CollectionData& operator=(CollectionData&&) = default;
    ~CollectionData();

    // Timestamps are ticks of the clock named by getClockUUID; timevals are
    // nanoseconds since the Unix epoch.
    uint64_t getStartTimestamp() const { return m_startTimestamp; }
    uint64_t getStopTimestamp() const { return m_stopTimestamp; }
    uint64_t getStartTimeval() const { return m_startTimeval; }
    uint64_t getStopTimeval() const { return m_stopTimeval; }
    uint64_t getSamplesProduced() const { return m_samplesProduced; }
    uint64_t getSamplesDropped() const { return m_samplesDropped; }
    const std::string& getClockUUID() const { return m_clockUUID; }
    const std::string& getResultFile() const { return m_resultFile; }

    // Filled by the collector plug-in.
    void setStartTimestamp(uint64_t ts) { m_startTimestamp = ts; }
    void setStopTimestamp(uint64_t ts) { m_stopTimestamp = ts; }
    void setStartTimeval(uint64_t ns) { m_startTimeval = ns; }
    void setStopTimeval(uint64_t ns) { m_stopTimeval = ns; }
    void setSamplesProduced(uint64_t count) { m_samplesProduced = count; }
    void setSamplesDropped(uint64_t count) { m_samplesDropped = count; }
    void setClockUUID(const std::string& uuid) { m_clockUUID = uuid; }
    void setResultFile(const std::string& path) { m_resultFile = path; }

    // Back to zeros and empty strings, so that the object can take the next
    // result.
    void reset();

  private:
    uint64_t m_startTimestamp = 0;
    uint64_t m_stopTimestamp = 0;
    uint64_t m_startTimeval = 0;
    uint64_t m_stopTimeval = 0;
    uint64_t m_samplesProduced = 0;
    uint64_t m_samplesDropped = 0;
    std::string m_clockUUID;
    std::string m_resultFile;
};
