// Requirement stand-ins shared by the capability and requirement tests.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "common/plugins/PluginRequirement.h"
#include "common/serialize/SystemMetadata.h"

namespace pwr::test {

// A requirement whose answer a function gives.
class FakeRequirement : public PluginRequirement {
  public:
    using Answer = std::function<bool(const SystemMetadata&, const AttributePairs&)>;
    explicit FakeRequirement(Answer answer, bool negative = false)
        : PluginRequirement("FAKE", negative), m_answer(std::move(answer)) {}
    std::unique_ptr<PluginRequirement> clone() const override {
        return std::make_unique<FakeRequirement>(*this);
    }

  protected:
    bool isPluginRequirementSatisfied_i(const SystemMetadata& sys,
                                        const AttributePairs& attrs) const override {
        return m_answer(sys, attrs);
    }

  private:
    Answer m_answer;
};

// A fixed answer, counting in *asked how often it was asked (copies too).
inline FakeRequirement* fixedRequirement(bool answer, int* asked, bool negative = false) {
    return new FakeRequirement(
        [answer, asked](const SystemMetadata&, const AttributePairs&) {
            ++*asked;
            return answer;
        },
        negative);
}

}  // namespace pwr::test
