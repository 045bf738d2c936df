#pragma once
// The link between a target process and the stand-in simulator. A Unix socket (SOCK_SEQPACKET) carries the
// handshake and shows by its hang-up that one side is gone; calls go through a mailbox in shared memory with
// one futex wake-up a direction. All layouts are the same for 32-bit and 64-bit targets.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace device_link {

inline constexpr uint32_t magic = 0x524c565a; // "ZVLR"
inline constexpr uint32_t version = 2;

/// Environment of a target process.
inline constexpr char socket_variable[] = "ZELVAR_SOCKET";
inline constexpr char frame_buffer_variable[] = "ZELVAR_FB";

enum class intent : uint32_t
{
    attach = 1, // become a target
    query = 2,  // ask whether anybody is there, and for the frame buffer's size; then hang up
};

/// First packet, from the target.
struct hello
{
    uint32_t magic;
    uint32_t version;
    uint32_t intent;
    uint32_t pid; // as the target itself sees it, which is what its messages carry
    uint32_t pointer_bits;
    uint32_t reserved;
};

enum class reception : uint32_t
{
    accepted = 0,
    other_version = 1,
    already_connected = 2, // a process has one connection
    no_memory = 3,
};

/// Second packet, from the simulator; with `intent::attach` it brings the shared memory as a descriptor.
struct welcome
{
    uint32_t magic;
    uint32_t version;
    uint32_t reception;
    uint32_t frame_buffer_width;
    uint32_t frame_buffer_height;
    uint16_t counts_frames; // 1: nobody looks at frames, so they are counted in the mailbox and not announced
    uint16_t frames_compressed; // 1: what the library leaves in frame buffers is compressed
    uint64_t shared_size;       // mailbox and window, bytes
};

/// Third packet, from the target, once it has mapped the shared memory.
struct attached
{
    uint64_t shared_address;
};

enum class operation : uint32_t
{
    exchange = 1, // write the message, then read the answer
    read = 2,     // read more of the answer
    frame_finished = 3,
};

/// Whose turn it is. The waiting side adds `asleep` before it sleeps, so that the other one makes the system
/// call only when somebody has to be woken.
enum turn : uint32_t
{
    turn_target = 0,
    turn_simulator = 1,
    turn_over = 2, // the simulator has ended the connection
    turn_mask = 0xff,
    asleep = 0x100,
};

/// The first page of the shared memory. Everything but `turn` is written by the side whose turn it is.
struct alignas(64) mailbox
{
    std::atomic<uint32_t> turn;
    uint32_t operation;
    uint64_t message; // target address
    uint32_t message_length;
    uint32_t answer_capacity;
    uint64_t answer;          // target address
    int32_t result;           // bytes delivered, -1 when the device is gone
    uint32_t finished_frames; // that were not announced, since the target's last request
    uint64_t frame_buffer;    // target address, 0 while there is none
    uint32_t frame_buffer_width;
    uint32_t frame_buffer_height;
    uint32_t frame_buffer_bits_per_pixel;
    uint32_t frame_buffer_stride; // pixels
};

static_assert(sizeof(hello) == 24 && sizeof(attached) == 8);
static_assert(sizeof(welcome) == 32 && offsetof(welcome, shared_size) == 24);
static_assert(sizeof(mailbox) == 64 && std::atomic<uint32_t>::is_always_lock_free);
static_assert(offsetof(mailbox, message) == 8 && offsetof(mailbox, message_length) == 16);
static_assert(offsetof(mailbox, answer) == 24 && offsetof(mailbox, result) == 32);
static_assert(offsetof(mailbox, frame_buffer) == 40 && offsetof(mailbox, frame_buffer_stride) == 60);

inline constexpr uint32_t window_offset = 4096; // from the start of the shared memory
inline constexpr uint32_t window_size = 32u << 20;
inline constexpr uint32_t shared_size = window_offset + window_size;

/// Hands the turn over and wakes the other side if it sleeps.
inline void hand_over(std::atomic<uint32_t>& word, uint32_t next)
{
    const uint32_t before = word.exchange(next, std::memory_order_acq_rel);
    if (before & asleep)
        syscall(SYS_futex, &word, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

/// Sleeps while it is the turn of `other` (looking a few times first gains nothing on two cores, which the
/// library's worker needs for itself), at most about `milliseconds`; returns the turn then seen, without
/// `asleep`. May return early.
inline uint32_t wait_while(std::atomic<uint32_t>& word, uint32_t other, int milliseconds)
{
    uint32_t seen = word.load(std::memory_order_acquire);
    if ((seen & turn_mask) != other)
        return seen & turn_mask;
    if (!(seen & asleep)) {
        if (!word.compare_exchange_strong(seen, seen | asleep, std::memory_order_acq_rel))
            return seen & turn_mask;
        seen |= asleep;
    }
    timespec timeout{};
    timeout.tv_sec = milliseconds / 1000;
    timeout.tv_nsec = (milliseconds % 1000) * 1000000L;
    syscall(SYS_futex, &word, FUTEX_WAIT, seen, &timeout, nullptr, 0);
    return word.load(std::memory_order_acquire) & turn_mask;
}

} // namespace device_link
