#include "gles_layouts.h"

#include "shim/rows.h"

#include <array>
#include <iterator>
#include <tuple>
#include <type_traits>

namespace gles_layouts {
namespace {
#include "prototype_texts.inc"

template <class Tail, class... A>
struct shape
{
    static constexpr tail of{};
};
template <uint32_t N, class... A>
using pointee = std::remove_pointer_t<std::tuple_element_t<N, std::tuple<A...>>>;
template <uint32_t Count, uint32_t Pointer, uint32_t PerCount, class... A>
struct shape<shim::array_tail<Count, Pointer, PerCount>, A...>
{
    static constexpr tail of{tail::counted, Count, PerCount * sizeof(pointee<Pointer, A...>)};
};
template <uint32_t Pointer, uint32_t Elements, class... A>
struct shape<shim::fixed_tail<Pointer, Elements>, A...>
{
    static constexpr tail of{tail::fixed, 0, Elements * sizeof(pointee<Pointer, A...>)};
};
template <class... A>
struct shape<shim::clear_values_tail, A...>
{
    static constexpr tail of{tail::fixed, 0, 4 * sizeof(pointee<2, A...>)};
};
template <uint32_t Count, uint32_t Pointer, class... A>
struct shape<shim::strings_tail<Count, Pointer>, A...>
{
    static constexpr tail of{tail::strings, Count, 0};
};

template <uint32_t Id, class R, class... A>
layout make(const parameter_text* texts, R (*)(A...))
{
    layout made;
    made.type = Id;
    made.function = shim::row<Id>::function_name;
    ((made.parameters[made.parameter_count] = {texts[made.parameter_count].type,
                                               texts[made.parameter_count].name, shim::wire_width<A>()},
      made.parameter_count++),
     ...);
    made.inline_data = shape<typename shim::payload<Id>::tail, A...>::of;
    made.is_extended = Id == wire::inbound::gles30_unmap_buffer;
    return made;
}
} // namespace

std::span<const layout> all()
{
    static const layout layouts[] = {
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    make<id>(texts_of_##function, static_cast<decltype(&::function)>(nullptr)),
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    };
    return layouts;
}

const layout& of_type(uint32_t type)
{
    static const auto by_type = [] {
        std::array<const layout*, wire::inbound::row_count + 1> rows{};
        for (const layout& one : all())
            rows[one.type] = &one;
        return rows;
    }();
    return *by_type.at(type);
}

std::span<const uint32_t> enumerants()
{
    return all_enumerants;
}
} // namespace gles_layouts
