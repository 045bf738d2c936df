#pragma once
// Vulkan objects that have a side on the target: those whose handle begins with the loader's word, and those
// that hold memory of the target. All other handles are plain numbers.

#include "shim/process_lock.h"
#include "shim/vk_call.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>
#include <vulkan/vk_icd.h>

namespace shim {

/// Begins every object whose handle the loader dispatches by.
struct dispatchable
{
    dispatchable() { set_loader_magic_value(&loader); }

    VK_LOADER_DATA loader;
};

struct vk_instance;

/// What the library has told about the physical device stays as it is, and is asked for once.
struct vk_physical_device : dispatchable
{
    process_lock lock;
    bool has_features = false;
    bool has_properties = false;
    bool has_memory = false;
    bool has_families = false;
    VkPhysicalDeviceFeatures features;
    VkPhysicalDeviceProperties properties;
    VkPhysicalDeviceMemoryProperties memory;
    std::vector<VkQueueFamilyProperties> families;

    const std::vector<VkQueueFamilyProperties>& queue_families();
    /// The only family whose queues can show frames: the library copies frames on it. UINT32_MAX for none.
    uint32_t presenting_family();
};

struct vk_instance : dispatchable
{
    std::unique_ptr<vk_physical_device> physical_device; // once enumerated
    process_lock lock;
};

struct vk_queue : dispatchable
{
    VkDevice device = nullptr;
};

struct vk_command_buffer : dispatchable
{
    bool secondary = false;
};

/// Which fences are known to be signalled: those that were submitted on a queue before it was seen idle. So
/// the fence of a frame needn't be asked for when the frame has been shown since.
class known_fences
{
public:
    /// A mark in the order of submissions.
    using moment = uint64_t;
    moment now();
    /// A submission begins, and has been made. Another thread may have used the fence again between the two.
    moment submitting(VkFence fence, VkQueue queue);
    void submitted(VkFence fence, moment begun);
    /// The queue, or every queue for null, has been idle at some time after that moment.
    void idle_since(moment before, VkQueue queue);
    /// Something else is done with it.
    void forget(uint32_t count, const VkFence* fences);
    /// Whether all of them, or any of them, are known to be signalled.
    bool signalled(uint32_t count, const VkFence* fences, bool all);

private:
    struct submission
    {
        VkQueue queue;
        moment begun;
        moment made;
        bool done;
    };
    process_lock lock_;
    moment last_ = 0;
    std::map<VkFence, submission> fences_;
};

struct vk_device : dispatchable
{
    vk_physical_device* physical_device = nullptr;
    bool has_swapchains = false; // the extension is on
    known_fences fences;

    process_lock lock;                                                         // of what follows
    std::map<std::pair<uint32_t, uint32_t>, std::unique_ptr<vk_queue>> queues; // by family and index
    std::map<VkCommandPool, std::map<VkCommandBuffer, std::unique_ptr<vk_command_buffer>>> command_pools;
    std::vector<VkSemaphore> presented_with; // and not waited for yet
};

/// Has the next submission wait for semaphores that images were presented with.
void note_presented_with(VkQueue queue, uint32_t count, const VkSemaphore* semaphores);

/// Memory of a device. The target's mapping lies in a block as large as the memory itself, which is made when
/// it is first mapped and stays until the memory is freed: pages that nobody touches cost nothing, and a
/// later map finds its pages there.
struct vk_memory
{
    uint64_t size = 0;
    uint8_t* block = nullptr;
    bool is_shared = false; // the block is one that the device reaches by plain copy

    bool make_block();
    ~vk_memory();
};

inline vk_instance& object_of(VkInstance handle)
{
    return *reinterpret_cast<vk_instance*>(handle);
}
inline vk_physical_device& object_of(VkPhysicalDevice handle)
{
    return *reinterpret_cast<vk_physical_device*>(handle);
}
inline vk_device& object_of(VkDevice handle)
{
    return *reinterpret_cast<vk_device*>(handle);
}
inline vk_queue& object_of(VkQueue handle)
{
    return *reinterpret_cast<vk_queue*>(handle);
}
inline vk_command_buffer& object_of(VkCommandBuffer handle)
{
    return *reinterpret_cast<vk_command_buffer*>(handle);
}

/// Handles of objects that aren't dispatchable take 8 bytes in processes of either width.
template <class H, class O>
H handle_of(O* object)
{
    const uint64_t wide = reinterpret_cast<uintptr_t>(object);
    H handle;
    static_assert(sizeof handle == sizeof wide);
    std::memcpy(&handle, &wide, sizeof handle);
    return handle;
}
template <class O, class H>
O* object_behind(H handle)
{
    uint64_t wide;
    static_assert(sizeof handle == sizeof wide);
    std::memcpy(&wide, &handle, sizeof wide);
    return reinterpret_cast<O*>(static_cast<uintptr_t>(wide));
}

/// Answers one of the calls that list things: the number alone, or as many as fit.
template <class T>
VkResult list(const std::vector<T>& all, uint32_t* count, T* to)
{
    const auto known = static_cast<uint32_t>(all.size());
    if (!to) {
        *count = known;
        return VK_SUCCESS;
    }
    *count = std::min(*count, known);
    std::copy_n(all.begin(), *count, to);
    return *count < known ? VK_INCOMPLETE : VK_SUCCESS;
}

} // namespace shim
