// VexaThread: runs an actor on a thread of its own, optionally bound to one
// logical processor, and lets other threads send it numbered commands with an
// optional payload, fire-and-forget or with a response to wait for.
//
// Requests and responses travel through two one-way channels. Each is a queue
// of byte blocks guarded by a mutex and announced by an auto-reset event. A
// message is a header of four unsigned 32-bit words in native byte order,
// followed by its payload:
//
//   word  request                                     response
//   0     bit 31: response required; bits 30..0: id  the same word
//   1     0 for a command, 0xFFFFFFFF for "die"       the same word
//   2     command number                              result
//   3     payload size in bytes (at most 1 MiB)       0
//
// Ids come from one process-wide counter and are never 0 for a request that
// wants a response.
//
// Life: created --init--> initialised --start--> running --> dead. The worker
// ends (dead) when the actor's handleRequest returns 1, when it is told to die
// (kill), or when it cannot read a request (a payload above 1 MiB). A dead
// thread is not restarted.
//
// Ownership: the actor is not owned and must outlive the thread. The processor
// number is copied. Blocks still queued when the object is destroyed are freed
// then; a worker still running at that point is told to die (without waiting
// for an answer) and joined first.
//
// Threads: signal may be called from any number of threads, and several
// blocking senders may wait at once: each gets its own response. A response
// that arrives while nobody waits for its id is discarded, which can happen to
// the response of a non-blocking request when other threads read responses;
// use blocking requests there. A request to a thread that is dead is never
// answered; that includes a kill racing with an actor that stops the thread
// itself, so stop a thread one way or the other. init, start, kill, join and
// destruction belong to the owner; the worker must not join itself.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "common/runtime/Export.h"

#if defined(_WIN32)
#include <windows.h>  // PROCESSOR_NUMBER
#else
// Windows names a logical processor by its group (of at most 64) and its
// number within the group. Linux has one flat numbering: processor
// Group * 64 + Number is meant.
struct PROCESSOR_NUMBER {
    uint16_t Group;
    uint8_t Number;
    uint8_t Reserved;
};
#endif

namespace pwr {

enum class VexaThreadState : uint8_t {
    CREATED = 0,
    INITIALIZED = 1,
    RUNNING = 2,
    DEAD = 3,
};

// The work done on the thread. The order of the virtual operations is part of
// the binary interface with plug-ins.
class PWR_API VexaThreadActor {
  public:
    virtual ~VexaThreadActor();
    // Performs one command (on the worker thread) and stores the value to send
    // back in result. payload is null when payloadSize is 0; it is valid only
    // during the call. A return of 1 stops the thread after this command.
    virtual int handleRequest(int command, uint32_t payloadSize, const void* payload,
                              int* result) = 0;
    // Called on the worker thread when it is told to die; the value answers
    // the kill. Returns 0 unless overridden.
    virtual int onDie();
    // Called by VexaThread::init on the caller's thread; 0 means success.
    // Returns 0 unless overridden.
    virtual int initialize();
};

class PWR_API VexaThread {
  public:
    // processor: the logical processor to bind the thread to, or null. onExit:
    // called on the worker thread when the actor asks to stop, or null.
    explicit VexaThread(VexaThreadActor& actor, const PROCESSOR_NUMBER* processor = nullptr,
                        void (*onExit)() = nullptr);
    VexaThread(const VexaThread&) = delete;
    VexaThread& operator=(const VexaThread&) = delete;
    virtual ~VexaThread();

    // Creates the channels, then calls the actor's initialize(). 0 on success
    // (initialised); -1, with everything released, otherwise.
    int init();
    // Starts the worker (initialised state only). -1 when the thread cannot be
    // created, and also when it cannot be bound to its processor: it then
    // runs unbound, and kill stops it.
    int start();

    // Send a command. Without blocking: the id when a response is required,
    // else 0. With blocking (which requires a response): the handler's result.
    // -1 when the request cannot be queued.
    int signal(int command, bool requireResponse, bool block);
    int signal(int command, size_t payloadSize, const void* payload, bool requireResponse,
               bool block);
    // Waits for the response with this id and returns its result; -1 when a
    // response cannot be read.
    int readResponse(int id);

    // Tells a running worker to die and returns the actor's onDie() value; -1
    // in any other state.
    int kill();
    // Waits without limit for the worker to end and releases it. Always 0.
    int join();
    // Waits exactly like join: the time-out is ignored on purpose, because a
    // worker left running would use the object after its owner moved on.
    int timedJoin(long milliseconds);

    bool isRunning() const;
    bool isDead() const;

  private:
    class Channel;
    struct Waiters;

    static unsigned run(void* self);
    int run_i();
    int signal_i(int kind, int command, size_t payloadSize, const void* payload,
                 bool requireResponse, bool block);
    VexaThreadState getState_i() const;
    void destroy_i();

    VexaThreadActor& m_actor;
    std::atomic<VexaThreadState> m_state;
    std::unique_ptr<Channel> m_requests;
    std::unique_ptr<Channel> m_responses;
    void* m_threadHandle;
    bool m_bound;
    PROCESSOR_NUMBER m_processor;
    void (*m_onExit)();
    std::unique_ptr<Waiters> m_waiters;
};

}  // namespace pwr
