// Surfaces and swapchains, which are the shim's own, down to the frame that is shown.

#include "shim/vk_fixture.h"

#include "shim/late_frames.h"
#include "shim/windows.h"

#include <chrono>
#include <thread>

using namespace shim_test;

namespace {

/// As the header of the extension has it, which wants libxcb's.
struct VkXcbLikeInfo
{
    VkStructureType sType;
    const void* pNext;
    uint32_t flags;
    void* connection;
    uint32_t window;
};

/// Windows that a test can change the size of.
class fake_windows : public shim::window_server
{
public:
    bool size_of(uint64_t, shim::window_size& to) override
    {
        to = size;
        return true;
    }
    bool show(uint64_t window, const shim::frame_view& frame) override
    {
        shown_window = window;
        shown_stride = frame.stride;
        shown.assign(frame.pixels, frame.pixels + size_t{4} * frame.size.width * frame.size.height);
        return reads_on;
    }
    void finish_reading() override { ++finished; }
    uint32_t visual() override { return 0; }

    shim::window_size size{4, 2};
    uint64_t shown_window = 0;
    uint32_t shown_stride = 0; // pixels
    std::vector<uint8_t> shown;
    bool reads_on = false; // as a server does that takes frames in place
    int finished = 0;
};

class swapchains : public vk_test
{
protected:
    void SetUp() override
    {
        vk_test::SetUp();
        make_device({"VK_KHR_swapchain"});
    }
    void TearDown() override
    {
        for (VkSwapchainKHR chain : chains)
            VK(vkDestroySwapchainKHR)(vulkan, chain, nullptr);
        for (VkSurfaceKHR surface : surfaces)
            VK(vkDestroySurfaceKHR)(instance, surface, nullptr);
        vk_test::TearDown();
    }

    /// The library draws: a release fills the native buffer at `pixels`.
    void answer(const std::vector<uint8_t>& message) override
    {
        vk_test::answer(message);
        if (type_of(message) == 494)
            buffers.push_back(load<uint64_t>(message, 52 + 88 + 16));
        if (type_of(message) == 600)
            for (uint8_t* pixel = pixels; pixel && pixel < pixels + 64 * 2 * 4; pixel += 4)
                std::memcpy(pixel, "\x01\x02\x03\x04", 4);
    }

    /// Asks for the memory of a buffer as the library does while a release is under way.
    uint8_t* ask_for_memory(uint64_t buffer, uint32_t expected_length)
    {
        device->sent.clear();
        device->replies = {message(467, bytes{}.u64(buffer)), release()};
        VK(vkQueueWaitIdle)(queue);
        EXPECT_EQ(device->sent.size(), 2u);
        const auto answer = device->sent.back();
        device->sent.clear();
        EXPECT_EQ(answer.size(), 20u + 5 + 32);
        EXPECT_EQ(load<uint32_t>(answer, 25 + 24), expected_length);
        EXPECT_EQ(load<uint32_t>(answer, 25 + 28), 0u) << "nothing to unmap";
        return at<uint8_t>(answer, 25);
    }

    VkSurfaceKHR make_headless()
    {
        auto info = typed<VkHeadlessSurfaceCreateInfoEXT>(VK_STRUCTURE_TYPE_HEADLESS_SURFACE_CREATE_INFO_EXT);
        VkSurfaceKHR surface{};
        EXPECT_EQ(VK(vkCreateHeadlessSurfaceEXT)(instance, &info, nullptr, &surface), VK_SUCCESS);
        surfaces.push_back(surface);
        return surface;
    }

    VkSwapchainKHR make_swapchain(VkSurfaceKHR surface, VkFormat format = VK_FORMAT_R8G8B8A8_UNORM,
                                  VkSwapchainKHR old = {})
    {
        auto info = typed<VkSwapchainCreateInfoKHR>(VK_STRUCTURE_TYPE_SWAPCHAIN_CREATE_INFO_KHR);
        info.surface = surface;
        info.minImageCount = 2;
        info.imageFormat = format;
        info.imageExtent = {4, 2};
        info.imageArrayLayers = 1;
        info.imageUsage = VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT;
        info.oldSwapchain = old;
        VkSwapchainKHR made{};
        EXPECT_EQ(VK(vkCreateSwapchainKHR)(vulkan, &info, nullptr, &made), VK_SUCCESS);
        chains.push_back(made);
        return made;
    }

    VkResult acquire(VkSwapchainKHR from, uint32_t& index, VkSemaphore semaphore = {}, uint64_t timeout = 0)
    {
        return VK(vkAcquireNextImageKHR)(vulkan, from, timeout, semaphore, VkFence{}, &index);
    }

    VkResult present(VkSwapchainKHR to, uint32_t index, uint32_t semaphores = 0,
                     const VkSemaphore* waits = nullptr)
    {
        auto info = typed<VkPresentInfoKHR>(VK_STRUCTURE_TYPE_PRESENT_INFO_KHR);
        info.waitSemaphoreCount = semaphores;
        info.pWaitSemaphores = waits;
        info.swapchainCount = 1;
        info.pSwapchains = &to;
        info.pImageIndices = &index;
        return VK(vkQueuePresentKHR)(queue, &info);
    }

    std::vector<uint64_t> buffers; // of the images, in the order in which they were made
    uint8_t* pixels = nullptr;

    std::vector<VkSwapchainKHR> chains; // what is left of them ends with the test
    std::vector<VkSurfaceKHR> surfaces;
};

TEST_F(swapchains, are_images_on_native_buffers_and_end_with_them)
{
    const VkSwapchainKHR chain = make_swapchain(make_headless());
    ASSERT_EQ(device->sent.size(), 3u);
    EXPECT_EQ(type_of(device->sent[0]), 598u);
    const auto& image = device->sent[1];
    ASSERT_EQ(type_of(image), 494u);
    // Arguments 32, create info 88, native buffer 40, handle 8.
    ASSERT_EQ(image.size(), 20u + 32 + 88 + 40 + 8);
    EXPECT_NE(load<uint64_t>(image, 52 + 8), 0u) << "the chain says that the buffer follows";
    EXPECT_EQ(load<uint32_t>(image, 52 + 88), 1000010000u);
    EXPECT_EQ(load<uint64_t>(image, 52 + 88 + 8), 0u);
    EXPECT_EQ(load<uint32_t>(image, 52 + 28), 64u) << "rows are as wide as hosts align them";
    EXPECT_EQ(load<uint32_t>(image, 52 + 88 + 24), 64u) << "stride";

    uint32_t count = 3;
    VkImage images[3] = {};
    EXPECT_EQ(VK(vkGetSwapchainImagesKHR)(vulkan, chain, &count, images), VK_SUCCESS);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(number(images[0]), load<uint64_t>(image, image.size() - 8));
    ask_for_memory(buffers[0], 4 * (16 + 1024));
    VK(vkDestroySwapchainKHR)(vulkan, chain, nullptr);
    chains.clear();
    ASSERT_EQ(device->sent.size(), 2u);
    EXPECT_EQ(device->sent[1], message(495, bytes{}.address(vulkan).u64(number(images[1])).u64(0)).get());
    device->sent.clear();
    EXPECT_EQ(ask_for_memory(buffers[0], 0), nullptr) << "the buffer has gone";
}

TEST_F(swapchains, images_go_round_and_frames_are_shown)
{
    const VkSwapchainKHR chain = make_swapchain(make_headless());
    pixels = ask_for_memory(buffers[0], 4 * (16 + 1024));
    const auto semaphore = reinterpret_cast<VkSemaphore>(uintptr_t{0x55});
    uint32_t first = 9, second = 9, third = 9;
    ASSERT_EQ(acquire(chain, first, semaphore), VK_SUCCESS);
    uint32_t count = 2;
    VkImage images[2] = {};
    VK(vkGetSwapchainImagesKHR)(vulkan, chain, &count, images);
    EXPECT_EQ(
        only_message(),
        message(599, bytes{}.address(vulkan).u64(number(images[first])).i32(-1).u64(0x55).u64(0)).get());
    ASSERT_EQ(acquire(chain, second), VK_SUCCESS);
    EXPECT_NE(first, second);
    EXPECT_EQ(acquire(chain, third), VK_NOT_READY);
    EXPECT_EQ(acquire(chain, third, {}, 1000), VK_TIMEOUT);
    device->sent.clear();
    ASSERT_EQ(present(chain, first, 1, &semaphore), VK_SUCCESS);
    const auto shown = only_message();
    EXPECT_EQ(type_of(shown), 600u);
    EXPECT_EQ(load<uint64_t>(shown, shown.size() - 12), 0x55u);
    EXPECT_EQ(load<int32_t>(shown, shown.size() - 4), -1);
    EXPECT_EQ(device->frames, 1);
    ASSERT_EQ(device->frame_buffers.size(), 1u);
    EXPECT_EQ(device->frame_buffers[0].width, 4u);
    EXPECT_EQ(std::memcmp(device->frame_buffers[0].address, "\x01\x02\x03\x04", 4), 0);
    EXPECT_EQ(acquire(chain, third), VK_SUCCESS);
    EXPECT_EQ(third, first);
    capture();
    EXPECT_EQ(present(chain, 7), VK_ERROR_OUT_OF_DATE_KHR);
    EXPECT_NE(captured().find("has not acquired"), std::string::npos);
}

TEST_F(swapchains, the_next_submission_waits_for_what_was_presented_with)
{
    const VkSwapchainKHR chain = make_swapchain(make_headless());
    const VkSemaphore semaphores[] = {reinterpret_cast<VkSemaphore>(uintptr_t{0x55}),
                                      reinterpret_cast<VkSemaphore>(uintptr_t{0x66})};
    uint32_t index = 0;
    ASSERT_EQ(acquire(chain, index), VK_SUCCESS);
    ASSERT_EQ(present(chain, index, 2, semaphores), VK_SUCCESS);
    VK(vkDestroySemaphore)(vulkan, semaphores[0], nullptr);
    device->sent.clear();
    ASSERT_EQ(VK(vkQueueSubmit)(queue, 0, nullptr, VkFence{}), VK_SUCCESS);
    const auto waiting = only_message();
    ASSERT_EQ(type_of(waiting), 458u);
    // A structure of 72 bytes, its semaphore, and the stage that waits.
    ASSERT_EQ(waiting.size(), 20u + 8 + 4 + 8 + 8 + 72 + 8 + 4);
    EXPECT_EQ(load<uint64_t>(waiting, waiting.size() - 12), 0x66u) << "the other one has gone";
    ASSERT_EQ(VK(vkQueueSubmit)(queue, 0, nullptr, VkFence{}), VK_SUCCESS);
    EXPECT_EQ(only_message().size(), 20u + 8 + 4 + 8 + 8) << "once is enough";
}

TEST_F(swapchains, fences_of_shown_frames_need_no_asking)
{
    const VkSwapchainKHR chain = make_swapchain(make_headless());
    const auto fence = reinterpret_cast<VkFence>(uintptr_t{0x77});
    const auto asks = [&] {
        device->sent.clear();
        EXPECT_EQ(VK(vkWaitForFences)(vulkan, 1, &fence, VK_TRUE, 0), VK_SUCCESS);
        EXPECT_EQ(VK(vkGetFenceStatus)(vulkan, fence), VK_SUCCESS);
        return device->sent.size();
    };
    const auto show = [&] {
        uint32_t index = 0;
        ASSERT_EQ(acquire(chain, index), VK_SUCCESS);
        ASSERT_EQ(present(chain, index), VK_SUCCESS);
    };
    ASSERT_EQ(VK(vkQueueSubmit)(queue, 0, nullptr, fence), VK_SUCCESS);
    EXPECT_EQ(asks(), 2u);
    show();
    EXPECT_EQ(asks(), 0u);
    ASSERT_EQ(VK(vkResetFences)(vulkan, 1, &fence), VK_SUCCESS);
    show();
    EXPECT_EQ(asks(), 2u) << "reset and not submitted again";
    ASSERT_EQ(VK(vkQueueSubmit)(queue, 0, nullptr, fence), VK_SUCCESS);
    device->replies = {value_and_release(bytes{}.i32(VK_ERROR_DEVICE_LOST))};
    EXPECT_EQ(VK(vkQueueWaitIdle)(queue), VK_ERROR_DEVICE_LOST);
    EXPECT_EQ(asks(), 2u) << "nothing is known of a queue that is lost";
    EXPECT_EQ(VK(vkDeviceWaitIdle)(vulkan), VK_SUCCESS);
    EXPECT_EQ(asks(), 0u);
}

TEST_F(swapchains, blue_first_is_shown_with_red_first)
{
    const VkSwapchainKHR chain = make_swapchain(make_headless(), VK_FORMAT_B8G8R8A8_SRGB);
    pixels = ask_for_memory(buffers[0], 4 * (16 + 1024));
    uint32_t index = 0;
    ASSERT_EQ(acquire(chain, index), VK_SUCCESS);
    ASSERT_EQ(present(chain, index), VK_SUCCESS);
    EXPECT_EQ(std::memcmp(device->frame_buffers.at(0).address, "\x03\x02\x01\x04", 4), 0);
    device->replies = {release(), value_and_release(bytes{}.i32(VK_ERROR_DEVICE_LOST))};
    ASSERT_EQ(acquire(chain, index), VK_SUCCESS);
    EXPECT_EQ(present(chain, index), VK_ERROR_DEVICE_LOST);
    EXPECT_EQ(device->frames, 1) << "a frame that failed isn't shown";
}

class late_swapchains : public swapchains
{
protected:
    void SetUp() override
    {
        shim::set_late_frame_patience(600'000);
        vk_test::SetUp();
        use_batching();
        device->counts_frames = true;
        device->takes_posts = true;
        make_device({"VK_KHR_swapchain"});
        chain = make_swapchain(make_headless());
        show(VK_SUCCESS); // the first one is waited for
        EXPECT_EQ(device->frames, 1);
    }

    /// Acquires and presents an image; the library answers with `answer`.
    void show(VkResult expected, VkResult answer = VK_SUCCESS)
    {
        ASSERT_EQ(acquire(chain, index), VK_SUCCESS);
        device->replies = {answer == VK_SUCCESS ? release() : value_and_release(bytes{}.i32(answer))};
        EXPECT_EQ(present(chain, index), expected);
    }

    VkSwapchainKHR chain{};
    uint32_t index = 0;
};

TEST_F(late_swapchains, give_images_back_when_they_have_been_shown)
{
    show(VK_SUCCESS);
    EXPECT_EQ(device->frames, 1) << "it is on its way";
    const uint32_t out = index;
    ASSERT_EQ(acquire(chain, index), VK_SUCCESS);
    EXPECT_NE(index, out);
    EXPECT_EQ(device->frames, 1);
    uint32_t third = 9;
    EXPECT_EQ(acquire(chain, third), VK_SUCCESS) << "there are two: this has to wait for the first one";
    EXPECT_EQ(third, out);
    EXPECT_EQ(device->frames, 2);
    EXPECT_EQ(acquire(chain, third), VK_NOT_READY);
}

TEST_F(late_swapchains, tell_a_failure_with_the_next_image)
{
    show(VK_SUCCESS, VK_ERROR_DEVICE_LOST);
    show(VK_SUCCESS); // takes that answer
    EXPECT_EQ(device->frames, 1) << "there is nothing to show of it";
    show(VK_ERROR_DEVICE_LOST, VK_ERROR_DEVICE_LOST);
    show(VK_ERROR_DEVICE_LOST, VK_ERROR_DEVICE_LOST);
}

TEST_F(late_swapchains, know_the_fences_of_frames_that_are_on_their_way)
{
    const auto fence = reinterpret_cast<VkFence>(uintptr_t{0x77});
    ASSERT_EQ(VK(vkQueueSubmit)(queue, 0, nullptr, fence), VK_SUCCESS);
    show(VK_SUCCESS);
    device->sent.clear();
    EXPECT_EQ(VK(vkWaitForFences)(vulkan, 1, &fence, VK_TRUE, UINT64_MAX), VK_SUCCESS);
    EXPECT_TRUE(device->sent.empty()) << "the frame's answer tells";
}

TEST_F(late_swapchains, are_followed_by_submissions_that_have_answers_of_their_own)
{
    show(VK_SUCCESS);
    const int posts = device->posts;
    device->replies = {value_and_release(bytes{}.i32(VK_ERROR_OUT_OF_DEVICE_MEMORY))};
    EXPECT_EQ(VK(vkQueueSubmit)(queue, 0, nullptr, VkFence{}), VK_ERROR_OUT_OF_DEVICE_MEMORY);
    EXPECT_EQ(device->posts, posts + 1) << "the device needn't be asked for the frame first";
    EXPECT_EQ(device->frames, 1) << "which is shown when there is time for it";
    EXPECT_EQ(VK(vkQueueSubmit)(queue, 0, nullptr, VkFence{}), VK_SUCCESS);
    EXPECT_EQ(device->posts, posts + 1) << "no frame is out";
    EXPECT_EQ(VK(vkQueueWaitIdle)(queue), VK_SUCCESS);
    EXPECT_EQ(device->frames, 2);
}

TEST_F(late_swapchains, end_behind_their_frames)
{
    show(VK_SUCCESS);
    VK(vkDestroySwapchainKHR)(vulkan, chain, nullptr);
    chains.clear();
    EXPECT_EQ(device->frames, 2);
}

class swapchains_of_windows : public swapchains
{
protected:
    void SetUp() override
    {
        swapchains::SetUp();
        static fake_windows only; // a window server is for good
        windows = &only;
        *windows = {};
        shim::use_window_server(windows);
        auto info = typed<VkXcbLikeInfo>(VK_STRUCTURE_TYPE_XCB_SURFACE_CREATE_INFO_KHR);
        info.window = 77;
        const auto create =
            reinterpret_cast<VkResult (*)(VkInstance, const void*, const void*, VkSurfaceKHR*)>(
                target_vk_icdGetInstanceProcAddr(nullptr, "vkCreateXcbSurfaceKHR"));
        capture();
        ASSERT_EQ(create(instance, &info, nullptr, &surface), VK_SUCCESS);
        surfaces.push_back(surface);
        captured(); // without an X server there is something to say
    }

    fake_windows* windows = nullptr;
    VkSurfaceKHR surface{};
};

TEST_F(swapchains_of_windows, give_an_image_back_when_the_server_has_read_it)
{
    device->counts_frames = true;
    windows->reads_on = true;
    const VkSwapchainKHR chain = make_swapchain(surface);
    uint32_t first = 9, second = 9, next = 9;
    ASSERT_EQ(acquire(chain, first), VK_SUCCESS);
    ASSERT_EQ(present(chain, first), VK_SUCCESS);
    EXPECT_EQ(windows->finished, 0) << "nobody needs the image yet";
    ASSERT_EQ(acquire(chain, second), VK_SUCCESS);
    EXPECT_EQ(windows->finished, 0);
    ASSERT_EQ(present(chain, second), VK_SUCCESS);
    EXPECT_EQ(windows->finished, 1) << "one image at a time";
    ASSERT_EQ(acquire(chain, next), VK_SUCCESS);
    EXPECT_EQ(next, first);
    EXPECT_EQ(windows->finished, 1);
    ASSERT_EQ(acquire(chain, next), VK_SUCCESS);
    EXPECT_EQ(next, second);
    EXPECT_EQ(windows->finished, 2) << "there is no other";
    EXPECT_EQ(acquire(chain, next), VK_NOT_READY);

    std::thread waits{[&] { EXPECT_EQ(acquire(chain, next, {}, UINT64_MAX), VK_SUCCESS); }};
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    EXPECT_EQ(present(chain, first), VK_SUCCESS);
    waits.join();
    EXPECT_EQ(next, first) << "a thread that waits gets the image";
    ASSERT_EQ(present(chain, first), VK_SUCCESS);
    const int before = windows->finished;
    VK(vkDestroySwapchainKHR)(vulkan, chain, nullptr);
    chains.clear();
    EXPECT_EQ(windows->finished, before + 1) << "its memory goes";
}

TEST_F(swapchains_of_windows, tell_their_size_and_outgrow_their_swapchains)
{
    VkSurfaceCapabilitiesKHR can{};
    VK(vkGetPhysicalDeviceSurfaceCapabilitiesKHR)(physical_device, surface, &can);
    EXPECT_EQ(can.currentExtent.width, 4u);
    VkBool32 supported = VK_FALSE;
    VK(vkGetPhysicalDeviceSurfaceSupportKHR)(physical_device, 0, surface, &supported);
    EXPECT_FALSE(supported);
    VK(vkGetPhysicalDeviceSurfaceSupportKHR)(physical_device, 1, surface, &supported);
    EXPECT_TRUE(supported);
    const auto first_format = [&](VkSurfaceKHR of) {
        uint32_t count = 1;
        VkSurfaceFormatKHR format{};
        EXPECT_EQ(VK(vkGetPhysicalDeviceSurfaceFormatsKHR)(physical_device, of, &count, &format),
                  VK_INCOMPLETE);
        return format.format;
    };
    EXPECT_EQ(first_format(surface), VK_FORMAT_B8G8R8A8_UNORM) << "as windows take it";
    EXPECT_EQ(first_format(make_headless()), VK_FORMAT_R8G8B8A8_UNORM) << "as frame buffers have it";

    const VkSwapchainKHR chain = make_swapchain(surface);
    pixels = ask_for_memory(buffers[0], 4 * (16 + 1024));
    uint32_t index = 0;
    ASSERT_EQ(acquire(chain, index), VK_SUCCESS);
    ASSERT_EQ(present(chain, index), VK_SUCCESS);
    EXPECT_EQ(windows->shown_window, 77u);
    ASSERT_EQ(windows->shown.size(), 32u);
    EXPECT_EQ(windows->shown[4], 1);
    EXPECT_EQ(windows->shown_stride, 4u);
    device->counts_frames = true;
    ASSERT_EQ(acquire(chain, index), VK_SUCCESS);
    ASSERT_EQ(present(chain, index), VK_SUCCESS);
    EXPECT_EQ(windows->shown_stride, 64u) << "the image is shown as it lies there";
    EXPECT_EQ(device->frames, 2);
    windows->size = {8, 2};
    EXPECT_EQ(acquire(chain, index), VK_ERROR_OUT_OF_DATE_KHR);
    windows->size = {4, 2};
    const VkSwapchainKHR next = make_swapchain(surface, VK_FORMAT_R8G8B8A8_UNORM, chain);
    EXPECT_EQ(acquire(chain, index), VK_ERROR_OUT_OF_DATE_KHR) << "it has a successor";
    EXPECT_EQ(acquire(next, index), VK_SUCCESS);
}

} // namespace
