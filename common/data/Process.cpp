#include "common/data/Process.h"

namespace pwr {

ProcessDescription::ProcessDescription(uint32_t pid, const std::string& name)
    : Description(DescriptionType::PROCESS, name, ""), m_pid(pid) {}

ThreadDescription::ThreadDescription(uint32_t tid, uint32_t pid, const std::string& name)
    : Description(DescriptionType::THREAD, name, ""), m_tid(tid), m_pid(pid) {}

Process::Process(const ProcessDescription& description)
    : DataHandle(description, DataHandleType::PROCESS), m_pid(description.getPid()) {}

const Process* Process::create(const ProcessDescription& description) {
    Process* p = new Process(description);
    register_i(p);
    return p;
}

Thread::Thread(const ThreadDescription& description)
    : DataHandle(description, DataHandleType::THREAD),
      m_tid(description.getTid()),
      m_pid(description.getPid()) {}

const Thread* Thread::create(const ThreadDescription& description) {
    Thread* t = new Thread(description);
    register_i(t);
    return t;
}

NameValuePair::NameValuePair(unsigned int value, const Description& description)
    : DataHandle(description, DataHandleType::NAME_VALUE_PAIR), m_value(value) {}

const NameValuePair* NameValuePair::create(unsigned int value, const std::string& infoName,
                                           const std::string& valueDesc) {
    // A cell prints "value - name", so the name is the meaning of this value
    // (valueDesc); the kind of information it belongs to is the field name.
    Description d(valueDesc, "");
    d.setFieldName(infoName);
    NameValuePair* n = new NameValuePair(value, d);
    register_i(n);
    return n;
}

}  // namespace pwr
