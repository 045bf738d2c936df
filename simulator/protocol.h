#pragma once
// The link between a target process and the stand-in simulator. A Unix socket (SOCK_SEQPACKET) carries the
// handshake and shows by its hang-up that one side is gone; calls go through a mailbox in shared memory with
// one futex wake-up a direction. All layouts are the same for 32-bit and 64-bit targets.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace device_link {

inline constexpr uint32_t magic = 0x524c565a; // "ZVLR"
inline constexpr uint32_t version = 5;

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
    uint64_t shared_size;       // mailbox, window and area, bytes
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
    post = 4, // write the message; its answer is read later, and another one may be posted before
};

/// Whose turn it is. A side that waits says so before it sleeps, so that the other one makes the system call
/// only when somebody has to be woken; after a request was taken both may sleep.
enum turn : uint32_t
{
    turn_target = 0,
    turn_simulator = 1,
    turn_over = 2,  // the simulator has ended the connection
    turn_taken = 3, // the simulator has taken the request, whose answer is still to come
    turn_mask = 0xff,
    target_asleep = 0x100,
    simulator_asleep = 0x200,
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
    uint64_t offered_block;       // target address of memory that the library may be given on its request
    uint32_t offered_size; // bytes, the very number that it has to ask for; 0: no offer, or it was taken
    uint32_t reserved;
};

static_assert(sizeof(hello) == 24 && sizeof(attached) == 8);
static_assert(sizeof(welcome) == 32 && offsetof(welcome, shared_size) == 24);
static_assert(sizeof(mailbox) == 128 && std::atomic<uint32_t>::is_always_lock_free);
static_assert(offsetof(mailbox, message) == 8 && offsetof(mailbox, message_length) == 16);
static_assert(offsetof(mailbox, answer) == 24 && offsetof(mailbox, result) == 32);
static_assert(offsetof(mailbox, frame_buffer) == 40 && offsetof(mailbox, frame_buffer_stride) == 60);
static_assert(offsetof(mailbox, offered_block) == 64 && offsetof(mailbox, offered_size) == 72);

/// Buffers of the target's window system that the target has described beforehand, behind the mailbox in the
/// same page. The target writes an entry whenever it likes: `handle` last when it adds one, first when it
/// drops one.
struct described_buffer
{
    std::atomic<uint64_t> handle; // 0: no entry
    uint8_t description[32];      // what the target would answer when the library asks for the buffer
};
inline constexpr uint32_t described_offset = 1024; // from the start of the shared memory
inline constexpr uint32_t most_described = 64;
static_assert(sizeof(described_buffer) == 40 && std::atomic<uint64_t>::is_always_lock_free);
static_assert(described_offset + most_described * sizeof(described_buffer) <= 4096);

/// Messages of one thread whose answers haven't been read; they come in the order of the messages.
inline constexpr uint32_t most_posted = 2;

inline constexpr uint32_t window_offset = 4096; // from the start of the shared memory
inline constexpr uint32_t window_size = 32u << 20;
inline constexpr uint32_t area_offset = window_offset + window_size;
inline constexpr uint32_t area_size = 128u << 20; // only what is touched takes memory
inline constexpr uint32_t shared_size = area_offset + area_size;

/// The mark of the side that waits for its turn while it is the turn of `other`; also its futex bits.
inline uint32_t sleeper_beside(uint32_t other)
{
    return other == turn_simulator ? target_asleep : simulator_asleep;
}

/// Passes the turn on, and leaves alone who sleeps meanwhile; what stood before. A connection that is over
/// stays so.
inline uint32_t change_turn(std::atomic<uint32_t>& word, uint32_t next, uint32_t woken)
{
    uint32_t before = word.load(std::memory_order_relaxed);
    while ((before & turn_mask) != turn_over &&
           !word.compare_exchange_weak(before, (before & ~(turn_mask | woken)) | next,
                                       std::memory_order_acq_rel, std::memory_order_relaxed)) {
    }
    return before;
}

/// Hands the turn over and wakes the other side if it sleeps.
inline void hand_over(std::atomic<uint32_t>& word, uint32_t next)
{
    const uint32_t woken = next == turn_target ? target_asleep : simulator_asleep;
    if (change_turn(word, next, woken) & woken)
        syscall(SYS_futex, &word, FUTEX_WAKE_BITSET, 1, nullptr, nullptr, woken);
}

/// For the simulator, whose turn it is: neither side's, until the answer is handed over.
inline void take_request(std::atomic<uint32_t>& word)
{
    change_turn(word, turn_taken, 0);
}

/// Learns after which messages the other side takes its turn so soon that looking for it costs less than
/// sleeping: a wake-up from one processor to another takes as long as many a call does. Messages are told
/// apart by their length, since an application repeats itself. Kept by one thread, or under a lock.
class waiting_habits
{
public:
    /// How long to look before sleeping.
    int64_t nanoseconds_to_look(uint32_t length) const
    {
        return several_processors() && failures_[place(length)] < too_many ? look_ns : 0;
    }
    void learn(uint32_t length, int64_t waited_ns)
    {
        uint8_t& failures = failures_[place(length)];
        if (waited_ns > worth_looking_ns)
            failures = std::min<uint8_t>(failures + 2, most);
        else if (failures > 0)
            --failures;
    }

private:
    static constexpr int64_t look_ns = 40'000;
    static constexpr int64_t worth_looking_ns = 80'000; // with the wake-up in it that looking saves
    static constexpr uint8_t too_many = 4;
    static constexpr uint8_t most = 6;

    static bool several_processors()
    {
        static const bool several = sysconf(_SC_NPROCESSORS_ONLN) > 1;
        return several;
    }
    static constexpr size_t place(uint32_t length) { return length * 2654435761u >> 24; }

    uint8_t failures_[256] = {};
};

inline int64_t monotonic_ns()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * int64_t{1'000'000'000} + now.tv_nsec;
}

/// Whether one side has to wait for the other, who may have to answer a request yet.
inline bool is_turn_of(uint32_t word, uint32_t other)
{
    const uint32_t turn = word & turn_mask;
    return turn == other || turn == turn_taken;
}

/// Looks whether it has ceased to be the turn of `other`, giving the processor to whoever wants it in
/// between.
inline bool look_for_turn(const std::atomic<uint32_t>& word, uint32_t other, int64_t nanoseconds)
{
    const int64_t end = monotonic_ns() + nanoseconds;
    do {
        for (int i = 0; i < 64; ++i) {
            if (!is_turn_of(word.load(std::memory_order_acquire), other))
                return true;
#if defined(__x86_64__) || defined(__i386__)
            __builtin_ia32_pause();
#endif
        }
        sched_yield();
    } while (monotonic_ns() < end);
    return false;
}

/// Sleeps while it is the turn of `other`, at most about `milliseconds`; returns the turn then seen, and
/// `other` for a request that was taken. May return early.
inline uint32_t wait_while(std::atomic<uint32_t>& word, uint32_t other, int milliseconds)
{
    const auto turn_of = [other](uint32_t seen) {
        return is_turn_of(seen, other) ? other : seen & turn_mask;
    };
    const uint32_t asleep = sleeper_beside(other);
    uint32_t seen = word.load(std::memory_order_acquire);
    if (!is_turn_of(seen, other))
        return turn_of(seen);
    if (!(seen & asleep)) {
        if (!word.compare_exchange_strong(seen, seen | asleep, std::memory_order_acq_rel))
            return turn_of(seen);
        seen |= asleep;
    }
    const int64_t end = monotonic_ns() + milliseconds * int64_t{1'000'000};
    timespec until{};
    until.tv_sec = static_cast<time_t>(end / 1'000'000'000);
    until.tv_nsec = static_cast<long>(end % 1'000'000'000);
    syscall(SYS_futex, &word, FUTEX_WAIT_BITSET, seen, &until, nullptr, asleep);
    return turn_of(word.load(std::memory_order_acquire));
}

/// The same after a look of the length that is usual after a message of this length.
inline uint32_t wait_as_usual(std::atomic<uint32_t>& word, uint32_t other, int milliseconds,
                              waiting_habits& habits, uint32_t length)
{
    const int64_t begin = monotonic_ns();
    const int64_t look = habits.nanoseconds_to_look(length);
    if (look)
        look_for_turn(word, other, look);
    const uint32_t turn = wait_while(word, other, milliseconds);
    habits.learn(length, monotonic_ns() - begin);
    return turn;
}

} // namespace device_link
