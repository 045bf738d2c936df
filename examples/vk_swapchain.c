/* Swapchains of two images, red first, and of three, blue first, made anew when their window changes its
 * size, and two that are shown together, with the modes that there are. Each image is read back before it is
 * shown, some by a shader.
 *
 * vk_swapchain [--surface headless|xcb|xlib] [--frames N] [--pictures FOLDER] */

#include "vk_drawing.h"
#include "vk_surface.h"

#include "fetch.comp.h"
#include "triangle.frag.h"
#include "triangle.vert.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static struct gpu gpu;
static struct windows windows;
static int frames;
static struct kernel reader;
static VkSampler nearest;
static const uint64_t patience = 60000000000u; /* nanoseconds */

enum
{
    max_images = 8
};
struct chain
{
    VkSwapchainKHR handle;
    VkExtent2D extent;
    VkFormat format;
    int sampled; /* the images can be */
    uint32_t count;
    VkImage images[max_images];
    VkImageView views[max_images];
    VkFramebuffer framebuffers[max_images];
    VkRenderPass pass;
    VkPipelineLayout layout;
    VkPipeline pipeline;
    VkSemaphore acquired, drawn;
};

/* 8 bits each; the other way round when there is no such format. */
static VkFormat choose_format(VkSurfaceKHR surface, VkFormat wanted)
{
    VkSurfaceFormatKHR formats[32];
    uint32_t count = COUNT(formats);
    const VkResult result = vkGetPhysicalDeviceSurfaceFormatsKHR(gpu.physical, surface, &count, formats);
    check(result == VK_SUCCESS || result == VK_INCOMPLETE, "vkGetPhysicalDeviceSurfaceFormatsKHR");
    VkFormat found = VK_FORMAT_UNDEFINED;
    for (uint32_t i = 0; i < count && found != wanted; ++i)
        if (formats[i].format == VK_FORMAT_R8G8B8A8_UNORM || formats[i].format == VK_FORMAT_B8G8R8A8_UNORM)
            found = formats[i].format;
    check(found != VK_FORMAT_UNDEFINED, "finding a format of the surface");
    return found;
}

static int has_mode(VkSurfaceKHR surface, VkPresentModeKHR wanted)
{
    VkPresentModeKHR modes[8];
    uint32_t count = COUNT(modes);
    const VkResult result = vkGetPhysicalDeviceSurfacePresentModesKHR(gpu.physical, surface, &count, modes);
    check(result == VK_SUCCESS || result == VK_INCOMPLETE, "vkGetPhysicalDeviceSurfacePresentModesKHR");
    for (uint32_t i = 0; i < count; ++i)
        if (modes[i] == wanted)
            return 1;
    return 0;
}

/* FIFO, which all surfaces have, where the wanted one is missing. */
static VkPresentModeKHR choose_mode(VkSurfaceKHR surface, VkPresentModeKHR wanted)
{
    check(has_mode(surface, VK_PRESENT_MODE_FIFO_KHR), "showing images in order");
    return has_mode(surface, wanted) ? wanted : VK_PRESENT_MODE_FIFO_KHR;
}

static void make_swapchain(struct chain* chain, const struct window* window, uint32_t wanted,
                           VkPresentModeKHR mode, VkSwapchainKHR old)
{
    VkBool32 supported = VK_FALSE;
    VK(vkGetPhysicalDeviceSurfaceSupportKHR(gpu.physical, gpu.family, window->surface, &supported));
    check(supported, "a queue that can present");
    VkSurfaceCapabilitiesKHR can;
    VK(vkGetPhysicalDeviceSurfaceCapabilitiesKHR(gpu.physical, window->surface, &can));
    check(can.currentExtent.width == UINT32_MAX || (can.currentExtent.width == window->extent.width &&
                                                    can.currentExtent.height == window->extent.height),
          "the size of the surface");
    check((can.supportedUsageFlags & VK_IMAGE_USAGE_TRANSFER_SRC_BIT) != 0, "reading images of the surface");
    uint32_t images = wanted < can.minImageCount ? can.minImageCount : wanted;
    if (can.maxImageCount && images > can.maxImageCount)
        images = can.maxImageCount;
    chain->extent = window->extent;
    chain->sampled = (can.supportedUsageFlags & VK_IMAGE_USAGE_SAMPLED_BIT) != 0;
    chain->format =
        choose_format(window->surface, wanted == 2 ? VK_FORMAT_R8G8B8A8_UNORM : VK_FORMAT_B8G8R8A8_UNORM);
    const VkSwapchainCreateInfoKHR info = {
        .sType = VK_STRUCTURE_TYPE_SWAPCHAIN_CREATE_INFO_KHR,
        .surface = window->surface,
        .minImageCount = images,
        .imageFormat = chain->format,
        .imageColorSpace = VK_COLOR_SPACE_SRGB_NONLINEAR_KHR,
        .imageExtent = chain->extent,
        .imageArrayLayers = 1,
        .imageUsage = VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT |
                      (chain->sampled ? VK_IMAGE_USAGE_SAMPLED_BIT : 0u),
        .preTransform = can.currentTransform,
        .compositeAlpha = can.supportedCompositeAlpha & VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR
                              ? VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR
                              : VK_COMPOSITE_ALPHA_INHERIT_BIT_KHR,
        .presentMode = choose_mode(window->surface, mode),
        .clipped = VK_TRUE,
        .oldSwapchain = old};
    VK(vkCreateSwapchainKHR(gpu.device, &info, NULL, &chain->handle));
    VK(vkGetSwapchainImagesKHR(gpu.device, chain->handle, &chain->count, NULL));
    check(chain->count >= images && chain->count <= max_images, "the number of images");
    VK(vkGetSwapchainImagesKHR(gpu.device, chain->handle, &chain->count, chain->images));
}

static VkRenderPass make_pass(VkFormat format)
{
    const VkAttachmentDescription attachment = {.format = format,
                                                .samples = VK_SAMPLE_COUNT_1_BIT,
                                                .loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR,
                                                .finalLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL};
    const VkAttachmentReference reference = {0, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL};
    const VkSubpassDescription subpass = {.colorAttachmentCount = 1, .pColorAttachments = &reference};
    const VkPipelineStageFlags output = VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT;
    const VkSubpassDependency dependencies[] = {
        {VK_SUBPASS_EXTERNAL, 0, output, output, 0, VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT, 0},
        {0, VK_SUBPASS_EXTERNAL, output, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT,
         VK_ACCESS_TRANSFER_READ_BIT, 0}};
    const VkRenderPassCreateInfo info = {.sType = VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO,
                                         .attachmentCount = 1,
                                         .pAttachments = &attachment,
                                         .subpassCount = 1,
                                         .pSubpasses = &subpass,
                                         .dependencyCount = COUNT(dependencies),
                                         .pDependencies = dependencies};
    VkRenderPass pass = VK_NULL_HANDLE;
    VK(vkCreateRenderPass(gpu.device, &info, NULL, &pass));
    return pass;
}

static void make_targets(struct chain* chain)
{
    for (uint32_t i = 0; i < chain->count; ++i) {
        const VkImageViewCreateInfo info = {.sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO,
                                            .image = chain->images[i],
                                            .viewType = VK_IMAGE_VIEW_TYPE_2D,
                                            .format = chain->format,
                                            .subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1}};
        VK(vkCreateImageView(gpu.device, &info, NULL, &chain->views[i]));
        chain->framebuffers[i] = make_framebuffer(&gpu, chain->pass, 1, &chain->views[i], chain->extent);
    }
}

static struct chain open_chain(const struct window* window, uint32_t wanted, VkPresentModeKHR mode,
                               VkSwapchainKHR old)
{
    struct chain chain = {.count = 0};
    make_swapchain(&chain, window, wanted, mode, old);
    chain.pass = make_pass(chain.format);
    make_targets(&chain);
    const VkPushConstantRange ranges[] = {{VK_SHADER_STAGE_VERTEX_BIT, 0, 16},
                                          {VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16}};
    chain.layout = make_layout(&gpu, 0, NULL, 2, ranges);
    struct pipeline_parts parts;
    plain_parts(&parts, chain.layout, chain.pass, chain.extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, triangle_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, triangle_frag));
    chain.pipeline = make_pipeline(&gpu, &parts);
    free_stages(&gpu, &parts);
    const VkSemaphoreCreateInfo info = {.sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO};
    VK(vkCreateSemaphore(gpu.device, &info, NULL, &chain.acquired));
    VK(vkCreateSemaphore(gpu.device, &info, NULL, &chain.drawn));
    return chain;
}

static void close_chain(struct chain* chain)
{
    VK(vkDeviceWaitIdle(gpu.device));
    vkDestroySemaphore(gpu.device, chain->acquired, NULL);
    vkDestroySemaphore(gpu.device, chain->drawn, NULL);
    vkDestroyPipeline(gpu.device, chain->pipeline, NULL);
    vkDestroyPipelineLayout(gpu.device, chain->layout, NULL);
    for (uint32_t i = 0; i < chain->count; ++i) {
        vkDestroyFramebuffer(gpu.device, chain->framebuffers[i], NULL);
        vkDestroyImageView(gpu.device, chain->views[i], NULL);
    }
    vkDestroyRenderPass(gpu.device, chain->pass, NULL);
    vkDestroySwapchainKHR(gpu.device, chain->handle, NULL);
}

/* Odd frames also wait for a fence. */
static uint32_t acquire(const struct chain* chain, int frame)
{
    VkFence fence = VK_NULL_HANDLE;
    const VkFenceCreateInfo info = {.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
    if (frame % 2)
        VK(vkCreateFence(gpu.device, &info, NULL, &fence));
    uint32_t index = 0;
    const VkResult result =
        vkAcquireNextImageKHR(gpu.device, chain->handle, patience, chain->acquired, fence, &index);
    check(result == VK_SUCCESS || result == VK_SUBOPTIMAL_KHR, "vkAcquireNextImageKHR");
    check(index < chain->count, "the number of the image");
    if (fence) {
        VK(vkWaitForFences(gpu.device, 1, &fence, VK_TRUE, patience));
        vkDestroyFence(gpu.device, fence, NULL);
    }
    return index;
}

/* Odd frames are read by a shader where they can be. */
static int reads_by_shader(const struct chain* chain, int frame)
{
    return chain->sampled && frame % 2;
}

static void record_copy(VkCommandBuffer commands, const struct chain* chain, uint32_t index,
                        const struct buffer* pixels)
{
    const VkBufferImageCopy copy = {.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1},
                                    .imageExtent = {chain->extent.width, chain->extent.height, 1}};
    vkCmdCopyImageToBuffer(commands, chain->images[index], VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL,
                           pixels->handle, 1, &copy);
    wait_for_writes(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_WRITE_BIT,
                    VK_PIPELINE_STAGE_HOST_BIT, VK_ACCESS_HOST_READ_BIT);
}

static void record_shader(VkCommandBuffer commands, const struct chain* chain, uint32_t index,
                          const struct buffer* pixels)
{
    write_image(&gpu, reader.set, 0, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, nearest, chain->views[index],
                VK_IMAGE_LAYOUT_GENERAL);
    write_buffer(&gpu, reader.set, 1, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, pixels, 0, VK_WHOLE_SIZE);
    bind_kernel(commands, &reader);
    const uint32_t level_and_first[] = {0, 0};
    vkCmdPushConstants(commands, reader.layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, 8, level_and_first);
    vkCmdDispatch(commands, (chain->extent.width + 7) / 8, (chain->extent.height + 7) / 8, 1);
    wait_for_writes(commands, VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT, VK_ACCESS_SHADER_WRITE_BIT,
                    VK_PIPELINE_STAGE_HOST_BIT, VK_ACCESS_HOST_READ_BIT);
}

static void record(VkCommandBuffer commands, const struct chain* chain, uint32_t index, int frame,
                   const struct buffer* pixels)
{
    const struct canvas canvas = {
        .pass = chain->pass, .framebuffer = chain->framebuffers[index], .extent = chain->extent};
    const float constants[] = {0, 0, 0.2f * (float)frame, 1, 1, 1, 1, 1};
    begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, chain->pipeline);
    vkCmdPushConstants(commands, chain->layout, VK_SHADER_STAGE_VERTEX_BIT, 0, 16, constants);
    vkCmdPushConstants(commands, chain->layout, VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16, constants + 4);
    vkCmdDraw(commands, 3, 1, 0, 0);
    vkCmdEndRenderPass(commands);
    const struct image image = {.handle = chain->images[index],
                                .info = {.mipLevels = 1, .arrayLayers = 1},
                                .aspects = VK_IMAGE_ASPECT_COLOR_BIT};
    const VkImageLayout drawn = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, shown = VK_IMAGE_LAYOUT_PRESENT_SRC_KHR;
    if (reads_by_shader(chain, frame)) {
        change_layout(commands, &image, drawn, VK_IMAGE_LAYOUT_GENERAL);
        record_shader(commands, chain, index, pixels);
        change_layout(commands, &image, VK_IMAGE_LAYOUT_GENERAL, shown);
    } else {
        record_copy(commands, chain, index, pixels);
        change_layout(commands, &image, drawn, shown);
    }
    VK(vkEndCommandBuffer(commands));
}

static void submit(const struct chain* chain, VkCommandBuffer commands)
{
    const VkFenceCreateInfo info = {.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
    VkFence fence = VK_NULL_HANDLE;
    VK(vkCreateFence(gpu.device, &info, NULL, &fence));
    const VkPipelineStageFlags stage = VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT;
    const VkSubmitInfo submit = {.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO,
                                 .waitSemaphoreCount = 1,
                                 .pWaitSemaphores = &chain->acquired,
                                 .pWaitDstStageMask = &stage,
                                 .commandBufferCount = 1,
                                 .pCommandBuffers = &commands,
                                 .signalSemaphoreCount = 1,
                                 .pSignalSemaphores = &chain->drawn};
    VK(vkQueueSubmit(gpu.queue, 1, &submit, fence));
    VK(vkWaitForFences(gpu.device, 1, &fence, VK_TRUE, patience));
    vkDestroyFence(gpu.device, fence, NULL);
}

/* Red first, whatever the surface has. */
static void print_pixels(const struct chain* chain, const struct buffer* pixels, int blue_first,
                         const char* subject)
{
    unsigned char* const bytes = malloc(pixels->size);
    check(bytes != NULL, "malloc");
    get_buffer(&gpu, pixels, 0, bytes, pixels->size);
    for (VkDeviceSize i = 0; blue_first && i < pixels->size; i += 4) {
        const unsigned char blue = bytes[i];
        bytes[i] = bytes[i + 2];
        bytes[i + 2] = blue;
    }
    begin_sum();
    add_bytes(bytes, pixels->size);
    end_sum(subject);
    write_picture(subject, bytes, chain->extent.width, chain->extent.height);
    free(bytes);
}

/* Draws and reads the next image, which is then ready to be shown. */
static uint32_t draw_next(const struct chain* chain, int frame, const char* subject)
{
    const uint32_t index = acquire(chain, frame);
    struct buffer pixels =
        make_buffer(&gpu, (VkDeviceSize)chain->extent.width * chain->extent.height * 4,
                    VK_BUFFER_USAGE_TRANSFER_DST_BIT | VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
    VkCommandBuffer commands = begin_commands(&gpu);
    record(commands, chain, index, frame, &pixels);
    submit(chain, commands);
    vkFreeCommandBuffers(gpu.device, gpu.pool, 1, &commands);
    print_pixels(chain, &pixels, chain->format == VK_FORMAT_B8G8R8A8_UNORM && !reads_by_shader(chain, frame),
                 subject);
    free_buffer(&gpu, &pixels);
    return index;
}

static void present(uint32_t count, const struct chain* chains, const uint32_t* indices)
{
    VkSemaphore drawn[2];
    VkSwapchainKHR handles[2];
    VkResult results[2] = {VK_ERROR_UNKNOWN, VK_ERROR_UNKNOWN};
    for (uint32_t i = 0; i < count; ++i) {
        drawn[i] = chains[i].drawn;
        handles[i] = chains[i].handle;
    }
    const VkPresentInfoKHR info = {.sType = VK_STRUCTURE_TYPE_PRESENT_INFO_KHR,
                                   .waitSemaphoreCount = count,
                                   .pWaitSemaphores = drawn,
                                   .swapchainCount = count,
                                   .pSwapchains = handles,
                                   .pImageIndices = indices,
                                   .pResults = results};
    const VkResult result = vkQueuePresentKHR(gpu.queue, &info);
    check(result == VK_SUCCESS || result == VK_SUBOPTIMAL_KHR, "vkQueuePresentKHR");
    for (uint32_t i = 0; i < count; ++i)
        check(results[i] == VK_SUCCESS || results[i] == VK_SUBOPTIMAL_KHR, "the result of one swapchain");
}

static void show(const struct chain* chain, const char* name)
{
    for (int frame = 0; frame < frames; ++frame) {
        char subject[64];
        snprintf(subject, sizeof subject, "%s, frame %d", name, frame);
        const uint32_t index = draw_next(chain, frame, subject);
        present(1, chain, &index);
    }
}

static void one_window(uint32_t images, VkPresentModeKHR mode, const char* name)
{
    struct window window = open_window(&windows, gpu.instance, 160, 120);
    struct chain chain = open_chain(&window, images, mode, VK_NULL_HANDLE);
    show(&chain, name);
    close_chain(&chain);
    close_window(&windows, gpu.instance, &window);
}

/* The next swapchain is made out of the one before, which is destroyed behind it. */
static void resized_window(void)
{
    static const VkExtent2D sizes[] = {{160, 120}, {200, 90}, {64, 64}, {200, 90}};
    struct window window = open_window(&windows, gpu.instance, sizes[0].width, sizes[0].height);
    struct chain chain = open_chain(&window, 2, VK_PRESENT_MODE_FIFO_RELAXED_KHR, VK_NULL_HANDLE);
    for (uint32_t i = 0; i < COUNT(sizes); ++i) {
        char name[32];
        snprintf(name, sizeof name, "%u by %u", sizes[i].width, sizes[i].height);
        if (i > 0) {
            VK(vkDeviceWaitIdle(gpu.device));
            resize_window(&windows, &window, sizes[i].width, sizes[i].height);
            struct chain next = open_chain(&window, 2, VK_PRESENT_MODE_FIFO_RELAXED_KHR, chain.handle);
            close_chain(&chain);
            chain = next;
        }
        show(&chain, name);
    }
    close_chain(&chain);
    close_window(&windows, gpu.instance, &window);
}

/* Both are shown by one call. */
static void two_windows(void)
{
    struct window both[] = {open_window(&windows, gpu.instance, 160, 120),
                            open_window(&windows, gpu.instance, 100, 100)};
    struct chain chains[] = {open_chain(&both[0], 2, VK_PRESENT_MODE_IMMEDIATE_KHR, VK_NULL_HANDLE),
                             open_chain(&both[1], 3, VK_PRESENT_MODE_FIFO_KHR, VK_NULL_HANDLE)};
    for (int frame = 0; frame < frames; ++frame) {
        uint32_t indices[2];
        for (int i = 0; i < 2; ++i) {
            char subject[64];
            snprintf(subject, sizeof subject, "window %d of two, frame %d", i, frame);
            indices[i] = draw_next(&chains[i], frame + 5 * i, subject);
        }
        present(2, chains, indices);
    }
    for (int i = 0; i < 2; ++i) {
        close_chain(&chains[i]);
        close_window(&windows, gpu.instance, &both[i]);
    }
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    frames = number_option(count, arguments, "--frames", 4);
    windows = find_windows(text_option(count, arguments, "--surface", NULL));
    const struct extensions extensions = {
        2, 1, {VK_KHR_SURFACE_EXTENSION_NAME, windows.extension}, {VK_KHR_SWAPCHAIN_EXTENSION_NAME}};
    gpu = open_gpu_with(&extensions);
    const VkDescriptorType types[] = {VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER,
                                      VK_DESCRIPTOR_TYPE_STORAGE_BUFFER};
    reader = make_kernel(&gpu, SHADER(&gpu, fetch_comp), COUNT(types), types, 8);
    nearest = make_sampler(&gpu, VK_FILTER_NEAREST, VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE);
    one_window(2, VK_PRESENT_MODE_FIFO_KHR, "two images");
    one_window(3, VK_PRESENT_MODE_MAILBOX_KHR, "three images");
    resized_window();
    two_windows();
    vkDestroySampler(gpu.device, nearest, NULL);
    free_kernel(&gpu, &reader);
    close_gpu(&gpu);
    close_windows(&windows);
    return 0;
}
