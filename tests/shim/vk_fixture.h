#pragma once
// The target's Vulkan driver against a device that plays a script, called as the loader would.

#include "shim/fake_device.h"
#include "shim/target_names.h"

#include <cstring>

namespace shim_test {

/// An entry point by name, of its published type: VK(vkCreateBuffer)(device, ...).
#define VK(function) reinterpret_cast<PFN_##function>(target_vk_icdGetInstanceProcAddr(nullptr, #function))

template <class T>
T load(const std::vector<uint8_t>& bytes, size_t offset)
{
    T value{};
    EXPECT_LE(offset + sizeof value, bytes.size());
    if (offset + sizeof value <= bytes.size())
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

inline uint32_t type_of(const std::vector<uint8_t>& message)
{
    return load<uint32_t>(message, 4);
}

/// A structure with nothing in it, not even between its fields.
template <class S>
S typed(VkStructureType type)
{
    S structure;
    std::memset(&structure, 0, sizeof structure);
    structure.sType = type;
    return structure;
}

/// A handle as the wire has it.
template <class H>
uint64_t number(H handle)
{
    uint64_t value = 0;
    std::memcpy(&value, &handle, sizeof handle);
    return value;
}

class vk_test : public device_test
{
protected:
    void SetUp() override
    {
        device_test::SetUp();
        device->on_message = [this](const std::vector<uint8_t>& message) { answer(message); };
    }

    void TearDown() override
    {
        end_device();
        device_test::TearDown();
    }

    void end_device()
    {
        if (pool)
            VK(vkDestroyCommandPool)(vulkan, pool, nullptr);
        if (vulkan)
            VK(vkDestroyDevice)(vulkan, nullptr);
        if (instance)
            VK(vkDestroyInstance)(instance, nullptr);
        pool = {};
        vulkan = nullptr;
        instance = nullptr;
    }

    /// What the library writes to the target's memory for the questions that every application asks.
    virtual void answer(const std::vector<uint8_t>& message)
    {
        if (type_of(message) == 454) { // extensions of a device: physical device, layer, count, list
            *at<uint32_t>(message, 36) = 1;
            if (auto* list = at<VkExtensionProperties>(message, 44))
                std::strcpy(list->extensionName, "VK_ANDROID_native_buffer");
        }
        if (type_of(message) == 447) { // queue families: physical device, count, list
            *at<uint32_t>(message, 28) = 2;
            if (auto* list = at<VkQueueFamilyProperties>(message, 36)) {
                list[0].queueFlags = VK_QUEUE_COMPUTE_BIT;
                list[1].queueFlags = VK_QUEUE_GRAPHICS_BIT;
            }
        }
    }

    template <class T>
    static T* at(const std::vector<uint8_t>& message, size_t offset)
    {
        return reinterpret_cast<T*>(load<uint64_t>(message, offset));
    }

    void make_device(std::vector<const char*> extensions = {})
    {
        auto instance_info = typed<VkInstanceCreateInfo>(VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO);
        ASSERT_EQ(VK(vkCreateInstance)(&instance_info, nullptr, &instance), VK_SUCCESS);
        uint32_t count = 1;
        ASSERT_EQ(VK(vkEnumeratePhysicalDevices)(instance, &count, &physical_device), VK_SUCCESS);
        ASSERT_EQ(count, 1u);
        auto device_info = typed<VkDeviceCreateInfo>(VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO);
        device_info.enabledExtensionCount = static_cast<uint32_t>(extensions.size());
        device_info.ppEnabledExtensionNames = extensions.data();
        ASSERT_EQ(VK(vkCreateDevice)(physical_device, &device_info, nullptr, &vulkan), VK_SUCCESS);
        VK(vkGetDeviceQueue)(vulkan, 1, 0, &queue);
        device->sent.clear();
    }

    VkCommandBuffer make_command_buffer(VkCommandBufferLevel level = VK_COMMAND_BUFFER_LEVEL_PRIMARY)
    {
        auto pool_info = typed<VkCommandPoolCreateInfo>(VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO);
        EXPECT_EQ(VK(vkCreateCommandPool)(vulkan, &pool_info, nullptr, &pool), VK_SUCCESS);
        VkCommandBufferAllocateInfo info{VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO, nullptr, pool, level,
                                         1};
        VkCommandBuffer buffer = nullptr;
        EXPECT_EQ(VK(vkAllocateCommandBuffers)(vulkan, &info, &buffer), VK_SUCCESS);
        device->sent.clear();
        return buffer;
    }

    VkInstance instance = nullptr;
    VkPhysicalDevice physical_device = nullptr;
    VkDevice vulkan = nullptr;
    VkQueue queue = nullptr;
    VkCommandPool pool{};
};

} // namespace shim_test
