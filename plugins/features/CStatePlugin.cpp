#include "plugins/features/CStatePlugin.h"

#include <cmath>

#include "common/data/Quantity.h"
#include "common/runtime/Log.h"
#include "common/serialize/SystemMetadata.h"

namespace vantry::features {

namespace {
// Idle time up to this share of the interval is reading jitter.
const double c_idleTolerance = 1.05;
}  // namespace

CStatePlugin::CStatePlugin()
    : FeaturePlugin({"CStatePlugin",
                     "cstate",
                     "CSTATE",
                     "Residency of each logical processor in its idle states (C-states)",
                     {"cpu"}},
                    {FieldKind::Counter}),
      m_residency(nullptr),
      m_active(nullptr) {}

CStatePlugin::~CStatePlugin() = default;

void CStatePlugin::createMetrics_i(const pwr::SystemMetadata& sys) {
    m_residency = nullptr;
    m_states.clear();
    m_overWarned.clear();
    m_residency = addMetric_i("CPU C-State Residency", pwr::MetricType::SampledResidency,
                              "RESIDENCY", sys, pwr::Quantity::time());
    // The active state first, so that it is the first column.
    m_active = descriptor_i("C0");
    if (sys.clockFreqMHz <= 0.0f) {
        pwr::pwLog(PW_WARNING,
                   "WARNING: %s: the system record has no clock frequency; idle times cannot be "
                   "turned into clock ticks and no residency is reported.\n",
                   getName().c_str());
    }
}

void CStatePlugin::forgetReadings_i() {
    m_previous.clear();
}

void CStatePlugin::handleReadings_i(uint64_t ts, const std::vector<Reading>& readings,
                                    const pwr::SystemMetadata& sys) {
    // Group the record's readings by processor, keeping the order of the
    // idle states as the collector gave them.
    std::map<unsigned, CpuState> now;
    for (const Reading& reading : readings) {
        unsigned cpu = 0;
        std::string state;
        splitCpuState_i(reading.name, cpu, state);
        CpuState& entry = now[cpu];
        entry.timestamp = ts;
        entry.idle.emplace_back(state, reading.counter[0]);
    }
    m_round = Round();
    for (auto& entry : now) {
        feedCpu_i(entry.first, ts, entry.second, sys);
    }
    // The machine's residency over the same interval: the mean of its
    // processors', when they all cover that interval.
    if (m_round.cpus != 0 && !m_round.mixed) {
        uint64_t used = 0;
        std::vector<uint64_t> mean;
        for (const auto& state : m_round.idle) {
            mean.push_back(state.second / m_round.cpus);
            used += mean.back();
        }
        const uint64_t duration = m_round.duration;
        const pwr::EntityHandle* all = systemRow_i();
        feed_i(*m_residency, ts, all, m_active, pwr::Data(used < duration ? duration - used : 0),
               duration);
        for (size_t i = 0; i < mean.size(); ++i) {
            feed_i(*m_residency, ts, all, m_round.idle[i].first, pwr::Data(mean[i]), duration);
        }
    }
}

void CStatePlugin::feedCpu_i(unsigned cpu, uint64_t ts, CpuState& now,
                             const pwr::SystemMetadata& sys) {
    auto previous = m_previous.find(cpu);
    if (previous == m_previous.end()) {
        m_previous.emplace(cpu, std::move(now));
        return;
    }
    CpuState& before = previous->second;
    uint64_t duration = 0;
    double share = 0.0;
    const pwr::EntityHandle* entity = cpuEntity_i(cpu);
    if (entity == nullptr || !window_i(before.timestamp, ts, sys, duration, share) ||
        sys.clockFreqMHz <= 0.0f) {
        before = std::move(now);
        return;
    }

    // Idle time of each state over the interval, in ticks. A state that is
    // new has no delta this time and counts as not entered; a counter that
    // went backwards restarted (the processor went offline, say), and the
    // interval is unknown: the readings only become the new baseline.
    const double ticksPerMicrosecond = static_cast<double>(sys.clockFreqMHz) * share;
    std::vector<std::pair<const pwr::DataDescriptor*, double>> idle;
    double idleSum = 0.0;
    bool restarted = false;
    for (const auto& state : now.idle) {
        double ticks = 0.0;
        for (const auto& old : before.idle) {
            if (old.first == state.first) {
                restarted = restarted || state.second < old.second;
                ticks = restarted
                            ? 0.0
                            : static_cast<double>(state.second - old.second) * ticksPerMicrosecond;
                break;
            }
        }
        auto descriptor = m_states.find(state.first);
        if (descriptor == m_states.end()) {
            descriptor = m_states.emplace(state.first, descriptor_i(state.first)).first;
        }
        idle.emplace_back(descriptor->second, ticks);
        idleSum += ticks;
    }
    if (restarted) {
        before = std::move(now);
        return;
    }
    // The counters are read a little apart from the timestamp, so the idle
    // times can add up to slightly more than the interval: they are then
    // scaled down to fill it, which keeps their proportions and leaves C0
    // at 0. Otherwise C0 is what the idle states leave over. Beyond a few
    // percent it is no reading jitter (counters of another unit, a clock
    // that jumped): capped all the same, but said, once per processor.
    const double total = static_cast<double>(duration);
    const double scale = idleSum > total ? total / idleSum : 1.0;
    if (idleSum > total * c_idleTolerance && m_overWarned.insert(cpu).second) {
        pwr::pwLog(PW_WARNING,
                   "WARNING: %s: logical processor %u reported %.1f times the interval as idle "
                   "time at %llu; its idle states are capped to fill the interval (said once "
                   "per processor).\n",
                   getName().c_str(), cpu, idleSum / total, static_cast<unsigned long long>(ts));
    }
    std::vector<uint64_t> ticks;
    uint64_t used = 0;
    for (const auto& state : idle) {
        const uint64_t t = static_cast<uint64_t>(std::floor(state.second * scale));
        ticks.push_back(t);
        used += t;
    }
    const uint64_t active = used < duration ? duration - used : 0;
    feed_i(*m_residency, ts, entity, m_active, pwr::Data(active), duration);
    for (size_t i = 0; i < idle.size(); ++i) {
        feed_i(*m_residency, ts, entity, idle[i].first, pwr::Data(ticks[i]), duration);
    }
    if (m_round.cpus != 0 && m_round.duration != duration) {
        m_round.mixed = true;
    }
    m_round.duration = duration;
    ++m_round.cpus;
    for (size_t i = 0; i < idle.size(); ++i) {
        auto it = m_round.idle.begin();
        while (it != m_round.idle.end() && it->first != idle[i].first) {
            ++it;
        }
        if (it == m_round.idle.end()) {
            m_round.idle.emplace_back(idle[i].first, ticks[i]);
        } else {
            it->second += ticks[i];
        }
    }
    before = std::move(now);
}

}  // namespace vantry::features
