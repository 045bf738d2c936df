#include "support/fake_vulkan.h"

#include "hosttables/table_slots.h"

#include <array>
#include <map>
#include <mutex>
#include <sstream>
#include <string_view>
#include <type_traits>

namespace fake_vulkan {
namespace {
struct recorder
{
    std::mutex lock;
    std::vector<std::string> journal;
    std::array<std::shared_ptr<void>, host_vk_count> hooks;
    std::map<std::string, uint64_t> last_number;
    std::map<uint64_t, std::string> names;
    std::map<std::string, size_t> live;
    std::map<uint64_t, std::vector<uint8_t>> memory; // mappings by handle
};
recorder& the_recorder()
{
    static auto& instance = *new recorder;
    return instance;
}

template <class T>
inline constexpr const char* kind_of = nullptr;
#define KIND(type)                                                                                           \
    template <>                                                                                              \
    inline constexpr const char* kind_of<type> = #type;
KIND(VkInstance)
KIND(VkPhysicalDevice)
KIND(VkDevice)
KIND(VkQueue)
KIND(VkCommandBuffer)
KIND(VkBuffer)
KIND(VkBufferView)
KIND(VkImage)
KIND(VkImageView)
KIND(VkShaderModule)
KIND(VkPipeline)
KIND(VkPipelineLayout)
KIND(VkSampler)
KIND(VkDescriptorSet)
KIND(VkDescriptorSetLayout)
KIND(VkDescriptorPool)
KIND(VkDeviceMemory)
KIND(VkFence)
KIND(VkSemaphore)
KIND(VkEvent)
KIND(VkQueryPool)
KIND(VkFramebuffer)
KIND(VkRenderPass)
KIND(VkPipelineCache)
KIND(VkCommandPool)
KIND(VkSurfaceKHR)
KIND(VkSwapchainKHR)
KIND(VkDisplayKHR)
KIND(VkDisplayModeKHR)
KIND(VkDebugReportCallbackEXT)
#undef KIND

template <class T>
std::string as_text(T value)
{
    std::ostringstream out;
    if constexpr (kind_of<T> != nullptr)
        out << name_of(reinterpret_cast<uint64_t>(value));
    else if constexpr (std::is_same_v<T, const char*>)
        out << '"' << (value ? value : "null") << '"';
    else if constexpr (std::is_pointer_v<T> || std::is_null_pointer_v<T>)
        out << (value ? "pointer" : "null");
    else if constexpr (std::is_enum_v<T>)
        out << static_cast<int64_t>(value);
    else
        out << value;
    return out.str();
}
std::string joined(std::initializer_list<std::string> parts)
{
    std::string all;
    for (const std::string& part : parts)
        all += (all.empty() ? "" : ", ") + part;
    return all;
}

template <class T>
uint32_t wanted_of(T argument)
{
    if constexpr (std::is_same_v<T, uint32_t>)
        return argument;
    else if constexpr (std::is_same_v<T, const VkCommandBufferAllocateInfo*>)
        return argument->commandBufferCount;
    else if constexpr (std::is_same_v<T, const VkDescriptorSetAllocateInfo*>)
        return argument->descriptorSetCount;
    else
        return 0;
}
/// Fills out parameters of handles: as many as the call asks for.
template <class T>
void fill(T argument, uint32_t wanted)
{
    if constexpr (std::is_pointer_v<T>) {
        using element = std::remove_pointer_t<T>;
        if constexpr (!std::is_const_v<element> && kind_of<element> != nullptr) {
            for (uint32_t i = 0; argument && i < wanted; ++i)
                argument[i] = reinterpret_cast<element>(make(kind_of<element>));
        }
    }
}
template <class T>
void forget(T handle)
{
    if constexpr (kind_of<T> != nullptr) {
        recorder& from = the_recorder();
        std::lock_guard guard{from.lock};
        if (from.names.erase(reinterpret_cast<uint64_t>(handle)))
            --from.live[kind_of<T>];
    }
}

template <auto Field, class F = decltype(Field)>
struct recording;
template <auto Field, class R, class... P>
struct recording<Field, R (*sidechannel_vk_imports::*)(P...)>
{
    static R call(P... arguments)
    {
        const size_t slot = detail::slot_of<Field>();
        const std::string_view name = host_vk_names[slot];
        std::string text = std::string{name} + "(" + joined({as_text(arguments)...}) + ")";
        std::shared_ptr<void> programmed;
        {
            recorder& to = the_recorder();
            std::lock_guard guard{to.lock};
            to.journal.push_back(std::move(text));
            programmed = to.hooks[slot];
        }
        if (programmed)
            return (*static_cast<std::function<R(P...)>*>(programmed.get()))(arguments...);
        if (name.starts_with("vkCreate") || name.starts_with("vkAllocate")) {
            uint32_t wanted = 0;
            ((wanted = std::max(wanted, wanted_of(arguments))), ...);
            (fill(arguments, wanted ? wanted : 1), ...);
        }
        if ((name.starts_with("vkDestroy") || name == "vkFreeMemory") && name != "vkDestroyDevice")
            second(arguments...);
        if constexpr (!std::is_void_v<R>)
            return R{};
    }
    template <class A, class B, class... More>
    static void second(A, B handle, More...)
    {
        forget(handle);
    }
    template <class A>
    static void second(A)
    {
    }
};

VkResult map_memory(VkDevice, VkDeviceMemory memory, VkDeviceSize offset, VkDeviceSize, VkMemoryMapFlags,
                    void** data)
{
    recorder& from = the_recorder();
    std::lock_guard guard{from.lock};
    auto& block = from.memory[reinterpret_cast<uint64_t>(memory)];
    block.resize(0x10000);
    *data = block.data() + offset;
    return VK_SUCCESS;
}
} // namespace

void install()
{
    recorder& fresh = the_recorder();
    {
        std::lock_guard guard{fresh.lock};
        fresh.journal.clear();
        fresh.hooks = {};
    }
    size_t slot = 0;
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    set_table_slot(&zelvar_imports_vk_ptrs, slot++,                                                          \
                   reinterpret_cast<void*>(&recording<&sidechannel_vk_imports::function>::call));
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
    using vk = sidechannel_vk_imports;
    hook<&vk::vkMapMemory>(&map_memory);
    auto requirements = [](auto, auto, VkMemoryRequirements* out) { *out = {0x1000, 16, 1}; };
    hook<&vk::vkGetBufferMemoryRequirements>(requirements);
    hook<&vk::vkGetImageMemoryRequirements>(requirements);
}

std::vector<std::string> texts()
{
    recorder& from = the_recorder();
    std::lock_guard guard{from.lock};
    return from.journal;
}
size_t count(const std::string& function)
{
    size_t found = 0;
    for (const std::string& text : texts())
        found += text.starts_with(function + "(");
    return found;
}
void clear()
{
    recorder& to = the_recorder();
    std::lock_guard guard{to.lock};
    to.journal.clear();
}
size_t live(const std::string& kind)
{
    recorder& from = the_recorder();
    std::lock_guard guard{from.lock};
    return from.live[kind];
}

uint64_t make(const char* kind)
{
    recorder& to = the_recorder();
    std::lock_guard guard{to.lock};
    uint64_t handle = 0xf000000000000000 + 0x1000 * (to.names.size() + 1) + to.last_number[kind];
    while (to.names.count(handle))
        handle += 0x1000000;
    to.names[handle] = std::string{kind} + "#" + std::to_string(++to.last_number[kind]);
    ++to.live[kind];
    return handle;
}
std::string name_of(uint64_t handle)
{
    recorder& from = the_recorder();
    std::lock_guard guard{from.lock};
    auto found = from.names.find(handle);
    return !handle ? "null" : found == from.names.end() ? "?" : found->second;
}

void detail::set_hook(size_t slot, std::shared_ptr<void> function)
{
    recorder& to = the_recorder();
    std::lock_guard guard{to.lock};
    to.hooks[slot] = std::move(function);
}

void remove(const std::string& function)
{
    for (size_t slot = 0; slot < host_vk_count; ++slot) {
        if (function == host_vk_names[slot])
            set_table_slot(&zelvar_imports_vk_ptrs, slot, nullptr);
    }
}
} // namespace fake_vulkan
