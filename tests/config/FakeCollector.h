// A collector plug-in for the configuration tests: it serves the operation
// kinds it is told to, and records the immediate reads and writes it gets.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "common/config/InputMsg.h"
#include "common/config/Operation.h"
#include "common/plugins/CollectorPlugin.h"

namespace pwr::test {

class FakeCollector : public CollectorPlugin {
  public:
    explicit FakeCollector(const std::string& name) : CollectorPlugin(name) {}
    ResetReturnCode reset(ResetReason, uint64_t, const SystemMetadata&) override {
        return ResetReturnCode::SUCCESS;
    }
    int getContinuousResult(VexaBuffer&, CollectionData&) override { return 0; }

    using CollectorPlugin::doImmediateRead;
    using CollectorPlugin::doImmediateWrite;
    int doImmediateRead(Operation* op, const std::string& target) override {
        calls.push_back("read " + op->getName() + " " + target);
        return status;
    }
    int doImmediateWrite(Operation* op, const std::string& target) override {
        calls.push_back("write " + op->getName() + " " + target);
        return status;
    }
    int doImmediateWrite(const InputMsg* msg) override {
        calls.push_back("write " + msg->getFullName());
        return status;
    }

    // Declares a kind with the packet keys it accepts (none: any key).
    Operation& serve(const std::string& kind, std::initializer_list<const char*> categories = {}) {
        m_prototypes.emplace_back(new Operation(kind, kind));
        for (const char* category : categories) {
            m_prototypes.back()->addCategory(category);
        }
        addOperation(m_prototypes.back().get());
        return *m_prototypes.back();
    }

    std::vector<std::string> calls;
    int status = 0;

  private:
    std::vector<std::unique_ptr<Operation>> m_prototypes;
};

}  // namespace pwr::test
