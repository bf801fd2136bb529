// Clock sources and the conversion of timestamps between clocks.
//
// Collectors stamp their samples with the counter of some clock. To put the
// results of several collectors on one time axis, the host picks a default
// clock and records synchronisation points (VexaClockSync) between it and the
// other clocks; convertTimestamp maps a timestamp of one clock onto the
// default clock through such a point.
//
// A clock source is known by its identity, a fixed UUID text that result files
// and synchronisation records use to name it, so the identities of the built-in
// clocks never change. Frequencies are ticks per microsecond.
//
// Ownership: getVexaSystemClockSources hands out new clocks that the caller
// owns and releases with freeVexaSystemClockSources. The default clock is not
// owned here: whoever sets it keeps it alive until it is replaced or cleared.
//
// Threads: reading a clock is safe from any thread. The default clock is set
// during start-up; reading it (getVexaATimestamp) is safe from any thread.
// VexaTSCClock::setFrequency must not race with readers of that clock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/runtime/Export.h"
#include "common/runtime/VexaClockSync.h"

namespace pwr {

class SystemMetadata;

// A clock: its identity, short name and description, and how to read it.
class PWR_API VexaClockSource {
  public:
    virtual ~VexaClockSource();
    VexaClockSource(const VexaClockSource&) = delete;
    VexaClockSource& operator=(const VexaClockSource&) = delete;

    // The rate in ticks per microsecond.
    virtual float getFrequency() const = 0;
    // The current count.
    virtual uint64_t getTimestamp() const = 0;

    // The identity: a UUID text, 36 characters, lower case, with hyphens.
    const std::string& getUUID() const { return m_uuid; }
    const std::string& getName() const { return m_name; }
    const std::string& getDescription() const { return m_description; }

  protected:
    VexaClockSource(std::string uuid, std::string name, std::string description);

  private:
    std::string m_uuid;
    std::string m_name;
    std::string m_description;
};

// The performance counter. Windows: QueryPerformanceCounter, with the counter
// frequency. Elsewhere: the monotonic raw clock in nanoseconds (1000.0 ticks
// per microsecond), which, like the performance counter, is not slewed by time
// adjustments.
class PWR_API VexaQPCClock : public VexaClockSource {
  public:
    VexaQPCClock();
    ~VexaQPCClock() override;
    float getFrequency() const override;
    uint64_t getTimestamp() const override;
};

// The wall clock in nanoseconds since the Unix epoch (1000.0 ticks per
// microsecond), read at the best precision the system offers.
class PWR_API VexaNanoClock : public VexaClockSource {
  public:
    VexaNanoClock();
    ~VexaNanoClock() override;
    float getFrequency() const override;
    uint64_t getTimestamp() const override;
};

// The processor's time-stamp counter, read with RDTSC.
//
// The counter's rate cannot be read portably from user space, so the
// frequency starts at 0.0 and the host sets it, normally from the TSC
// frequency that the system record of the collection holds, before any
// timestamp of this clock is converted. A conversion from a clock of frequency
// 0.0 has no meaningful result (see convertTimestamp).
class PWR_API VexaTSCClock : public VexaClockSource {
  public:
    VexaTSCClock();
    ~VexaTSCClock() override;
    float getFrequency() const override;
    uint64_t getTimestamp() const override;
    void setFrequency(float ticksPerMicrosecond) { m_frequency = ticksPerMicrosecond; }

  private:
    float m_frequency = 0.0f;
};

// Appends new clocks to clocks, in this order: QPC, NANO, TSC. The caller owns
// them (see freeVexaSystemClockSources). The TSC clock's frequency is 0.0: the
// system record is taken so that the host can set it from there.
PWR_API void getVexaSystemClockSources(const SystemMetadata& system,
                                       std::vector<VexaClockSource*>& clocks);
// Deletes every non-null clock of the list and sets its slot to null; the list
// keeps its size, so calling this twice is harmless.
PWR_API void freeVexaSystemClockSources(std::vector<VexaClockSource*>& clocks);

// The process-wide default clock, or null. Not owned. The plug-in
// environment's setDefaultClock forwards here, so that this layer can read the
// default clock without knowing the environment.
PWR_API void setDefaultClockSource(VexaClockSource* clock);
PWR_API VexaClockSource* defaultClockSource();

// The current count of the default clock. Without a default clock: 0, with a
// warning line, since a host that forgot to set one would otherwise stamp its
// samples with nothing but zeroes silently.
PWR_API uint64_t getVexaATimestamp();
// The default clock's identity. Without a default clock: an empty string, with
// a warning line. The reference stays valid while the default clock lives.
PWR_API const std::string& getVexaAClockUUID();

// Looks for the synchronisation record of the clock with identity uuid
// (compared exactly), from the front of syncs; the first match wins and is
// copied into out. Every record visited is copied into out, so after a miss
// out holds the last record: read out only after a true result. An empty
// queue leaves out untouched.
PWR_API bool wasClockSynchronized(const std::string& uuid, const VexaClockSyncQueue& syncs,
                                  VexaClockSync& out);

// Converts ts, a timestamp of the record's clock, into the default clock:
// (ts - clockValue) * (defaultClockFreqMHz / clockFreqMHz) + defaultClockValue.
// The difference wraps as unsigned (a ts before clockValue gives a huge
// delta, deliberately not checked), the scaled value is truncated, and the
// final addition wraps. A scaled value that does not fit 64 bits (including
// the infinity of a zero clock frequency) saturates to 2^64 - 1; one that is
// not a number (both frequencies zero, or zero times infinity) or negative
// (a negative frequency) becomes 0.
PWR_API uint64_t convertTimestamp(const VexaClockSync& sync, uint64_t ts);

}  // namespace pwr
