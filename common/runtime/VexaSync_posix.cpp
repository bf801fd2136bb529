#include "common/runtime/VexaSync.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace pwr {

namespace {

struct PosixEvent {
    pthread_mutex_t mutex;
    pthread_cond_t cond;
    bool signalled;
};

struct PosixThread {
    pthread_t id;
    bool joined;
};

struct StartArgs {
    VexaThreadEntry entry;
    void* arg;
};

// No real machine has this many logical processors; larger numbers are
// refused without asking the kernel (and without a huge CPU set).
constexpr size_t c_maxCpuIndex = 65536;

void* threadMain(void* p) {
    // The arguments belong to the new thread: the creator may already have
    // released the thread handle.
    const StartArgs args = *static_cast<StartArgs*>(p);
    delete static_cast<StartArgs*>(p);
    args.entry(args.arg);
    return nullptr;
}

// strerror_r is the GNU variant (returns the text) or the XSI one (fills the
// buffer, returns 0), depending on the C library and feature macros.
[[maybe_unused]] const char* strerrorResult(int rc, const char* buffer) {
    return rc == 0 ? buffer : nullptr;
}
[[maybe_unused]] const char* strerrorResult(const char* text, const char*) {
    return text;
}

}  // namespace

VexaMutexHandle createVexaMutex() {
    auto* mutex = new (std::nothrow) pthread_mutex_t;
    if (mutex == nullptr) {
        return nullptr;
    }
    if (pthread_mutex_init(mutex, nullptr) != 0) {
        delete mutex;
        return nullptr;
    }
    return mutex;
}

bool lockVexaMutex(VexaMutexHandle mutex) {
    return mutex != nullptr && pthread_mutex_lock(static_cast<pthread_mutex_t*>(mutex)) == 0;
}

bool unlockVexaMutex(VexaMutexHandle mutex) {
    return mutex != nullptr && pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex)) == 0;
}

bool closeVexaMutex(VexaMutexHandle mutex) {
    if (mutex == nullptr) {
        return false;
    }
    auto* m = static_cast<pthread_mutex_t*>(mutex);
    const bool ok = pthread_mutex_destroy(m) == 0;
    delete m;
    return ok;
}

VexaEventHandle createVexaEvent() {
    auto* event = new (std::nothrow) PosixEvent;
    if (event == nullptr) {
        return nullptr;
    }
    event->signalled = false;
    if (pthread_mutex_init(&event->mutex, nullptr) != 0) {
        delete event;
        return nullptr;
    }
    if (pthread_cond_init(&event->cond, nullptr) != 0) {
        pthread_mutex_destroy(&event->mutex);
        delete event;
        return nullptr;
    }
    return event;
}

bool setVexaEvent(VexaEventHandle handle) {
    auto* event = static_cast<PosixEvent*>(handle);
    if (event == nullptr || pthread_mutex_lock(&event->mutex) != 0) {
        return false;
    }
    event->signalled = true;
    // One waiter consumes the signal; waking more would only send the
    // others back to sleep.
    pthread_cond_signal(&event->cond);
    pthread_mutex_unlock(&event->mutex);
    return true;
}

bool waitVexaEvent(VexaEventHandle handle) {
    auto* event = static_cast<PosixEvent*>(handle);
    if (event == nullptr || pthread_mutex_lock(&event->mutex) != 0) {
        return false;
    }
    while (!event->signalled) {
        pthread_cond_wait(&event->cond, &event->mutex);
    }
    event->signalled = false;
    pthread_mutex_unlock(&event->mutex);
    return true;
}

bool closeVexaEvent(VexaEventHandle handle) {
    auto* event = static_cast<PosixEvent*>(handle);
    if (event == nullptr) {
        return false;
    }
    const bool ok =
        pthread_cond_destroy(&event->cond) == 0 && pthread_mutex_destroy(&event->mutex) == 0;
    delete event;
    return ok;
}

VexaThreadHandle startVexaThread(VexaThreadEntry entry, void* arg, int* errnum) {
    auto* thread = new (std::nothrow) PosixThread{};
    auto* args = new (std::nothrow) StartArgs{entry, arg};
    if (thread == nullptr || args == nullptr) {
        delete thread;
        delete args;
        *errnum = ENOMEM;
        return nullptr;
    }
    const int rc = pthread_create(&thread->id, nullptr, &threadMain, args);
    if (rc != 0) {
        delete thread;
        delete args;
        *errnum = rc;
        return nullptr;
    }
    return thread;
}

bool bindVexaThread(VexaThreadHandle handle, uint16_t group, uint8_t number, unsigned* error) {
    auto* thread = static_cast<PosixThread*>(handle);
    const size_t index = static_cast<size_t>(group) * 64 + number;
    if (thread == nullptr || index >= c_maxCpuIndex) {
        *error = EINVAL;
        return false;
    }
    cpu_set_t* set = CPU_ALLOC(index + 1);
    if (set == nullptr) {
        *error = ENOMEM;
        return false;
    }
    const size_t size = CPU_ALLOC_SIZE(index + 1);
    CPU_ZERO_S(size, set);
    CPU_SET_S(index, size, set);
    // The kernel refuses (EINVAL) a set that holds no processor it has.
    const int rc = pthread_setaffinity_np(thread->id, size, set);
    CPU_FREE(set);
    if (rc != 0) {
        *error = static_cast<unsigned>(rc);
        return false;
    }
    return true;
}

bool queryVexaThreadAffinity(VexaThreadHandle handle, unsigned* error) {
    auto* thread = static_cast<PosixThread*>(handle);
    if (thread == nullptr) {
        *error = EINVAL;
        return false;
    }
    // The set must be at least as large as the kernel's own.
    const size_t cpus = std::max<size_t>(CPU_SETSIZE, c_maxCpuIndex);
    cpu_set_t* set = CPU_ALLOC(cpus);
    if (set == nullptr) {
        *error = ENOMEM;
        return false;
    }
    const int rc = pthread_getaffinity_np(thread->id, CPU_ALLOC_SIZE(cpus), set);
    CPU_FREE(set);
    if (rc != 0) {
        *error = static_cast<unsigned>(rc);
        return false;
    }
    return true;
}

bool waitVexaThread(VexaThreadHandle handle) {
    auto* thread = static_cast<PosixThread*>(handle);
    if (thread == nullptr || thread->joined) {
        return thread != nullptr;
    }
    if (pthread_join(thread->id, nullptr) != 0) {
        return false;
    }
    thread->joined = true;
    return true;
}

bool closeVexaThread(VexaThreadHandle handle, unsigned* error) {
    auto* thread = static_cast<PosixThread*>(handle);
    if (thread == nullptr) {
        *error = ESRCH;
        return false;
    }
    int rc = 0;
    if (!thread->joined) {
        rc = pthread_detach(thread->id);
    }
    delete thread;
    if (rc != 0) {
        *error = static_cast<unsigned>(rc);
        return false;
    }
    return true;
}

bool isInvalidVexaHandleError(unsigned error) {
    return error == ESRCH;
}

bool describeVexaError(int errnum, char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) {
        return false;
    }
    buffer[0] = '\0';
    const char* text = strerrorResult(strerror_r(errnum, buffer, size), buffer);
    if (text == nullptr || text[0] == '\0') {
        return false;
    }
    if (text != buffer) {
        std::strncpy(buffer, text, size - 1);
        buffer[size - 1] = '\0';
    }
    return true;
}

}  // namespace pwr
