#include "shim/fake_device.h"

#include "shim/connection.h"

#include <algorithm>

namespace {

shim_test::fake_device* current_device = nullptr;

template <class T>
T load(const std::vector<uint8_t>& bytes, size_t offset)
{
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

} // namespace

namespace shim {

transport* open_transport()
{
    return current_device;
}

} // namespace shim

namespace shim_test {

/// Records a message and plays the reply to it.
void fake_device::take(const void* message, uint32_t length)
{
    const auto* first = static_cast<const uint8_t*>(message);
    const std::vector<uint8_t> copy(first, first + length);
    const bool is_settings = load<uint32_t>(copy, 4) == 2;
    if (is_settings)
        std::memcpy(reinterpret_cast<void*>(load<uint64_t>(copy, length - 16)), settings_block.data(),
                    settings_block.size());
    if (!is_settings || keep_settings_exchange)
        sent.push_back(copy);
    if (on_message && !is_settings)
        on_message(copy);
    bytes reply = release();
    if (!is_settings && !replies.empty()) {
        reply = replies.front();
        replies.pop_front();
    }
    pending_.insert(pending_.end(), reply.get().begin(), reply.get().end());
}

int32_t fake_device::exchange(const void* message, uint32_t length, void* answer, uint32_t answer_capacity)
{
    if (gone)
        return -1;
    take(message, length);
    return pending_.empty() ? 0 : read(answer, answer_capacity);
}

bool fake_device::post(const void* message, uint32_t length)
{
    if (gone || !takes_posts)
        return false;
    uint64_t thread;
    std::memcpy(&thread, static_cast<const uint8_t*>(message) + 12, sizeof thread);
    // The library answers two threads in any order.
    EXPECT_TRUE(pending_.empty() || thread == posting_thread_);
    posting_thread_ = thread;
    ++posts;
    take(message, length);
    return true;
}

int32_t fake_device::read(void* answer, uint32_t answer_capacity)
{
    if (pending_.empty()) {
        ADD_FAILURE() << "the shim reads, and nothing will ever come";
        gone = true;
        return -1;
    }
    const size_t count = std::min({pending_.size(), piece, size_t{answer_capacity}});
    std::memcpy(answer, pending_.data(), count);
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(count));
    return static_cast<int32_t>(count);
}

void fake_device::set_frame_buffer(const void* address, uint32_t width, uint32_t height,
                                   uint32_t bits_per_pixel, uint32_t stride_pixels)
{
    frame_buffers.push_back({address, width, height, bits_per_pixel, stride_pixels});
}

void device_test::use_device(size_t window_size)
{
    shim::forget_connection();
    device = std::make_unique<fake_device>(window_size);
    current_device = device.get();
}

void device_test::TearDown()
{
    shim::forget_connection();
    current_device = nullptr;
}

std::vector<uint8_t> device_test::only_message()
{
    EXPECT_EQ(device->sent.size(), 1u);
    std::vector<uint8_t> first;
    if (!device->sent.empty())
        first = device->sent.front();
    device->sent.clear();
    return first;
}

} // namespace shim_test
