// The target's end of the link to the stand-in simulator. Linked into the library that stands in front of the
// applications, so it needs libc only and throws nothing.

#include "simulator/protocol.h"
#include "transport.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace shim {
namespace {

using namespace device_link;

/// Applications that close "their" low descriptors shall not close ours.
constexpr int lowest_descriptor = 400;
/// How long to sleep before looking whether the simulator still lives.
constexpr int look_for_hang_up_ms = 500;

class socket_transport final : public transport
{
public:
    ~socket_transport() override = default;

    bool connect_to(const char* path);
    bool belongs_to(pid_t process) const { return _process == process; }
    void abandon();

    uint8_t* window() override { return _shared + window_offset; }
    uint64_t window_size() override { return device_link::window_size; }
    uint8_t* area() override { return _shared + area_offset; }
    uint64_t area_size() override { return device_link::area_size; }
    file_place area_file() override { return {_shared_file, area_offset}; }
    int32_t exchange(const void* message, uint32_t length, void* answer, uint32_t capacity) override;
    bool post(const void* message, uint32_t length) override;
    bool takes_offers() const override { return true; }
    void describe_buffer(uint64_t handle, const wire::winsys_buffer_vk_data_descriptor& description) override;
    void forget_buffer(uint64_t handle) override;
    void offer_block(void* block, uint32_t size) override;
    bool offer_was_taken() override;
    int32_t read(void* answer, uint32_t capacity) override;
    void set_frame_buffer(const void* address, uint32_t width, uint32_t height, uint32_t bits_per_pixel,
                          uint32_t stride_pixels) override;
    void frame_finished() override;
    bool frames_are_compressed() const override { return _frames_compressed; }
    bool only_counts_frames() const override { return _counts_frames; }

private:
    bool open_socket(const char* path);
    bool shake_hands();
    bool receive_welcome(int* shared_memory);
    bool map_shared(int shared_memory);
    void address(const void* message, uint32_t length, void* answer, uint32_t capacity);
    void begin(operation what);
    int32_t end();
    int32_t request(operation what);
    bool wait_for_post();
    bool hung_up() const;
    std::span<described_buffer> described()
    {
        return {reinterpret_cast<described_buffer*>(_shared + described_offset), most_described};
    }
    mailbox& box() { return *reinterpret_cast<mailbox*>(_shared); }

    uint8_t* _shared = nullptr;
    int _shared_file = -1;
    int _socket = -1;
    pid_t _process = 0;
    bool _counts_frames = false;
    bool _gone = false;
    uint32_t _finished_frames = 0; // while the mailbox was away
    bool _posted = false;          // and the mailbox has not come back yet
    bool _frames_compressed = false;
    uint32_t _length = 0; // of the message that is answered next
    waiting_habits _habits;
};

uint64_t target_address(const void* pointer)
{
    return reinterpret_cast<uintptr_t>(pointer);
}

void complain(const char* what)
{
    std::fprintf(stderr, "zelvar: %s: %s\n", what, std::strerror(errno));
}

/// A descriptor that is out of the application's way; the plain one is closed.
int moved_away(int plain)
{
    const int high = fcntl(plain, F_DUPFD_CLOEXEC, lowest_descriptor);
    if (high < 0)
        return plain;
    close(plain);
    return high;
}

void socket_transport::abandon()
{
    close(_socket);
    if (_shared_file >= 0)
        close(_shared_file);
}

bool socket_transport::open_socket(const char* path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const size_t length = std::strlen(path);
    if (length >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address.sun_path, path, length);
    const int plain = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (plain < 0)
        return false;
    _socket = moved_away(plain);
    return connect(_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool socket_transport::receive_welcome(int* shared_memory)
{
    welcome answer{};
    iovec part{&answer, sizeof answer};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    packet.msg_control = control;
    packet.msg_controllen = sizeof control;
    ssize_t received;
    do
        received = recvmsg(_socket, &packet, MSG_CMSG_CLOEXEC);
    while (received < 0 && errno == EINTR);
    if (received != static_cast<ssize_t>(sizeof answer) || answer.magic != magic) {
        errno = EPROTO;
        return false;
    }
    if (answer.reception != static_cast<uint32_t>(reception::accepted)) {
        errno = answer.reception == static_cast<uint32_t>(reception::already_connected) ? EALREADY : EPROTO;
        return false;
    }
    const cmsghdr* first = CMSG_FIRSTHDR(&packet);
    if (!first || first->cmsg_type != SCM_RIGHTS || answer.shared_size != shared_size) {
        errno = EPROTO;
        return false;
    }
    std::memcpy(shared_memory, CMSG_DATA(first), sizeof(int));
    _counts_frames = answer.counts_frames != 0;
    _frames_compressed = answer.frames_compressed != 0;
    return true;
}

bool socket_transport::map_shared(int shared_memory)
{
    void* mapped = mmap(nullptr, shared_size, PROT_READ | PROT_WRITE, MAP_SHARED, shared_memory, 0);
    _shared_file = moved_away(shared_memory);
    if (mapped == MAP_FAILED)
        return false;
    // A forked child talks through a connection of its own and must not touch its parent's mailbox.
    madvise(mapped, shared_size, MADV_DONTFORK);
    _shared = static_cast<uint8_t*>(mapped);
    return true;
}

bool socket_transport::shake_hands()
{
    ucred simulator{};
    socklen_t size = sizeof simulator;
    if (getsockopt(_socket, SOL_SOCKET, SO_PEERCRED, &simulator, &size) == 0 && simulator.pid > 0)
        prctl(PR_SET_PTRACER, simulator.pid, 0, 0,
              0); // where access to other processes' memory is restricted
    hello greeting{};
    greeting.magic = magic;
    greeting.version = version;
    greeting.intent = static_cast<uint32_t>(intent::attach);
    greeting.pid = static_cast<uint32_t>(getpid());
    greeting.pointer_bits = sizeof(void*) * 8;
    int shared_memory = -1;
    if (send(_socket, &greeting, sizeof greeting, MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof greeting) ||
        !receive_welcome(&shared_memory) || !map_shared(shared_memory))
        return false;
    const attached done{target_address(_shared)};
    return send(_socket, &done, sizeof done, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof done);
}

bool socket_transport::connect_to(const char* path)
{
    if (!open_socket(path) || !shake_hands()) {
        complain(path);
        if (_socket >= 0)
            abandon();
        _socket = -1;
        return false;
    }
    _process = getpid();
    return true;
}

bool socket_transport::hung_up() const
{
    pollfd look{_socket, POLLIN | POLLRDHUP, 0};
    return poll(&look, 1, 0) > 0;
}

/// Hands the mailbox to the simulator.
void socket_transport::begin(operation what)
{
    const int saved_errno = errno;
    box().operation = static_cast<uint32_t>(what);
    box().finished_frames += std::exchange(_finished_frames, 0);
    _length = box().message_length;
    hand_over(box().turn, turn_simulator);
    errno = saved_errno;
}

/// Waits for it to come back.
int32_t socket_transport::end()
{
    const int saved_errno = errno;
    mailbox& post = box();
    uint32_t turn;
    while ((turn = wait_as_usual(post.turn, turn_simulator, look_for_hang_up_ms, _habits, _length)) ==
           turn_simulator) {
        if (hung_up())
            break;
    }
    errno = saved_errno;
    if (turn == turn_target)
        return post.result;
    _gone = true;
    std::fputs("zelvar: the simulator has ended the connection\n", stderr);
    return -1;
}

int32_t socket_transport::request(operation what)
{
    if (_gone)
        return -1;
    begin(what);
    return end();
}

/// Until it has been taken, the mailbox isn't ours.
bool socket_transport::wait_for_post()
{
    return !_gone && (!std::exchange(_posted, false) || end() >= 0);
}

void socket_transport::address(const void* message, uint32_t length, void* answer, uint32_t capacity)
{
    mailbox& post = box();
    post.message = target_address(message);
    post.message_length = length;
    post.answer = target_address(answer);
    post.answer_capacity = capacity;
}

int32_t socket_transport::exchange(const void* message, uint32_t length, void* answer, uint32_t capacity)
{
    if (!wait_for_post())
        return -1;
    address(message, length, answer, capacity);
    return request(operation::exchange);
}

bool socket_transport::post(const void* message, uint32_t length)
{
    if (!wait_for_post())
        return false;
    address(message, length, nullptr, 0);
    begin(operation::post);
    _posted = true;
    return true;
}

void socket_transport::offer_block(void* block, uint32_t size)
{
    if (!wait_for_post())
        return;
    box().offered_block = target_address(block);
    box().offered_size = size;
}

bool socket_transport::offer_was_taken()
{
    return std::exchange(box().offered_size, 0) == 0;
}

void socket_transport::describe_buffer(uint64_t handle,
                                       const wire::winsys_buffer_vk_data_descriptor& description)
{
    static_assert(sizeof description == sizeof(described_buffer::description));
    for (described_buffer& entry : described()) {
        if (entry.handle.load(std::memory_order_relaxed))
            continue;
        std::memcpy(entry.description, &description, sizeof description);
        entry.handle.store(handle, std::memory_order_release);
        return;
    }
}

void socket_transport::forget_buffer(uint64_t handle)
{
    for (described_buffer& entry : described())
        if (entry.handle.load(std::memory_order_relaxed) == handle)
            entry.handle.store(0, std::memory_order_release);
}

int32_t socket_transport::read(void* answer, uint32_t capacity)
{
    if (!wait_for_post())
        return -1;
    mailbox& post = box();
    post.answer = target_address(answer);
    post.answer_capacity = capacity;
    return request(operation::read);
}

void socket_transport::set_frame_buffer(const void* address, uint32_t width, uint32_t height,
                                        uint32_t bits_per_pixel, uint32_t stride_pixels)
{
    if (!wait_for_post())
        return;
    mailbox& post = box();
    post.frame_buffer = target_address(address);
    post.frame_buffer_width = width;
    post.frame_buffer_height = height;
    post.frame_buffer_bits_per_pixel = bits_per_pixel;
    post.frame_buffer_stride = stride_pixels;
}

void socket_transport::frame_finished()
{
    if (_counts_frames)
        ++(_posted ? _finished_frames : box().finished_frames);
    else if (wait_for_post())
        request(operation::frame_finished);
}

} // namespace

transport* open_transport()
{
    alignas(socket_transport) static unsigned char storage[sizeof(socket_transport)];
    static socket_transport* current = nullptr;
    if (current && current->belongs_to(getpid()))
        return current;
    const char* path = std::getenv(socket_variable);
    if (!path || !*path) {
        std::fputs("zelvar: ZELVAR_SOCKET is not set; start the application with zelvar-sim or zelvar-run\n",
                   stderr);
        return nullptr;
    }
    if (current) // inherited through fork: it is the parent's
        current->abandon();
    current = nullptr;
    auto* fresh = new (storage) socket_transport;
    if (!fresh->connect_to(path))
        return nullptr;
    current = fresh;
    return current;
}

} // namespace shim
