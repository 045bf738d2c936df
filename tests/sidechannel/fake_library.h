#pragma once
// Stands in for the library above the side channel, and for the simulator's side of it.

#include "sidechannel_channel_interface_wrapper.h"
#include "sidechannel_log.h"
#include "zelvar/sc_interfaces.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

/// What the fake upcalls saw. `on_message` runs on the simulator's thread.
struct FakeLibrary
{
    std::atomic<int> init_calls{0};
    std::vector<Bytes> messages;
    std::function<void(const Bytes&)> on_message;
};
FakeLibrary& fake_library();

/// Everything that `action` printed to standard output.
template <class Action>
std::string logged(Action&& action)
{
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

inline size_t count_of(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        n++;
    return n;
}

/// A message of `size` bytes with a header and a payload that shows any misplaced byte.
inline Bytes make_message(uint32_t size, uint32_t pid, uint32_t type = 100)
{
    Bytes bytes(size);
    for (uint32_t i = 0; i < size; i++)
        bytes[i] = static_cast<uint8_t>(0x80 + i * 7 + (i >> 8));
    const uint32_t words[] = {size, type, pid};
    std::memcpy(bytes.data(), words, std::min<size_t>(sizeof words, size));
    return bytes;
}

/// Target memory from `base` on. Bytes outside are neither read nor written.
class FakeModel : public scModelInterface
{
public:
    static constexpr uint64_t base = 0x40000000;

    explicit FakeModel(size_t size = 4096) : memory(size) {}

    uint32_t read(uint64_t address, void* destination, uint32_t length) override
    {
        const uint32_t n = clip(address, length);
        std::memcpy(destination, memory.data() + (address - base), n);
        return n;
    }
    uint32_t write(uint64_t address, const void* source, uint32_t length) override
    {
        const uint32_t n = clip(address, length);
        if (n != 0)
            std::memcpy(memory.data() + (address - base), source, n);
        return n;
    }
    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override
    {
        core_queries++;
        return uint64_t{0x1ff} << 48;
    }

    Bytes memory;
    int core_queries = 0;

private:
    uint32_t clip(uint64_t address, uint32_t length) const
    {
        if (address < base || address - base > memory.size())
            return 0;
        return static_cast<uint32_t>(std::min<uint64_t>(length, memory.size() - (address - base)));
    }
};

/// One channel of its own with target memory, driven from the thread that made it.
struct TestChannel : PluginInterfaceWrapperChannelCallbackInterface
{
    explicit TestChannel(size_t memory = 4096) : model{memory}, channel{*new ChannelInterfaceWrapper{this, 5}}
    {
    }

    void onChannelClosed(ChannelInterfaceWrapper* closed_channel) override
    {
        closed.push_back(closed_channel);
    }
    /// The target writes `length` bytes of `bytes` from `from` on.
    int32_t send(const Bytes& bytes, size_t from, size_t length)
    {
        std::copy_n(bytes.begin() + static_cast<ptrdiff_t>(from), length, model.memory.begin());
        return channel.write(FakeModel::base, static_cast<uint32_t>(length), &model);
    }
    int32_t send(const Bytes& bytes) { return send(bytes, 0, bytes.size()); }
    void append(const Bytes& bytes)
    {
        channel.writeSideChannel(reinterpret_cast<uint64_t>(bytes.data()),
                                 static_cast<uint32_t>(bytes.size()), nullptr);
    }
    /// The target reads up to `length` bytes; one signal must be there.
    Bytes receive(uint32_t length)
    {
        const int32_t n = channel.read(FakeModel::base, length, &model);
        EXPECT_GE(n, 0);
        return {model.memory.begin(), model.memory.begin() + std::max(n, 0)};
    }

    FakeModel model;
    ChannelInterfaceWrapper& channel; // never freed, as with a simulator
    std::vector<ChannelInterfaceWrapper*> closed;
};
