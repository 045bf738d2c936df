/* Clears, fills, updates and copies, without any shader: buffers to buffers, images to buffers.
 * vk_clear [--pictures FOLDER] */

#include "vk_common.h"

static void fill_and_update(const struct gpu* gpu)
{
    unsigned char start[1024];
    for (uint32_t i = 0; i < sizeof start; ++i)
        start[i] = (unsigned char)(i * 7);
    struct buffer buffer = make_buffer(gpu, sizeof start, VK_BUFFER_USAGE_TRANSFER_DST_BIT, start);
    uint32_t update[37];
    for (uint32_t i = 0; i < COUNT(update); ++i)
        update[i] = i * 0x01020304u;
    VkCommandBuffer commands = begin_commands(gpu);
    vkCmdFillBuffer(commands, buffer.handle, 4, 20, 0xcafebabeu);
    vkCmdUpdateBuffer(commands, buffer.handle, 256, sizeof update, update);
    vkCmdUpdateBuffer(commands, buffer.handle, 28, 4, update + 9);
    vkCmdFillBuffer(commands, buffer.handle, 1000, VK_WHOLE_SIZE, 0x12345678u);
    run_commands(gpu, commands);
    begin_sum();
    add_buffer(gpu, &buffer);
    end_sum("fill and update");
    free_buffer(gpu, &buffer);
}

/* The largest update that there may be, with the source gone before it runs. */
static void update_much(const struct gpu* gpu)
{
    static unsigned char source[65536];
    for (uint32_t i = 0; i < sizeof source; ++i)
        source[i] = (unsigned char)(i * i >> 5);
    struct buffer buffer = make_buffer(gpu, sizeof source, VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    VkCommandBuffer commands = begin_commands(gpu);
    vkCmdUpdateBuffer(commands, buffer.handle, 0, sizeof source, source);
    for (uint32_t i = 0; i < sizeof source; ++i)
        source[i] = 0;
    run_commands(gpu, commands);
    begin_sum();
    add_buffer(gpu, &buffer);
    end_sum("update of 65536 bytes");
    free_buffer(gpu, &buffer);
}

static void copy_buffers(const struct gpu* gpu)
{
    unsigned char start[512];
    for (uint32_t i = 0; i < sizeof start; ++i)
        start[i] = (unsigned char)(i ^ i >> 3);
    struct buffer from = make_buffer(gpu, sizeof start, VK_BUFFER_USAGE_TRANSFER_SRC_BIT, start);
    struct buffer to = make_buffer(gpu, 700, VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    const VkBufferCopy regions[] = {{0, 100, 50}, {511, 0, 1}, {3, 333, 129}, {200, 699, 1}};
    VkCommandBuffer commands = begin_commands(gpu);
    vkCmdCopyBuffer(commands, from.handle, to.handle, COUNT(regions), regions);
    run_commands(gpu, commands);
    begin_sum();
    add_buffer(gpu, &to);
    end_sum("copy of four ranges");
    free_buffer(gpu, &from);
    free_buffer(gpu, &to);
}

static void clear_colour(const struct gpu* gpu, VkFormat format, VkClearColorValue value, const char* subject)
{
    struct image image =
        make_image(gpu, format, 40, 30, VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    const VkImageSubresourceRange range = {VK_IMAGE_ASPECT_COLOR_BIT, 0, VK_REMAINING_MIP_LEVELS, 0,
                                           VK_REMAINING_ARRAY_LAYERS};
    VkCommandBuffer commands = begin_commands(gpu);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_UNDEFINED, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    vkCmdClearColorImage(commands, image.handle, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, &value, 1, &range);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                  VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    run_commands(gpu, commands);
    begin_sum();
    add_image(gpu, &image, subject);
    end_sum(subject);
    free_image(gpu, &image);
}

/* Levels and layers apart: each range has a colour of its own. */
static void clear_ranges(const struct gpu* gpu)
{
    VkImageCreateInfo info = plain_image(VK_FORMAT_R8G8B8A8_UNORM, 32, 16,
                                         VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    info.mipLevels = 6;
    info.arrayLayers = 3;
    struct image image = finish_image(gpu, &info);
    const VkImageSubresourceRange whole = whole_image(&image);
    const VkImageSubresourceRange parts[] = {{VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 1, 1},
                                             {VK_IMAGE_ASPECT_COLOR_BIT, 2, 2, 0, 2},
                                             {VK_IMAGE_ASPECT_COLOR_BIT, 5, 1, 0, 3}};
    const VkClearColorValue grey = {.float32 = {0.5f, 0.5f, 0.5f, 1.0f}};
    const VkClearColorValue red = {.float32 = {1.0f, 0.125f, 0.0f, 0.75f}};
    VkCommandBuffer commands = begin_commands(gpu);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_UNDEFINED, VK_IMAGE_LAYOUT_GENERAL);
    vkCmdClearColorImage(commands, image.handle, VK_IMAGE_LAYOUT_GENERAL, &grey, 1, &whole);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_GENERAL, VK_IMAGE_LAYOUT_GENERAL);
    vkCmdClearColorImage(commands, image.handle, VK_IMAGE_LAYOUT_GENERAL, &red, COUNT(parts), parts);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_GENERAL, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    run_commands(gpu, commands);
    begin_sum();
    add_image(gpu, &image, NULL);
    end_sum("ranges of levels and layers");
    free_image(gpu, &image);
}

/* Rows in the buffer are longer than those of the region, and images have layers of more than they. */
static void copy_regions(const struct gpu* gpu)
{
    static uint32_t texels[32 * 32];
    for (uint32_t i = 0; i < COUNT(texels); ++i)
        texels[i] = i * 0x00070305u;
    struct buffer from = make_buffer(gpu, sizeof texels, VK_BUFFER_USAGE_TRANSFER_SRC_BIT, texels);
    struct buffer to = make_buffer(gpu, sizeof texels, VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    VkImageCreateInfo info = plain_image(VK_FORMAT_R8G8B8A8_UNORM, 16, 16,
                                         VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    info.arrayLayers = 2;
    struct image image = finish_image(gpu, &info);
    const VkBufferImageCopy in[] = {
        {128, 32, 20, {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1}, {0, 0, 0}, {16, 16, 1}},
        {4, 0, 0, {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 1}, {0, 0, 0}, {16, 16, 1}}};
    const VkBufferImageCopy out[] = {
        {64, 24, 17, {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 2}, {3, 2, 0}, {11, 13, 1}}};
    VkCommandBuffer commands = begin_commands(gpu);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_UNDEFINED, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    vkCmdCopyBufferToImage(commands, from.handle, image.handle, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                           COUNT(in), in);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                  VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    vkCmdCopyImageToBuffer(commands, image.handle, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, to.handle,
                           COUNT(out), out);
    run_commands(gpu, commands);
    begin_sum();
    add_buffer(gpu, &to);
    end_sum("regions with rows apart");
    free_image(gpu, &image);
    free_buffer(gpu, &from);
    free_buffer(gpu, &to);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    struct gpu gpu = open_gpu();
    fill_and_update(&gpu);
    update_much(&gpu);
    copy_buffers(&gpu);
    const VkClearColorValue real = {.float32 = {0.25f, 0.5f, 0.75f, 1.0f}};
    const VkClearColorValue whole = {.int32 = {-5, 70000, 3, -2000000000}};
    const VkClearColorValue natural = {.uint32 = {250, 4000000000u, 0, 1}};
    clear_colour(&gpu, VK_FORMAT_R8G8B8A8_UNORM, real, "clear of R8G8B8A8");
    clear_colour(&gpu, VK_FORMAT_B8G8R8A8_UNORM, real, "clear of B8G8R8A8");
    clear_colour(&gpu, VK_FORMAT_R16G16B16A16_SFLOAT, real, "clear of 16-bit floats");
    clear_colour(&gpu, VK_FORMAT_R32G32B32A32_SINT, whole, "clear of integers");
    clear_colour(&gpu, VK_FORMAT_R32G32_UINT, natural, "clear of natural numbers");
    clear_ranges(&gpu);
    copy_regions(&gpu);
    close_gpu(&gpu);
    return 0;
}
