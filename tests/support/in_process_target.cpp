#include "support/in_process_target.h"

#include "shim/connection.h"
#include "shim/transport.h"
#include "zelvar/zelvar.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <sys/uio.h>
#include <thread>
#include <unistd.h>

namespace in_process_target {

namespace {

options configured;
frame newest;
std::atomic<uint32_t> frame_count{0};
std::atomic<uint64_t> exchanges{0}, bytes_read{0}, bytes_written{0}, refused{0};

/// A block of target memory that is sure to be there.
struct known_block
{
    uint8_t* base = nullptr;
    uint64_t size = 0;

    bool holds(uint64_t address, uint64_t length) const
    {
        const uint64_t offset = address - reinterpret_cast<uintptr_t>(base);
        return offset < size && length <= size - offset;
    }
};

/// The memory of this process as target memory: addresses that lead nowhere give short counts.
class own_memory : public scModelInterface
{
public:
    void set_window(known_block block) { window_ = block; }

    uint32_t read(uint64_t address, void* destination, uint32_t length) override
    {
        return counted(bytes_read, length, [&] {
            if (window_.holds(address, length))
                return copy(destination, pointer(address), length);
            const iovec to{destination, length};
            const iovec from{pointer(address), length};
            return std::max<ssize_t>(process_vm_readv(getpid(), &to, 1, &from, 1, 0), 0);
        });
    }

    uint32_t write(uint64_t address, const void* source, uint32_t length) override
    {
        return counted(bytes_written, length, [&] {
            if (window_.holds(address, length))
                return copy(pointer(address), source, length);
            const iovec from{const_cast<void*>(source), length};
            const iovec to{pointer(address), length};
            return std::max<ssize_t>(process_vm_writev(getpid(), &from, 1, &to, 1, 0), 0);
        });
    }

    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override { return 0; }

private:
    static void* pointer(uint64_t address)
    {
        return reinterpret_cast<void*>(static_cast<uintptr_t>(address));
    }

    static ssize_t copy(void* to, const void* from, uint32_t length)
    {
        std::memcpy(to, from, length);
        return length;
    }

    template <class F>
    static uint32_t counted(std::atomic<uint64_t>& counter, uint32_t length, F access)
    {
        const auto done = static_cast<uint32_t>(length ? access() : 0);
        counter.fetch_add(done, std::memory_order_relaxed);
        if (done != length)
            refused.fetch_add(1, std::memory_order_relaxed);
        return done;
    }

    known_block window_;
};

/// Runs one job after the other on a thread of its own, which lives to the end of the process.
class simulator_thread
{
public:
    simulator_thread()
    {
        std::thread{[this] { run(); }}.detach();
    }

    int32_t call(const std::function<int32_t()>& job)
    {
        std::unique_lock<std::mutex> guard{lock_};
        job_ = &job;
        changed_.notify_all();
        changed_.wait(guard, [this] { return job_ == nullptr; });
        return result_;
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> guard{lock_};
        for (;;) {
            changed_.wait(guard, [this] { return job_ != nullptr; });
            guard.unlock();
            const int32_t result = (*job_)();
            guard.lock();
            result_ = result;
            job_ = nullptr;
            changed_.notify_all();
        }
    }

    std::mutex lock_;
    std::condition_variable changed_;
    const std::function<int32_t()>* job_ = nullptr;
    int32_t result_ = 0;
};

class direct_transport : public shim::transport
{
public:
    direct_transport() : window_(configured.window_size)
    {
        memory_.set_window({window_.data(), window_.size()});
        if (configured.by == driving::simulator_thread)
            simulator_ = new simulator_thread;
        on_channel_thread([this] {
            scPluginInterface* plugin = configured.plugin ? configured.plugin : scPluginEntryPoint();
            channel_ = plugin->open();
            return 0;
        });
    }

    uint8_t* window() override { return window_.data(); }
    uint64_t window_size() override { return window_.size(); }

    int32_t exchange(const void* message, uint32_t length, void* answer, uint32_t answer_capacity) override
    {
        exchanges.fetch_add(1, std::memory_order_relaxed);
        return on_channel_thread([&, this] {
            channel_->write(reinterpret_cast<uintptr_t>(message), length, &memory_);
            return channel_->read(reinterpret_cast<uintptr_t>(answer), answer_capacity, &memory_);
        });
    }

    int32_t read(void* answer, uint32_t answer_capacity) override
    {
        return on_channel_thread([&, this] {
            return channel_->read(reinterpret_cast<uintptr_t>(answer), answer_capacity, &memory_);
        });
    }

    void set_frame_buffer(const void* address, uint32_t width, uint32_t height, uint32_t bits_per_pixel,
                          uint32_t stride_pixels) override
    {
        frame_buffer_ = static_cast<const uint8_t*>(address);
        width_ = width;
        height_ = height;
        stride_ = size_t{stride_pixels} * bits_per_pixel / 8;
    }

    void frame_finished() override
    {
        newest.width = width_;
        newest.height = height_;
        newest.pixels.resize(size_t{width_} * height_ * 4);
        for (uint32_t y = 0; y < height_; ++y)
            std::memcpy(newest.pixels.data() + size_t{y} * width_ * 4, frame_buffer_ + y * stride_,
                        size_t{width_} * 4);
        frame_count.fetch_add(1, std::memory_order_relaxed);
    }

private:
    template <class F>
    int32_t on_channel_thread(F job)
    {
        if (simulator_)
            return simulator_->call(job);
        if (owner_ != std::this_thread::get_id()) {
            std::fputs("A target that is driven directly makes calls from a second thread.\n", stderr);
            std::abort();
        }
        return job();
    }

    std::vector<uint8_t> window_;
    own_memory memory_;
    simulator_thread* simulator_ = nullptr;
    const std::thread::id owner_ = std::this_thread::get_id();
    scChannelInterface* channel_ = nullptr;
    const uint8_t* frame_buffer_ = nullptr;
    uint32_t width_ = 0;
    uint32_t height_ = 0;
    size_t stride_ = 0; // bytes
};

} // namespace

void start(const options& how)
{
    configured = how;
    const std::string screen = std::to_string(how.screen_width) + "x" + std::to_string(how.screen_height);
    setenv("ZELVAR_FB", screen.c_str(), 1);
    shim::forget_connection();
    newest = {};
    frame_count = 0;
    exchanges = bytes_read = bytes_written = refused = 0;
}

traffic traffic_so_far()
{
    return {exchanges.load(), bytes_read.load(), bytes_written.load(), refused.load()};
}

uint32_t frames_so_far()
{
    return frame_count.load();
}

const frame& last_frame()
{
    return newest;
}

} // namespace in_process_target

namespace shim {

transport* open_transport()
{
    // Never freed: the channel keeps the memory interface, and calls may come from exit handlers.
    static std::atomic<in_process_target::direct_transport*> current{nullptr};
    current = new in_process_target::direct_transport;
    return current;
}

} // namespace shim
