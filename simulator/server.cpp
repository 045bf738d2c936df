#include "server.h"

#include "launch.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace simulator {
namespace {

constexpr uint64_t listener_id = 0;
constexpr uint64_t signals_id = 1;
constexpr uint64_t bell_id = 2;
constexpr uint64_t first_connection_id = 3;
constexpr int tick_ms = 250;
/// How long the library may take to end the business of a target that is gone.
constexpr std::chrono::seconds farewell_patience{5};

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

bool has_hung_up(const link_endpoint& link)
{
    pollfd look{link.socket(), POLLIN | POLLRDHUP, 0};
    return poll(&look, 1, 0) > 0;
}

/// A socket that nobody listens on any more is left from a simulator that was killed.
void remove_stale(const std::string& path, const sockaddr_un& address)
{
    struct stat found;
    if (lstat(path.c_str(), &found) != 0)
        return;
    if (!S_ISSOCK(found.st_mode)) {
        errno = EEXIST;
        fail(path);
    }
    descriptor trial(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (connect(trial.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        errno = EADDRINUSE;
        fail(path);
    }
    unlink(path.c_str());
}

} // namespace

server::server(const server_options& options) : _options(options), _next_id(first_connection_id)
{
    sigset_t ours;
    sigemptyset(&ours);
    for (int number : {SIGINT, SIGTERM, SIGCHLD})
        sigaddset(&ours, number);
    if (pthread_sigmask(SIG_BLOCK, &ours, &_outer_mask) != 0)
        fail("signal mask");
    _signals = descriptor(signalfd(-1, &ours, SFD_CLOEXEC | SFD_NONBLOCK));
    _bell = descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    _poll = descriptor(epoll_create1(EPOLL_CLOEXEC));
    if (!_signals || !_bell || !_poll)
        fail("event descriptors");
    bind_socket();
    watch(_listener.get(), EPOLLIN, listener_id, false);
    watch(_signals.get(), EPOLLIN, signals_id, false);
    watch(_bell.get(), EPOLLIN, bell_id, false);
}

server::~server()
{
    unlink(_options.socket_path.c_str());
    for (auto& [id, each] : _connections)
        static_cast<void>(each.link.release()); // still used by a thread that never came back
}

void server::bind_socket()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (_options.socket_path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        fail(_options.socket_path);
    }
    _options.socket_path.copy(address.sun_path, _options.socket_path.size());
    remove_stale(_options.socket_path, address);
    _listener = descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const mode_t mask = umask(0077);
    const int bound = bind(_listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    umask(mask);
    if (bound != 0 || listen(_listener.get(), SOMAXCONN) != 0)
        fail(_options.socket_path);
}

void server::watch(int number, uint32_t events, uint64_t id, bool once)
{
    epoll_event event{};
    event.events = events | (once ? EPOLLONESHOT : 0u);
    event.data.u64 = id;
    epoll_ctl(_poll.get(), EPOLL_CTL_ADD, number, &event);
}

server::entries::iterator server::find(const connection& who)
{
    auto at = _connections.begin();
    while (at != _connections.end() && at->second.link.get() != &who)
        ++at;
    return at;
}

void server::accept_all()
{
    for (;;) {
        descriptor taken(accept4(_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!taken)
            return;
        auto fresh = std::make_unique<connection>(std::move(taken), _around);
        connection& started = *fresh;
        std::lock_guard guard{_lock};
        _connections[_next_id++].link = std::move(fresh);
        try {
            started.start();
        } catch (const std::system_error& fault) {
            std::fprintf(stderr, "zelvar-sim: a target can't be served: %s\n", fault.what());
            _connections.erase(find(started));
        }
    }
}

/// A process has one connection. One that has just replaced its program (or a new process that got the number
/// of one just gone) waits until the business of the old one is ended, since the library tells processes
/// apart by their numbers.
device_link::reception server::arrive(connection& who)
{
    std::unique_lock guard{_lock};
    const auto deadline = std::chrono::steady_clock::now() + farewell_patience;
    const auto rival = [&] {
        for (auto& [id, each] : _connections) {
            if (each.link.get() != &who && each.attached && !each.ended &&
                each.link->link().process() == who.link().process())
                return &each;
        }
        return static_cast<entry*>(nullptr);
    };
    while (entry* other = rival()) {
        const bool leaving = other->link->link().gone() || has_hung_up(other->link->link());
        if (!leaving || _connection_ended.wait_until(guard, deadline) == std::cv_status::timeout)
            return device_link::reception::already_connected;
    }
    return device_link::reception::accepted;
}

void server::attached(connection& who)
{
    std::lock_guard guard{_lock};
    const auto at = find(who);
    at->second.attached = true;
    _anybody_came = true;
    watch(who.link().socket(), EPOLLIN | EPOLLRDHUP, at->first, true);
    if (who.link().process_descriptor() >= 0)
        watch(who.link().process_descriptor(), EPOLLIN, at->first, true);
}

void server::ended(connection& who)
{
    std::lock_guard guard{_lock};
    find(who)->second.ended = true;
    _connection_ended.notify_all();
    const uint64_t one = 1;
    if (write(_bell.get(), &one, sizeof one) < 0)
        std::perror("zelvar-sim: bell");
}

void server::end_politely(connection& who)
{
    std::lock_guard guard{_lock};
    find(who)->second.asked_to_end = std::chrono::steady_clock::now();
    _sent_signal = SIGTERM;
    who.link().send_signal(SIGTERM);
}

void server::target_left(uint64_t id)
{
    std::lock_guard guard{_lock};
    const auto at = _connections.find(id);
    if (at == _connections.end() || at->second.ended)
        return;
    at->second.link->note_gone();
    at->second.link->hang_up();
}

void server::handle_signals()
{
    signalfd_siginfo info;
    while (read(_signals.get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        if (info.ssi_signo == SIGCHLD) {
            reap_child();
            continue;
        }
        ++_stop_signals;
        if (_child_running) {
            kill(_child, _stop_signals > 1 ? SIGKILL : static_cast<int>(info.ssi_signo));
            continue;
        }
        std::lock_guard guard{_lock};
        for (auto& [id, each] : _connections) {
            each.link->note_gone();
            each.link->hang_up();
        }
    }
}

void server::reap_child()
{
    int status = 0;
    if (!_child_running || waitpid(_child, &status, WNOHANG) != _child)
        return;
    _child_running = false;
    _child_status = exit_status(status);
}

void server::reap_connections()
{
    uint64_t rings;
    if (read(_bell.get(), &rings, sizeof rings) < 0)
        return;
    std::vector<entry> done;
    {
        std::lock_guard guard{_lock};
        for (auto at = _connections.begin(); at != _connections.end();) {
            const auto next = std::next(at);
            if (at->second.ended) {
                done.push_back(std::move(at->second));
                _connections.erase(at);
            }
            at = next;
        }
    }
    for (entry& each : done) {
        each.link->join();
        if (each.parked)
            --_parked;
    }
}

/// Gives up waiting for connections whose target is gone and that the library doesn't let go.
void server::park_the_late()
{
    std::lock_guard guard{_lock};
    for (auto& [id, each] : _connections) {
        if (each.parked || each.ended || each.link->gone_for() < farewell_patience)
            continue;
        each.parked = true;
        ++_parked;
        std::fprintf(stderr,
                     "zelvar-sim: target %d is gone, but the library doesn't end its call; "
                     "its thread stays parked\n",
                     static_cast<int>(each.link->link().process()));
    }
}

/// A target that has had its frames and doesn't heed the request to end is killed.
void server::press_the_unwilling()
{
    std::lock_guard guard{_lock};
    const auto now = std::chrono::steady_clock::now();
    for (auto& [id, each] : _connections) {
        const bool asked = each.asked_to_end != std::chrono::steady_clock::time_point{};
        if (!asked || each.killed || each.link->link().gone() || now - each.asked_to_end < farewell_patience)
            continue;
        each.killed = true;
        _sent_signal = SIGKILL;
        each.link->link().send_signal(SIGKILL);
    }
}

bool server::over()
{
    std::lock_guard guard{_lock};
    for (const auto& [id, each] : _connections) {
        if (!each.parked)
            return false;
    }
    if (_child > 0)
        return !_child_running;
    return _stop_signals > 0 || (_options.exit_when_idle && _anybody_came);
}

int server::status() const
{
    const bool by_our_wish = _sent_signal && _child_status == 128 + _sent_signal;
    return _child > 0 && !by_our_wish ? _child_status : 0;
}

int server::run(const surroundings& around, pid_t child)
{
    _around = around;
    _around.arrive = [this](connection& who) { return arrive(who); };
    _around.attached = [this](connection& who) { attached(who); };
    _around.enough_frames = [this](connection& who) { end_politely(who); };
    _around.ended = [this](connection& who) { ended(who); };
    _child = child;
    _child_running = child > 0;
    while (!over()) {
        epoll_event events[16];
        const int count = epoll_wait(_poll.get(), events, 16, tick_ms);
        for (int i = 0; i < count; ++i) {
            switch (const uint64_t id = events[i].data.u64) {
            case listener_id:
                accept_all();
                break;
            case signals_id:
                handle_signals();
                break;
            case bell_id:
                reap_connections();
                break;
            default:
                target_left(id);
            }
        }
        park_the_late();
        press_the_unwilling();
        if (_options.tick)
            _options.tick();
    }
    return status();
}

} // namespace simulator
