#pragma once
// A device that records what the shim sends and plays back a script.

#include "shim/transport.h"
#include "shim/wire_bytes.h"

#include <atomic>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace shim_test {

struct frame_record
{
    const void* address = nullptr;
    uint32_t width = 0, height = 0, bits = 0, stride = 0;
    bool operator==(const frame_record&) const = default;
};

class fake_device : public shim::transport
{
public:
    explicit fake_device(size_t window_size = size_t{8} << 20) : window_(window_size)
    {
        settings_block[0] = 2; // log level: FATAL and ERROR
    }

    // The script.
    std::deque<bytes> replies; // one per exchange; a plain release when there is none
    std::function<void(const std::vector<uint8_t>&)> on_message;
    size_t piece = SIZE_MAX; // the most bytes that one read delivers
    bool gone = false;
    std::vector<uint8_t> settings_block = std::vector<uint8_t>(56);
    bool keep_settings_exchange = false; // in `sent`
    bool compresses_frames = false;
    bool counts_frames = false;
    bool takes_posts = false;
    bool takes_blocks = false; // when they lie ready
    bool takes_the_offer = false;

    // The record.
    std::vector<std::vector<uint8_t>> sent;
    std::vector<frame_record> frame_buffers;
    std::vector<std::pair<void*, uint32_t>> offers;
    std::atomic<int> frames = 0;
    int posts = 0;

    uint8_t* window() override { return window_.data(); }
    uint64_t window_size() override { return window_.size(); }
    int32_t exchange(const void* message, uint32_t length, void* answer, uint32_t answer_capacity) override;
    bool post(const void* message, uint32_t length) override;
    bool takes_offers() const override { return takes_blocks; }
    void offer_block(void* block, uint32_t size) override { offers.push_back({block, size}); }
    bool offer_was_taken() override { return takes_the_offer; }
    int32_t read(void* answer, uint32_t answer_capacity) override;
    void set_frame_buffer(const void* address, uint32_t width, uint32_t height, uint32_t bits_per_pixel,
                          uint32_t stride_pixels) override;
    void frame_finished() override { ++frames; }
    bool frames_are_compressed() const override { return compresses_frames; }
    bool only_counts_frames() const override { return counts_frames; }

    bool is_in_window(uint64_t address) const
    {
        const auto first = reinterpret_cast<uintptr_t>(window_.data());
        return address >= first && address < first + window_.size();
    }

private:
    void take(const void* message, uint32_t length);

    std::vector<uint8_t> window_;
    std::vector<uint8_t> pending_;
    uint64_t posting_thread_ = 0;
};

/// Every test starts with a device that has not been connected to.
class device_test : public testing::Test
{
protected:
    void SetUp() override { use_device(); }
    void TearDown() override;

    /// A fresh device with a window of this size.
    void use_device(size_t window_size = size_t{8} << 20);

    void use_batching() { device->settings_block[32] = 1; }

    /// Lines that the shim has printed since the last call; capturing begins with `capture`.
    static void capture() { testing::internal::CaptureStderr(); }
    static std::string captured() { return testing::internal::GetCapturedStderr(); }

    /// The only message sent so far, which is forgotten.
    std::vector<uint8_t> only_message();

    std::unique_ptr<fake_device> device;
};

} // namespace shim_test
