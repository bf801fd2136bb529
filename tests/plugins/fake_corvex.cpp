// A stand-in for the Corvex driver library, loaded by the tests as a module.
//
// It exports the library's entry points (see common/plugins/CorvexApi.h) and a
// few fake_corvex_* functions through which the test decides what each entry
// point answers and reads back how it was called. FAKE_CORVEX_ENTRY_POINTS is
// a bit mask of the entry points this build exports (bit 0 Config_Event,
// 1 Get_Error_Message, 2 Get_Version, 3 Start_Collection, 4 Stop_Collection),
// so the same source also yields libraries that lack some of them.
//
// It links nothing but the C++ runtime: the code under test must find it only
// through the module loader.
#include <algorithm>
#include <cstring>
#include <string>

#include "common/plugins/CorvexApi.h"

#if defined(_WIN32)
#define FAKE_CORVEX_EXPORT extern "C" __declspec(dllexport)
#else
#define FAKE_CORVEX_EXPORT extern "C" __attribute__((visibility("default")))
#endif

#ifndef FAKE_CORVEX_ENTRY_POINTS
#define FAKE_CORVEX_ENTRY_POINTS 0x1F
#endif

namespace {

enum EntryPoint { kConfig, kError, kVersion, kStart, kStop, kEntryPointCount };

const char* const kNames[kEntryPointCount] = {
    CORVEX_CONFIG_EVENT_NAME, CORVEX_GET_ERROR_MESSAGE_NAME, CORVEX_GET_VERSION_NAME,
    CORVEX_START_COLLECTION_NAME, CORVEX_STOP_COLLECTION_NAME};

struct State {
    int status[kEntryPointCount] = {};
    int calls[kEntryPointCount] = {};
    std::string errorText = "fake failure";
    std::string lastConfig;
    unsigned int version[3] = {5, 4, 3};
};

State& state() {
    static State s;
    return s;
}

int indexOf(const char* entryPoint) {
    for (int i = 0; i < kEntryPointCount; ++i) {
        if (entryPoint != nullptr && std::strcmp(entryPoint, kNames[i]) == 0) {
            return i;
        }
    }
    return -1;
}

[[maybe_unused]] int answer(EntryPoint which) {
    ++state().calls[which];
    return state().status[which];
}

}  // namespace

// --- Control.

// Every entry point answers 0 again, counters and the last configuration name
// are cleared, the error text is "fake failure" and the version 5.4.3.
FAKE_CORVEX_EXPORT void fake_corvex_reset(void) {
    state() = State();
}

// What the named entry point returns from now on. False for an unknown name.
FAKE_CORVEX_EXPORT int fake_corvex_set_status(const char* entryPoint, int status) {
    const int i = indexOf(entryPoint);
    if (i < 0) {
        return 0;
    }
    state().status[i] = status;
    return 1;
}

FAKE_CORVEX_EXPORT void fake_corvex_set_error_text(const char* text) {
    state().errorText = text != nullptr ? text : "";
}

FAKE_CORVEX_EXPORT void fake_corvex_set_version(unsigned int major, unsigned int minor,
                                                unsigned int patch) {
    state().version[0] = major;
    state().version[1] = minor;
    state().version[2] = patch;
}

// How often the named entry point was called; -1 for an unknown name.
FAKE_CORVEX_EXPORT int fake_corvex_calls(const char* entryPoint) {
    const int i = indexOf(entryPoint);
    return i < 0 ? -1 : state().calls[i];
}

// The configuration file name of the last CORVEX_Config_Event call.
FAKE_CORVEX_EXPORT const char* fake_corvex_last_config(void) {
    return state().lastConfig.c_str();
}

// --- The library's entry points.

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x01
FAKE_CORVEX_EXPORT int CORVEX_Config_Event(const char* configFileName) {
    state().lastConfig = configFileName != nullptr ? configFileName : "(null)";
    return answer(kConfig);
}
#endif

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x02
FAKE_CORVEX_EXPORT int CORVEX_Get_Error_Message(char* buffer, unsigned int size) {
    const int status = answer(kError);
    if (buffer != nullptr && size > 0) {
        const size_t length = std::min<size_t>(state().errorText.size(), size - 1);
        std::memcpy(buffer, state().errorText.data(), length);
        buffer[length] = '\0';
    }
    return status;
}
#endif

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x04
FAKE_CORVEX_EXPORT int CORVEX_Get_Version(unsigned int* major, unsigned int* minor,
                                          unsigned int* patch) {
    const int status = answer(kVersion);
    if (status == 0) {
        *major = state().version[0];
        *minor = state().version[1];
        *patch = state().version[2];
    }
    return status;
}
#endif

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x08
FAKE_CORVEX_EXPORT int CORVEX_Start_Collection(void) {
    return answer(kStart);
}
#endif

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x10
FAKE_CORVEX_EXPORT int CORVEX_Stop_Collection(void) {
    return answer(kStop);
}
#endif
