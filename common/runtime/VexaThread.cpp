#include "common/runtime/VexaThread.h"

#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "common/runtime/Log.h"
#include "common/runtime/VexaSync.h"
#include "common/serialize/Serializer.h"

namespace pwr {

namespace {

const char* const c_tag = "vexathread";

constexpr size_t c_headerSize = 4 * sizeof(uint32_t);
constexpr uint32_t c_maxPayload = 1048576;
constexpr uint32_t c_responseRequired = 0x80000000u;
constexpr uint32_t c_idMask = 0x7FFFFFFFu;
constexpr uint32_t c_dieKind = 0xFFFFFFFFu;

// Atomic, so that any number of senders can draw ids at once.
std::atomic<uint32_t> g_lastMessageId{0};

// The counter's next value, masked to 31 bits. 0 is skipped when the counter
// wraps: it would read as "no response required".
uint32_t nextMessageId() {
    for (;;) {
        const uint32_t id =
            (g_lastMessageId.fetch_add(1, std::memory_order_relaxed) + 1) & c_idMask;
        if (id != 0) {
            return id;
        }
    }
}

using Block = std::vector<char>;

}  // namespace

// One direction of traffic: a queue of owned byte blocks, a mutex guarding it
// and an auto-reset event announcing it. Each channel has one reader at a
// time: the worker for requests; for responses, whichever waiter currently
// reads for all of them (see readResponse).
class VexaThread::Channel {
  public:
    explicit Channel(bool requests) : m_requests(requests) {}
    ~Channel() { close(); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    // Creates the mutex and the event, dropping whatever was there before.
    bool open();
    // Frees the queued blocks and closes the handles.
    void close();

    // A whole message: the header as one block and a non-empty payload as a
    // second one. header[3] is the payload size.
    bool writeMessage(const uint32_t* header, const void* payload);
    // Reads a whole message. The header lands in header; when message is
    // given, it receives the header followed by the payload.
    bool readMessage(uint32_t* header, Serializer* message);

  private:
    // What a read took from the queue.
    enum class Taken { NOTHING, HEADER, MESSAGE };

    bool writeRequest_i(Block* blocks, size_t count) {
        return write_i("pwr::VexaThread::Channel::writeRequest_i", blocks, count);
    }
    Taken readRequest_i(Block& header, Block& payload, size_t& lengthAfterHeader) {
        return read_i("pwr::VexaThread::Channel::readRequest_i", header, payload,
                      lengthAfterHeader);
    }
    bool writeResponse_i(Block* blocks, size_t count) {
        return write_i("pwr::VexaThread::Channel::writeResponse_i", blocks, count);
    }
    Taken readResponse_i(Block& header, Block& payload, size_t& lengthAfterHeader) {
        return read_i("pwr::VexaThread::Channel::readResponse_i", header, payload,
                      lengthAfterHeader);
    }
    const char* readerName_i() const {
        return m_requests ? "pwr::VexaThread::Channel::readRequest_i"
                          : "pwr::VexaThread::Channel::readResponse_i";
    }

    bool write_i(const char* where, Block* blocks, size_t count);
    Taken read_i(const char* where, Block& header, Block& payload, size_t& lengthAfterHeader);

    const bool m_requests;
    VexaMutexHandle m_mutex = nullptr;
    VexaEventHandle m_event = nullptr;
    std::deque<Block> m_blocks;
    // The queue length for the log lines, readable without the mutex.
    std::atomic<size_t> m_length{0};
};

bool VexaThread::Channel::open() {
    close();
    m_mutex = createVexaMutex();
    m_event = createVexaEvent();
    if (m_mutex == nullptr || m_event == nullptr) {
        close();
        return false;
    }
    return true;
}

void VexaThread::Channel::close() {
    m_blocks.clear();
    m_length = 0;
    if (m_mutex != nullptr) {
        closeVexaMutex(m_mutex);
        m_mutex = nullptr;
    }
    if (m_event != nullptr) {
        closeVexaEvent(m_event);
        m_event = nullptr;
    }
}

// The blocks of one call go in under one hold of the mutex: with several
// senders, a header must never be separated from its payload.
bool VexaThread::Channel::write_i(const char* where, Block* blocks, size_t count) {
    size_t lengths[2] = {0, 0};
    if (count > 2 || !lockVexaMutex(m_mutex)) {
        return false;
    }
    const bool wasEmpty = m_blocks.empty();
    size_t added = 0;
    try {
        for (; added < count; ++added) {
            m_blocks.push_back(std::move(blocks[added]));
            lengths[added] = m_blocks.size();
        }
    } catch (const std::bad_alloc&) {
        for (; added > 0; --added) {
            m_blocks.pop_back();
        }
        unlockVexaMutex(m_mutex);
        return false;
    }
    m_length = m_blocks.size();
    // A queue that was not empty has been announced already: the event is
    // still set, or its reader is on the way and signals again for what it
    // leaves behind. Each signal costs a system call (a server round trip
    // under Wine), so it is not repeated.
    const bool signalled = !wasEmpty || setVexaEvent(m_event);
    unlockVexaMutex(m_mutex);
    for (size_t i = 0; i < count; ++i) {
        pwLogTagged(c_tag, PW_INFO, "INFO: Inside %s, new socket pair size is %zu\n", where,
                    lengths[i]);
    }
    return signalled;
}

// A message's blocks are queued together, so the payload is taken with its
// header under the same hold of the mutex and with one wait for the event.
// A payload above the limit is left where it is.
VexaThread::Channel::Taken VexaThread::Channel::read_i(const char* where, Block& header,
                                                       Block& payload, size_t& lengthAfterHeader) {
    pwLogTagged(c_tag, PW_INFO, "INFO: Inside %s, socket pair size is %zu\n", where,
                m_length.load());
    if (!waitVexaEvent(m_event)) {
        return Taken::NOTHING;
    }
    if (!lockVexaMutex(m_mutex)) {
        return Taken::NOTHING;
    }
    // Every write to an empty queue signals, and a reader that leaves blocks
    // behind signals again, so the queue is not empty here; the check guards
    // against misuse.
    Taken taken = Taken::NOTHING;
    bool signalled = true;
    if (!m_blocks.empty()) {
        header = std::move(m_blocks.front());
        m_blocks.pop_front();
        lengthAfterHeader = m_blocks.size();
        taken = Taken::HEADER;
        uint32_t payloadSize = 0;
        if (header.size() == c_headerSize) {
            std::memcpy(&payloadSize, header.data() + 3 * sizeof(uint32_t), sizeof(payloadSize));
        }
        if (payloadSize == 0) {
            taken = Taken::MESSAGE;
        } else if (payloadSize <= c_maxPayload && !m_blocks.empty()) {
            payload = std::move(m_blocks.front());
            m_blocks.pop_front();
            taken = Taken::MESSAGE;
        }
        m_length = m_blocks.size();
        if (!m_blocks.empty()) {
            signalled = setVexaEvent(m_event);
        }
    }
    unlockVexaMutex(m_mutex);
    return signalled ? taken : Taken::NOTHING;
}

bool VexaThread::Channel::writeMessage(const uint32_t* header, const void* payload) {
    const char* const headerWarning = m_requests
                                          ? "WARNING: couldn't write request message header!\n"
                                          : "WARNING: couldn't write response message header!\n";
    const char* const payloadWarning = m_requests
                                           ? "WARNING: couldn't write request message payload!\n"
                                           : "WARNING: couldn't write response message payload!\n";
    const uint32_t payloadSize = header[3];
    Block blocks[2];
    size_t count = 1;
    try {
        const char* bytes = reinterpret_cast<const char*>(header);
        blocks[0].assign(bytes, bytes + c_headerSize);
    } catch (const std::bad_alloc&) {
        pwLog(PW_WARNING, "%s", headerWarning);
        return false;
    }
    if (payloadSize != 0) {
        if (payload == nullptr) {
            pwLog(PW_WARNING, "%s", payloadWarning);
            return false;
        }
        try {
            const char* bytes = static_cast<const char*>(payload);
            blocks[1].assign(bytes, bytes + payloadSize);
        } catch (const std::bad_alloc&) {
            pwLog(PW_WARNING, "%s", payloadWarning);
            return false;
        }
        count = 2;
    }
    const bool written =
        m_requests ? writeRequest_i(blocks, count) : writeResponse_i(blocks, count);
    if (!written) {
        pwLog(PW_WARNING, "%s", headerWarning);
        return false;
    }
    if (!m_requests) {
        pwLogTagged(c_tag, PW_INFO, "INFO: OK, wrote response header\n");
    }
    return true;
}

bool VexaThread::Channel::readMessage(uint32_t* header, Serializer* message) {
    Block head;
    Block payload;
    size_t lengthAfterHeader = 0;
    const Taken taken = m_requests ? readRequest_i(head, payload, lengthAfterHeader)
                                   : readResponse_i(head, payload, lengthAfterHeader);
    if (taken == Taken::NOTHING || head.size() != c_headerSize) {
        pwLog(PW_WARNING, m_requests ? "WARNING: couldn't read request message header!\n"
                                     : "WARNING: couldn't read response message header!\n");
        return false;
    }
    std::memcpy(header, head.data(), c_headerSize);
    const uint32_t payloadSize = header[3];
    pwLogTagged(c_tag, PW_INFO, "INFO: OK, read payload size = %u\n", payloadSize);
    if (payloadSize > c_maxPayload) {
        pwLog(PW_WARNING, "WARNING: invalid payload size %u received!\n", payloadSize);
        return false;
    }
    if (payloadSize != 0) {
        pwLogTagged(c_tag, PW_INFO, "INFO: Inside %s, socket pair size is %zu\n", readerName_i(),
                    lengthAfterHeader);
        if (taken != Taken::MESSAGE || payload.size() != payloadSize) {
            pwLog(PW_WARNING, m_requests ? "WARNING: couldn't read request message payload!\n"
                                         : "WARNING: couldn't read response message payload!\n");
            return false;
        }
    }
    if (message != nullptr) {
        *message = Serializer(c_headerSize + payloadSize);
        message->write_to(header, c_headerSize);
        message->write_to(payload.data(), payloadSize);
    }
    return true;
}

// The threads waiting in readResponse. One of them at a time reads the
// response channel; a response it reads for another waiter is handed over
// through that waiter's slot, and a response nobody waits for is dropped.
// A waiter sleeps on an auto-reset event of its own, so that a response wakes
// only the thread it is for; an event keeps a signal that comes before the
// wait. The events are pooled for the life of the thread object.
struct VexaThread::Waiters {
    struct Slot {
        bool delivered = false;
        int result = 0;
        // Set once the waiter sleeps; a blocking sender registers its slot
        // before its request is even queued.
        VexaEventHandle wake = nullptr;
    };

    Waiters() = default;
    Waiters(const Waiters&) = delete;
    Waiters& operator=(const Waiters&) = delete;
    ~Waiters() {
        for (VexaEventHandle event : spare) {
            closeVexaEvent(event);
        }
    }

    VexaEventHandle takeEvent_i() {
        if (spare.empty()) {
            return createVexaEvent();
        }
        VexaEventHandle event = spare.back();
        spare.pop_back();
        return event;
    }

    // Removes the waiter's slot, keeping its event for the next one. An event
    // may come back still signalled: its next owner just looks once more.
    void leave_i(int id) {
        auto slot = slots.find(id);
        if (slot == slots.end()) {
            return;
        }
        if (slot->second.wake != nullptr) {
            try {
                spare.push_back(slot->second.wake);
            } catch (const std::bad_alloc&) {
                closeVexaEvent(slot->second.wake);
            }
        }
        slots.erase(slot);
    }

    // Lets one sleeping waiter other than `leaving` take over the reading.
    void handOver_i(int leaving) {
        for (auto& entry : slots) {
            if (entry.first != leaving && !entry.second.delivered && entry.second.wake != nullptr) {
                setVexaEvent(entry.second.wake);
                return;
            }
        }
    }

    std::mutex mutex;
    bool reading = false;
    std::map<int, Slot> slots;
    std::vector<VexaEventHandle> spare;
};

VexaThreadActor::~VexaThreadActor() = default;

int VexaThreadActor::onDie() {
    return 0;
}

int VexaThreadActor::initialize() {
    return 0;
}

VexaThread::VexaThread(VexaThreadActor& actor, const PROCESSOR_NUMBER* processor, void (*onExit)())
    : m_actor(actor),
      m_state(VexaThreadState::CREATED),
      m_requests(new Channel(true)),
      m_responses(new Channel(false)),
      m_threadHandle(nullptr),
      m_bound(processor != nullptr),
      m_processor(),
      m_onExit(onExit),
      m_waiters(new Waiters()) {
    if (processor != nullptr) {
        m_processor = *processor;
    }
}

VexaThread::~VexaThread() {
    destroy_i();
}

void VexaThread::destroy_i() {
    // The worker uses the channels until it returns: stop it first rather
    // than pull them away underneath it. The die request wants no answer: a
    // worker that is ending by itself right now would never give one.
    if (m_threadHandle != nullptr) {
        if (getState_i() == VexaThreadState::RUNNING) {
            signal_i(-1, 0, 0, nullptr, false, false);
        }
        join();
    }
    m_requests->close();
    m_responses->close();
}

VexaThreadState VexaThread::getState_i() const {
    return m_state.load();
}

bool VexaThread::isRunning() const {
    return getState_i() == VexaThreadState::RUNNING;
}

bool VexaThread::isDead() const {
    return getState_i() == VexaThreadState::DEAD;
}

int VexaThread::init() {
    const VexaThreadState state = getState_i();
    if (state != VexaThreadState::CREATED && state != VexaThreadState::INITIALIZED) {
        pwLog(PW_WARNING, "WARNING: invalid thread state %u!\n", static_cast<unsigned>(state));
        return -1;
    }
    if (!m_requests->open() || !m_responses->open() || m_actor.initialize() != 0) {
        m_requests->close();
        m_responses->close();
        m_state = VexaThreadState::CREATED;
        return -1;
    }
    m_state = VexaThreadState::INITIALIZED;
    return 0;
}

int VexaThread::start() {
    const VexaThreadState state = getState_i();
    if (state != VexaThreadState::INITIALIZED) {
        pwLog(PW_WARNING, "WARNING: invalid thread state %u!\n", static_cast<unsigned>(state));
        return -1;
    }
    // Running before the worker exists: its first look at the state must
    // find it so.
    m_state = VexaThreadState::RUNNING;
    int errnum = 0;
    VexaThreadHandle handle = startVexaThread(&VexaThread::run, this, &errnum);
    if (handle == nullptr) {
        // Nothing was started; the owner may try again.
        m_state = VexaThreadState::INITIALIZED;
        pwLog(PW_WARNING, "WARNING: Thread creation failed.\n");
        char description[256];
        if (describeVexaError(errnum, description, sizeof(description))) {
            pwLog(PW_WARNING, "WARNING: %s: errnum=%d\n", description, errnum);
        } else {
            pwLog(PW_WARNING, "WARNING: strerror_s failed to get description of previous error\n");
        }
        return -1;
    }
    m_threadHandle = handle;
    if (m_bound) {
        unsigned error = 0;
        if (!bindVexaThread(handle, m_processor.Group, m_processor.Number, &error)) {
            pwLog(PW_WARNING, "WARNING: Thread affinity attempt failed. Error: %u!\n", error);
            return -1;
        }
        if (!queryVexaThreadAffinity(handle, &error)) {
            pwLog(PW_WARNING, "WARNING: Retrieving thread affinity info failed. Error: %u!\n",
                  error);
            return -1;
        }
    }
    return 0;
}

int VexaThread::signal(int command, bool requireResponse, bool block) {
    return signal_i(0, command, 0, nullptr, requireResponse, block);
}

int VexaThread::signal(int command, size_t payloadSize, const void* payload, bool requireResponse,
                       bool block) {
    return signal_i(0, command, payloadSize, payload, requireResponse, block);
}

int VexaThread::signal_i(int kind, int command, size_t payloadSize, const void* payload,
                         bool requireResponse, bool block) {
    if (block && !requireResponse) {
        pwLog(PW_WARNING, "WARNING: cannot block if you don't require a response!\n");
        block = false;
    }
    // The size must fit its header word; the worker refuses anything above
    // 1 MiB anyway.
    if (payloadSize > UINT32_MAX) {
        pwLog(PW_WARNING, "WARNING: write error\n");
        return -1;
    }
    const uint32_t id = requireResponse ? nextMessageId() : 0;
    const uint32_t header[4] = {requireResponse ? (c_responseRequired | id) : 0,
                                static_cast<uint32_t>(kind), static_cast<uint32_t>(command),
                                static_cast<uint32_t>(payloadSize)};
    // A blocking sender waits for its id before the request can be answered:
    // whoever is reading responses then keeps the answer for it instead of
    // dropping it.
    if (block) {
        std::lock_guard<std::mutex> lock(m_waiters->mutex);
        m_waiters->slots[static_cast<int>(id)];
    }
    if (!m_requests->writeMessage(header, payload)) {
        if (block) {
            std::lock_guard<std::mutex> lock(m_waiters->mutex);
            m_waiters->leave_i(static_cast<int>(id));
        }
        pwLog(PW_WARNING, "WARNING: write error\n");
        return -1;
    }
    if (!block) {
        return requireResponse ? static_cast<int>(id) : 0;
    }
    pwLogTagged(c_tag, PW_INFO, "INFO: waiting for response!\n");
    return readResponse(static_cast<int>(id));
}

int VexaThread::readResponse(int id) {
    Waiters& waiters = *m_waiters;
    std::unique_lock<std::mutex> lock(waiters.mutex);
    for (;;) {
        Waiters::Slot& mine = waiters.slots[id];
        if (mine.delivered) {
            const int result = mine.result;
            waiters.leave_i(id);
            return result;
        }
        if (waiters.reading) {
            if (mine.wake == nullptr) {
                mine.wake = waiters.takeEvent_i();
            }
            VexaEventHandle wake = mine.wake;
            lock.unlock();
            if (wake == nullptr || !waitVexaEvent(wake)) {
                // No usable event: look again after others had their turn.
                std::this_thread::yield();
            }
            lock.lock();
            continue;
        }
        waiters.reading = true;
        lock.unlock();
        uint32_t header[4] = {0, 0, 0, 0};
        const bool ok = m_responses->readMessage(header, nullptr);
        const int received = static_cast<int>(header[0] & c_idMask);
        if (ok) {
            pwLogTagged(c_tag, PW_INFO, "INFO: received msg id = %d (looking for id = %d) in %s\n",
                        received, id, "pwr::VexaThread::readResponse");
        }
        lock.lock();
        waiters.reading = false;
        if (!ok || received == id) {
            waiters.leave_i(id);
            waiters.handOver_i(id);
            if (!ok) {
                lock.unlock();
                pwLog(PW_WARNING, "WARNING: couldn't read response!\n");
                return -1;
            }
            return static_cast<int>(header[2]);
        }
        auto other = waiters.slots.find(received);
        if (other != waiters.slots.end()) {
            other->second.delivered = true;
            other->second.result = static_cast<int>(header[2]);
            if (other->second.wake != nullptr) {
                setVexaEvent(other->second.wake);
            }
        }
    }
}

int VexaThread::kill() {
    if (getState_i() == VexaThreadState::RUNNING) {
        return signal_i(-1, 0, 0, nullptr, true, true);
    }
    pwLog(PW_WARNING, "WARNING: killing a thread that isn't running?!\n");
    return -1;
}

int VexaThread::join() {
    if (m_threadHandle == nullptr) {
        return 0;
    }
    waitVexaThread(m_threadHandle);
    unsigned error = 0;
    if (!closeVexaThread(m_threadHandle, &error) && !isInvalidVexaHandleError(error)) {
        pwLog(PW_WARNING,
              "WARNING: failed to join VexaThread and close the thread handle, error=%u\n", error);
    }
    m_threadHandle = nullptr;
    return 0;
}

int VexaThread::timedJoin(long) {
    return join();
}

unsigned VexaThread::run(void* self) {
    return static_cast<unsigned>(static_cast<VexaThread*>(self)->run_i());
}

int VexaThread::run_i() {
    if (getState_i() != VexaThreadState::RUNNING) {
        return 0;
    }
    for (;;) {
        uint32_t header[4];
        Serializer message;
        if (!m_requests->readMessage(header, &message)) {
            // Nothing after this request can be trusted to start at a header.
            m_state = VexaThreadState::DEAD;
            return -1;
        }
        pwLogTagged(c_tag, PW_INFO, "INFO: received command = %d\n", static_cast<int>(header[2]));
        if (header[1] < c_dieKind) {
            const uint32_t payloadSize = header[3];
            const void* payload =
                payloadSize != 0 ? message.get_buffer().data() + c_headerSize : nullptr;
            int result = 0;
            const int rc =
                m_actor.handleRequest(static_cast<int>(header[2]), payloadSize, payload, &result);
            header[2] = static_cast<uint32_t>(result);
            if (rc == 1) {
                m_state = VexaThreadState::DEAD;
                if (m_onExit != nullptr) {
                    m_onExit();
                }
                pwLogTagged(c_tag, PW_INFO, "INFO: OK, thread exiting\n");
            }
        } else {
            pwLogTagged(c_tag, PW_INFO, "INFO: OK, told to die\n");
            m_state = VexaThreadState::DEAD;
            header[2] = static_cast<uint32_t>(m_actor.onDie());
        }
        header[3] = 0;  // responses carry no payload
        if ((header[0] & c_responseRequired) != 0) {
            pwLogTagged(c_tag, PW_INFO, "INFO: SYNC!\n");
            if (!m_responses->writeMessage(header, nullptr)) {
                pwLog(PW_WARNING, "WARNING: couldn't write response in run_i!\n");
            }
        }
        if (getState_i() != VexaThreadState::RUNNING) {
            return 0;
        }
    }
}

}  // namespace pwr
