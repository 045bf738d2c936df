// Streams of OpenGL ES calls that look sound: with a context, with arguments that make sense for the call or
// nearly do, over objects that are there, were there or never were. gles_stream_input.h tells how an input is
// laid out; the host is what gles_stream_host.h names.

#include "argument_sets.h"
#include "gles_layouts.h"
#include "gles_stream_host.h"
#include "gles_stream_input.h"
#include "library_under_test.h"
#include "made_up_target.h"
#include "target_blocks.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {
using namespace gles_stream_input;
namespace in = wire::inbound;
using gles_layouts::layout;
using gles_layouts::parameter;
using block = std::span<const uint8_t>;

class stream
{
public:
    stream(scripted_target& target, block head) : _target(target), _caller(target), _head(head) {}

    void begin()
    {
        target_blocks::lay_out(_target);
        _caller.open_display();
    }

    void run(block record)
    {
        const uint8_t kind = record[record_kind] >> 3;
        const uint8_t tid = record[record_kind] % 4 % 3;
        give_context(tid);
        _caller.use_thread(tid, kind >= first_other || !(record[record_kind] & 4));
        const uint8_t* picks = &record[record_picks];
        const size_t slot = picks[0] % made_up_target::most_contexts;
        switch (kind) {
        case poke:
            _target.poke(picks[0] * 64u + picks[1], record.subspan(record_picks + 2));
            return;
        case make_current:
            return _caller.make_current(slot);
        case make_current_none:
            return _caller.make_none_current();
        case create_context:
            return _caller.create_context(slot, version(), picks[1] % made_up_target::most_contexts);
        case destroy_context:
            return _caller.destroy_context(slot);
        case use_new_program:
            return use_program(picks);
        case fill_new_buffer:
            return fill_buffer(picks);
        case point_arrays:
            return set_arrays(picks);
        case attach_new_texture:
            return attach_texture(picks);
        case show_new_image:
            return show_image(picks, slot);
        }
        call(record);
    }

    void end() { _caller.close_display(); }

private:
    using fate = made_up_target::fate;

    /// A thread's first record finds a context.
    void give_context(uint8_t tid)
    {
        if (std::exchange(_has_context[tid], true))
            return;
        _caller.use_thread(tid, true);
        _caller.create_context(tid, version(), shares() ? 1 : tid);
        _caller.make_current(tid);
    }

    uint8_t version() const { return std::min(_head[head_contexts] & 3, 2); }
    bool shares() const { return _head[head_contexts] & 4; }
    uint64_t gles(uint32_t type, std::initializer_list<uint64_t> values, uint64_t own_result = 0)
    {
        return _caller.gles(type, {own_result, 0}, values);
    }
    uint64_t made(uint64_t returned, uint64_t own) const { return returned ? returned : own; }

    uint64_t pick(const layout& of, const parameter& argument, block record, uint8_t index) const
    {
        const uint8_t choice = record[record_picks + index];
        if (argument.type == "GLenum" && choice >= 0xe0) {
            auto all = gles_layouts::enumerants();
            return all[(choice % 32u * 256 + record[record_extra]) % all.size()];
        }
        if (argument.type == "GLsync" || argument.type == "GLeglImageOES") {
            auto results = _target.results();
            return choice < 4 || results.empty() ? choice
                                                 : results[results.size() - 1 - choice % results.size()];
        }
        auto set = argument_sets::of(of, argument);
        return set[choice % set.size()];
    }

    void call(block record)
    {
        auto all = gles_layouts::all();
        const layout& of = all[(record[record_call] | record[record_call + 1] << 8) % all.size()];
        std::vector<uint8_t> arguments;
        std::vector<uint64_t> values;
        for (uint8_t i = 0; i < of.parameter_count; i++) {
            values.push_back(pick(of, of.parameters[i], record, i % most_picks));
            made_up_target::put(arguments, values.back(), of.parameters[i].width);
        }
        if (of.is_extended)
            made_up_target::put(arguments, 1 + record[record_extra] % 3, 4);
        add_tail(arguments, of, values, record);
        const uint8_t last = record[block_size - 1];
        _caller.send(of.type, {last, last & 0x80 ? GL_INVALID_ENUM : 0u}, arguments);
    }

    /// Nothing, what belongs there, a byte less, more, or some where none belongs.
    static void add_tail(std::vector<uint8_t>& arguments, const layout& of,
                         const std::vector<uint64_t>& values, block record)
    {
        constexpr size_t longest = 4096;
        constexpr size_t surplus[] = {0, 0, 0, 4, 1, 64, 1000};
        const uint8_t how = record[record_tail];
        const auto& belongs = of.inline_data;
        auto count = static_cast<int32_t>(values.empty() ? 0 : values[belongs.count]);
        size_t size = belongs.kind == gles_layouts::tail::fixed ? belongs.bytes : 0;
        if (count > 0 && (belongs.kind == gles_layouts::tail::counted))
            size = std::min(size_t{belongs.bytes} * static_cast<size_t>(count), longest);
        if (count > 0 && belongs.kind == gles_layouts::tail::strings)
            return add_strings(arguments, std::min(count, 64) + (how & 1), how);
        if ((how & 7) == 7)
            size -= std::min<size_t>(size, 1 + how / 8);
        else
            size += surplus[how & 7];
        for (size_t i = 0; i < size; i++)
            arguments.push_back(inline_byte(how >> 3, i));
    }

    static uint8_t inline_byte(uint8_t how, size_t at)
    {
        switch (how & 3) {
        case 0:
            return at % 4 ? 0 : static_cast<uint8_t>(at / 4 + how / 4); // ids, also of what isn't there
        case 1:
            return static_cast<uint8_t>(0x3f800000u >> at % 4 * 8); // 1.0
        case 2:
            return 0xff;
        }
        return static_cast<uint8_t>(at * how);
    }

    static void add_strings(std::vector<uint8_t>& arguments, int32_t count, uint8_t how)
    {
        static constexpr std::string_view texts[] = {"position", "matrix[0]",   "",
                                                     "block",    "gl_Position", "colour"};
        for (int32_t i = 0; i < count; i++) {
            std::string_view text = texts[(static_cast<size_t>(i) + how / 8) % std::size(texts)];
            arguments.insert(arguments.end(), text.begin(), text.end());
            if (i + 1 < count || !(how & 4))
                arguments.push_back(0);
        }
    }

    void use_program(const uint8_t* picks)
    {
        using namespace target_blocks;
        static constexpr struct
        {
            uint32_t kind;
            source text;
        } variants[][2] = {
            {{GL_VERTEX_SHADER, vertex}, {GL_FRAGMENT_SHADER, fragment}},
            {{GL_VERTEX_SHADER, vertex_of_version_3}, {GL_FRAGMENT_SHADER, fragment_of_version_3}},
            {{GL_COMPUTE_SHADER, compute}, {GL_COMPUTE_SHADER, compute}},
            {{GL_VERTEX_SHADER, vertex}, {GL_FRAGMENT_SHADER, broken}}};
        const uint8_t own = picks[2] & 7;
        const uint64_t program = made(gles(in::gles20_create_program, {}, own + 1), own + 1);
        for (const auto& [kind, text] : variants[picks[0] % std::size(variants)]) {
            const uint64_t shader = made(gles(in::gles20_create_shader, {kind}, own + 2), own + 2);
            gles(in::gles20_shader_source, {shader, 1, text_pointers + text * sizeof(uint64_t),
                                            picks[1] & 1 ? text_lengths + text * 4 : 0});
            gles(in::gles20_compile_shader, {shader});
            gles(in::gles20_attach_shader, {program, shader});
        }
        if (picks[1] & 2)
            gles(in::gles31_program_uniform_4f, {program, 0});
        if (picks[1] & 4)
            gles(in::gles30_program_parameteri, {program, GL_PROGRAM_SEPARABLE, 1});
        if (!(picks[1] & 8))
            gles(in::gles20_link_program, {program});
        if (!(picks[1] & 16))
            gles(in::gles20_use_program, {program});
    }

    /// One new object of a kind; where the target has a driver, the next of the small ids.
    uint64_t generate(uint32_t type)
    {
        const uint64_t own = ++_generated % 8 + 1;
        std::vector<uint8_t> arguments;
        made_up_target::put(arguments, 1, 4);
        made_up_target::put(arguments, target_blocks::output, 8);
        made_up_target::put(arguments, own, 4);
        _caller.send(type, {}, arguments);
        return _target.peek(target_blocks::output, 4);
    }

    void fill_buffer(const uint8_t* picks)
    {
        static constexpr uint32_t points[] = {GL_ARRAY_BUFFER,
                                              GL_ELEMENT_ARRAY_BUFFER,
                                              GL_DRAW_INDIRECT_BUFFER,
                                              GL_UNIFORM_BUFFER,
                                              GL_PIXEL_UNPACK_BUFFER,
                                              GL_PIXEL_PACK_BUFFER,
                                              GL_TRANSFORM_FEEDBACK_BUFFER,
                                              GL_DISPATCH_INDIRECT_BUFFER};
        static constexpr uint64_t sizes[] = {48, 64, 256, 1, 2048, 0};
        const uint32_t point = points[picks[0] % std::size(points)];
        auto addresses = argument_sets::addresses();
        gles(in::gles20_bind_buffer, {point, generate(in::gles20_gen_buffers)});
        gles(in::gles20_buffer_data, {point, sizes[picks[1] % std::size(sizes)],
                                      addresses[picks[2] % addresses.size()], GL_STATIC_DRAW});
        if (picks[3] & 1)
            gles(in::gles30_map_buffer_range, {point, 0, sizes[picks[1] % std::size(sizes)], picks[3]},
                 target_blocks::output);
    }

    void set_arrays(const uint8_t* picks)
    {
        auto addresses = argument_sets::addresses();
        const uint64_t vertices = addresses[picks[1] % addresses.size()];
        if (picks[0] & 1)
            gles(in::gles20_bind_buffer, {GL_ARRAY_BUFFER, 0});
        for (uint64_t index = 0; index < 2; index++) {
            gles(in::gles20_vertex_attrib_pointer,
                 {index, 1 + picks[2] % 4u, GL_FLOAT, 0, picks[3] % 8u * 4, vertices});
            gles(in::gles20_enable_vertex_attrib_array, {index});
        }
        if (picks[0] & 2)
            gles(in::gles30_vertex_attrib_divisor, {1, picks[4] % 4u});
        if (picks[0] & 4)
            gles(in::gles20_enable, {GL_PRIMITIVE_RESTART_FIXED_INDEX});
    }

    void attach_texture(const uint8_t* picks)
    {
        const uint64_t size = 1 + picks[0] % 16u;
        const uint64_t texture = generate(in::gles20_gen_textures);
        gles(in::gles20_bind_texture, {GL_TEXTURE_2D, texture});
        gles(in::gles20_tex_image_2d, {GL_TEXTURE_2D, 0, GL_RGBA, size, size, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                                       picks[1] & 1 ? target_blocks::pixels : 0});
        gles(in::gles20_bind_framebuffer, {GL_FRAMEBUFFER, generate(in::gles20_gen_framebuffers)});
        gles(in::gles20_framebuffer_texture_2d,
             {GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0});
    }

    void show_image(const uint8_t* picks, size_t slot)
    {
        static constexpr uint32_t kinds[] = {EGL_WAYLAND_BUFFER_WL,
                                             EGL_GL_TEXTURE_2D_KHR,
                                             EGL_GL_RENDERBUFFER_KHR,
                                             EGL_NATIVE_BUFFER_ANDROID,
                                             EGL_GL_TEXTURE_CUBE_MAP_POSITIVE_X_KHR,
                                             EGL_LINUX_DMA_BUF_EXT};
        const uint32_t kind = kinds[picks[1] % 2 ? 0 : picks[1] / 2 % std::size(kinds)];
        const uint64_t buffer =
            kind == EGL_WAYLAND_BUFFER_WL
                ? target_blocks::buffers +
                      picks[2] % target_blocks::buffer_count * sizeof(wire::winsys_buffer_object_descriptor)
                : picks[2] % 16u;
        const uint64_t image = _caller.create_image(kind, slot, buffer, 1 + picks[2] % 4u);
        const uint32_t point = picks[3] & 1 ? GL_TEXTURE_EXTERNAL_OES : GL_TEXTURE_2D;
        const uint64_t texture = generate(in::gles20_gen_textures);
        gles(in::gles20_bind_texture, {point, texture});
        gles(in::gles20_egl_image_target_texture_2does, {point, image});
        if (picks[3] & 2) {
            gles(in::gles20_bind_renderbuffer, {GL_RENDERBUFFER, generate(in::gles20_gen_renderbuffers)});
            gles(in::gles20_egl_image_target_renderbuffer_storage_oes, {GL_RENDERBUFFER, image});
        }
        if (picks[3] & 4)
            _caller.destroy_image(image);
        if (picks[3] & 8) {
            gles(in::gles20_bind_framebuffer, {GL_FRAMEBUFFER, generate(in::gles20_gen_framebuffers)});
            gles(in::gles20_framebuffer_texture_2d,
                 {GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0});
            gles(in::gles20_clear, {GL_COLOR_BUFFER_BIT});
        }
        if (picks[3] & 16)
            gles(in::gles20_bind_framebuffer, {GL_FRAMEBUFFER, 0});
        if (picks[3] & 32)
            gles(in::gles20_bind_texture, {point, texture});
    }

    scripted_target& _target;
    made_up_target _caller;
    block _head;
    bool _has_context[3] = {};
    uint64_t _generated = 0;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 * block_size)
        return 0;
    block input(data, size);
    block head = input.first(block_size);
    scripted_target& target = library_under_test::target_over(gles_stream_host::install);
    gles_stream_host::begin();
    library_under_test::apply_settings(head[head_settings]);
    library_under_test::begin(target, head[head_contexts] & 8, {});
    stream made(target, head);
    made.begin();
    for (input = input.subspan(block_size); input.size() >= block_size; input = input.subspan(block_size))
        made.run(input.first(block_size));
    made.end();
    library_under_test::end(target);
    return 0;
}
