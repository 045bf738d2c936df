// A frame's way from the block that was read back into target memory, against plain copies of the same frame.

#include "combiner.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_channel_interface_wrapper.h"
#include "zelvar/sc_interfaces.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using clock_type = std::chrono::steady_clock;

constexpr uint32_t width = 1920;
constexpr uint32_t height = 1080;
constexpr size_t row_size = width * 4;
constexpr size_t frame_size = row_size * height;

/// Target memory as a simulator with a plain mapping has it.
struct copying_model : scModelInterface
{
    std::vector<uint8_t> memory = std::vector<uint8_t>(frame_size);

    uint32_t read(uint64_t, void*, uint32_t) override { return 0; }
    uint32_t write(uint64_t, const void* source, uint32_t length) override
    {
        std::memcpy(memory.data(), source, length);
        return length;
    }
    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override { return 0; }
};
copying_model* model;

double seconds_since(clock_type::time_point start)
{
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

/// As a read-back leaves it: freshly written, rows bottom-up.
_inter_frame_data read_back_frame(const std::vector<uint8_t>& picture)
{
    _inter_frame_data frame;
    frame.pCurrentFrame = static_cast<uint8_t*>(std::malloc(frame_size));
    frame.current_size = frame_size;
    frame.reversed = true;
    std::memcpy(frame.pCurrentFrame, picture.data(), frame_size);
    return frame;
}

bool arrived_flipped(const std::vector<uint8_t>& picture)
{
    for (uint32_t row = 0; row < height; row++) {
        if (std::memcmp(&model->memory[row * row_size], &picture[(height - 1 - row) * row_size], row_size) !=
            0)
            return false;
    }
    return true;
}

/// `ratio`: the speed of flip and write against that of copying the frame twice over.
void deliver_full_hd_frame(benchmark::State& state)
{
    copying_model target_memory;
    model = &target_memory;
    std::vector<uint8_t> picture(frame_size);
    for (size_t i = 0; i < frame_size; i++)
        picture[i] = static_cast<uint8_t>(i * 31 >> 3);
    std::vector<uint8_t> first_copy(frame_size);
    std::vector<uint8_t> second_copy(frame_size);
    buffer_info info;
    info.buffer = 0x1000;
    info.frameBufferLength = frame_size;
    info.bits_per_pixel = 32;
    info.height = height;
    info.width = width;
    info.stride = width;

    double delivered = 0;
    double copied = 0;
    for (auto _ : state) {
        _inter_frame_data frame = read_back_frame(picture);
        auto start = clock_type::now();
        combiner(1, 1, &info, &frame, true);
        release_inter_frame_data(&frame);
        const double seconds = seconds_since(start);
        delivered += seconds;
        state.SetIterationTime(seconds);

        start = clock_type::now();
        std::memcpy(first_copy.data(), picture.data(), frame_size);
        benchmark::ClobberMemory();
        std::memcpy(second_copy.data(), first_copy.data(), frame_size);
        benchmark::ClobberMemory();
        copied += seconds_since(start);
    }
    if (!arrived_flipped(picture))
        state.SkipWithError("the frame that arrived is not the frame that was sent");
    const double frames = static_cast<double>(state.iterations());
    state.counters["ms"] = delivered / frames * 1e3;
    state.counters["peer_ms"] = copied / frames * 1e3;
    state.counters["ratio"] = copied / delivered;
    state.counters["least_ratio"] = 0.5;
}
BENCHMARK(deliver_full_hd_frame)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(2);

} // namespace

// The combiner's surroundings, without cost.
scModelInterface* sidechannel_model_interface_lock_and_get(pid_t)
{
    return model;
}

void sidechannel_model_interface_unlock(pid_t) {}

bool zelvar_object_manager_get_target_process_name(pid_t, std::string* name)
{
    *name = "bench";
    return true;
}

bool zelvar_object_manager_check_tpak_encode_allowed(pid_t, uint64_t)
{
    return false;
}

bool zelvar_shim_dispatch_read_from_shim_address_space(pid_t, tid_t, uint32_t, target_ptr, void*)
{
    return false;
}
