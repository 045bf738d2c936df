#pragma once
// What an OpenGL ES message looks like, for whoever makes some up: derived from the prototype, from the text
// of its header, and from what the shim knows to stand inline.

#include <cstdint>
#include <span>
#include <string_view>

namespace gles_layouts {
struct parameter_text
{
    const char* type;
    const char* name;
};

struct parameter
{
    std::string_view type; // as the header spells it, e.g. "const void *"
    std::string_view name;
    uint8_t width = 0; // on the wire
};

/// What stands behind the arguments.
struct tail
{
    enum kind_type : uint8_t
    {
        none,
        counted, // as many times `bytes` as argument `count` says
        fixed,   // `bytes`
        strings, // as many as argument `count` says
    } kind = none;
    uint8_t count = 0;
    uint8_t bytes = 0;
};

constexpr uint32_t most_parameters = 16;

struct layout
{
    uint32_t type = 0;
    std::string_view function;
    parameter parameters[most_parameters];
    uint8_t parameter_count = 0;
    tail inline_data;
    bool is_extended = false; // has a field that the prototype lacks; 4 bytes
};

/// Of every entry point, in the order of the message list.
std::span<const layout> all();
const layout& of_type(uint32_t type);
/// The values of all enumerants of the API, ascending.
std::span<const uint32_t> enumerants();
} // namespace gles_layouts
