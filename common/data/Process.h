// Process, Thread and NameValuePair: handles whose cells print a number.
//
// A Process or Thread handle names an operating-system process or thread in
// tables (the cell prints its pid or tid); a NameValuePair names a numeric
// code with its meaning (the cell prints "value - name"). All three are
// registered handles owned by the registry. The process and thread registry
// that maps ids to handles is built on top of these by the collectors.
#pragma once

#include <cstdint>
#include <string>

#include "common/data/DataHandle.h"
#include "common/data/Description.h"
#include "common/runtime/Export.h"

namespace pwr {

class PWR_API ProcessDescription : public Description {
  public:
    ProcessDescription(uint32_t pid, const std::string& name);
    uint32_t getPid() const { return m_pid; }

  private:
    uint32_t m_pid;
};

class PWR_API ThreadDescription : public Description {
  public:
    ThreadDescription(uint32_t tid, uint32_t pid, const std::string& name);
    uint32_t getTid() const { return m_tid; }
    uint32_t getPid() const { return m_pid; }

  private:
    uint32_t m_tid;
    uint32_t m_pid;
};

class PWR_API Process : public DataHandle {
  public:
    static const Process* create(const ProcessDescription& description);
    uint32_t getPid() const { return m_pid; }

  private:
    explicit Process(const ProcessDescription& description);
    uint32_t m_pid;
};

class PWR_API Thread : public DataHandle {
  public:
    static const Thread* create(const ThreadDescription& description);
    uint32_t getTid() const { return m_tid; }
    uint32_t getPid() const { return m_pid; }

  private:
    explicit Thread(const ThreadDescription& description);
    uint32_t m_tid;
    uint32_t m_pid;
};

class PWR_API NameValuePair : public DataHandle {
  public:
    // valueDesc (what this value means) becomes the handle's name, infoName
    // (what kind of information it is) its field name.
    static const NameValuePair* create(unsigned int value, const std::string& infoName,
                                       const std::string& valueDesc);
    unsigned int getValue() const { return m_value; }

  private:
    NameValuePair(unsigned int value, const Description& description);
    unsigned int m_value;
};

}  // namespace pwr
