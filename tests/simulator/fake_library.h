#pragma once
// A small stand-in for the library: a worker per target thread, requests that wait for their confirmation,
// and the same ends of calls. It counts what the real one would stop the process for.

#include "zelvar/sc_interfaces.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace fake {

/// Messages whose meaning differs from "answer at once".
enum : uint32_t
{
    type_asks = 7, // asks for a 4-byte service, keeps the answer, ends
    type_terminate =
        28, // asks a service without result, returns 4 bytes, ends, lets all workers of the process go
    type_holds = 40,       // ends when `release_held` is called
    type_long_answer = 25, // returns `long_answer` values ahead of its end
    type_asks_width = 26,  // asks for the width of a pointer, keeps the answer, ends
    type_copies = 16,      // payload: from (8), to (8), length (4); copies target memory from a worker
    type_allocates = 45,   // payload: size (4); asks for memory, returns its address
    type_asks_buffer = 46, // payload: handle (8); asks for the buffer, returns the first word of the answer
    type_calls_target = 50 // asks for a call on the target, ends when confirmed
};
inline constexpr int long_answer = 100;

struct counts
{
    std::atomic<int> opened{0}, closed{0}, messages{0}, confirmations{0}, terminated{0}, workers{0};
    std::atomic<int> protocol_faults{0}; // wrong confirmations, answers mixed
    std::atomic<uint32_t> last_result{0};
    std::atomic<int64_t> last_copied{-1};
};

class channel;
class worker;

class plugin final : public scPluginInterface
{
public:
    explicit plugin(bool batch = false) : batch(batch) {}
    ~plugin() override;
    scChannelInterface* open() override;
    void release_held();

    counts seen;
    const bool batch;

private:
    friend class channel;
    friend class worker;
    std::shared_ptr<worker> worker_of(uint32_t pid, uint64_t tid);
    channel* channel_of(uint32_t pid);
    void dismiss(uint32_t pid);

    std::mutex _lock;
    std::condition_variable _held;
    int _held_epoch = 0;
    std::map<std::pair<uint32_t, uint64_t>, std::shared_ptr<worker>> _workers;
    std::vector<channel*> _channels; // never freed
};

} // namespace fake
