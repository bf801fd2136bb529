#include "plugins/features/PpmEventsPlugin.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include "common/data/DataDescriptor.h"
#include "common/data/Quantity.h"
#include "common/runtime/Log.h"

namespace vantry::features {

namespace {

const char* const c_source = "Processor Power Events";

bool parseId(const std::string& text, uint64_t& id) {
    if (text.empty() || text[0] < '0' || text[0] > '9') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    id = std::strtoull(text.c_str(), &end, 10);
    return errno == 0 && end != nullptr && *end == 0;
}

std::string eventName(uint64_t id) {
    return "Event " + std::to_string(id);
}

}  // namespace

PpmEventsPlugin::PpmEventsPlugin()
    : FeaturePlugin({"PpmEventsPlugin",
                     "ppm-events",
                     "PPM",
                     "Processor power events traced by the operating system",
                     {}},
                    {}),
      m_events(nullptr),
      m_intervals(nullptr),
      m_havePrevious(false),
      m_previousTs(0),
      m_previousId(0) {}

PpmEventsPlugin::~PpmEventsPlugin() = default;

void PpmEventsPlugin::createMetrics_i(const pwr::SystemMetadata& sys) {
    m_events = addMetric_i("PPM Events", pwr::MetricType::TracedEvent, "EVENTS", sys,
                           pwr::Quantity::operations());
    m_intervals = addMetric_i("PPM Event Intervals", pwr::MetricType::TracedValueTransition,
                              "INTERVALS", sys, pwr::Quantity::time());
}

void PpmEventsPlugin::forgetReadings_i() {
    m_havePrevious = false;
    m_previousTs = 0;
    m_previousId = 0;
}

void PpmEventsPlugin::handleReadings_i(uint64_t, const std::vector<Reading>&,
                                       const pwr::SystemMetadata&) {
    // Event records never reach the numeric path: processDriverMessage
    // handles them whole.
}

int PpmEventsPlugin::processDriverMessage(const vexa_driver_msg& msg, const pwr::SystemMetadata&) {
    if (getMetrics().empty() || pwr::driverMessagePrefix(msg.msgName) != getPrefix()) {
        return 0;
    }
    uint64_t id = 0;
    bool found = false;
    for (const auto& pair : msg.values) {
        if (pair.first == "id") {
            found = parseId(pair.second, id);
            break;
        }
    }
    if (!found) {
        pwr::pwLog(PW_WARNING,
                   "WARNING: %s: event record %s at %llu has no event id; the record is "
                   "skipped.\n",
                   getName().c_str(), msg.msgName.c_str(),
                   static_cast<unsigned long long>(msg.timestamp));
        return 1;
    }
    const pwr::EntityHandle* source = deviceEntity_i(c_source);
    const pwr::DataDescriptor* kind = descriptor_i(eventName(id));
    feed_i(*m_events, msg.timestamp, source, nullptr, pwr::Data(*kind), 0);
    // Events come in time order; one out of order starts the intervals over
    // rather than giving a negative one.
    if (m_havePrevious && msg.timestamp > m_previousTs) {
        feed_i(*m_intervals, msg.timestamp, source, descriptor_i(eventName(m_previousId)),
               pwr::Data(m_previousId), msg.timestamp - m_previousTs);
    }
    m_havePrevious = true;
    m_previousTs = msg.timestamp;
    m_previousId = id;
    return 0;
}

}  // namespace vantry::features
