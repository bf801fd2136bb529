// ReadingCollector: what the FILE, COUNTER and ETW collectors share. Each
// serves one operation kind, whose prototype it owns and announces
// (CollectorPlugin::addOperation). An operation's packet names a SOURCE
// (CPUIDLE, CPUFREQ, ...; see plugins/README.md for the pairs each yields).
// doImmediateRead reads the source, stamps the reading with the collector's
// clock (its own clock source, else the environment's default clock) and
// keeps it as a vexa_driver_msg until getContinuousResult drains the pending
// records into the host's buffer.
//
// Ownership: the collector owns its prototype operation and its pending
// records. Threads: the host serialises every call (see CollectorPlugin.h).
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/config/Operation.h"
#include "common/plugins/CollectorPlugin.h"
#include "common/plugins/DriverMessage.h"

namespace vantry {

using ReadingPairs = std::vector<std::pair<std::string, std::string>>;

class ReadingCollector : public CollectorPlugin {
  public:
    // name: the plug-in's name; kind: the operation string it serves. The
    // prototype accepts the packet keys in categories; sources are the
    // SOURCEs the kind knows, which the prototype's packet lists under
    // "SOURCE" for the host's configuration check.
    ReadingCollector(const std::string& name, const std::string& kind,
                     const std::vector<std::string>& categories,
                     const std::vector<std::string>& sources);
    ~ReadingCollector() override;

    const std::string& getKind() const { return m_kind; }

    // Drops the pending records and the once-only warnings.
    pwr::ResetReturnCode reset(pwr::ResetReason reason, uint64_t ts,
                               const pwr::SystemMetadata& sys) override;
    // True when msg has an operation of this kind whose SOURCE this machine
    // (or the recorded tree) offers.
    bool canCollectMessage(const pwr::InputMsg* msg) override;
    // Reads op's SOURCE and keeps the reading for target (the message's full
    // name). 0 on success; -1, with an ERROR line, when op has no SOURCE, the
    // SOURCE is unknown, or the source cannot be read at all.
    int doImmediateRead(pwr::Operation* op, const std::string& target) override;
    using CollectorPlugin::doImmediateRead;
    // Appends every pending record in the wire form and summarises them:
    // samples produced (records appended) and dropped (records too large
    // for the wire form), the timestamps of the first and last record
    // appended, and the clock's identity. The timevals are left to the host,
    // which keeps the wall clock of the collection.
    int getContinuousResult(pwr::VexaBuffer& buffer, CollectionData& data) override;

    // The records not drained yet, oldest first.
    const std::deque<vexa_driver_msg>& getPendingRecords() const { return m_pending; }

    // The SOURCEs this kind knows.
    const std::vector<std::string>& getSources() const { return m_sources; }
    bool isKnownSource(const std::string& source) const;

    // The SOURCEs of the FILE and COUNTER kinds.
    static const std::vector<std::string>& systemSources();

  protected:
    // Whether source can be read here; source is one of getSources().
    virtual bool canCollectSource_i(const std::string& source, const pwr::Operation& op) = 0;
    // Appends the pairs of source to out. False when the source cannot be
    // read at all (nothing is recorded then); a pair that cannot be read is
    // left out with a warning and the rest is still true.
    virtual bool readSource_i(const std::string& source, const pwr::Operation& op,
                              ReadingPairs& out) = 0;
    // Keeps a finished reading as a record; subclasses that produce records
    // of their own (traced events) use it directly.
    void pushRecord_i(vexa_driver_msg record);
    // The current count of the collector's clock, and the clock's identity.
    uint64_t timestamp_i() const;
    std::string clockUUID_i() const;
    // Logs line (a whole "WARNING: ..." line) the first time key is seen
    // since the last reset; later calls with the same key stay silent, so a
    // sensor that fails at every poll does not flood the log.
    void warnOnce_i(const std::string& key, const std::string& line);

  private:
    std::string m_kind;
    std::vector<std::string> m_sources;
    std::unique_ptr<pwr::Operation> m_prototype;
    std::deque<vexa_driver_msg> m_pending;
    std::set<std::string> m_warned;
};

// The SOURCE of op's packet; empty when there is none.
std::string operationSource(const pwr::Operation& op);

}  // namespace vantry
