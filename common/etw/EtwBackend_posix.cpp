#include "common/etw/EtwBackend.h"

namespace {

// Event tracing is a Windows facility: every call is refused.
class PosixEtwBackend : public EtwBackend {
  public:
    bool isSupported() const override { return false; }
    std::string errorText(unsigned long code) const override {
        return code == c_etwErrorNotSupported ? "Event tracing is not supported on this platform"
                                              : "system error " + std::to_string(code);
    }
    unsigned long startTrace(uint64_t*, const std::string&, std::vector<uint8_t>&) override {
        return c_etwErrorNotSupported;
    }
    unsigned long controlTrace(uint64_t, const std::string&, std::vector<uint8_t>&,
                               uint32_t) override {
        return c_etwErrorNotSupported;
    }
    unsigned long enableTrace(uint64_t, const EtwGuid&, uint32_t, uint8_t, uint64_t) override {
        return c_etwErrorNotSupported;
    }
    unsigned long openTrace(const std::string&, EtwEventCallback, uint64_t*,
                            EtwLogfileInfo*) override {
        return c_etwErrorNotSupported;
    }
    unsigned long processTrace(uint64_t) override { return c_etwErrorNotSupported; }
    unsigned long closeTrace(uint64_t) override { return c_etwErrorNotSupported; }
    unsigned long enumerateProviders(void*, uint32_t*) override { return c_etwErrorNotSupported; }
    bool loadMergeLibrary(const std::string&) override { return false; }
    unsigned long createMergedTraceFile(const std::string&,
                                        const std::vector<std::string>&) override {
        return c_etwErrorNotSupported;
    }
    void unloadMergeLibrary() override {}
    unsigned long registerProvider(const EtwGuid&, uint64_t*) override {
        return c_etwErrorNotSupported;
    }
    unsigned long writeEvent(uint64_t, const EtwEventDescriptor&, uint32_t,
                             const EtwDataDescriptor*) override {
        return c_etwErrorNotSupported;
    }
    unsigned long unregisterProvider(uint64_t) override { return c_etwErrorNotSupported; }
};

}  // namespace

EtwBackend& systemEtwBackend() {
    static PosixEtwBackend backend;
    return backend;
}
