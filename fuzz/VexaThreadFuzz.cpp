// Fuzz target: the worker thread's message channels, the request reader on
// the worker and the response reader of the senders (VexaThread). The input
// is a small program of requests, which go through the public interface
// exactly as a plug-in sends them; every header word and payload size a
// sender can produce is reachable this way, up to and past the 1 MiB limit.
//
// Input, read byte by byte (missing bytes read as 0):
//   op byte: low 3 bits 0-3 and 6-7 send, 4 reads a pending response, 5 kills;
//            bit 3 requires a response, bit 4 blocks.
//   send:    command (4 bytes, little-endian), size code (1 byte): below 0xF0
//            that many payload bytes follow; 0xF0-0xFD n x 4 KiB of filler;
//            0xFE exactly 1 MiB; 0xFF 1 MiB + 1 byte, which the worker refuses
//            and dies on.
//   read:    one byte picks which of the pending responses to wait for.
// A command whose low byte is 0x5A makes the actor stop the thread.
//
// Checks, besides the sanitizers: the actor sees every accepted request once,
// in order, with its exact payload (null when empty); blocking senders and
// readResponse get the actor's result for their own id; kill gets onDie's
// value; a thread that stopped is dead, and onExit ran exactly then.
#include <atomic>
#include <cstring>
#include <utility>
#include <vector>

#include "common/runtime/VexaThread.h"
#include "fuzz/FuzzSupport.h"

namespace {

constexpr uint32_t c_maxPayload = 1048576;
constexpr int c_stopByte = 0x5A;
constexpr int c_dieMark = 0x1D1E;

struct Request {
    int command;
    uint32_t size;
    uint64_t hash;
    bool operator==(const Request& o) const {
        return command == o.command && size == o.size && hash == o.hash;
    }
};

int resultFor(const Request& r) {
    return static_cast<int>(static_cast<uint32_t>(r.command) * 2654435761u ^
                            static_cast<uint32_t>(r.hash) ^ r.size);
}

bool stops(int command) {
    return (command & 0xFF) == c_stopByte;
}

class RecordingActor : public pwr::VexaThreadActor {
  public:
    int handleRequest(int command, uint32_t payloadSize, const void* payload,
                      int* result) override {
        FUZZ_CHECK((payload == nullptr) == (payloadSize == 0));
        const Request r{command, payloadSize, pwr::fuzz::fnv1a(payload, payloadSize)};
        seen.push_back(r);
        *result = resultFor(r);
        if (stops(command)) {
            return 1;
        }
        // Any value but 1 keeps the thread running.
        return (command & 0x100) != 0 ? -7 : 0;
    }
    int onDie() override { return static_cast<int>(seen.size()) ^ c_dieMark; }

    std::vector<Request> seen;
};

std::atomic<int> g_exits{0};
void countExit() {
    ++g_exits;
}

class Input {
  public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool more() const { return m_pos < m_size; }
    uint8_t byte() { return m_pos < m_size ? m_data[m_pos++] : 0; }
    uint32_t word() {
        uint32_t w = 0;
        for (int i = 0; i < 4; ++i) {
            w |= static_cast<uint32_t>(byte()) << (8 * i);
        }
        return w;
    }

  private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pwr::fuzz::quietLogging();
    Input in(data, size);
    RecordingActor actor;
    const int exitsBefore = g_exits.load();
    pwr::VexaThread thread(actor, nullptr, &countExit);
    FUZZ_CHECK(thread.init() == 0);
    FUZZ_CHECK(thread.start() == 0);

    std::vector<Request> expected;
    std::vector<std::pair<int, int>> pending;  // id, result
    bool alive = true;
    bool stopped = false;
    int bigPayloads = 0;
    while (alive && in.more()) {
        const uint8_t op = in.byte();
        const bool requireResponse = (op & 0x08) != 0;
        bool block = (op & 0x10) != 0;
        if ((op & 7) == 4) {
            if (!pending.empty()) {
                const size_t index = in.byte() % pending.size();
                FUZZ_CHECK(thread.readResponse(pending[index].first) == pending[index].second);
                // The responses before it were read and dropped on the way.
                pending.erase(pending.begin(), pending.begin() + static_cast<long>(index) + 1);
            }
            continue;
        }
        if ((op & 7) == 5) {
            FUZZ_CHECK(thread.kill() == (static_cast<int>(expected.size()) ^ c_dieMark));
            // The kill waited for its own response; the pending ones were
            // dropped on the way.
            pending.clear();
            alive = false;
            break;
        }
        const int command = static_cast<int>(in.word());
        const uint8_t code = in.byte();
        std::vector<uint8_t> payload;
        if (code < 0xF0) {
            for (uint8_t i = 0; i < code; ++i) {
                payload.push_back(in.byte());
            }
        } else if (bigPayloads++ < 3) {
            const size_t length = code <= 0xFD   ? (code - 0xEFu) * 4096u
                                  : code == 0xFE ? c_maxPayload
                                                 : c_maxPayload + 1;
            payload.assign(length, static_cast<uint8_t>(command));
        }
        const bool refused = payload.size() > c_maxPayload;
        // A refused request is never answered: waiting for it would hang.
        if (refused) {
            block = false;
        }
        const Request r{command, static_cast<uint32_t>(payload.size()),
                        pwr::fuzz::fnv1a(payload.data(), payload.size())};
        const int rc =
            thread.signal(command, payload.size(), payload.empty() ? nullptr : payload.data(),
                          requireResponse, block);
        if (refused) {
            alive = false;
            break;
        }
        expected.push_back(r);
        if (requireResponse && block) {
            FUZZ_CHECK(rc == resultFor(r));
            pending.clear();
        } else if (requireResponse) {
            FUZZ_CHECK(rc > 0);
            pending.emplace_back(rc, resultFor(r));
        } else {
            FUZZ_CHECK(rc == 0);
        }
        if (stops(command)) {
            alive = false;
            stopped = true;
        }
    }
    // Responses to requests answered before the thread ended stay readable.
    if (!pending.empty()) {
        FUZZ_CHECK(thread.readResponse(pending.back().first) == pending.back().second);
    }
    if (alive) {
        FUZZ_CHECK(thread.kill() == (static_cast<int>(expected.size()) ^ c_dieMark));
    }
    FUZZ_CHECK(thread.join() == 0);
    FUZZ_CHECK(thread.isDead());
    FUZZ_CHECK(actor.seen == expected);
    FUZZ_CHECK(g_exits.load() - exitsBefore == (stopped ? 1 : 0));
    return 0;
}
