#include "argument_sets.h"

#include "target_blocks.h"
#include "wire/api.h"

#include <bit>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace argument_sets {
namespace {
using gles_layouts::layout;
using gles_layouts::parameter;
using values = std::vector<uint64_t>;

constexpr uint64_t word(int32_t value)
{
    return static_cast<uint32_t>(value);
}
constexpr uint64_t real(float value)
{
    return std::bit_cast<uint32_t>(value);
}

/// Which arguments take which values: the first row whose type and name match and whose word is in the call's
/// name. An empty text matches everything.
struct rule
{
    std::string_view type, name, call;
    values set;
};

// Ids are handed out from 1; programs and shaders share theirs. The last ones were never handed out.
const values ids{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 200, word(-1)};
const values buffer_targets{GL_ARRAY_BUFFER,
                            GL_ELEMENT_ARRAY_BUFFER,
                            GL_COPY_READ_BUFFER,
                            GL_COPY_WRITE_BUFFER,
                            GL_PIXEL_PACK_BUFFER,
                            GL_PIXEL_UNPACK_BUFFER,
                            GL_UNIFORM_BUFFER,
                            GL_TRANSFORM_FEEDBACK_BUFFER,
                            GL_ATOMIC_COUNTER_BUFFER,
                            GL_DRAW_INDIRECT_BUFFER,
                            GL_DISPATCH_INDIRECT_BUFFER,
                            GL_SHADER_STORAGE_BUFFER,
                            GL_TEXTURE_BUFFER,
                            GL_TEXTURE_2D};
const values texture_targets{GL_TEXTURE_2D,
                             GL_TEXTURE_CUBE_MAP,
                             GL_TEXTURE_3D,
                             GL_TEXTURE_2D_ARRAY,
                             GL_TEXTURE_2D_MULTISAMPLE,
                             GL_TEXTURE_EXTERNAL_OES,
                             GL_TEXTURE_CUBE_MAP_POSITIVE_X,
                             GL_TEXTURE_CUBE_MAP_NEGATIVE_Z,
                             GL_TEXTURE_CUBE_MAP_ARRAY,
                             GL_TEXTURE_BUFFER,
                             GL_RENDERBUFFER,
                             GL_ARRAY_BUFFER};
const values query_targets{GL_ANY_SAMPLES_PASSED, GL_ANY_SAMPLES_PASSED_CONSERVATIVE,
                           GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN, GL_TIME_ELAPSED_EXT, 0};
const values element_types{GL_UNSIGNED_BYTE, GL_UNSIGNED_SHORT, GL_UNSIGNED_INT, GL_FLOAT};
const values pixel_types{GL_UNSIGNED_BYTE,
                         GL_FLOAT,
                         GL_UNSIGNED_SHORT_5_6_5,
                         GL_UNSIGNED_SHORT_4_4_4_4,
                         GL_UNSIGNED_SHORT,
                         GL_UNSIGNED_INT,
                         GL_INT,
                         GL_HALF_FLOAT,
                         GL_BYTE,
                         GL_UNSIGNED_INT_2_10_10_10_REV,
                         GL_UNSIGNED_INT_24_8,
                         GL_FLOAT_32_UNSIGNED_INT_24_8_REV,
                         GL_UNSIGNED_INT_10F_11F_11F_REV};
const values formats{
    GL_RGBA,          GL_RGB,         GL_LUMINANCE,     GL_ALPHA,           GL_RED,      GL_RG,
    GL_RGBA_INTEGER,  GL_RED_INTEGER, GL_DEPTH_STENCIL, GL_DEPTH_COMPONENT, GL_BGRA_EXT, GL_LUMINANCE_ALPHA,
    GL_STENCIL_INDEX, GL_RG_INTEGER};
const values internal_formats{GL_RGBA,
                              GL_RGBA8,
                              GL_RGB565,
                              GL_R8,
                              GL_RGBA32F,
                              GL_DEPTH24_STENCIL8,
                              GL_DEPTH_COMPONENT16,
                              GL_RGB,
                              GL_RGBA8UI,
                              GL_STENCIL_INDEX8,
                              GL_ETC1_RGB8_OES,
                              GL_COMPRESSED_RGB8_ETC2,
                              GL_COMPRESSED_RGBA8_ETC2_EAC,
                              GL_COMPRESSED_R11_EAC,
                              GL_COMPRESSED_RGBA_ASTC_8x8_KHR,
                              GL_LUMINANCE,
                              GL_RGB10_A2,
                              GL_R32UI};
const values comparisons{GL_NEVER, GL_LESS, GL_ALWAYS, GL_KEEP, GL_REPLACE, GL_INCR, GL_ZERO};
const values interfaces{
    GL_UNIFORM,         GL_PROGRAM_INPUT,        GL_PROGRAM_OUTPUT,        GL_UNIFORM_BLOCK,
    GL_BUFFER_VARIABLE, GL_SHADER_STORAGE_BLOCK, GL_ATOMIC_COUNTER_BUFFER, GL_TRANSFORM_FEEDBACK_VARYING};
const values attachments{GL_COLOR_ATTACHMENT0,
                         GL_DEPTH_ATTACHMENT,
                         GL_STENCIL_ATTACHMENT,
                         GL_DEPTH_STENCIL_ATTACHMENT,
                         GL_COLOR_ATTACHMENT0 + 1,
                         GL_COLOR_ATTACHMENT0 + 15,
                         GL_COLOR,
                         GL_BACK};
const values shader_kinds{GL_VERTEX_SHADER, GL_FRAGMENT_SHADER, GL_COMPUTE_SHADER, GL_GEOMETRY_SHADER, 0};

const rule rules[] = {
    // Names that the same call uses for different things come first.
    {"GLenum", "pname", "Buffer", {GL_BUFFER_SIZE, GL_BUFFER_MAPPED, GL_BUFFER_MAP_POINTER, GL_BUFFER_USAGE}},
    {"GLenum",
     "pname",
     "Shaderiv",
     {GL_SHADER_TYPE, GL_COMPILE_STATUS, GL_INFO_LOG_LENGTH, GL_SHADER_SOURCE_LENGTH, GL_DELETE_STATUS}},
    {"GLenum",
     "pname",
     "Programiv",
     {GL_LINK_STATUS, GL_ACTIVE_UNIFORMS, GL_INFO_LOG_LENGTH, GL_ACTIVE_UNIFORM_MAX_LENGTH,
      GL_ACTIVE_ATTRIBUTES, GL_ATTACHED_SHADERS, GL_PROGRAM_BINARY_LENGTH, GL_COMPUTE_WORK_GROUP_SIZE,
      GL_ACTIVE_UNIFORM_BLOCKS, GL_TRANSFORM_FEEDBACK_VARYINGS, GL_DELETE_STATUS}},
    {"GLenum",
     "pname",
     "ProgramInterface",
     {GL_ACTIVE_RESOURCES, GL_MAX_NAME_LENGTH, GL_MAX_NUM_ACTIVE_VARIABLES, 0}},
    {"GLenum", "pname", "ProgramParameter", {GL_PROGRAM_SEPARABLE, GL_PROGRAM_BINARY_RETRIEVABLE_HINT, 0}},
    {"GLenum",
     "pname",
     "UniformBlock",
     {GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES, GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS, GL_UNIFORM_BLOCK_DATA_SIZE,
      GL_UNIFORM_BLOCK_NAME_LENGTH, GL_UNIFORM_BLOCK_BINDING, 0}},
    {"GLenum", "pname", "Uniformsiv", {GL_UNIFORM_TYPE, GL_UNIFORM_SIZE, GL_UNIFORM_NAME_LENGTH, 0}},
    {"GLenum",
     "pname",
     "VertexAttrib",
     {GL_CURRENT_VERTEX_ATTRIB, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING, GL_VERTEX_ATTRIB_ARRAY_POINTER,
      GL_VERTEX_ATTRIB_ARRAY_ENABLED, GL_VERTEX_ATTRIB_BINDING, 0}},
    {"GLenum", "pname", "Query", {GL_CURRENT_QUERY, GL_QUERY_RESULT, GL_QUERY_RESULT_AVAILABLE}},
    {"GLenum", "pname", "Sync", {GL_SYNC_STATUS, GL_OBJECT_TYPE, GL_SYNC_CONDITION, GL_SYNC_FLAGS, 0}},
    {"GLenum",
     "pname",
     "Framebuffer",
     {GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME,
      GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL, GL_FRAMEBUFFER_DEFAULT_WIDTH,
      GL_FRAMEBUFFER_ATTACHMENT_RED_SIZE}},
    {"GLenum",
     "pname",
     "PixelStorei",
     {GL_UNPACK_ALIGNMENT, GL_PACK_ALIGNMENT, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS,
      GL_UNPACK_SKIP_PIXELS, GL_UNPACK_IMAGE_HEIGHT, GL_UNPACK_SKIP_IMAGES, GL_PACK_ROW_LENGTH,
      GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS}},
    {"GLenum",
     "pname",
     "Parameter",
     {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER, GL_TEXTURE_WRAP_S, GL_TEXTURE_MAX_LEVEL,
      GL_TEXTURE_BASE_LEVEL, GL_TEXTURE_SWIZZLE_R, GL_TEXTURE_COMPARE_MODE, GL_TEXTURE_BORDER_COLOR_EXT,
      GL_TEXTURE_MAX_ANISOTROPY_EXT, GL_TEXTURE_MIN_LOD, GL_REQUIRED_TEXTURE_IMAGE_UNITS_OES}},
    {"GLenum", "pname", "Level", {GL_TEXTURE_WIDTH, GL_TEXTURE_INTERNAL_FORMAT, GL_TEXTURE_COMPRESSED}},
    {"GLenum", "pname", "Internalformat", {GL_NUM_SAMPLE_COUNTS, GL_SAMPLES, 0}},
    {"GLenum",
     "pname",
     "Pipeline",
     {GL_ACTIVE_PROGRAM, GL_VERTEX_SHADER, GL_FRAGMENT_SHADER, GL_INFO_LOG_LENGTH, GL_VALIDATE_STATUS}},
    {"GLenum", "pname", "Multisample", {GL_SAMPLE_POSITION, 0}},
    {"GLenum", "target", "Framebuffer", {GL_FRAMEBUFFER, GL_READ_FRAMEBUFFER, GL_DRAW_FRAMEBUFFER, 0}},
    {"GLenum", "target", "Renderbuffer", {GL_RENDERBUFFER, 0}},
    {"GLenum", "renderbuffertarget", "", {GL_RENDERBUFFER, 0}},
    {"GLenum", "target", "Query", query_targets},
    {"GLenum", "target", "TransformFeedback", {GL_TRANSFORM_FEEDBACK, 0}},
    {"GLenum", "target", "Hint", {GL_GENERATE_MIPMAP_HINT, GL_FRAGMENT_SHADER_DERIVATIVE_HINT, 0}},
    {"GLenum", "target", "Buffer", buffer_targets},
    {"GLenum", "readTarget", "", buffer_targets},
    {"GLenum", "writeTarget", "", buffer_targets},
    {"GLenum", "target", "Map", buffer_targets},
    {"GLenum", "target", "", texture_targets},
    {"GLenum", "textarget", "", texture_targets},
    {"GLenum",
     "texture",
     "",
     {GL_TEXTURE0, GL_TEXTURE0 + 1, GL_TEXTURE0 + 31, GL_TEXTURE0 + 47, GL_TEXTURE0 + 200, 0, GL_TEXTURE0 - 1,
      word(-1)}},
    {"GLenum",
     "mode",
     "Draw",
     {GL_TRIANGLES, GL_POINTS, GL_LINE_LOOP, GL_TRIANGLE_STRIP, GL_TRIANGLE_FAN, GL_PATCHES,
      GL_LINES_ADJACENCY, 99}},
    {"GLenum", "primitiveMode", "", {GL_TRIANGLES, GL_POINTS, GL_LINES, 99}},
    {"GLenum", "mode", "BlendEquation", {GL_FUNC_ADD, GL_MIN, 0}},
    {"GLenum", "type", "Draw", element_types},
    {"GLenum",
     "type",
     "Vertex",
     {GL_FLOAT, GL_BYTE, GL_UNSIGNED_BYTE, GL_SHORT, GL_UNSIGNED_SHORT, GL_INT, GL_UNSIGNED_INT, GL_FIXED,
      GL_HALF_FLOAT, GL_INT_2_10_10_10_REV, GL_UNSIGNED_INT_2_10_10_10_REV, 0}},
    {"GLenum", "type", "CreateShader", shader_kinds},
    {"GLenum", "shadertype", "", shader_kinds},
    {"GLenum", "precisiontype", "", {GL_HIGH_FLOAT, GL_LOW_INT, 0}},
    {"GLenum", "type", "", pixel_types},
    {"GLenum", "format", "Vertex", element_types},
    {"GLenum", "format", "", formats},
    {"GLenum", "internalformat", "", internal_formats},
    {"GLint", "internalformat", "", internal_formats},
    {"GLenum", "programInterface", "", interfaces},
    {"GLenum", "attachment", "", attachments},
    {"GLenum", "buffer", "", {GL_COLOR, GL_DEPTH, GL_STENCIL, GL_DEPTH_STENCIL, 0}},
    {"GLenum", "usage", "", {GL_STATIC_DRAW, GL_DYNAMIC_READ, GL_STREAM_COPY, 0}},
    {"GLenum", "access", "", {GL_READ_ONLY, GL_WRITE_ONLY, GL_READ_WRITE, 0}},
    {"GLenum",
     "cap",
     "",
     {GL_PRIMITIVE_RESTART_FIXED_INDEX, GL_RASTERIZER_DISCARD, GL_BLEND, GL_SCISSOR_TEST, GL_DEPTH_TEST,
      GL_STENCIL_TEST, GL_CULL_FACE, GL_SAMPLE_MASK, GL_DEBUG_OUTPUT, 0}},
    {"GLenum",
     "name",
     "GetString",
     {GL_VENDOR, GL_RENDERER, GL_VERSION, GL_EXTENSIONS, GL_SHADING_LANGUAGE_VERSION, 0}},
    {"GLenum", "bufferMode", "", {GL_INTERLEAVED_ATTRIBS, GL_SEPARATE_ATTRIBS, 0}},
    {"GLenum", "condition", "", {GL_SYNC_GPU_COMMANDS_COMPLETE, 0}},
    {"GLenum", "func", "", comparisons},
    {"GLenum", "face", "", {GL_FRONT, GL_BACK, GL_FRONT_AND_BACK, 0}},
    {"GLenum", "src", "ReadBuffer", {GL_BACK, GL_NONE, GL_COLOR_ATTACHMENT0, GL_COLOR_ATTACHMENT0 + 4}},
    {"GLenum", "filter", "", {GL_NEAREST, GL_LINEAR, 0}},
    {"GLenum",
     "pname",
     "Get",
     {GL_VIEWPORT,
      GL_MAX_TEXTURE_SIZE,
      GL_COMPRESSED_TEXTURE_FORMATS,
      GL_NUM_COMPRESSED_TEXTURE_FORMATS,
      GL_SHADER_BINARY_FORMATS,
      GL_CURRENT_PROGRAM,
      GL_ARRAY_BUFFER_BINDING,
      GL_ELEMENT_ARRAY_BUFFER_BINDING,
      GL_TEXTURE_BINDING_2D,
      GL_FRAMEBUFFER_BINDING,
      GL_VERTEX_ARRAY_BINDING,
      GL_PROGRAM_PIPELINE_BINDING,
      GL_COLOR_CLEAR_VALUE,
      GL_COLOR_WRITEMASK,
      GL_DEPTH_RANGE,
      GL_ALIASED_LINE_WIDTH_RANGE,
      GL_MAX_VIEWPORT_DIMS,
      GL_PROGRAM_BINARY_FORMATS,
      GL_UNIFORM_BUFFER_BINDING,
      GL_SAMPLER_BINDING,
      GL_TRANSFORM_FEEDBACK_BINDING,
      GL_SAMPLE_MASK_VALUE,
      GL_MAX_COMPUTE_WORK_GROUP_SIZE}},
    {"GLenum",
     "target",
     "i_v", // what the indexed queries call their name
     {GL_UNIFORM_BUFFER_BINDING, GL_UNIFORM_BUFFER_SIZE, GL_TRANSFORM_FEEDBACK_BUFFER_BINDING,
      GL_SHADER_STORAGE_BUFFER_START, GL_ATOMIC_COUNTER_BUFFER_BINDING, GL_IMAGE_BINDING_NAME,
      GL_MAX_COMPUTE_WORK_GROUP_COUNT, GL_SAMPLE_MASK_VALUE, GL_VERTEX_BINDING_STRIDE}},
    {"GLbitfield",
     "access",
     "",
     {GL_MAP_WRITE_BIT, GL_MAP_READ_BIT, GL_MAP_READ_BIT | GL_MAP_WRITE_BIT,
      GL_MAP_WRITE_BIT | GL_MAP_FLUSH_EXPLICIT_BIT, GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT,
      GL_MAP_WRITE_BIT | GL_MAP_UNSYNCHRONIZED_BIT, 0, word(-1)}},
    {"GLbitfield",
     "stages",
     "",
     {GL_VERTEX_SHADER_BIT, GL_FRAGMENT_SHADER_BIT, GL_COMPUTE_SHADER_BIT, word(-1), 0}},
    {"GLbitfield", "flags", "", {0, GL_SYNC_FLUSH_COMMANDS_BIT, word(-1)}},
    {"GLbitfield",
     "",
     "",
     {GL_COLOR_BUFFER_BIT, GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT, 0, word(-1),
      1}},
    {"GLboolean", "", "", {0, 1, 2, 255}},
    {"GLfloat", "", "", {real(0), real(1), real(-1), real(0.5f), real(1e30f), 0x7fc00000, 0x7f800000}},
    {"GLuint64", "", "", {0, 1, 1000, ~0ull}},
    {"GLsizeiptr",
     "",
     "",
     {0, 1, 3, 16, 48, 64, 256, 1024, 4096, 65537, uint64_t{1} << 31, uint64_t{1} << 32, ~0ull,
      uint64_t{1} << 63, ~0ull >> 1}},
    {"GLintptr",
     "",
     "",
     {0, 1, 4, 16, 60, 64, 255, 256, 1020, 4096, uint64_t{1} << 31, uint64_t{1} << 32, ~0ull,
      uint64_t{1} << 63, ~0ull >> 1}},
    {"GLsizei", "bufSize", "", {0, 1, 2, 4, 15, 16, 64, 1024, word(-1), INT32_MAX}},
    {"GLsizei", "n", "", {0, 1, 2, 3, 6, word(-1), 100000000, INT32_MAX}},
    {"GLsizei", "stride", "", {0, 4, 16, 1, 3, 2048, 2049, word(-1), INT32_MAX}},
    // Two gigabytes are read and cleared on the honest road, too: that would take all the time there is.
    {"GLsizei", "imageSize", "", {0, 8, 16, 32, 64, 128, 1024, word(-1), 70000}},
    {"GLsizei", "width", "", {0, 1, 4, 8, 5, 16, 17, 64, word(-1), 16385, INT32_MAX, 0x40000000}},
    {"GLsizei", "height", "", {0, 1, 4, 8, 5, 16, 17, 64, word(-1), 16385, INT32_MAX, 0x40000000}},
    {"GLsizei", "depth", "", {0, 1, 2, 6, 5, 12, word(-1), 4096, INT32_MAX}},
    {"GLsizei", "samples", "", {0, 1, 4, 16, word(-1)}},
    {"GLsizei", "", "", {0, 1, 2, 3, 4, 6, 12, 36, 300, word(-1), 70000, INT32_MAX, 0x40000000}},
    {"GLint", "location", "", {0, 1, 2, 3, 4, 5, 6, 10, 20, word(-1), 9999}},
    {"GLint", "level", "", {0, 1, 2, 12, word(-1), 40}},
    {"GLint", "border", "", {0, 1}},
    {"GLint", "size", "", {1, 2, 3, 4, 0, 5, word(-1), GL_BGRA_EXT}},
    {"GLint",
     "param",
     "",
     {0, 1, 2, 4, 8, 3, GL_NEAREST, GL_LINEAR_MIPMAP_LINEAR, GL_REPEAT, word(-1), 1000, INT32_MAX}},
    {"GLint", "", "", {0, 1, 2, 4, 8, 16, 63, word(-1), word(-5), INT32_MAX, word(INT32_MIN), 70000}},
    {"GLuint", "index", "", {0, 1, 2, 3, 15, 16, 31, 32, 255, word(-1)}},
    {"GLuint", "start", "", {0, 1, 2, 255, 70000, word(-1)}},
    {"GLuint", "end", "", {0, 1, 2, 255, 70000, word(-1)}},
    {"GLuint", "divisor", "", {0, 1, 2, word(-1)}},
    {"GLuint", "unit", "", {0, 1, 15, 47, 48, 200, word(-1)}},
    {"GLuint", "", "glVertexAttrib", {0, 1, 2, 15, 16, word(-1)}},
    {"GLuint", "", "", ids},
};

values make(const layout& call, const parameter& argument)
{
    for (const rule& one : rules)
        if ((one.type.empty() || one.type == argument.type) &&
            (one.name.empty() || one.name == argument.name) &&
            call.function.find(one.call) != std::string_view::npos)
            return one.set;
    if (argument.type == "GLenum")
        return {GL_NONE, GL_ZERO, GL_ONE, GL_BACK, GL_SRC_ALPHA, GL_ALWAYS, GL_FASTEST, GL_CCW};
    std::span<const uint64_t> all = addresses();
    return {all.begin(), all.end()};
}
} // namespace

std::span<const uint64_t> addresses()
{
    using namespace target_blocks;
    static const auto& all = *new values{0,
                                         vertices,
                                         ids_from_one,
                                         indices_8,
                                         indices_16,
                                         indices_32,
                                         commands,
                                         text_pointers,
                                         text_lengths,
                                         names,
                                         names + name_stride,
                                         names + 2 * name_stride,
                                         output,
                                         output + 0x800,
                                         pixels,
                                         end - 1,
                                         end - 4,
                                         end - 64,
                                         end - 1024,
                                         nowhere,
                                         ~0ull - 7,
                                         1,
                                         4,
                                         12,
                                         64,
                                         255,
                                         4096};
    return all;
}

std::span<const uint64_t> of(const layout& call, const parameter& argument)
{
    static auto& made = *new std::map<const parameter*, values>;
    auto [found, is_new] = made.try_emplace(&argument);
    if (is_new)
        found->second = make(call, argument);
    return found->second;
}
} // namespace argument_sets
