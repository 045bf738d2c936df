/* Mapped memory of every type: coherent and not, flushed and invalidated whole and in parts, mapped in part,
 * shared by several buffers and images; images in rows that the application writes. vk_memory */

#include "vk_common.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static struct gpu gpu;

enum
{
    size = 65536
};

/* A buffer of all of its memory, which is of a given type. */
static struct buffer make_typed(uint32_t type, VkDeviceSize* allocated)
{
    struct buffer buffer = {.size = size};
    const VkBufferCreateInfo info = {.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                                     .size = size,
                                     .usage =
                                         VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT};
    VK(vkCreateBuffer(gpu.device, &info, NULL, &buffer.handle));
    VkMemoryRequirements needs;
    vkGetBufferMemoryRequirements(gpu.device, buffer.handle, &needs);
    check(needs.memoryTypeBits >> type & 1, "a buffer in this type of memory");
    /* Ranges are whole atoms of what isn't coherent. */
    const VkDeviceSize atom = gpu.properties.limits.nonCoherentAtomSize;
    *allocated = (needs.size + atom - 1) / atom * atom + 4 * atom;
    const VkMemoryAllocateInfo allocate = {.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO,
                                           .allocationSize = *allocated,
                                           .memoryTypeIndex = type};
    VK(vkAllocateMemory(gpu.device, &allocate, NULL, &buffer.memory));
    VK(vkBindBufferMemory(gpu.device, buffer.handle, buffer.memory, 0));
    return buffer;
}

static unsigned char* map(VkDeviceMemory memory, VkDeviceSize offset, VkDeviceSize length)
{
    void* mapped = NULL;
    VK(vkMapMemory(gpu.device, memory, offset, length, 0, &mapped));
    check(mapped != NULL, "an address of mapped memory");
    return mapped;
}

static VkMappedMemoryRange range(VkDeviceMemory memory, VkDeviceSize offset, VkDeviceSize length)
{
    const VkMappedMemoryRange made = {VK_STRUCTURE_TYPE_MAPPED_MEMORY_RANGE, NULL, memory, offset, length};
    return made;
}

static void fill(unsigned char* bytes, uint32_t count, uint32_t seed)
{
    for (uint32_t i = 0; i < count; ++i)
        bytes[i] = (unsigned char)(seed + i * 31 + (i >> 8));
}

/* Half of the buffer goes into the other half. */
static void move(const struct buffer* buffer, VkDeviceSize from, VkDeviceSize to)
{
    const VkBufferCopy copy = {from, to, size / 2};
    const VkCommandBuffer commands = begin_commands(&gpu);
    wait_for_writes(commands, VK_PIPELINE_STAGE_HOST_BIT, VK_ACCESS_HOST_WRITE_BIT,
                    VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_READ_BIT);
    vkCmdCopyBuffer(commands, buffer->handle, buffer->handle, 1, &copy);
    run_commands(&gpu, commands);
}

static void print(const void* bytes, const char* subject)
{
    begin_sum();
    add_bytes(bytes, size);
    end_sum(subject);
}

/* Stays mapped while the device writes and reads it, with no flush and no invalidation. */
static void coherent(uint32_t type)
{
    VkDeviceSize allocated = 0;
    struct buffer buffer = make_typed(type, &allocated);
    unsigned char* const bytes = map(buffer.memory, 0, VK_WHOLE_SIZE);
    fill(bytes, size, 1);
    move(&buffer, 0, size / 2);
    print(bytes, "coherent, written once");
    fill(bytes + size / 2, size / 2, 77);
    move(&buffer, size / 2, 0);
    print(bytes, "coherent, written again");
    vkUnmapMemory(gpu.device, buffer.memory);
    memcpy(map(buffer.memory, 512, 1000), "in the middle", 13);
    vkUnmapMemory(gpu.device, buffer.memory);
    move(&buffer, 0, size / 2);
    print(map(buffer.memory, 0, size), "coherent, mapped in part");
    free_buffer(&gpu, &buffer); /* while it is mapped */
}

/* Ranges that are told, and others that aren't. Only what was told is looked at. */
static void told(uint32_t type)
{
    VkDeviceSize allocated = 0;
    struct buffer buffer = make_typed(type, &allocated);
    const VkDeviceSize atom = gpu.properties.limits.nonCoherentAtomSize;
    unsigned char* bytes = map(buffer.memory, 0, VK_WHOLE_SIZE);
    fill(bytes, size, 3);
    const VkMappedMemoryRange all = range(buffer.memory, 0, VK_WHOLE_SIZE);
    VK(vkFlushMappedMemoryRanges(gpu.device, 1, &all));
    move(&buffer, 0, size / 2);
    VK(vkInvalidateMappedMemoryRanges(gpu.device, 1, &all));
    print(bytes, "told as a whole");
    fill(bytes + atom, (uint32_t)atom, 99);
    fill(bytes + 8 * atom, 2 * (uint32_t)atom, 111);
    fill(bytes + size / 2 - atom, (uint32_t)atom, 50);
    const VkMappedMemoryRange flushed[] = {range(buffer.memory, atom, atom),
                                           range(buffer.memory, 8 * atom, 2 * atom),
                                           range(buffer.memory, size / 2 - atom, VK_WHOLE_SIZE)};
    VK(vkFlushMappedMemoryRanges(gpu.device, COUNT(flushed), flushed));
    move(&buffer, 0, size / 2);
    const VkMappedMemoryRange read[] = {range(buffer.memory, size / 2, size / 4),
                                        range(buffer.memory, size / 4 * 3, VK_WHOLE_SIZE)};
    VK(vkInvalidateMappedMemoryRanges(gpu.device, COUNT(read), read));
    print(bytes, "told in parts");
    vkUnmapMemory(gpu.device, buffer.memory);
    free_buffer(&gpu, &buffer);
}

/* Mapped from an offset on: offsets of ranges still count from the start of the memory. */
static void mapped_in_part(uint32_t type)
{
    VkDeviceSize allocated = 0;
    struct buffer buffer = make_typed(type, &allocated);
    const VkDeviceSize atom = gpu.properties.limits.nonCoherentAtomSize;
    const VkDeviceSize first = size / 4;
    unsigned char* bytes = map(buffer.memory, 0, allocated);
    fill(bytes, size, 9);
    const VkMappedMemoryRange all = range(buffer.memory, 0, allocated);
    VK(vkFlushMappedMemoryRanges(gpu.device, 1, &all));
    vkUnmapMemory(gpu.device, buffer.memory);
    bytes = map(buffer.memory, first, size / 2);
    fill(bytes + 2 * atom, (uint32_t)atom, 200);
    const VkMappedMemoryRange one = range(buffer.memory, first + 2 * atom, atom);
    VK(vkFlushMappedMemoryRanges(gpu.device, 1, &one));
    move(&buffer, 0, size / 2);
    const VkMappedMemoryRange upper = range(buffer.memory, size / 2, size / 4);
    VK(vkInvalidateMappedMemoryRanges(gpu.device, 1, &upper));
    begin_sum();
    add_bytes(bytes, size / 2);
    end_sum("mapped in the middle");
    vkUnmapMemory(gpu.device, buffer.memory);
    bytes = map(buffer.memory, size / 2, VK_WHOLE_SIZE);
    const VkMappedMemoryRange rest = range(buffer.memory, size / 2, VK_WHOLE_SIZE);
    VK(vkInvalidateMappedMemoryRanges(gpu.device, 1, &rest));
    begin_sum();
    add_bytes(bytes, size / 2);
    end_sum("mapped to the end");
    vkUnmapMemory(gpu.device, buffer.memory);
    free_buffer(&gpu, &buffer);
}

/* Three buffers and an image in one memory. */
static void shared_memory(void)
{
    struct buffer parts[3];
    VkMemoryRequirements needs = {.memoryTypeBits = ~0u};
    VkDeviceSize offsets[4], end = 0;
    for (int i = 0; i < 3; ++i) {
        const VkBufferCreateInfo info = {.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                                         .size = (VkDeviceSize)(1000 + 500 * i),
                                         .usage = VK_BUFFER_USAGE_TRANSFER_SRC_BIT |
                                                  VK_BUFFER_USAGE_TRANSFER_DST_BIT};
        VK(vkCreateBuffer(gpu.device, &info, NULL, &parts[i].handle));
        VkMemoryRequirements mine;
        vkGetBufferMemoryRequirements(gpu.device, parts[i].handle, &mine);
        offsets[i] = (end + mine.alignment - 1) / mine.alignment * mine.alignment;
        end = offsets[i] + mine.size;
        needs.memoryTypeBits &= mine.memoryTypeBits;
    }
    needs.size = end;
    const VkDeviceMemory memory =
        make_memory(&gpu, &needs, VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT);
    for (int i = 0; i < 3; ++i)
        VK(vkBindBufferMemory(gpu.device, parts[i].handle, memory, offsets[i]));
    unsigned char* const bytes = map(memory, 0, VK_WHOLE_SIZE);
    memset(bytes, 0, end);
    fill(bytes + offsets[0], 1000, 5);
    const VkBufferCopy first = {100, 700, 800}, second = {650, 10, 850};
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdCopyBuffer(commands, parts[0].handle, parts[1].handle, 1, &first);
    wait_for_writes(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_WRITE_BIT,
                    VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_READ_BIT);
    vkCmdCopyBuffer(commands, parts[1].handle, parts[2].handle, 1, &second);
    run_commands(&gpu, commands);
    begin_sum();
    for (int i = 0; i < 3; ++i)
        add_bytes(bytes + offsets[i], (size_t)(1000 + 500 * i));
    end_sum("three buffers in one memory");
    for (int i = 0; i < 3; ++i)
        vkDestroyBuffer(gpu.device, parts[i].handle, NULL);
    vkFreeMemory(gpu.device, memory, NULL);
}

/* An image in rows: the application writes it, the device copies it to one that it alone reads. */
static void rows(void)
{
    VkImageCreateInfo info = plain_image(VK_FORMAT_R8G8B8A8_UNORM, 37, 21, VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    info.tiling = VK_IMAGE_TILING_LINEAR;
    info.initialLayout = VK_IMAGE_LAYOUT_PREINITIALIZED;
    struct image linear = finish_image(&gpu, &info);
    struct image optimal = make_image(&gpu, info.format, 37, 21,
                                      VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT);
    const VkImageSubresource level = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0};
    VkSubresourceLayout layout;
    vkGetImageSubresourceLayout(gpu.device, linear.handle, &level, &layout);
    unsigned char* const bytes = map(linear.memory, 0, VK_WHOLE_SIZE);
    for (uint32_t y = 0; y < 21; ++y)
        fill(bytes + layout.offset + y * layout.rowPitch, 37 * 4, y * 7);
    const VkMappedMemoryRange all = range(linear.memory, 0, VK_WHOLE_SIZE);
    VK(vkFlushMappedMemoryRanges(gpu.device, 1, &all));
    vkUnmapMemory(gpu.device, linear.memory);
    const VkImageCopy copy = {layers_of(&linear, 0), {0}, layers_of(&optimal, 0), {0}, info.extent};
    const VkCommandBuffer commands = begin_commands(&gpu);
    change_layout(commands, &linear, VK_IMAGE_LAYOUT_PREINITIALIZED, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    change_layout(commands, &optimal, VK_IMAGE_LAYOUT_UNDEFINED, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    vkCmdCopyImage(commands, linear.handle, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, optimal.handle,
                   VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1, &copy);
    change_layout(commands, &optimal, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                  VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    run_commands(&gpu, commands);
    begin_sum();
    add_image(&gpu, &optimal, NULL);
    end_sum("image in rows");
    free_image(&gpu, &linear);
    free_image(&gpu, &optimal);
}

int main(void)
{
    gpu = open_gpu();
    for (uint32_t i = 0; i < gpu.memory.memoryTypeCount; ++i) {
        const VkMemoryPropertyFlags flags = gpu.memory.memoryTypes[i].propertyFlags;
        if (!(flags & VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT))
            continue;
        printf("type %u, 0x%x\n", i, (unsigned)flags);
        if (flags & VK_MEMORY_PROPERTY_HOST_COHERENT_BIT)
            coherent(i);
        told(i);
        mapped_in_part(i);
    }
    shared_memory();
    rows();
    close_gpu(&gpu);
    return 0;
}
