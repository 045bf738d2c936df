#include "link_endpoint.h"

#include <csignal>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace device_link;

namespace simulator {
namespace {

constexpr int handshake_seconds = 5;
/// A target that scribbles over the turn word can make a wake-up miss; then this is how late we look again.
constexpr int look_again_ms = 1000;

/// Shared memory of a fixed size: a target that could shrink it could make our accesses fault.
descriptor make_shared_memory()
{
    descriptor memory(memfd_create("zelvar-link", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!memory || ftruncate(memory.get(), shared_size) != 0 ||
        fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
        return descriptor();
    return memory;
}

/// One read of a field that the target may be changing.
template <class T>
T once(const T& field)
{
    return *static_cast<const volatile T*>(&field);
}

} // namespace

descriptor& descriptor::operator=(descriptor&& other) noexcept
{
    std::swap(_number, other._number);
    return *this;
}

descriptor::~descriptor()
{
    if (_number >= 0)
        close(_number);
}

int descriptor::release()
{
    return std::exchange(_number, -1);
}

link_endpoint::link_endpoint(descriptor socket) : _socket(std::move(socket)) {}

link_endpoint::~link_endpoint()
{
    if (shared())
        munmap(shared(), shared_size);
}

std::optional<newcomer> link_endpoint::greet()
{
    timeval patience{handshake_seconds, 0};
    setsockopt(_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ucred peer{};
    socklen_t size = sizeof peer;
    hello greeting{};
    if (getsockopt(_socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
        recv(_socket.get(), &greeting, sizeof greeting, 0) != static_cast<ssize_t>(sizeof greeting) ||
        greeting.magic != magic)
        return std::nullopt;
    if (greeting.version != version) {
        send_welcome(reception::other_version, {}, -1);
        return std::nullopt;
    }
    if (greeting.intent != static_cast<uint32_t>(intent::attach) &&
        greeting.intent != static_cast<uint32_t>(intent::query))
        return std::nullopt;
    _process = peer.pid;
    return newcomer{static_cast<intent>(greeting.intent), peer.pid, greeting.pid,
                    greeting.pointer_bits == 32 ? 32u : 64u};
}

bool link_endpoint::send_welcome(reception reception, const screen& offered, int memory)
{
    welcome answer{};
    answer.magic = magic;
    answer.version = version;
    answer.reception = static_cast<uint32_t>(reception);
    answer.frame_buffer_width = offered.width;
    answer.frame_buffer_height = offered.height;
    answer.frames_compressed = offered.compressed;
    answer.counts_frames = offered.counts_frames;
    answer.shared_size = shared_size;
    iovec part{&answer, sizeof answer};
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    if (memory >= 0) {
        packet.msg_control = control;
        packet.msg_controllen = sizeof control;
        cmsghdr* rights = CMSG_FIRSTHDR(&packet);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(rights), &memory, sizeof(int));
    }
    return sendmsg(_socket.get(), &packet, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof answer);
}

bool link_endpoint::answer_query(reception reception, const screen& offered)
{
    return send_welcome(reception, offered, -1);
}

bool link_endpoint::attach(const screen& offered)
{
    _process_descriptor = descriptor(static_cast<int>(syscall(SYS_pidfd_open, _process, 0)));
    descriptor memory = make_shared_memory();
    void* mapped =
        memory ? mmap(nullptr, shared_size, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0) : MAP_FAILED;
    if (mapped == MAP_FAILED) {
        send_welcome(reception::no_memory, {}, -1);
        return false;
    }
    _shared.store(static_cast<uint8_t*>(mapped), std::memory_order_release);
    attached place{};
    if (!send_welcome(reception::accepted, offered, memory.get()) ||
        recv(_socket.get(), &place, sizeof place, 0) != static_cast<ssize_t>(sizeof place))
        return false;
    _shared_address = place.shared_address;
    return true;
}

std::optional<link_request> link_endpoint::wait_request(bool may_come_soon)
{
    mailbox& post = box();
    while (!gone()) {
        const uint32_t turn =
            may_come_soon ? wait_as_usual(post.turn, turn_target, look_again_ms, _habits, _last_length)
                          : wait_while(post.turn, turn_target, look_again_ms);
        if (turn == turn_target)
            continue;
        if (turn != turn_simulator) // ours when the target is gone, otherwise rubbish
            return std::nullopt;
        take_request(post.turn);
        _last_length = once(post.message_length);
        return link_request{once(post.operation), once(post.message), _last_length, once(post.answer),
                            once(post.answer_capacity)};
    }
    return std::nullopt;
}

void link_endpoint::answer(int32_t result)
{
    mailbox& post = box();
    post.result = result;
    if (!gone())
        hand_over(post.turn, turn_target);
}

frame_buffer_place link_endpoint::frame_buffer() const
{
    const mailbox& post = box();
    return frame_buffer_place{once(post.frame_buffer), once(post.frame_buffer_width),
                              once(post.frame_buffer_height), once(post.frame_buffer_bits_per_pixel),
                              once(post.frame_buffer_stride)};
}

uint64_t link_endpoint::take_offered_block(uint32_t size)
{
    mailbox& post = box();
    if (size == 0 || once(post.offered_size) != size)
        return 0;
    post.offered_size = 0;
    return once(post.offered_block);
}

std::optional<std::array<uint8_t, 32>> link_endpoint::described_buffer(uint64_t handle) const
{
    const auto* table = reinterpret_cast<const device_link::described_buffer*>(shared() + described_offset);
    for (uint32_t i = 0; handle && i < most_described; ++i) {
        if (table[i].handle.load(std::memory_order_acquire) != handle)
            continue;
        std::array<uint8_t, 32> copy;
        std::memcpy(copy.data(), table[i].description, copy.size());
        return copy;
    }
    return std::nullopt;
}

uint32_t link_endpoint::take_finished_frames()
{
    mailbox& post = box();
    const uint32_t frames = once(post.finished_frames);
    if (frames)
        post.finished_frames = 0;
    return frames;
}

void link_endpoint::hang_up()
{
    _gone.store(true, std::memory_order_release);
    shutdown(_socket.get(), SHUT_RDWR); // ends a handshake that is under way, and tells the target
    if (!shared())
        return;
    box().turn.store(turn_over, std::memory_order_release);
    // Both sides may sleep here: the target that waits for its answer, and our own thread.
    syscall(SYS_futex, &box().turn, FUTEX_WAKE, 2, nullptr, nullptr, 0);
    _gone.notify_all();
}

void link_endpoint::send_signal(int number) const
{
    if (_process_descriptor)
        syscall(SYS_pidfd_send_signal, _process_descriptor.get(), number, nullptr, 0);
    else
        kill(_process, number);
}

void link_endpoint::wait_until_gone()
{
    _gone.wait(false, std::memory_order_acquire);
}

} // namespace simulator
