#include "common/runtime/VexaSync.h"

#include <windows.h>
#include <process.h>

#include <cerrno>
#include <cstring>

namespace pwr {

namespace {

HANDLE toHandle(void* handle) {
    return static_cast<HANDLE>(handle);
}

}  // namespace

VexaMutexHandle createVexaMutex() {
    return CreateMutexA(nullptr, FALSE, nullptr);
}

bool lockVexaMutex(VexaMutexHandle mutex) {
    if (mutex == nullptr) {
        return false;
    }
    // An abandoned mutex (its owner ended while holding it) is still ours now.
    const DWORD rc = WaitForSingleObject(toHandle(mutex), INFINITE);
    return rc == WAIT_OBJECT_0 || rc == WAIT_ABANDONED;
}

bool unlockVexaMutex(VexaMutexHandle mutex) {
    return mutex != nullptr && ReleaseMutex(toHandle(mutex)) != 0;
}

bool closeVexaMutex(VexaMutexHandle mutex) {
    return mutex != nullptr && CloseHandle(toHandle(mutex)) != 0;
}

VexaEventHandle createVexaEvent() {
    // Auto-reset, initially not signalled.
    return CreateEventA(nullptr, FALSE, FALSE, nullptr);
}

bool setVexaEvent(VexaEventHandle event) {
    return event != nullptr && SetEvent(toHandle(event)) != 0;
}

bool waitVexaEvent(VexaEventHandle event) {
    return event != nullptr && WaitForSingleObject(toHandle(event), INFINITE) == WAIT_OBJECT_0;
}

bool closeVexaEvent(VexaEventHandle event) {
    return event != nullptr && CloseHandle(toHandle(event)) != 0;
}

VexaThreadHandle startVexaThread(VexaThreadEntry entry, void* arg, int* errnum) {
    // _beginthreadex rather than CreateThread, so that the C runtime sets up
    // its per-thread state; returning from the entry ends the thread through
    // _endthreadex. On x86-64 the __stdcall of its entry type is the one
    // calling convention there is.
    errno = 0;
    const uintptr_t thread = _beginthreadex(nullptr, 0, entry, arg, 0, nullptr);
    if (thread == 0) {
        *errnum = errno != 0 ? errno : EAGAIN;
        return nullptr;
    }
    return reinterpret_cast<VexaThreadHandle>(thread);
}

bool bindVexaThread(VexaThreadHandle thread, uint16_t group, uint8_t number, unsigned* error) {
    GROUP_AFFINITY affinity;
    std::memset(&affinity, 0, sizeof(affinity));
    affinity.Group = group;
    // A number beyond the mask leaves it empty, which the system refuses.
    affinity.Mask = number < 64 ? static_cast<KAFFINITY>(1) << number : 0;
    if (SetThreadGroupAffinity(toHandle(thread), &affinity, nullptr) == 0) {
        *error = GetLastError();
        return false;
    }
    return true;
}

bool queryVexaThreadAffinity(VexaThreadHandle thread, unsigned* error) {
    GROUP_AFFINITY affinity;
    if (GetThreadGroupAffinity(toHandle(thread), &affinity) == 0) {
        *error = GetLastError();
        return false;
    }
    return true;
}

bool waitVexaThread(VexaThreadHandle thread) {
    return thread != nullptr && WaitForSingleObject(toHandle(thread), INFINITE) == WAIT_OBJECT_0;
}

bool closeVexaThread(VexaThreadHandle thread, unsigned* error) {
    if (thread == nullptr || CloseHandle(toHandle(thread)) == 0) {
        *error = thread == nullptr ? ERROR_INVALID_HANDLE : GetLastError();
        return false;
    }
    return true;
}

bool isInvalidVexaHandleError(unsigned error) {
    return error == ERROR_INVALID_HANDLE;
}

bool describeVexaError(int errnum, char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) {
        return false;
    }
    buffer[0] = '\0';
    return strerror_s(buffer, size, errnum) == 0 && buffer[0] != '\0';
}

}  // namespace pwr
