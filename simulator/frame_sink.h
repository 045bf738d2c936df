#pragma once
// Finished frames on their way to picture files.

#include "link_endpoint.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace simulator {

struct frame_options
{
    std::string directory; // empty: frames are counted, not written
    uint32_t every = 1;    // of each window
    bool keep_alpha = false;
    bool compressed = false; // what stands in the frame buffers
};

/// A picture, 8 bits a channel, R, G, B and with four channels A; top row first.
struct picture
{
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t channels = 4;
    std::vector<uint8_t> pixels;
};

/// Reads target memory; returns the bytes that came.
using memory_reader = std::function<uint32_t(uint64_t address, void* destination, uint32_t length)>;

/// Takes the frame out of the target's frame buffer. Empty when the description is no frame buffer (`why`
/// says what is wrong) or memory lacks.
picture copy_frame(const frame_buffer_place& place, const memory_reader& read, bool keep_alpha,
                   const char** why);
/// The same where the frame buffer holds a compressed frame, which lies behind its address without a stride.
picture copy_compressed_frame(const frame_buffer_place& place, const memory_reader& read, bool keep_alpha,
                              const char** why);

/// File name of a frame: application, process, window but the first, number.
std::string frame_name(const std::string& application, long process, uint32_t window, uint64_t number);

/// Writes pictures on a thread of its own; a caller waits when it is far ahead.
class frame_writer
{
public:
    explicit frame_writer(frame_options options);
    /// Writes what is left.
    ~frame_writer();
    void put(std::string name, picture frame);
    /// Waits until everything put so far is on disk.
    void flush();
    const frame_options& options() const { return _options; }
    uint64_t written() const;
    uint64_t failed() const;

private:
    struct job
    {
        std::string name;
        picture frame;
    };
    void run();

    const frame_options _options;
    mutable std::mutex _lock;
    std::condition_variable _changed;
    std::deque<job> _jobs; // guarded by _lock
    bool _writing = false; // guarded by _lock
    bool _stop = false;    // guarded by _lock
    uint64_t _written = 0; // guarded by _lock
    uint64_t _failed = 0;  // guarded by _lock
    std::thread _thread;
};

/// The windows of one target, told apart by where their frame buffers lie.
class window_numbers
{
public:
    struct frame
    {
        uint32_t window = 0;
        uint64_t number = 0; // from 0
    };
    /// The next frame of the window whose frame buffer is there.
    frame next(uint64_t frame_buffer);

private:
    struct window
    {
        uint32_t index = 0;
        uint64_t frames = 0;
    };
    std::map<uint64_t, window> _windows;
};

} // namespace simulator
