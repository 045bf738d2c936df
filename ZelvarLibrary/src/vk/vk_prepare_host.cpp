// prepare_host_ of every structure.

#include "inbound/vk_walkers.h"
#include "object_manager/vk_registry.h"
#include "vk/vk_fields.h"
#include "vk/vk_structure_functions.h"

namespace {

using namespace vk_wire;
using namespace vk_fields;

/// One walk over a structure's tree.
struct preparation
{
    vk_device_record* device;
    bool found = true;
    /// No handle or structure is null that the host needs.
    bool complete = true;

    /// The host's handle; null once one wasn't found.
    template <class H>
    H host_of(H target)
    {
        H host = VK_NULL_HANDLE;
        if (found && target != VK_NULL_HANDLE)
            found = device && vk_registry::get_host(device, target, &host);
        return found ? host : VK_NULL_HANDLE;
    }

    template <class S>
    void walk(uint8_t* structure)
    {
        for_each_field<S>([&](auto field, auto) { fit(field, structure); });
        if constexpr (std::is_same_v<S, VkSpecializationInfo>)
            drop_constants_outside(structure);
    }

    /// A driver takes constants from where their entries say, inside the data or not.
    static void drop_constants_outside(uint8_t* info)
    {
        const uint64_t held = get<&VkSpecializationInfo::dataSize>(info);
        uint8_t* entries = target_of<&VkSpecializationInfo::pMapEntries>(info);
        uint32_t kept = 0;
        for (uint32_t i = 0; i < get<&VkSpecializationInfo::mapEntryCount>(info); ++i) {
            auto entry = load<VkSpecializationMapEntry>(entries + i * sizeof(VkSpecializationMapEntry));
            if (entry.offset <= held && entry.size <= held - entry.offset)
                store(entries + kept++ * sizeof(VkSpecializationMapEntry), entry);
        }
        set<&VkSpecializationInfo::mapEntryCount>(info, kept);
    }

    /// What holds no handle.
    template <class Field>
    void fit(Field, uint8_t*)
    {
    }

    template <auto M>
    void fit(handle<M>, uint8_t* structure)
    {
        fit_elements(handle<M>{}, structure);
        complete &= get<M>(structure) != VK_NULL_HANDLE;
    }
    template <auto M>
    void fit_elements(handle<M>, uint8_t* structure)
    {
        set<M>(structure, host_of(get<M>(structure)));
    }

    template <auto M>
    void fit(next<M>, uint8_t* structure)
    {
        aim<M>(structure, nullptr);
    }

    template <auto M>
    void fit(nested<M>, uint8_t* structure)
    {
        for (uint32_t i = 0; i < nested_count<M>; ++i)
            walk<nested_type<M>>(structure + offset_of<M>() + i * sizeof(nested_type<M>));
    }

    template <auto P>
    void fit(pointer<P> field, uint8_t* structure)
    {
        fit_elements(field, structure);
        complete &= target_of<P>(structure) != nullptr;
    }
    template <auto P>
    void fit_elements(pointer<P>, uint8_t* structure)
    {
        if (uint8_t* pointee = target_of<P>(structure))
            walk<pointee_of<P>>(pointee);
    }

    template <auto P, auto N>
    void fit(array<P, N> field, uint8_t* structure)
    {
        empty_if_absent(field, structure);
        fit_elements(field, structure);
    }
    template <auto P, auto N>
    void fit_elements(array<P, N>, uint8_t* structure)
    {
        using element = pointee_of<P>;
        if constexpr (is_described<element>)
            if (uint8_t* elements = target_of<P>(structure))
                for (uint64_t i = 0; i < get<N>(structure); ++i)
                    walk<element>(elements + i * sizeof(element));
    }

    template <auto P, auto N>
    void fit(handles<P, N> field, uint8_t* structure)
    {
        empty_if_absent(field, structure);
        fit_elements(field, structure);
    }
    template <auto P, auto N>
    void fit_elements(handles<P, N>, uint8_t* structure)
    {
        using element = pointee_of<P>;
        uint8_t* elements = target_of<P>(structure);
        if (!elements)
            return;
        if constexpr (std::is_same_v<element, VkSemaphore>)
            drop_signalled<P, N>(structure, elements);
        else if constexpr (!is_dispatchable<element>)
            for (uint64_t i = 0; i < get<N>(structure); ++i) {
                const element host = host_of(load<element>(elements + i * sizeof(element)));
                store(elements + i * sizeof(element), host);
                complete &= host != VK_NULL_HANDLE;
            }
    }

    /// Semaphores that the system itself has signalled are unknown to the host's queue: they go, and what
    /// belongs to them.
    template <auto P, auto N>
    void drop_signalled(uint8_t* structure, uint8_t* semaphores)
    {
        constexpr bool submits_waits = std::is_same_v<decltype(P), decltype(&VkSubmitInfo::pWaitSemaphores)>;
        uint32_t kept = 0;
        for (uint32_t i = 0; i < get<N>(structure); ++i) {
            auto semaphore = load<VkSemaphore>(semaphores + i * sizeof(VkSemaphore));
            uint32_t stays = 1;
            bool known = device && zelvar_object_manager_vk_get_valid_semaphone(device, &stays, &semaphore);
            found &= known;
            if (!known || stays == 0)
                continue;
            store(semaphores + kept * sizeof(VkSemaphore), semaphore);
            if constexpr (submits_waits) {
                // Only the wait array has stages; the two arrays of a submission share a type.
                constexpr bool waits = offset_of<P>() == offset_of<&VkSubmitInfo::pWaitSemaphores>();
                if (uint8_t* stages =
                        waits ? target_of<&VkSubmitInfo::pWaitDstStageMask>(structure) : nullptr)
                    std::memcpy(stages + kept * sizeof(VkPipelineStageFlags),
                                stages + i * sizeof(VkPipelineStageFlags), sizeof(VkPipelineStageFlags));
            }
            ++kept;
        }
        set<N>(structure, kept);
    }

    template <auto P, auto N>
    void fit(bytes<P, N> field, uint8_t* structure)
    {
        empty_if_absent(field, structure);
    }

    template <auto P, auto N>
    void fit(strings<P, N> field, uint8_t* structure)
    {
        empty_if_absent(field, structure);
        if (uint8_t* entries = target_of<P>(structure))
            for (uint64_t i = 0; i < get<N>(structure); ++i)
                if (!load<const char*>(entries + i * sizeof(char*)))
                    store<const char*>(entries + i * sizeof(char*), "");
    }

    template <class Field>
    void fit(optional<Field>, uint8_t* structure)
    {
        fit_elements(Field{}, structure);
    }

    template <auto Condition, class Field>
    void fit(when<Condition, Field>, uint8_t* structure)
    {
        fit(Field{}, structure);
    }
    // The writer has put null where the condition says so.
    template <auto Condition, auto M>
    void fit(when<Condition, handle<M>>, uint8_t* structure)
    {
        fit_elements(handle<M>{}, structure);
    }
    template <auto Condition, auto P>
    void fit(when<Condition, pointer<P>>, uint8_t* structure)
    {
        fit_elements(pointer<P>{}, structure);
    }

    /// The host would read an array that isn't there.
    template <template <auto, auto> class Kind, auto P, auto N>
    void empty_if_absent(Kind<P, N>, uint8_t* structure)
    {
        if (!target_of<P>(structure))
            set<N>(structure, 0);
    }
};

} // namespace

template <class T>
vk_prepared vk_prepare_host(_zelvar_object_manager_data_vk_device* device, T* structure)
{
    preparation all{device};
    if (structure)
        all.walk<T>(reinterpret_cast<uint8_t*>(structure));
    return {all.found, all.complete};
}

#define VK_STRUCTURE(name, size32)                                                                           \
    template vk_prepared vk_prepare_host<name>(_zelvar_object_manager_data_vk_device*, name*);               \
    bool prepare_host_##name(_zelvar_object_manager_data_vk_device* device, name** structure)                \
    {                                                                                                        \
        return vk_prepare_host(device, *structure).found;                                                    \
    }
#include "wire/vk_structure_names.inc"
#undef VK_STRUCTURE
