#include "shim/thread_state.h"

#include "shim/late_frames.h"
#include "shim/log.h"
#include "shim/windows.h"

#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace shim {

namespace {

constexpr uint32_t batch_head = wire::header_size + 4; // header and count
/// Beyond this, another copy costs more than sending the call at once.
constexpr uint32_t longest_block = 256 * 1024;

// A pointer alone, which fits into the static reserve of libraries that are loaded at run time.
__attribute__((tls_model("initial-exec"))) thread_local thread_state* state_of_this_thread = nullptr;

pthread_key_t exit_key;
pthread_once_t exit_key_once = PTHREAD_ONCE_INIT;

void release_thread(void* state)
{
    auto* self = static_cast<thread_state*>(state);
    if (self->life == connection_life()) {
        self->messages.flush();
        settle_late_frames(); // it may lie in this thread's memory
    }
    state_of_this_thread = nullptr;
    delete self;
}

void flush_at_exit()
{
    thread_state* self = state_of_this_thread;
    if (self && self->life == connection_life())
        self->messages.flush();
    if (has_device()) {
        settle_late_frames();
    }
}

void create_exit_key()
{
    if (pthread_key_create(&exit_key, release_thread) != 0)
        say(gate::warn, "Calls that wait when a thread ends will be lost: no thread key is left.");
    std::atexit(flush_at_exit);
}

} // namespace

thread_state::thread_state()
    : batching{current_settings().batch_commands}, pid{static_cast<int32_t>(getpid() & 0xffffff)},
      tid{static_cast<uint64_t>(syscall(SYS_gettid))}, life{connection_life()}, messages{*this}
{
}

thread_state* this_thread()
{
    thread_state* self = state_of_this_thread;
    if (self && self->life == connection_life()) [[likely]]
        return self;
    if (!connect())
        return nullptr;
    // What an earlier connection left is void; what waited in it belonged to the parent of this process.
    delete self;
    state_of_this_thread = nullptr;
    pthread_once(&exit_key_once, create_exit_key);
    self = new (std::nothrow) thread_state;
    if (!self)
        return nullptr;
    state_of_this_thread = self;
    pthread_setspecific(exit_key, self);
    return self;
}

message_builder::message_builder(thread_state& self) : self_{self}, memory_{take_message_memory()}
{
    used_ = self_.batching ? batch_head : 0;
}

message_builder::~message_builder()
{
    for (const message_memory& memory : {memory_, spare_})
        if (memory.slot < 0 || self_.life == connection_life())
            give_back_message_memory(memory);
}

uint8_t* message_builder::begin(uint32_t type, uint64_t size)
{
    const uint32_t head = self_.batching ? batch_head : 0;
    if (size + head > longest_message) {
        say(gate::error, "A message of %llu bytes is longer than the library takes; the call is dropped.",
            static_cast<unsigned long long>(size));
        return nullptr;
    }
    if (used_ + size + blocks_ > memory_.size && commands_)
        flush();
    uint8_t* at = memory_.base + used_;
    if (used_ + size + blocks_ > memory_.size) {
        long_message_.resize(head + size);
        at = long_message_.data() + head;
    }
    begun_ = static_cast<uint32_t>(size);
    wire::store_header(at, {begun_, type, self_.pid, self_.tid});
    return at;
}

bool message_builder::reserve(uint64_t bytes)
{
    if (bytes > memory_.size - batch_head)
        return false;
    if (used_ + blocks_ + bytes > memory_.size)
        flush();
    return true;
}

uint8_t* message_builder::take_block(uint64_t length)
{
    if (length > memory_.size)
        return nullptr;
    const uint32_t room = static_cast<uint32_t>(length + 15) & ~15u;
    // A message of a call with a block is short; leave it room beside the block.
    constexpr uint32_t beside = 256;
    if (used_ + blocks_ + room + beside > memory_.size)
        flush();
    if (used_ + blocks_ + room + beside > memory_.size)
        return nullptr;
    blocks_ += room;
    return memory_.base + memory_.size - blocks_;
}

const void* message_builder::keep_block(const void* bytes, uint64_t length)
{
    uint8_t* copy = length <= longest_block ? take_block(length) : nullptr;
    if (copy)
        std::memcpy(copy, bytes, length);
    return copy;
}

void message_builder::keep()
{
    if (!long_message_.empty()) {
        // Longer than the thread's memory: it can't wait.
        send();
        return;
    }
    used_ += begun_;
    begun_ = 0;
    ++commands_;
}

void message_builder::keep_answered()
{
    keep();
    values_ += commands_ != 0; // else it was sent
}

return_value message_builder::send(uint32_t block)
{
    if (!self_.batching) {
        const uint32_t length = begun_;
        uint8_t* base = long_message_.empty() ? memory_.base : long_message_.data();
        return send_all(base, length, block);
    }
    ++commands_;
    if (!long_message_.empty())
        return send_all(long_message_.data(), batch_head + begun_, block);
    used_ += begun_;
    return send_all(memory_.base, used_, block);
}

std::optional<return_value> message_builder::send_swap(void* surface)
{
    if (!self_.batching || !long_message_.empty() || !swap_will_succeed(surface))
        return send();
    if (!spare_.base)
        spare_ = take_message_memory();
    ++commands_;
    used_ += begun_;
    outgoing batch = complete(memory_.base, used_);
    batch.frame = late_frame_of(surface);
    std::optional<return_value> answer;
    if (converse_later(batch))
        std::swap(memory_, spare_);
    else
        answer = converse(batch);
    begin_anew();
    return answer;
}

void message_builder::flush()
{
    if (commands_)
        send_all(memory_.base, used_);
}

outgoing message_builder::complete(uint8_t* base, uint32_t length)
{
    if (self_.batching) {
        wire::store_header(base, {length, wire::inbound::batch_commands, self_.pid, self_.tid});
        std::memcpy(base + wire::header_size, &commands_, 4);
    }
    return {.message = base,
            .length = length,
            .surface = self_.swapping ? self_.swapping : self_.current.draw,
            .values_before = values_};
}

return_value message_builder::send_all(uint8_t* base, uint32_t length, uint32_t block)
{
    outgoing batch = complete(base, length);
    batch.block = block;
    const return_value answer = converse(batch);
    begin_anew();
    return answer;
}

void message_builder::begin_anew()
{
    used_ = self_.batching ? batch_head : 0;
    blocks_ = 0;
    commands_ = 0;
    values_ = 0;
    begun_ = 0;
    long_message_ = {};
}

} // namespace shim
