#include "shim/vk_stream.h"

#include "shim/log.h"
#include "shim/process_lock.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace shim {

namespace {

constexpr uint32_t batch_head = wire::header_size + 4; // header and count
/// A message that finds less room than this sends what waits instead of being moved later.
constexpr uint32_t usual_message = 512;

/// The batch of the process. Guarded by its lock and never destroyed.
struct stream
{
    process_lock lock;
    message_memory memory;
    message_memory spare; // while a frame whose answer is left for later lies in `memory`
    uint32_t life = 0;
    uint32_t head = 0;     // bytes in front of the first message
    uint32_t used = 0;     // bytes of messages, the head included
    uint32_t commands = 0; // messages that wait
    uint64_t tid = 0;      // thread of those
    bool mixed = false;    // they are of several threads
    std::vector<uint8_t> long_message;

    void open(const thread_state& self);
    void forget_waiting()
    {
        used = head;
        commands = 0;
        mixed = false;
    }
};

stream& waiting = *new stream;

void stream::open(const thread_state& self)
{
    if (life == self.life)
        return;
    life = self.life;
    memory = take_message_memory();
    spare = {};
    head = self.batching ? batch_head : 0;
    forget_waiting();
}

/// The library runs a batch on the worker of the thread that sent it. Services that a call asks for have to
/// go through that worker too, so all messages become that thread's.
void adopt(uint8_t* base, uint32_t length, uint64_t tid)
{
    for (uint32_t at = batch_head; at < length;) {
        uint32_t size;
        std::memcpy(&size, base + at + wire::offset_size, 4);
        std::memcpy(base + at + wire::offset_tid, &tid, 8);
        at += size;
    }
}

} // namespace

vk_message::vk_message(uint32_t type) : self_{this_thread()}, type_{type}
{
    waiting.lock.lock();
    if (!self_)
        return;
    waiting.open(*self_);
    if (waiting.memory.size - waiting.used < usual_message)
        send_waiting();
    begin_ = waiting.memory.base + waiting.used;
    at_ = begin_ + wire::header_size;
    end_ = waiting.memory.base + waiting.memory.size;
}

vk_message::~vk_message()
{
    waiting.long_message = {};
    waiting.lock.unlock();
}

bool vk_message::grow(uint64_t count)
{
    if (!self_ || too_long_)
        return false;
    const uint32_t begun = length();
    if (waiting.commands) {
        send_waiting();
        uint8_t* front = waiting.memory.base + waiting.used;
        std::memmove(front, begin_, begun);
        begin_ = front;
        at_ = front + begun;
        if (count <= static_cast<uint64_t>(end_ - at_))
            return true;
    }
    const uint64_t total = waiting.head + begun + count;
    if (count > longest_message || total > longest_message) {
        say(gate::error, "A message of type %u is longer than the library takes; the call fails.", type_);
        too_long_ = true;
        return false;
    }
    std::vector<uint8_t> larger(std::min<uint64_t>(longest_message, total * 2));
    std::memcpy(larger.data() + waiting.head, begin_, begun);
    waiting.long_message.swap(larger);
    begin_ = waiting.long_message.data() + waiting.head;
    at_ = begin_ + begun;
    end_ = waiting.long_message.data() + waiting.long_message.size();
    long_ = true;
    return true;
}

/// Completes the message, and notes that it isn't of the thread of those that wait, if so.
void vk_message::finish()
{
    wire::store_header(begin_, {length(), type_, self_->pid, self_->tid});
    waiting.mixed = waiting.mixed || (waiting.commands && waiting.tid != self_->tid);
}

vk_answer vk_message::send()
{
    if (!self_ || too_long_)
        return {};
    finish();
    if (long_)
        return send_block(begin_ - waiting.head, waiting.head + length(), 1);
    return send_block(waiting.memory.base, waiting.used + length(), waiting.commands + 1);
}

std::optional<vk_answer> vk_message::send_frame(const late_frame& frame)
{
    if (!frame.answered || !self_ || too_long_ || long_ || !self_->batching)
        return send();
    if (!waiting.spare.base)
        waiting.spare = take_message_memory();
    finish();
    outgoing batch = complete(waiting.memory.base, waiting.used + length(), waiting.commands + 1);
    batch.frame = frame;
    std::optional<vk_answer> answer;
    if (converse_later(batch))
        std::swap(waiting.memory, waiting.spare);
    else
        answer = {converse(batch), has_device()};
    waiting.forget_waiting();
    return answer;
}

vk_answer vk_message::leave()
{
    if (!self_ || too_long_)
        return {};
    if (!self_->batching || long_)
        return send();
    finish();
    waiting.tid = self_->tid;
    waiting.used += length();
    ++waiting.commands;
    return {{}, true};
}

void vk_message::send_waiting()
{
    if (!waiting.commands)
        return;
    waiting.mixed = waiting.mixed || waiting.tid != self_->tid;
    send_block(waiting.memory.base, waiting.used, waiting.commands);
}

outgoing vk_message::complete(uint8_t* base, uint32_t length, uint32_t commands)
{
    if (self_->batching) {
        if (waiting.mixed)
            adopt(base, length, self_->tid);
        wire::store_header(base, {length, wire::inbound::batch_commands, self_->pid, self_->tid});
        std::memcpy(base + wire::header_size, &commands, 4);
    }
    // A submission promises nothing about windows, and the device goes on to it straight from a frame.
    return {.message = base, .length = length, .follows_frame = type_ == wire::inbound::vk_queue_submit};
}

vk_answer vk_message::send_block(uint8_t* base, uint32_t length, uint32_t commands)
{
    const return_value value = converse(complete(base, length, commands));
    waiting.forget_waiting();
    return {value, has_device()};
}

void forget_vk_stream()
{
    waiting.lock.revive();
    waiting.life = 0;
    waiting.commands = 0;
}

} // namespace shim
