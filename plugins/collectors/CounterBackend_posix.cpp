#include "plugins/collectors/CounterBackend.h"

namespace vantry {

namespace {

// Windows performance counters do not exist here: the COUNTER kind cannot
// collect, and the FILE kind reads the same sources.
class NoCounterBackend : public CounterBackend {
  public:
    bool processorTimes(std::vector<ProcessorTimes>&) override { return false; }
    bool processorPower(std::vector<ProcessorPower>&) override { return false; }
    bool batteryState(BatteryState&) override { return false; }
    bool rawCounters(const std::string&, std::vector<std::pair<std::string, int64_t>>&) override {
        return false;
    }
};

}  // namespace

std::unique_ptr<CounterBackend> makeSystemCounterBackend() {
    return std::unique_ptr<CounterBackend>(new NoCounterBackend());
}

}  // namespace vantry
