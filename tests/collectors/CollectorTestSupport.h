// Helpers shared by the collector tests: a clock the test moves by hand, and
// messages with one operation of a collector's kind.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "common/config/InputMsg.h"
#include "common/config/Operation.h"
#include "common/runtime/VexaClock.h"

namespace vantry::test {

class FakeClock : public pwr::VexaClockSource {
  public:
    FakeClock()
        : pwr::VexaClockSource("00000000-1111-2222-3333-444444444444", "FAKE", "A test clock") {}
    float getFrequency() const override { return 1.0f; }
    uint64_t getTimestamp() const override { return now; }
    uint64_t now = 1000;
};

// An operation named "<prefix>_<tag>_<kind>" of kind with SOURCE (and PATH
// when given) in its packet.
inline std::unique_ptr<pwr::Operation> makeOperation(const std::string& kind,
                                                     const std::string& fullName,
                                                     const std::string& source,
                                                     const std::string& path = std::string()) {
    std::unique_ptr<pwr::Operation> op(new pwr::Operation(fullName + "_" + kind, kind));
    if (!source.empty()) {
        op->createPacket().set("SOURCE", source);
    }
    if (!path.empty()) {
        op->createPacket().set("PATH", path);
    }
    return op;
}

// A message "<prefix>_<tag>" holding one such operation.
inline std::unique_ptr<pwr::InputMsg> makeMessage(const std::string& kind,
                                                  const std::string& prefix, const std::string& tag,
                                                  const std::string& source) {
    std::unique_ptr<pwr::InputMsg> msg(new pwr::InputMsg(tag, prefix, "ALL"));
    msg->addOperation(makeOperation(kind, msg->getFullName(), source).release());
    return msg;
}

}  // namespace vantry::test
