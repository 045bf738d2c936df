#pragma once
// One target process as the simulator sees it: its link, its channel of the library, and the threads that
// drive both.

#include "frame_sink.h"
#include "library_channel.h"
#include "link_endpoint.h"
#include "target_memory.h"
#include "zelvar/sc_interfaces.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace simulator {

/// Sums over all targets.
struct totals
{
    std::atomic<uint64_t> targets{0};
    std::atomic<uint64_t> frames{0};
    std::atomic<uint64_t> messages{0};
    std::atomic<uint64_t> calls{0};
    std::atomic<uint64_t> call_nanoseconds{0}; // spent in exchanges
    traffic moved;
};

class connection;

/// What a connection needs of the house around it.
struct surroundings
{
    scPluginInterface* plugin = nullptr;
    totals* sums = nullptr;
    frame_writer* frames = nullptr; // null: frames are counted only
    screen offered{640, 480};
    uint64_t max_frames = 0; // of one target; 0: no end
    talk_settings initial_settings;
    /// On the connection's thread, after the greeting: whether this process may attach.
    std::function<device_link::reception(connection&)> arrive;
    /// On the connection's thread, once the target is attached: from now on its end is to be watched.
    std::function<void(connection&)> attached;
    /// On the connection's thread, when a target has finished `max_frames`.
    std::function<void(connection&)> enough_frames;
    /// On the connection's thread, as its last act.
    std::function<void(connection&)> ended;
};

class connection
{
public:
    connection(descriptor socket, const surroundings& around);
    /// The thread must have ended.
    ~connection();
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    void start();
    void join() { _thread.join(); }
    /// From any thread: the target is gone.
    void hang_up() { _link.hang_up(); }

    const link_endpoint& link() const { return _link; }
    /// How long the target has been gone; zero while it is there.
    std::chrono::milliseconds gone_for() const;
    void note_gone();

private:
    using clock = std::chrono::steady_clock;
    /// Where a target that waits for an answer wants it, and since when it waits, if that is to be counted.
    struct wanted_answer
    {
        uint64_t address = 0;
        uint32_t capacity = 0;
        std::optional<clock::time_point> since;
    };

    void run();
    bool welcome();
    void serve();
    void serve_with_a_second_thread();
    void read_as_long_as_it_lasts();
    void end_reading();
    bool serve_next();
    bool serve_one(const link_request& request);
    bool exchange(const link_request& request);
    bool post(const link_request& request);
    bool take_message(const link_request& request);
    void want(const link_request& request, std::optional<clock::time_point> since = std::nullopt);
    bool is_wanted();
    void deliver();
    void finish_frame();
    void count();
    void complain(const char* what) const;

    const surroundings& _around;
    link_endpoint _link;
    process_memory _memory;
    newcomer _who;
    std::string _application;
    std::unique_ptr<library_channel> _channel;
    std::vector<uint8_t> _incoming; // memory for the next message
    window_numbers _windows;
    uint64_t _frames = 0;
    bool _complained_about_frame = false;
    std::atomic<int64_t> _gone_since{0}; // steady clock, milliseconds

    std::mutex _lock; // while two threads serve, guards what follows
    std::condition_variable _changed;
    std::optional<wanted_answer> _wanted;
    bool _reading = false;
    bool _over = false;
    uint64_t _counted_messages = 0;
    uint64_t _counted_calls = 0;

    std::thread _thread;
};

} // namespace simulator
