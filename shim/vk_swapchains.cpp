// Swapchains, which the shim makes of images on native buffers, as the target's window system would.

#include "shim/compressed_frames.h"
#include "shim/connection.h"
#include "shim/late_frames.h"
#include "shim/log.h"
#include "shim/native_buffers.h"
#include "shim/vk_entries.h"
#include "shim/vk_objects.h"
#include "shim/vk_surfaces.h"
#include "wire/pixel_order.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <iterator>
#include <mutex>
#include <optional>

namespace shim {

namespace {

struct swapchain_image
{
    explicit swapchain_image(window_size size) : buffer{size} {}

    VkImage image{};
    native_buffer buffer;
    bool acquired = false;

    // Of its last presentation, whose answer may come later.
    VkQueue queue{};
    known_fences::moment submitted = 0; // what was submitted until then is done when the frame is there
    int descriptor = -1;                // the library writes here
};

struct vk_swapchain
{
    vk_swapchain(VkDevice its_device, const VkSwapchainCreateInfoKHR& info);
    ~vk_swapchain();

    VkResult make_images(const VkSwapchainCreateInfoKHR& info);
    /// The next free image; waits for one as long as the time-out says.
    VkResult take(uint64_t timeout, uint32_t& index);
    void give_back(uint32_t index);
    /// Presents an image, and gives it back once it has been shown.
    VkResult present(VkQueue queue, const VkPresentInfoKHR& info, uint32_t index);

    const VkDevice device;
    vk_surface& surface;
    const VkFormat format;
    const VkExtent2D extent;
    const uint32_t stride; // width of the images in pixels
    std::vector<std::unique_ptr<swapchain_image>> images;
    std::atomic<bool> retired{false};

private:
    VkResult finish_frame(uint32_t index, VkResult result);
    static void frame_answered(void* swapchain, uint32_t index, const return_value& answer);
    static void show_and_give_back(void* swapchain, uint32_t index);
    static void read(void* swapchain, uint32_t index);
    bool show(uint32_t index);
    bool blue_first() const
    {
        return format == VK_FORMAT_B8G8R8A8_UNORM || format == VK_FORMAT_B8G8R8A8_SRGB;
    }
    void take_shown_pixels(const uint8_t* from, uint8_t* to) const;

    std::mutex lock_;
    std::condition_variable given_back_;
    std::atomic<int> takers_{0};               // threads in `take`
    std::deque<uint32_t> free_;                // in the order in which they were shown
    std::atomic<VkResult> last_{VK_NOT_READY}; // of the last presentation that was answered
};

/// Counts a thread for the time of a block.
class taker
{
public:
    explicit taker(std::atomic<int>& count) : count_{count} { ++count_; }
    ~taker() { --count_; }
    taker(const taker&) = delete;
    taker& operator=(const taker&) = delete;

private:
    std::atomic<int>& count_;
};

vk_swapchain::vk_swapchain(VkDevice its_device, const VkSwapchainCreateInfoKHR& info)
    : device{its_device}, surface{*object_behind<vk_surface>(info.surface)}, format{info.imageFormat},
      extent{info.imageExtent}, stride{width_of_images(info.imageExtent.width)}
{
}

vk_swapchain::~vk_swapchain()
{
    settle_late_frames();
    finish_reading_images();
    for (const auto& one : images)
        if (one->image)
            SEND_VK(vk_destroy_image, vkDestroyImage, {}, device, one->image, nullptr);
}

VkResult vk_swapchain::make_images(const VkSwapchainCreateInfoKHR& info)
{
    int usage = 0;
    const VkResult usable = SEND_VK(vk_get_swapchain_gralloc_usage_android, vkGetSwapchainGrallocUsageANDROID,
                                    {}, device, format, info.imageUsage, &usage);
    if (usable < 0)
        return usable;
    const uint32_t count = std::max(info.minImageCount, fewest_swapchain_images);
    const window_size size{stride, extent.height};
    for (uint32_t i = 0; i < count; ++i) {
        images.push_back(std::make_unique<swapchain_image>(size));
        swapchain_image& one = *images.back();
        if (!one.buffer.pixels())
            return VK_ERROR_OUT_OF_HOST_MEMORY;
        VkNativeBufferANDROID buffer{};
        buffer.sType = vk_wire::native_buffer_type;
        buffer.handle = &one.buffer;
        buffer.stride = static_cast<int32_t>(stride);
        buffer.format = format;
        buffer.usage = usage;
        VkImageCreateInfo image{};
        image.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO;
        image.pNext = &buffer;
        image.imageType = VK_IMAGE_TYPE_2D;
        image.format = format;
        image.extent = {stride, extent.height, 1};
        image.mipLevels = 1;
        image.arrayLayers = 1;
        image.samples = VK_SAMPLE_COUNT_1_BIT;
        image.tiling = VK_IMAGE_TILING_OPTIMAL;
        image.usage = info.imageUsage;
        image.sharingMode = info.imageSharingMode;
        image.queueFamilyIndexCount = info.queueFamilyIndexCount;
        image.pQueueFamilyIndices = info.pQueueFamilyIndices;
        const VkResult made = vk_entry<wire::inbound::vk_create_image, decltype(vkCreateImage)>::call(
            device, &image, nullptr, &one.image);
        if (made < 0)
            return made;
        free_.push_back(i);
    }
    return VK_SUCCESS;
}

VkResult vk_swapchain::take(uint64_t timeout, uint32_t& index)
{
    const taker here{takers_}; // from here on who shows an image waits until it has been read
    std::unique_lock<std::mutex> guard{lock_};
    for (void (*const settle)() : {finish_reading_images, settle_late_frames, finish_reading_images}) {
        if (!free_.empty())
            break;
        guard.unlock();
        settle();
        guard.lock();
    }
    const auto some = [this] { return !free_.empty(); };
    if (timeout == UINT64_MAX)
        given_back_.wait(guard, some);
    else if (!some()) {
        constexpr uint64_t longest = 1'000'000'000'000'000; // a time that clocks can be set to
        given_back_.wait_for(guard, std::chrono::nanoseconds{std::min(timeout, longest)}, some);
    }
    if (!some())
        return timeout ? VK_TIMEOUT : VK_NOT_READY;
    index = free_.front();
    free_.pop_front();
    images[index]->acquired = true;
    return VK_SUCCESS;
}

void vk_swapchain::give_back(uint32_t index)
{
    const std::lock_guard<std::mutex> guard{lock_};
    images[index]->acquired = false;
    free_.push_back(index);
    given_back_.notify_one();
}

/// A frame is taken from an idle queue.
VkResult vk_swapchain::finish_frame(uint32_t index, VkResult result)
{
    const swapchain_image& one = *images[index];
    if (result == VK_SUCCESS)
        object_of(device).fences.idle_since(one.submitted, one.queue);
    last_ = result;
    return result;
}

void vk_swapchain::show_and_give_back(void* swapchain, uint32_t index)
{
    auto& self = *static_cast<vk_swapchain*>(swapchain);
    if (!self.show(index))
        self.give_back(index);
}

void vk_swapchain::read(void* swapchain, uint32_t index)
{
    static_cast<vk_swapchain*>(swapchain)->give_back(index);
}

void vk_swapchain::frame_answered(void* swapchain, uint32_t index, const return_value& answer)
{
    auto& self = *static_cast<vk_swapchain*>(swapchain);
    if (self.finish_frame(index, vk_answer{answer, has_device()}.result()) == VK_SUCCESS)
        show_later(show_and_give_back, swapchain, index);
    else
        self.give_back(index);
}

VkResult vk_swapchain::present(VkQueue queue, const VkPresentInfoKHR& info, uint32_t index)
{
    swapchain_image& one = *images[index];
    one.queue = queue;
    one.submitted = object_of(device).fences.now();
    // What fails once is waited for until it goes well again.
    const bool may_be_late = last_ == VK_SUCCESS;
    const late_frame later{.answered = frame_answered, .owner = this, .number = index};
    const std::optional<VkResult> result =
        SEND_VK_FRAME(vk_queue_signal_release_image_android, vkQueueSignalReleaseImageANDROID,
                      may_be_late ? later : late_frame{}, queue, info.waitSemaphoreCount,
                      info.pWaitSemaphores, one.image, &one.descriptor);
    show_arrived_frames(); // the one before this
    if (!result)
        return VK_SUCCESS;
    if (finish_frame(index, *result) != VK_SUCCESS || !show(index))
        give_back(index);
    return *result; // that a window has changed its size shows when the next image is acquired
}

/// Brings the frame in an image's buffer before the user's eyes. True when the image is given back as soon as
/// it has been read, and false when it has been.
bool vk_swapchain::show(uint32_t index)
{
    const frame_buffer screen = frame_buffer_of_size(&surface, {extent.width, extent.height});
    if (!screen.address)
        return false;
    const native_buffer& buffer = images[index]->buffer;
    if (show_image(&surface, {buffer.pixels(), screen.size, stride, blue_first()}, {read, this, index})) {
        if (takers_)
            finish_reading_images();
        return true;
    }
    auto* to = const_cast<uint8_t*>(screen.address);
    if (stride == extent.width && !blue_first()) {
        std::memcpy(to, buffer.pixels(), screen.length); // which may be a compressed frame
    } else if (!frames_are_compressed()) {
        take_shown_pixels(buffer.pixels(), to);
    } else {
        const auto pixels = decompress_frame(buffer.pixels(), buffer.size());
        if (!pixels)
            return false;
        take_shown_pixels(pixels.get(), pixels.get());
        if (!compress_frame(pixels.get(), screen.size, to))
            return false;
    }
    frame_swapped(&surface, true);
    return false;
}

/// From rows of the images to rows of the frame buffer, which may begin at the same place.
void vk_swapchain::take_shown_pixels(const uint8_t* from, uint8_t* to) const
{
    const size_t row = size_t{extent.width} * 4;
    for (uint32_t y = 0; y < extent.height; ++y, to += row, from += size_t{stride} * 4) {
        if (blue_first())
            wire::swap_red_and_blue(from, to, extent.width);
        else
            std::memmove(to, from, row);
    }
}

VkResult create_swapchain(VkDevice device, const VkSwapchainCreateInfoKHR* info, const VkAllocationCallbacks*,
                          VkSwapchainKHR* swapchain)
{
    if (auto* old = object_behind<vk_swapchain>(info->oldSwapchain))
        old->retired = true;
    if (std::find(std::begin(surface_formats), std::end(surface_formats), info->imageFormat) ==
            std::end(surface_formats) ||
        info->minImageCount > most_swapchain_images)
        return VK_ERROR_INITIALIZATION_FAILED;
    auto made = std::make_unique<vk_swapchain>(device, *info);
    const VkResult result = made->make_images(*info);
    if (result == VK_SUCCESS)
        *swapchain = handle_of<VkSwapchainKHR>(made.release());
    return result;
}

void destroy_swapchain(VkDevice, VkSwapchainKHR swapchain, const VkAllocationCallbacks*)
{
    delete object_behind<vk_swapchain>(swapchain);
}

VkResult get_images(VkDevice, VkSwapchainKHR swapchain, uint32_t* count, VkImage* images)
{
    std::vector<VkImage> all;
    for (const auto& one : object_behind<vk_swapchain>(swapchain)->images)
        all.push_back(one->image);
    return list(all, count, images);
}

VkResult acquire_image(VkDevice device, VkSwapchainKHR swapchain, uint64_t timeout, VkSemaphore semaphore,
                       VkFence fence, uint32_t* index)
{
    vk_swapchain& self = *object_behind<vk_swapchain>(swapchain);
    if (self.retired || !self.surface.fits(self.extent))
        return VK_ERROR_OUT_OF_DATE_KHR;
    const VkResult taken = self.take(timeout, *index);
    if (taken != VK_SUCCESS)
        return taken;
    object_of(device).fences.forget(1, &fence);
    constexpr int no_descriptor = -1; // the image is ready: showing a frame waits for the device
    const VkResult result = SEND_VK(vk_acquire_image_android, vkAcquireImageANDROID, {}, device,
                                    self.images[*index]->image, no_descriptor, semaphore, fence);
    if (result < 0)
        self.give_back(*index);
    return result;
}

VkResult present_image(VkQueue queue, const VkPresentInfoKHR& info, vk_swapchain& swapchain, uint32_t index)
{
    if (index >= swapchain.images.size() || !swapchain.images[index]->acquired) {
        SHIM_SAY_ONCE(gate::error, "An application presents image %u, which it has not acquired.", index);
        return VK_ERROR_OUT_OF_DATE_KHR;
    }
    return swapchain.present(queue, info, index);
}

VkResult present(VkQueue queue, const VkPresentInfoKHR* info)
{
    VkResult all = VK_SUCCESS;
    for (uint32_t i = 0; i < info->swapchainCount; ++i) {
        const VkResult one = present_image(queue, *info, *object_behind<vk_swapchain>(info->pSwapchains[i]),
                                           info->pImageIndices[i]);
        if (info->pResults)
            info->pResults[i] = one;
        if (all == VK_SUCCESS)
            all = one;
    }
    note_presented_with(queue, info->waitSemaphoreCount, info->pWaitSemaphores);
    return all;
}

} // namespace

vk_entry_points vk_swapchain_entry_points()
{
    static const vk_entry_point all[] = {
        make_vk_entry_point("vkCreateSwapchainKHR", create_swapchain),
        make_vk_entry_point("vkDestroySwapchainKHR", destroy_swapchain),
        make_vk_entry_point("vkGetSwapchainImagesKHR", get_images),
        make_vk_entry_point("vkAcquireNextImageKHR", acquire_image),
        make_vk_entry_point("vkQueuePresentKHR", present),
    };
    return {all, std::size(all)};
}

} // namespace shim
