/* Textures of ASTC blocks, sampled. The program decodes each block itself: where the device can't sample them
 * it uses the colours, so that the lines are the same everywhere, and where it can it compares. vk_astc */

#include "vk_drawing.h"

#include "fetch.comp.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static struct gpu gpu;

/* Blocks of one kind: a grid of 4 by 4 weights of two bits, two colours of 8 bits a channel. */
struct block
{
    uint8_t low[4], high[4]; /* red, green, blue, alpha; the sum of `high` without alpha isn't less */
    uint8_t weights[16];     /* 0 to 3 */
};

static void set_bits(uint8_t* bytes, uint32_t first, uint32_t count, uint32_t value)
{
    for (uint32_t i = 0; i < count; ++i)
        if (value >> i & 1)
            bytes[(first + i) / 8] |= (uint8_t)(1u << (first + i) % 8);
}

static void encode(const struct block* block, uint8_t* bytes)
{
    memset(bytes, 0, 16);
    set_bits(bytes, 0, 11, 0x42); /* 4 by 4 weights of two bits */
    set_bits(bytes, 13, 4, 12);   /* red, green, blue and alpha, both as they are */
    for (uint32_t i = 0; i < 4; ++i) {
        set_bits(bytes, 17 + 16 * i, 8, block->low[i]);
        set_bits(bytes, 25 + 16 * i, 8, block->high[i]);
    }
    for (uint32_t i = 0; i < 16; ++i)
        for (uint32_t bit = 0; bit < 2; ++bit)
            set_bits(bytes, 127 - 2 * i - bit, 1, block->weights[i] >> bit);
}

static uint32_t weight_of(const struct block* block, uint32_t x, uint32_t y)
{
    static const uint32_t values[] = {0, 21, 43, 64};
    return x < 4 && y < 4 ? values[block->weights[y * 4 + x]] : 0;
}

/* Position in the grid of weights, in sixteenths. */
static uint32_t in_grid(uint32_t texel, uint32_t texels)
{
    const uint32_t scale = (1024 + texels / 2) / (texels - 1);
    return (scale * texel * 3 + 32) >> 6;
}

static uint32_t blended_weight(const struct block* block, uint32_t across, uint32_t down)
{
    const uint32_t x = across >> 4, y = down >> 4, right = across & 15, below = down & 15;
    const uint32_t both = (right * below + 8) >> 4;
    return (weight_of(block, x, y) * (16 - right - below + both) +
            weight_of(block, x + 1, y) * (right - both) + weight_of(block, x, y + 1) * (below - both) +
            weight_of(block, x + 1, y + 1) * both + 8) >>
           4;
}

static uint32_t decode(const struct block* block, uint32_t x, uint32_t y, uint32_t width, uint32_t height)
{
    const uint32_t weight = blended_weight(block, in_grid(x, width), in_grid(y, height));
    uint32_t colour = 0;
    for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t low = block->low[i] * 257u, high = block->high[i] * 257u;
        colour |= ((low * (64 - weight) + high * weight + 32) / 64 >> 8) << 8 * i;
    }
    return colour;
}

struct footprint
{
    VkFormat format;
    uint32_t width, height;
    const char* subject;
};

/* An image of blocks, and its colours. */
struct picture
{
    struct footprint footprint;
    uint32_t width, height;
    size_t block_bytes, colour_bytes;
    uint8_t* blocks;
    uint32_t* colours;
};

static uint32_t next(uint32_t* random)
{
    *random = *random * 1664525u + 1013904223u;
    return *random >> 16;
}

static struct block make_block(uint32_t* random)
{
    struct block block;
    for (int i = 0; i < 4; ++i) {
        block.low[i] = (uint8_t)(next(random) % 128);
        block.high[i] = (uint8_t)(128 + next(random) % 128);
    }
    for (int i = 0; i < 16; ++i)
        block.weights[i] = (uint8_t)(next(random) % 4);
    return block;
}

static void paint(struct picture* picture, const struct block* block, uint32_t left, uint32_t top)
{
    const struct footprint* const foot = &picture->footprint;
    for (uint32_t y = 0; y < foot->height && top + y < picture->height; ++y)
        for (uint32_t x = 0; x < foot->width && left + x < picture->width; ++x)
            picture->colours[(top + y) * picture->width + left + x] =
                decode(block, x, y, foot->width, foot->height);
}

static struct picture make_picture(const struct footprint* footprint, uint32_t width, uint32_t height)
{
    struct picture picture = {.footprint = *footprint, .width = width, .height = height};
    const uint32_t columns = (width + footprint->width - 1) / footprint->width;
    const uint32_t lines = (height + footprint->height - 1) / footprint->height;
    picture.block_bytes = (size_t)columns * lines * 16;
    picture.colour_bytes = (size_t)width * height * 4;
    picture.blocks = malloc(picture.block_bytes);
    picture.colours = malloc(picture.colour_bytes);
    check(picture.blocks && picture.colours, "malloc");
    uint32_t random = width * 7 + footprint->width;
    for (uint32_t i = 0; i < columns * lines; ++i) {
        const struct block block = make_block(&random);
        encode(&block, picture.blocks + (size_t)i * 16);
        paint(&picture, &block, i % columns * footprint->width, i / columns * footprint->height);
    }
    return picture;
}

static void free_picture(struct picture* picture)
{
    free(picture->blocks);
    free(picture->colours);
}

/* Samples all texels of all levels, one behind the other. */
static uint32_t* sample(const struct image* image, const struct picture* levels, uint32_t count,
                        size_t* bytes)
{
    *bytes = 0;
    for (uint32_t i = 0; i < count; ++i)
        *bytes += levels[i].colour_bytes;
    struct buffer results = make_buffer(&gpu, *bytes, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
    const VkDescriptorType types[] = {VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER,
                                      VK_DESCRIPTOR_TYPE_STORAGE_BUFFER};
    struct kernel kernel = make_kernel(&gpu, SHADER(&gpu, fetch_comp), 2, types, 8);
    const VkSampler sampler = make_sampler(&gpu, VK_FILTER_NEAREST, VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE);
    write_image(&gpu, kernel.set, 0, types[0], sampler, image->view,
                VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    write_buffer(&gpu, kernel.set, 1, types[1], &results, 0, VK_WHOLE_SIZE);
    const VkCommandBuffer commands = begin_commands(&gpu);
    bind_kernel(commands, &kernel);
    uint32_t constants[] = {0, 0};
    for (; constants[0] < count; ++constants[0]) {
        const struct picture* const level = levels + constants[0];
        vkCmdPushConstants(commands, kernel.layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, 8, constants);
        vkCmdDispatch(commands, (level->width + 7) / 8, (level->height + 7) / 8, 1);
        constants[1] += level->width * level->height;
    }
    run_commands(&gpu, commands);
    uint32_t* const found = malloc(*bytes);
    check(found != NULL, "malloc");
    get_buffer(&gpu, &results, 0, found, *bytes);
    vkDestroySampler(gpu.device, sampler, NULL);
    free_kernel(&gpu, &kernel);
    free_buffer(&gpu, &results);
    return found;
}

/* Texels that aren't what this program has decoded; one step in a channel is rounding. */
static uint32_t count_wrong(const struct picture* levels, uint32_t count, const uint32_t* found)
{
    uint32_t wrong = 0;
    for (uint32_t level = 0; level < count; ++level) {
        const uint8_t* const wanted = (const uint8_t*)levels[level].colours;
        const uint8_t* const got = (const uint8_t*)found;
        for (size_t i = 0; i < levels[level].colour_bytes; ++i)
            wrong += abs(wanted[i] - got[i]) > 1;
        found += levels[level].colour_bytes / 4;
    }
    return wrong;
}

/* From a buffer that stays mapped until the copy is over, so that only flushing tells of what is in it. */
static void upload_mapped(const struct image* image, uint32_t level, const void* data, VkDeviceSize size,
                          VkImageLayout from)
{
    struct buffer source = make_buffer(&gpu, size, VK_BUFFER_USAGE_TRANSFER_SRC_BIT, NULL);
    void* mapped = NULL;
    VK(vkMapMemory(gpu.device, source.memory, 0, VK_WHOLE_SIZE, 0, &mapped));
    memcpy(mapped, data, size);
    const VkMappedMemoryRange range = {
        .sType = VK_STRUCTURE_TYPE_MAPPED_MEMORY_RANGE, .memory = source.memory, .size = VK_WHOLE_SIZE};
    VK(vkFlushMappedMemoryRanges(gpu.device, 1, &range));
    const VkBufferImageCopy copy = {
        .imageSubresource = layers_of(image, level),
        .imageExtent = {image->info.extent.width >> level, image->info.extent.height >> level, 1}};
    const VkCommandBuffer commands = begin_commands(&gpu);
    change_layout(commands, image, from, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    vkCmdCopyBufferToImage(commands, source.handle, image->handle, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1,
                           &copy);
    change_layout(commands, image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                  VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    run_commands(&gpu, commands);
    vkUnmapMemory(gpu.device, source.memory);
    free_buffer(&gpu, &source);
}

static int can_sample(VkFormat format)
{
    VkFormatProperties properties;
    vkGetPhysicalDeviceFormatProperties(gpu.physical, format, &properties);
    return gpu.features.textureCompressionASTC_LDR &&
           (properties.optimalTilingFeatures & VK_FORMAT_FEATURE_SAMPLED_IMAGE_BIT);
}

static void print_levels(const struct footprint* footprint, uint32_t width, uint32_t height, uint32_t count,
                         int keep_mapped)
{
    const int compressed = can_sample(footprint->format);
    VkImageCreateInfo info =
        plain_image(compressed ? footprint->format : VK_FORMAT_R8G8B8A8_UNORM, width, height,
                    VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT);
    info.mipLevels = count;
    struct image image = finish_image(&gpu, &info);
    struct picture levels[8];
    check(count <= COUNT(levels), "the number of levels");
    VkImageLayout layout = VK_IMAGE_LAYOUT_UNDEFINED;
    for (uint32_t i = 0; i < count; ++i) {
        levels[i] = make_picture(footprint, width >> i, height >> i);
        const void* const data = compressed ? (const void*)levels[i].blocks : levels[i].colours;
        const VkDeviceSize size = compressed ? levels[i].block_bytes : levels[i].colour_bytes;
        if (keep_mapped)
            upload_mapped(&image, i, data, size, layout);
        else
            set_image(&gpu, &image, i, data, size, layout, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
        layout = VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
    }
    size_t bytes = 0;
    uint32_t* const found = sample(&image, levels, count, &bytes);
    char subject[64];
    snprintf(subject, sizeof subject, "%s, %u levels%s", footprint->subject, count,
             keep_mapped ? ", mapped" : "");
    printf("%-32s %u channels wrong\n", subject, count_wrong(levels, count, found));
    begin_sum();
    add_bytes(found, bytes);
    end_sum(subject);
    free(found);
    for (uint32_t i = 0; i < count; ++i)
        free_picture(&levels[i]);
    free_image(&gpu, &image);
}

int main(void)
{
    static const struct footprint footprints[] = {{VK_FORMAT_ASTC_4x4_UNORM_BLOCK, 4, 4, "4 by 4"},
                                                  {VK_FORMAT_ASTC_5x4_UNORM_BLOCK, 5, 4, "5 by 4"},
                                                  {VK_FORMAT_ASTC_6x6_UNORM_BLOCK, 6, 6, "6 by 6"},
                                                  {VK_FORMAT_ASTC_8x5_UNORM_BLOCK, 8, 5, "8 by 5"},
                                                  {VK_FORMAT_ASTC_10x8_UNORM_BLOCK, 10, 8, "10 by 8"},
                                                  {VK_FORMAT_ASTC_12x12_UNORM_BLOCK, 12, 12, "12 by 12"}};
    gpu = open_gpu();
    for (uint32_t i = 0; i < COUNT(footprints); ++i) {
        print_levels(&footprints[i], 60, 40, 1, 0);
        print_levels(&footprints[i], 64, 32, 4, 0);
        print_levels(&footprints[i], 37, 23, 1, 1);
    }
    close_gpu(&gpu);
    return 0;
}
