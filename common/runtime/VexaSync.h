// Platform layer of the worker thread (VexaThread): a mutex, an auto-reset
// event, and a thread that can be bound to one logical processor.
//
// Windows: CreateMutexA, CreateEventA (auto-reset), SetEvent,
// WaitForSingleObject, _beginthreadex, SetThreadGroupAffinity,
// GetThreadGroupAffinity, CloseHandle. POSIX: pthread mutexes, an event built
// from a mutex, a condition variable and a flag, pthread_create and
// pthread_setaffinity_np.
//
// Handles are opaque: a Win32 HANDLE on Windows, a heap object elsewhere; null
// means "none". Whoever creates a handle closes it with the matching close
// function, once, after every other user of it is done.
//
// Threads: every operation on a live handle may be called from any thread,
// except that one thread handle must not be waited for by two threads at once.
// These functions are internal to the library and not exported.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pwr {

using VexaMutexHandle = void*;
using VexaEventHandle = void*;
using VexaThreadHandle = void*;

// Null on failure.
VexaMutexHandle createVexaMutex();
// Waits without limit. False when the handle is unusable.
bool lockVexaMutex(VexaMutexHandle mutex);
bool unlockVexaMutex(VexaMutexHandle mutex);
bool closeVexaMutex(VexaMutexHandle mutex);

// An auto-reset event, initially not signalled: setting it releases exactly
// one waiter (or the next one to come), and the wait consumes the signal.
// Null on failure.
VexaEventHandle createVexaEvent();
bool setVexaEvent(VexaEventHandle event);
// Waits without limit. False when the handle is unusable.
bool waitVexaEvent(VexaEventHandle event);
bool closeVexaEvent(VexaEventHandle event);

// A thread's entry point; its result becomes the thread's exit code where the
// system keeps one.
using VexaThreadEntry = unsigned (*)(void* arg);

// Starts a thread running entry(arg). On failure returns null and sets errnum
// to the C library's error number (an errno value).
VexaThreadHandle startVexaThread(VexaThreadEntry entry, void* arg, int* errnum);
// Binds the thread to the one logical processor `number` of processor group
// `group`. Linux has no groups: processor group * 64 + number is meant. On
// failure sets error to the system's error code.
bool bindVexaThread(VexaThreadHandle thread, uint16_t group, uint8_t number, unsigned* error);
// Reads the thread's processor affinity back; only success matters.
bool queryVexaThreadAffinity(VexaThreadHandle thread, unsigned* error);
// Waits without limit for the thread to end.
bool waitVexaThread(VexaThreadHandle thread);
// Releases the handle (a thread that has not been waited for keeps running,
// detached). On failure sets error to the system's error code.
bool closeVexaThread(VexaThreadHandle thread, unsigned* error);
// Whether a close error says that the handle was not a valid one.
bool isInvalidVexaHandleError(unsigned error);

// The C library's description of an errno value, in buffer. False when none
// can be had.
bool describeVexaError(int errnum, char* buffer, size_t size);

}  // namespace pwr
