// receive_ of every structure.

#include "inbound/vk_walkers.h"
#include "vk/vk_structure_functions.h"
#include "vk/vk_unpack.h"

#include <algorithm>

namespace {

using namespace vk_wire;
using namespace vk_fields;

template <class S>
constexpr bool leads_anywhere();

/// What a field may lead to stands behind the structure.
template <class Field>
struct leads : std::true_type
{
};
template <auto M>
struct leads<plain<M>> : std::false_type
{
};
template <auto M>
struct leads<handle<M>> : std::false_type
{
};
template <auto M>
struct leads<size<M>> : std::false_type
{
};
template <auto M>
struct leads<address<M>> : std::false_type
{
};
template <auto M>
struct leads<next<M>> : std::false_type
{
};
template <auto M>
struct leads<nested<M>> : std::bool_constant<leads_anywhere<nested_type<M>>()>
{
};
template <class Field>
struct leads<optional<Field>> : leads<Field>
{
};
template <auto Condition, class Field>
struct leads<when<Condition, Field>> : leads<Field>
{
};

template <class S>
constexpr bool leads_anywhere()
{
    return []<class... Fields>(list<Fields...>) { return (leads<Fields>::value || ...); }(fields_of<S>{});
}

/// Bytes of one element in the message.
template <class S>
uint64_t message_size(const vk_reader& in)
{
    return in.wide() ? sizeof(S) : layout<S, 32>::size;
}

/// The next `count` structures in the host's layout. The message holds them, or the last one in part.
template <class S>
uint8_t* place(vk_reader& in, uint64_t count)
{
    if (in.wide())
        return static_cast<uint8_t*>(in.in_place(count * sizeof(S)));
    auto* placed = static_cast<uint8_t*>(in.allocate(count * sizeof(S)));
    auto* narrow = static_cast<const uint8_t*>(in.in_place(count * layout<S, 32>::size));
    for (uint64_t i = 0; i < count; ++i)
        vk_unpack::unpack<S>(narrow + i * layout<S, 32>::size, placed + i * sizeof(S));
    return placed;
}

template <class S>
void walk_behind(vk_reader& in, uint8_t* structure);

/// The next `count` structures and what hangs from them.
template <class S>
uint8_t* take_structures(vk_reader& in, uint64_t count)
{
    uint8_t* placed = place<S>(in, count);
    if constexpr (leads_anywhere<S>())
        for (uint64_t i = 0; i < count; ++i)
            walk_behind<S>(in, placed + i * sizeof(S));
    return placed;
}

/// Cuts the count of an array to what the message holds. False, and the array is empty, when nothing is left
/// of it.
template <auto P, auto N>
bool cut_count(vk_reader& in, uint8_t* structure, uint64_t element_size, uint64_t& count)
{
    count = get<N>(structure);
    if (count && target_of<P>(structure)) {
        // No message is longer; a size_t beyond would turn over what counts as wanted.
        uint64_t held = in.cut(std::min<uint64_t>(count, UINT32_MAX), element_size);
        if (held != count) {
            count = held;
            set<N>(structure, static_cast<value_of<N>>(held));
        }
        if (count)
            return true;
    }
    aim<P>(structure, nullptr);
    return false;
}

template <auto P>
void follow(pointer<P>, vk_reader& in, uint8_t* structure)
{
    if (target_of<P>(structure))
        aim<P>(structure, take_structures<pointee_of<P>>(in, 1));
}

template <auto P, auto N>
void follow(array<P, N>, vk_reader& in, uint8_t* structure)
{
    using element = pointee_of<P>;
    uint64_t count;
    if constexpr (is_described<element>) {
        if (cut_count<P, N>(in, structure, message_size<element>(in), count))
            aim<P>(structure, take_structures<element>(in, count));
    } else {
        static_assert(!std::is_pointer_v<element>, "an array of handles is `handles`");
        if (cut_count<P, N>(in, structure, sizeof(element), count))
            aim<P>(structure, in.in_place(count * sizeof(element)));
    }
}

template <auto P, auto N>
void follow(handles<P, N>, vk_reader& in, uint8_t* structure)
{
    uint64_t count;
    const uint64_t width = handle_width<pointee_of<P>>(in.wide() ? 64 : 32);
    if (!cut_count<P, N>(in, structure, width, count))
        return;
    if (width == 8) {
        aim<P>(structure, in.in_place(count * width));
        return;
    }
    auto* widened = static_cast<uint8_t*>(in.allocate(count * 8));
    for (uint64_t i = 0; i < count; ++i)
        store<uint64_t>(widened + i * 8, in.take<uint32_t>());
    aim<P>(structure, widened);
}

template <auto P, auto N>
void follow(bytes<P, N>, vk_reader& in, uint8_t* structure)
{
    uint64_t count;
    if (cut_count<P, N>(in, structure, 1, count))
        aim<P>(structure, in.in_place(count));
}

template <auto P, auto N>
void follow(sample_mask<P, N>, vk_reader& in, uint8_t* structure)
{
    if (!target_of<P>(structure))
        return;
    // The samples can't be fewer for a mask that is cut off; without one, all of them count.
    uint64_t words = sample_mask_words(get<N>(structure));
    uint64_t held = in.cut(words, sizeof(uint32_t));
    const void* mask = held ? in.in_place(held * sizeof(uint32_t)) : nullptr;
    aim<P>(structure, held == words ? mask : nullptr);
}

template <auto P>
void follow(string<P>, vk_reader& in, uint8_t* structure)
{
    if (target_of<P>(structure))
        aim<P>(structure, in.take_string());
}

template <auto P, auto N>
void follow(strings<P, N>, vk_reader& in, uint8_t* structure)
{
    uint64_t count;
    if (!cut_count<P, N>(in, structure, in.wide() ? 8 : 4, count))
        return;
    uint8_t* entries;
    if (in.wide()) {
        entries = static_cast<uint8_t*>(in.in_place(count * 8));
    } else {
        entries = static_cast<uint8_t*>(in.allocate(count * 8));
        for (uint64_t i = 0; i < count; ++i)
            store<uint64_t>(entries + i * 8, in.take<uint32_t>());
    }
    for (uint64_t i = 0; i < count; ++i)
        if (load<uint64_t>(entries + i * 8))
            store(entries + i * 8, in.take_string());
    aim<P>(structure, entries);
}

template <auto M>
void follow(nested<M>, vk_reader& in, uint8_t* structure)
{
    for (uint32_t i = 0; i < nested_count<M>; ++i)
        walk_behind<nested_type<M>>(in, structure + offset_of<M>() + i * sizeof(nested_type<M>));
}

template <auto M, class Extension, VkStructureType Type>
void follow(next_or<M, Extension, Type>, vk_reader& in, uint8_t* structure)
{
    if (!target_of<M>(structure))
        return;
    bool there = in.left() >= sizeof(Type) && load<uint32_t>(in.in_place(0)) == uint32_t{Type};
    // A pointer that leads to nothing known is none, so that whoever finds one may follow it.
    aim<M>(structure, there ? take_structures<Extension>(in, 1) : nullptr);
}

template <class Field>
void follow(optional<Field>, vk_reader& in, uint8_t* structure)
{
    follow(Field{}, in, structure);
}

template <auto Condition, class Field>
void follow(when<Condition, Field>, vk_reader& in, uint8_t* structure)
{
    follow(Field{}, in, structure);
}

template <class S>
void walk_behind(vk_reader& in, uint8_t* structure)
{
    for_each_field<S>([&](auto field, auto) {
        if constexpr (leads<decltype(field)>::value)
            follow(field, in, structure);
    });
}

template <class S>
uint64_t receive(S** structure, vk_reader& in, bool top_level)
{
    if (!*structure)
        return 0;
    uint64_t before = in.wanted();
    if (top_level)
        *structure = reinterpret_cast<S*>(place<S>(in, 1));
    walk_behind<S>(in, reinterpret_cast<uint8_t*>(*structure));
    return in.wanted() - before;
}

} // namespace

template <class T>
T* vk_receive(vk_reader& in, uint32_t& count)
{
    count = static_cast<uint32_t>(in.cut(count, message_size<T>(in)));
    return count ? reinterpret_cast<T*>(take_structures<T>(in, count)) : nullptr;
}

#define VK_STRUCTURE(name, size32)                                                                           \
    template name* vk_receive<name>(vk_reader&, uint32_t&);                                                  \
    uint64_t receive_##name(name** structure, vk_reader& in, bool top_level)                                 \
    {                                                                                                        \
        return receive(structure, in, top_level);                                                            \
    }
#include "wire/vk_structure_names.inc"
#undef VK_STRUCTURE

uint64_t receive_pNext(VkStructureType, void**, vk_reader&)
{
    return 0;
}

uint64_t receive_string(char** string, vk_reader& in)
{
    if (!*string)
        return 0;
    uint64_t before = in.wanted();
    *string = const_cast<char*>(in.take_string());
    return in.wanted() - before;
}
