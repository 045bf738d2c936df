#include "handlers/vk/mapped_memory.h"

#include "handlers/vk/queue_progress.h"
#include "pixels/astc_formats.h"

#include <algorithm>
#include <cstring>

namespace {
/// The part of a mapping that a range covers.
struct mapped_part
{
    uint64_t position = 0; // in the mapping
    uint64_t size = 0;     // 0 for nothing
};

mapped_part part_of(const vk_memory_data& memory, uint64_t offset, uint64_t size)
{
    if (!memory.host_pointer || !memory.target_address || offset < memory.map_offset)
        return {};
    const uint64_t position = offset - memory.map_offset;
    if (position >= memory.map_size)
        return {};
    return {position, std::min(size, memory.map_size - position)};
}

void read_target(const vk_frame& call, target_ptr address, uint8_t* to, uint64_t size)
{
    constexpr uint64_t most = 0x40000000; // a request of the service has a size of 32 bits
    for (uint64_t done = 0; done < size; done += most)
        zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid,
                                                          static_cast<uint32_t>(std::min(size - done, most)),
                                                          address + done, to + done);
}

/// Keeps what the host's mapping holds before a submission, copying no more than has changed since the last.
void remember(vk_memory_data& memory)
{
    std::vector<uint8_t>& kept = memory.as_read;
    if (kept.size() != memory.map_size) {
        kept.assign(memory.host_pointer, memory.host_pointer + memory.map_size);
        return;
    }
    constexpr uint64_t step = 4096;
    for (uint64_t at = 0; at < kept.size(); at += step) {
        const uint64_t length = std::min<uint64_t>(step, kept.size() - at);
        if (std::memcmp(kept.data() + at, memory.host_pointer + at, length) != 0)
            std::memcpy(kept.data() + at, memory.host_pointer + at, length);
    }
}

/// Gives the target what the host has written since: all of it would undo what another thread of the target
/// has written to its mapping meanwhile.
void write_changes(const vk_frame& call, const vk_memory_data& memory)
{
    constexpr uint64_t page = 4096;
    constexpr uint64_t line = 64; // nobody shares less than a line of the processor's cache with a device
    const uint8_t* const now = memory.host_pointer;
    const uint8_t* const before = memory.as_read.data();
    const uint64_t size = std::min<uint64_t>(memory.map_size, memory.as_read.size());
    const auto differs = [&](uint64_t at, uint64_t step) {
        return std::memcmp(now + at, before + at, std::min(step, size - at)) != 0;
    };
    for (uint64_t at = 0; at < size;) {
        if (at % page == 0 && !differs(at, page)) {
            at += page;
            continue;
        }
        uint64_t end = at;
        while (end < size && differs(end, line))
            end = std::min(end + line, size);
        if (end != at)
            vk_write_mapping(call, memory, memory.map_offset + at, end - at);
        at = end + line;
    }
}

/// The entries of the coherent set that are mapped and hold what the target's memory holds.
template <class Use>
void for_each_mapped_coherent(vk_device_record* device, Use use)
{
    for (VkDeviceMemory target : device->coherent_memory) {
        auto entry = device->device_memory.find(target);
        if (entry == device->device_memory.end() || !entry->second.host_pointer)
            continue;
        if (entry->second.contents == vk_contents::as_on_target)
            use(entry->second);
        else
            entry->second.contents = vk_contents::decoded_and_drawn;
    }
}
} // namespace

void vk_read_mapping(const vk_frame& call, const vk_memory_data& memory, uint64_t offset, uint64_t size)
{
    const mapped_part part = part_of(memory, offset, size);
    if (part.size)
        read_target(call, memory.target_address + part.position, memory.host_pointer + part.position,
                    part.size);
}

void vk_write_mapping(const vk_frame& call, const vk_memory_data& memory, uint64_t offset, uint64_t size)
{
    const mapped_part part = part_of(memory, offset, size);
    if (part.size)
        call.write_bytes(memory.target_address + part.position, memory.host_pointer + part.position,
                         part.size);
}

void vk_read_coherent_memory(const vk_frame& call, vk_device_record* device)
{
    for_each_mapped_coherent(device, [&](vk_memory_data& memory) {
        vk_read_mapping(call, memory, memory.map_offset, memory.map_size);
        remember(memory);
    });
}

VkResult vk_write_coherent_memory(const vk_frame& call, vk_device_record* device, VkQueue queue)
{
    if (device->coherent_memory.empty())
        return VK_SUCCESS;
    const VkResult result = vk_wait_for_queue(call, device, queue);
    for_each_mapped_coherent(device, [&](const vk_memory_data& memory) { write_changes(call, memory); });
    return result;
}

void vk_decode_astc(const VkImageCreateInfo& image, const uint8_t* source, uint64_t source_size,
                    uint8_t* destination, uint64_t destination_size)
{
    unsigned char block_width = 0;
    unsigned char block_height = 0;
    get_astc_blockdim(image.format, &block_width, &block_height);
    const uint64_t width = image.extent.width;
    const uint64_t height = image.extent.height;
    if (!block_width || !block_height || !width || !height)
        return;
    constexpr uint64_t block_bytes = 16;
    const uint64_t blocks_size =
        (width + block_width - 1) / block_width * ((height + block_height - 1) / block_height) * block_bytes;
    const uint64_t texels_size = width * height * 4;
    // A block of zeros is none of the valid ones.
    std::vector<uint8_t> completed;
    auto* blocks = const_cast<uint8_t*>(source);
    if (source_size < blocks_size) {
        completed.resize(blocks_size);
        std::memcpy(completed.data(), source, source_size);
        blocks = completed.data();
    }
    if (texels_size <= destination_size) {
        zelvar_helpers_decodeASTCtoRGBA8888(image.format, static_cast<int>(width), static_cast<int>(height),
                                            blocks, destination);
        return;
    }
    std::vector<uint8_t> texels(texels_size);
    zelvar_helpers_decodeASTCtoRGBA8888(image.format, static_cast<int>(width), static_cast<int>(height),
                                        blocks, texels.data());
    std::memcpy(destination, texels.data(), destination_size);
}
