// What the stand-in Corvex library (fake_corvex.cpp) answers and records.
//
// Each build of the stand-in keeps one FakeCorvexState and exports
// fake_corvex_state(), which returns it: a test sets the answers there and
// reads back how the entry points were called. Plain data only, so that the
// test program and the module agree on it without linking each other.
#pragma once

struct FakeCorvexState {
    enum EntryPoint { kConfig, kError, kVersion, kStart, kStop, kEntryPointCount };

    // What each entry point returns (0 is success).
    int status[kEntryPointCount] = {};
    // How often each entry point was called.
    int calls[kEntryPointCount] = {};
    // What CORVEX_Get_Error_Message copies out, cut to the caller's buffer.
    char errorText[4096] = "fake failure";
    // The configuration file name of the last CORVEX_Config_Event call.
    char lastConfig[256] = {};
};

// The name of the exported function that returns the state.
#define FAKE_CORVEX_STATE_NAME "fake_corvex_state"
typedef FakeCorvexState* (*FakeCorvexStateFn)();
