#include "target_blocks.h"

#include "wire/api.h"

#include <iterator>
#include <string_view>
#include <vector>

namespace target_blocks {
namespace {
constexpr std::string_view source_texts[source_count] = {
    "attribute vec4 position; attribute vec2 corner; uniform mat4 matrix[2]; varying vec2 place;\n"
    "void main() { gl_Position = matrix[1] * position; gl_PointSize = 1.0; place = corner; }\n",
    "precision mediump float; uniform vec4 colour; uniform sampler2D picture; varying vec2 place;\n"
    "void main() { gl_FragColor = colour * texture2D(picture, place); }\n",
    "#version 310 es\n"
    "layout(location = 0) in vec4 position; layout(location = 1) in vec2 corner;\n"
    "layout(std140, binding = 1) uniform block { vec4 shift; mat4 matrix; };\n"
    "out vec2 place;\n"
    "void main() { gl_Position = matrix * position + shift; place = corner; }\n",
    "#version 310 es\n"
    "precision highp float; uniform vec4 colour; uniform uvec3 counts; in vec2 place; out vec4 result;\n"
    "void main() { result = colour + vec4(place, counts.xy); }\n",
    "#version 310 es\n"
    "layout(local_size_x = 1) in; layout(std430, binding = 0) buffer numbers { uint number[]; };\n"
    "void main() { number[gl_GlobalInvocationID.x] = gl_GlobalInvocationID.x; }\n",
    "void main() { nothing }\n",
};
constexpr std::string_view name_texts[] = {"position", "colour",      "matrix[0]",    "block",
                                           "place",    "gl_Position", "numbers",      "matrix[1]",
                                           "",         "number[0]",   "no such name", "picture"};

template <class T>
void put(scripted_target& target, uint64_t address, const std::vector<T>& list)
{
    target.poke(address - base, {reinterpret_cast<const uint8_t*>(list.data()), list.size() * sizeof(T)});
}

void put_text(scripted_target& target, uint64_t address, std::string_view text)
{
    target.poke(address - base, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

void lay_out_buffers(scripted_target& target)
{
    constexpr uint32_t kind = EGL_WAYLAND_BUFFER_WL, byte = GL_UNSIGNED_BYTE;
    put<wire::winsys_buffer_object_descriptor>(
        target, buffers,
        {{kind, GL_RGBA, 8, byte, 5, 24, 1, 32, {}, 0, pixels, 1},
         {kind, GL_BGRA_EXT, 4, byte, 8, 32, 0, 32, {}, 0, pixels, 0},
         {kind, GL_RGB, 4, GL_UNSIGNED_SHORT_5_6_5, 3, 6, 0, 16, {}, 0, pixels, 1},
         {kind, GL_RGBA, 16, byte, 16, 4, 1, 8, {}, 0, pixels, 1}, // rows too short, another depth
         {kind, GL_RGB, 300, byte, 300, 900, 0, 24, {}, 0, end - 64, 1},
         {kind, GL_RGBA, 4, byte, 0x4000, 0x40000000, 0, 32, {}, 0, nowhere, 1}});
}

void lay_out_texts(scripted_target& target)
{
    std::vector<uint64_t> pointers;
    std::vector<int32_t> lengths;
    for (size_t i = 0; i < source_count; i++) {
        put_text(target, sources + i * source_stride, source_texts[i]);
        pointers.push_back(sources + i * source_stride);
        lengths.push_back(static_cast<int32_t>(source_texts[i].size()));
    }
    for (size_t i = 0; i < std::size(name_texts); i++) {
        put_text(target, names + i * name_stride, name_texts[i]);
        pointers.push_back(names + i * name_stride);
    }
    pointers.insert(pointers.end(), {0, nowhere, end - 4});
    lengths.insert(lengths.end(), {0, 5, -1, INT32_MAX, 1 << 20, -2});
    put(target, text_pointers, pointers);
    put(target, text_lengths, lengths);
}
} // namespace

void lay_out(scripted_target& target)
{
    std::vector<uint32_t> ids;
    std::vector<float> floats;
    for (uint32_t i = 0; i < 128; i++) {
        ids.push_back(i + 1);
        for (float axis : {0.25f, 0.5f, -0.125f, 1.0f})
            floats.push_back(axis * static_cast<float>(i % 5));
    }
    put(target, ids_from_one, ids);
    put(target, vertices, floats);
    for (uint32_t list = 0; list < 3; list++) // versions 2, 3.0 and 3.1
        put<uint32_t>(target, context_attributes + list * attribute_stride,
                      {EGL_CONTEXT_MAJOR_VERSION, list ? 3u : 2u,
                       list == 2 ? static_cast<uint32_t>(EGL_CONTEXT_MINOR_VERSION) : EGL_NONE, 1, EGL_NONE});
    put<uint32_t>(target, surface_attributes, {EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE});
    put<uint8_t>(target, indices_8, {0, 1, 2, 3, 255, 2, 1, 0, 127, 254, 0, 0, 255, 255});
    put<uint16_t>(target, indices_16, {0, 1, 2, 0xffff, 3, 4, 300, 0, 65534, 1, 0xffff, 0xffff, 0xffff});
    put<uint32_t>(target, indices_32,
                  {0, 1, 2, ~0u, 3, 70000, 0, 1, 0x10000000, 0x7fffffff, ~0u, ~0u, ~0u - 1});
    put<uint32_t>(target, commands,
                  {3, 1, 0, 0, 0, 6, 2, 1, ~0u, 1, 1, 1, 1, 0x7fffffff, 1, ~0u, 0x80000000});
    lay_out_buffers(target);
    lay_out_texts(target);
    std::vector<uint8_t> picture(0x4000);
    for (size_t i = 0; i < picture.size(); i++)
        picture[i] = static_cast<uint8_t>(i * 7);
    put(target, pixels, picture);
}
} // namespace target_blocks
