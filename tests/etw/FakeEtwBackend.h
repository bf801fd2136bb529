// A scripted stand-in for the event tracing system calls. It records every
// call as a line of text and answers with queued status codes (0 once the
// queue of a call is empty). Installed for the lifetime of the object.
#pragma once

#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "common/etw/EtwBackend.h"

class FakeEtwBackend : public EtwBackend {
  public:
    FakeEtwBackend() { setEtwBackend(this); }
    ~FakeEtwBackend() override { setEtwBackend(nullptr); }

    bool isSupported() const override { return true; }
    std::string errorText(unsigned long code) const override {
        return "error " + std::to_string(code);
    }
    unsigned long startTrace(uint64_t* handle, const std::string& name,
                             std::vector<uint8_t>& properties) override {
        *handle = 42;
        startedBlocks.push_back(properties);
        return record("start " + name, "start");
    }
    unsigned long controlTrace(uint64_t handle, const std::string& name,
                               std::vector<uint8_t>& properties, uint32_t code) override {
        if (code == c_etwControlQuery && properties.size() > 92) {
            std::memcpy(properties.data() + 88, &eventsLost, sizeof(eventsLost));
        }
        return record("control " + std::to_string(handle) + " " + name + " " + std::to_string(code),
                      "control");
    }
    unsigned long enableTrace(uint64_t handle, const EtwGuid& provider, uint32_t code,
                              uint8_t level, uint64_t keywords) override {
        return record("enable " + std::to_string(handle) + " " + etwGuidToString(provider) + " " +
                          std::to_string(code) + " " + std::to_string(level) + " " +
                          std::to_string(keywords),
                      "enable");
    }
    unsigned long openTrace(const std::string& file, EtwEventCallback callback, uint64_t* handle,
                            EtwLogfileInfo* info) override {
        *handle = 7;
        *info = logfileInfo;
        m_callback = std::move(callback);
        return record("open " + file, "open");
    }
    unsigned long processTrace(uint64_t handle) override {
        EtwEventRecord event;
        for (const std::vector<uint8_t>& payload : events) {
            event.userData = payload.data();
            event.userDataLength = static_cast<uint16_t>(payload.size());
            if (m_callback) {
                m_callback(event);
            }
        }
        return record("process " + std::to_string(handle), "process");
    }
    unsigned long closeTrace(uint64_t handle) override {
        return record("close " + std::to_string(handle), "close");
    }
    unsigned long enumerateProviders(void* buffer, uint32_t* size) override {
        record("enumerate", "enumerate-record");
        if (buffer == nullptr || *size < providerInfo.size()) {
            *size = static_cast<uint32_t>(providerInfo.size());
            return c_etwErrorInsufficientBuffer;
        }
        std::memcpy(buffer, providerInfo.data(), providerInfo.size());
        return next("enumerate");
    }
    bool loadMergeLibrary(const std::string& path) override {
        record("load " + path.substr(path.find_last_of("/\\") + 1), "load");
        return loadOk;
    }
    unsigned long createMergedTraceFile(const std::string& merged,
                                        const std::vector<std::string>& files) override {
        std::string line = "merge " + merged;
        for (const std::string& f : files) {
            line += " " + f;
        }
        return record(line, "merge");
    }
    void unloadMergeLibrary() override { record("unload", "unload"); }
    unsigned long registerProvider(const EtwGuid& provider, uint64_t* handle) override {
        *handle = 9;
        return record("register " + etwGuidToString(provider), "register");
    }
    unsigned long writeEvent(uint64_t, const EtwEventDescriptor& d, uint32_t count,
                             const EtwDataDescriptor* data) override {
        std::vector<uint8_t> bytes;
        for (uint32_t i = 0; i < count; ++i) {
            const auto* p = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(data[i].ptr));
            bytes.insert(bytes.end(), p, p + data[i].size);
        }
        written.push_back(bytes);
        return record("write " + std::to_string(d.id) + " " + std::to_string(count), "write");
    }
    unsigned long unregisterProvider(uint64_t) override {
        return record("unregister", "unregister");
    }

    std::vector<std::string> calls() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls;
    }

    std::map<std::string, std::deque<unsigned long>> answers;
    std::vector<std::vector<uint8_t>> startedBlocks;
    std::vector<std::vector<uint8_t>> events;
    std::vector<std::vector<uint8_t>> written;
    std::vector<uint8_t> providerInfo;
    EtwLogfileInfo logfileInfo;
    uint32_t eventsLost = 0;
    bool loadOk = true;

  private:
    unsigned long next(const std::string& kind) {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::deque<unsigned long>& queue = answers[kind];
        if (queue.empty()) {
            return 0;
        }
        const unsigned long status = queue.front();
        queue.pop_front();
        return status;
    }
    unsigned long record(const std::string& line, const std::string& kind) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_calls.push_back(line);
        }
        return next(kind);
    }

    mutable std::mutex m_mutex;
    std::vector<std::string> m_calls;
    EtwEventCallback m_callback;
};
