#include "plugins/collectors/EtwCollector.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "common/config/Operation.h"
#include "common/runtime/Log.h"
#include "plugins/collectors/TraceSupport.h"

namespace vantry {

namespace {

const char* const c_probeSessionName = "Vantry PPM Probe";
const char* const c_sessionName = "Vantry PPM Session";
const wchar_t* const c_providers[] = {L"Microsoft-Windows-Kernel-Processor-Power",
                                      L"Microsoft-Windows-Kernel-Power"};

std::string hex(const void* data, size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(size * 2);
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < size; ++i) {
        out.push_back(digits[bytes[i] >> 4]);
        out.push_back(digits[bytes[i] & 0x0F]);
    }
    return out;
}

uint64_t keywordsOf(const pwr::Operation& op) {
    std::string text;
    if (op.getPacket() == nullptr || !op.getPacket()->get("KEYWORDS", text) || text.empty()) {
        // All events of the provider.
        return ~uint64_t(0);
    }
    return std::strtoull(text.c_str(), nullptr, 16);
}

}  // namespace

EtwCollector::EtwCollector()
    : ReadingCollector("EtwCollector", "ETW", {"SOURCE", "KEYWORDS"}, {"PPM"}) {}

EtwCollector::~EtwCollector() {
    if (m_session) {
        m_session->end();
    }
}

pwr::ResetReturnCode EtwCollector::reset(pwr::ResetReason reason, uint64_t ts,
                                         const pwr::SystemMetadata& sys) {
    if (m_session) {
        m_session->end();
        m_session.reset();
    }
    return ReadingCollector::reset(reason, ts, sys);
}

std::string EtwCollector::traceFile_i(const std::string& name) const {
    if (m_traceDirectory.empty()) {
        return name;
    }
    const char last = m_traceDirectory.back();
    return m_traceDirectory + (last == '/' || last == '\\' ? "" : "/") + name;
}

bool EtwCollector::providerGuid_i(EtwGuid& guid) {
    for (const wchar_t* name : c_providers) {
        if (EtwSession::getGuidForProvider(name, &guid)) {
            return true;
        }
    }
    return false;
}

bool EtwCollector::start_i(const pwr::Operation& op, const std::string& sessionName,
                           std::unique_ptr<EtwSession>& session) {
    EtwGuid guid;
    if (!providerGuid_i(guid)) {
        return false;
    }
    const std::string file =
        traceFile_i(sessionName == c_sessionName ? "vantry_ppm.etl" : "vantry_ppm_probe.etl");
    session.reset(new EtwSession(sessionName, file, std::string(), "ppm-events"));
    session->addProvider(guid, keywordsOf(op));
    if (!session->begin()) {
        session.reset();
        return false;
    }
    return true;
}

bool EtwCollector::canCollectSource_i(const std::string&, const pwr::Operation& op) {
    if (m_available < 0) {
        m_available = probe_i(op) ? 1 : 0;
    }
    return m_available == 1;
}

bool EtwCollector::probe_i(const pwr::Operation& op) {
    // Outside Windows the answer is known without a line of noise; so it is
    // where the system's trace calls only pretend to work (a test's backend
    // is taken as it answers).
    if (!etwBackend().isSupported() ||
        (&etwBackend() == &systemEtwBackend() && !systemTracesEvents())) {
        return false;
    }
    std::unique_ptr<EtwSession> probe;
    const bool started = start_i(op, c_probeSessionName, probe);
    if (probe) {
        probe->end();
        std::remove(probe->getLogFileName().c_str());
    }
    return started;
}

bool EtwCollector::readSource_i(const std::string&, const pwr::Operation&, ReadingPairs&) {
    return false;
}

int EtwCollector::doImmediateRead(pwr::Operation* op, const std::string& target) {
    if (op == nullptr || operationSource(*op) != "PPM") {
        // The base reports what is wrong with the operation.
        return ReadingCollector::doImmediateRead(op, target);
    }
    if (!m_session) {
        return start_i(*op, c_sessionName, m_session) ? 0 : -1;
    }
    return stopAndRead_i(*op, target);
}

int EtwCollector::stopAndRead_i(const pwr::Operation& op, const std::string& target) {
    std::unique_ptr<EtwSession> session = std::move(m_session);
    session->flush();
    if (!session->end()) {
        return -1;
    }
    std::vector<vexa_driver_msg> records;
    session->setLogfileCallback([&](const EtwEventRecord& event) {
        vexa_driver_msg record;
        record.timestamp = static_cast<uint64_t>(event.timestamp);
        record.msgName = target;
        record.opName = op.getName();
        record.values.emplace_back("id", std::to_string(event.descriptor.id));
        record.values.emplace_back("task", std::to_string(event.descriptor.task));
        record.values.emplace_back("opcode", std::to_string(event.descriptor.opcode));
        record.values.emplace_back("version", std::to_string(event.descriptor.version));
        record.values.emplace_back(
            "data", event.userData != nullptr ? hex(event.userData, event.userDataLength) : "");
        records.push_back(std::move(record));
    });
    const bool read = session->postProcessLog();
    // The events are records now; the trace file is not kept.
    std::remove(session->getLogFileName().c_str());
    for (vexa_driver_msg& record : records) {
        pushRecord_i(std::move(record));
    }
    return read ? 0 : -1;
}

}  // namespace vantry
