#pragma once
// Takes connections in, watches targets for their end, and decides when the run is over. One thread.

#include "connection.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <csignal>
#include <sys/types.h>

namespace simulator {

struct server_options
{
    std::string socket_path;
    bool exit_when_idle = false;
    /// Called about four times a second.
    std::function<void()> tick;
};

class server
{
public:
    /// Binds the socket; blocks SIGINT, SIGTERM and SIGCHLD in the calling thread, to be called before any
    /// other thread is started. Throws std::system_error.
    server(const server_options& options);
    ~server();
    server(const server&) = delete;
    server& operator=(const server&) = delete;

    /// The mask that was in force before.
    const sigset_t& outer_mask() const { return _outer_mask; }

    /// Serves until `child` and all targets have ended, or, without a child (-1), until a signal comes or all
    /// have left. Returns the exit status: the child's, or 0.
    int run(const surroundings& around, pid_t child);

    /// Connections whose thread still waits for the library; their memory must stay.
    size_t parked() const { return _parked; }

private:
    struct entry
    {
        std::unique_ptr<connection> link;
        bool attached = false; // guarded by _lock
        bool ended = false;    // guarded by _lock
        bool parked = false;
        /// Since when it has been asked to end, and whether it was made to. Guarded by _lock.
        std::chrono::steady_clock::time_point asked_to_end{};
        bool killed = false;
    };
    using entries = std::map<uint64_t, entry>;

    void bind_socket();
    void watch(int descriptor, uint32_t events, uint64_t id, bool once);
    void accept_all();
    device_link::reception arrive(connection& who);
    void attached(connection& who);
    void ended(connection& who);
    void end_politely(connection& who);
    void target_left(uint64_t id);
    void handle_signals();
    void reap_child();
    void reap_connections();
    void park_the_late();
    void press_the_unwilling();
    bool over();
    int status() const;
    entries::iterator find(const connection& who);

    const server_options _options;
    surroundings _around;
    sigset_t _outer_mask;
    descriptor _listener;
    descriptor _signals;
    descriptor _bell; // rung when a connection has ended
    descriptor _poll;

    std::mutex _lock;
    std::condition_variable _connection_ended;
    entries _connections; // guarded by _lock
    uint64_t _next_id;
    pid_t _child = -1;
    bool _child_running = false;
    int _child_status = 0;
    int _stop_signals = 0;
    int _sent_signal = 0;       // to end targets with enough frames; guarded by _lock
    bool _anybody_came = false; // guarded by _lock
    size_t _parked = 0;
};

} // namespace simulator
