// EtwCollector: the "ETW" collector kind. SOURCE=PPM traces the operating
// system's processor power events (the "Microsoft-Windows-Kernel-Processor-
// Power" provider, else "Microsoft-Windows-Kernel-Power") through an
// EtwSession that writes a trace file.
//
// A PPM message is read twice, at BEGIN and at END: the first read starts
// the session, the second stops it and reads the trace file back, turning
// each event into one record stamped with the event's own timestamp (the
// session's performance-counter clock) whose pairs are:
//
//   id, task, opcode, version   the event descriptor, decimal
//   data                        the event's user data, lower-case hex
//
// The packet may give KEYWORDS=<hex mask> to narrow the provider's events;
// all of them by default.
//
// The kind can collect only where a session really starts: never outside
// Windows, and not under compatibility layers whose trace calls are stubs
// (see TraceSupport.h). The answer is
// found once, with a short probe session, and kept.
//
// Threads: the host serialises every call; the session's callback runs on
// the calling thread while the trace file is read.
#pragma once

#include <memory>
#include <string>

#include "common/etw/EtwSession.h"
#include "plugins/collectors/ReadingCollector.h"

namespace vantry {

class EtwCollector : public ReadingCollector {
  public:
    EtwCollector();
    ~EtwCollector() override;

    // Stops a session that is still running.
    pwr::ResetReturnCode reset(pwr::ResetReason reason, uint64_t ts,
                               const pwr::SystemMetadata& sys) override;

    bool isTracing() const { return m_session != nullptr; }
    // Where the trace file goes (a directory; empty: the working directory).
    void setTraceDirectory(const std::string& dir) { m_traceDirectory = dir; }

    // The first call starts the session; the next stops it and records the
    // events for target. -1 when the session cannot start or be read.
    int doImmediateRead(pwr::Operation* op, const std::string& target) override;
    using CollectorPlugin::doImmediateRead;

  protected:
    bool canCollectSource_i(const std::string& source, const pwr::Operation& op) override;
    // Traced events are recorded by doImmediateRead itself; a plain read of
    // the source has nothing to give.
    bool readSource_i(const std::string& source, const pwr::Operation& op,
                      ReadingPairs& out) override;

  private:
    bool probe_i(const pwr::Operation& op);
    bool providerGuid_i(EtwGuid& guid);
    bool start_i(const pwr::Operation& op, const std::string& sessionName,
                 std::unique_ptr<EtwSession>& session);
    int stopAndRead_i(const pwr::Operation& op, const std::string& target);
    std::string traceFile_i(const std::string& name) const;

    std::unique_ptr<EtwSession> m_session;
    std::string m_traceDirectory;
    // -1 not probed yet, 0 no, 1 yes.
    int m_available = -1;
};

}  // namespace vantry
