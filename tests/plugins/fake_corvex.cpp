// A stand-in for the Corvex driver library, loaded by the tests as a module.
//
// It exports the library's entry points (see common/plugins/CorvexApi.h) and
// fake_corvex_state(), through which the test decides what each entry point
// answers and reads back how it was called (see FakeCorvex.h). The version is
// always 5.4.3. FAKE_CORVEX_ENTRY_POINTS is a bit mask of the entry points this
// build exports (bit 0 Config_Event, 1 Get_Error_Message, 2 Get_Version,
// 3 Start_Collection, 4 Stop_Collection), so the same source also yields
// libraries that lack some of them.
//
// It links nothing but the C++ runtime: the code under test must find it only
// through the module loader.
#include <cstdio>

#include "common/plugins/CorvexApi.h"
#include "tests/plugins/FakeCorvex.h"

#if defined(_WIN32)
#define FAKE_CORVEX_EXPORT extern "C" __declspec(dllexport)
#else
#define FAKE_CORVEX_EXPORT extern "C" __attribute__((visibility("default")))
#endif

#ifndef FAKE_CORVEX_ENTRY_POINTS
#define FAKE_CORVEX_ENTRY_POINTS 0x1F
#endif

namespace {

FakeCorvexState& state() {
    static FakeCorvexState s;
    return s;
}

[[maybe_unused]] int answer(FakeCorvexState::EntryPoint which) {
    ++state().calls[which];
    return state().status[which];
}

}  // namespace

FAKE_CORVEX_EXPORT FakeCorvexState* fake_corvex_state(void) {
    return &state();
}

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x01
FAKE_CORVEX_EXPORT int CORVEX_Config_Event(const char* configFileName) {
    std::snprintf(state().lastConfig, sizeof state().lastConfig, "%s",
                  configFileName != nullptr ? configFileName : "(null)");
    return answer(FakeCorvexState::kConfig);
}
#endif

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x02
FAKE_CORVEX_EXPORT int CORVEX_Get_Error_Message(char* buffer, unsigned int size) {
    const int status = answer(FakeCorvexState::kError);
    if (buffer != nullptr && size > 0) {
        std::snprintf(buffer, size, "%s", state().errorText);
    }
    return status;
}
#endif

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x04
FAKE_CORVEX_EXPORT int CORVEX_Get_Version(unsigned int* major, unsigned int* minor,
                                          unsigned int* patch) {
    const int status = answer(FakeCorvexState::kVersion);
    if (status == 0) {
        *major = 5;
        *minor = 4;
        *patch = 3;
    }
    return status;
}
#endif

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x08
FAKE_CORVEX_EXPORT int CORVEX_Start_Collection(void) {
    return answer(FakeCorvexState::kStart);
}
#endif

#if (FAKE_CORVEX_ENTRY_POINTS) & 0x10
FAKE_CORVEX_EXPORT int CORVEX_Stop_Collection(void) {
    return answer(FakeCorvexState::kStop);
}
#endif
