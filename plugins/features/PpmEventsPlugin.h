// PpmEventsPlugin ("ppm-events"): the operating system's processor power
// events, as the ETW collector records them (SOURCE=PPM; one record per
// event with its descriptor's "id", "task", "opcode", "version" and its
// "data" in hex). Two metrics, both on the device entity "Processor Power
// Events":
//
//   "PPM Events" (TracedEvent, container tag EVENTS): every event, named
//   "Event <id>", so that the summaries count each kind;
//   "PPM Event Intervals" (TracedValueTransition, container tag INTERVALS):
//   the time from each event to the next, by the kind of the earlier one,
//   so that residency tables show which kinds of event the processors sat
//   behind.
//
// The feature is available only where the ETW collector can start a trace
// session (Windows, with the rights to trace).
//
// Ownership and threads as for FeaturePlugin.
#pragma once

#include <cstdint>
#include <vector>

#include "plugins/features/FeaturePlugin.h"

namespace vantry::features {

class PpmEventsPlugin : public FeaturePlugin {
  public:
    PpmEventsPlugin();
    ~PpmEventsPlugin() override;

    // Event records are not lists of numbers: they are checked here. A
    // record without a decimal "id" is skipped with a WARNING (1).
    int processDriverMessage(const vexa_driver_msg& msg, const pwr::SystemMetadata& sys) override;

  protected:
    void createMetrics_i(const pwr::SystemMetadata& sys) override;
    void handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                          const pwr::SystemMetadata& sys) override;
    void forgetReadings_i() override;

  private:
    pwr::Metric* m_events;
    pwr::Metric* m_intervals;
    bool m_havePrevious;
    uint64_t m_previousTs;
    uint64_t m_previousId;
};

}  // namespace vantry::features
