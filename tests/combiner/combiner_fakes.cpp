#include "combiner/combiner_fakes.h"

#include "object_manager/zelvar_object_manager.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_channel_interface_wrapper.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

fake_surroundings* around = nullptr;

uint32_t fake_surroundings::write(uint64_t address, const void* source, uint32_t length)
{
    EXPECT_EQ(locked, 1);
    const auto* from = static_cast<const uint8_t*>(source);
    writes.push_back({address, bytes(from, from + length)});
    written_from = source;
    return take_one_byte_less ? length - 1 : length;
}

scModelInterface* sidechannel_model_interface_lock_and_get(pid_t)
{
    around->channel_lock.lock();
    around->locked++;
    return around;
}

void sidechannel_model_interface_unlock(pid_t)
{
    around->locked--;
    around->channel_lock.unlock();
}

bool zelvar_object_manager_get_target_process_name(pid_t, std::string* name)
{
    if (around->process_name.empty())
        return false;
    *name = around->process_name;
    return true;
}

bool zelvar_object_manager_check_tpak_encode_allowed(pid_t, uint64_t framebuffer)
{
    return !around->seen_frame_buffers.insert(framebuffer).second;
}

bool zelvar_shim_dispatch_read_from_shim_address_space(pid_t, tid_t, uint32_t size, target_ptr address,
                                                       void* destination)
{
    around->attribute_reads.push_back(address.address);
    if (around->attributes.size() != size)
        return false;
    std::memcpy(destination, around->attributes.data(), size);
    return true;
}

void combiner_room::SetUp()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "zelvar-combiner-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory = pattern;
    std::filesystem::current_path(directory);
    around = new fake_surroundings;
    zelvar_settings = {};
    zelvar_settings.zelvarLogLevel = 2;
    zelvar_only_settings = {};
    fb_xres = 1000;
    fb_yres = 1000;
    sidechannel_set_log_level(2);
}

void combiner_room::TearDown()
{
    std::filesystem::current_path("/");
    std::filesystem::remove_all(directory);
    EXPECT_EQ(around->locked, 0);
    delete around;
    Autolock cache_guard{andorid_native_buffer_data_map_cs};
    for (auto& [key, kept] : andorid_native_buffer_data_map)
        std::free(kept.pixels);
    andorid_native_buffer_data_map.clear();
}

std::string combiner_room::combine(buffer_info& info, _inter_frame_data& frame, bool reset)
{
    testing::internal::CaptureStdout();
    combiner(3, 4, &info, &frame, reset);
    return testing::internal::GetCapturedStdout();
}

buffer_info frame_buffer(uint32_t width, uint32_t height, uint32_t bits_per_pixel, uint32_t stride)
{
    buffer_info info;
    info.buffer = 0x700000000;
    info.frameBufferLength = stride * height * ((bits_per_pixel + 7) / 8);
    info.bits_per_pixel = bits_per_pixel;
    info.height = height;
    info.width = width;
    info.stride = stride;
    return info;
}

bytes counted(size_t count, uint8_t first)
{
    bytes content(count);
    for (size_t i = 0; i < count; i++)
        content[i] = static_cast<uint8_t>(first + i);
    return content;
}

uint8_t* block_of(const bytes& content)
{
    auto* block = static_cast<uint8_t*>(std::malloc(std::max<size_t>(content.size(), 1)));
    std::copy(content.begin(), content.end(), block);
    return block;
}

_inter_frame_data frame_of(const bytes& content, bool reversed)
{
    _inter_frame_data frame;
    frame.pCurrentFrame = block_of(content);
    frame.current_size = content.size();
    frame.reversed = reversed;
    return frame;
}

bytes content_of(const uint8_t* block, uint64_t size)
{
    return bytes(block, block + size);
}
