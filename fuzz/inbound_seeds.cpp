// Writes the first corpus of the inbound fuzz target into the folder that is given: one file for each way in
// which a target talks to the library.

#include "inbound_input.h"
#include "scripted_target.h"
#include "wire/api.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {
using namespace inbound_input;
namespace in = wire::inbound;

constexpr uint64_t memory = scripted_memory::base;
std::filesystem::path folder;
int written = 0;

void write(const std::string& name, const seed& made)
{
    std::ofstream file(folder / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(made.bytes().data()),
               static_cast<std::streamsize>(made.bytes().size()));
    if (file)
        written++;
}

std::vector<uint8_t> words(std::initializer_list<uint32_t> values)
{
    message all(0);
    for (uint32_t value : values)
        all.u32(value);
    return all.payload();
}

std::vector<uint8_t> characters(std::string_view text)
{
    return message(0).text(text).payload();
}

message filled(uint32_t type, uint8_t byte, size_t size)
{
    return message(type).raw(std::vector<uint8_t>(size, byte));
}

/// Every type with every argument zero, small, or all ones, in each way of running the target.
void write_all_types()
{
    constexpr uint32_t group = 64;
    for (uint32_t first = 0; first <= 640; first += group) {
        for (uint8_t mode : {0, 1, 2}) {
            static constexpr uint8_t fills[] = {0x00, 0x01, 0xff};
            seed made(static_cast<uint8_t>(mode | loud | (mode == 1 ? errors_checked : 0)));
            for (uint32_t type = first; type < first + group; type++)
                made.whole(filled(type, fills[mode], 96));
            write("types_" + std::to_string(first) + "_mode_" + std::to_string(mode), made);
        }
    }
}

/// A program from its first call to a frame on the screen.
seed session(uint8_t settings, uint8_t target = 0, bool asks_for_settings = false)
{
    seed made(settings, target);
    made.memory(0, words({EGL_RED_SIZE, 8, EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_RENDERABLE_TYPE,
                          EGL_OPENGL_ES2_BIT, EGL_NONE}));
    made.memory(16, words({EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE}));
    made.memory(32, characters("zelvar"));
    if (asks_for_settings)
        made.whole(message(in::get_settings)
                       .u32(16)
                       .u32(16)
                       .u32(32)
                       .text("0123456789012345678901234567890123456789")
                       .u64(memory + 0x800)
                       .u64(memory + 0x900));
    uint64_t display, ignored, context, surface;
    made.returning(message(in::egl_get_display).u64(0), &display);
    made.returning(message(in::egl_initialize).u64(display).u64(memory + 0xa00).u64(memory + 0xa04),
                   &ignored);
    made.returning(message(in::egl_query_string).u64(display).u32(EGL_EXTENSIONS), &ignored);
    made.returning(message(in::egl_choose_config)
                       .u64(display)
                       .u64(memory)
                       .u64(memory + 0xb00)
                       .u32(8)
                       .u64(memory + 0xa08),
                   &ignored);
    made.returning(message(in::egl_create_context).u64(display).u64(9).u64(0).u64(memory + 0x100), &context);
    made.returning(message(in::egl_create_window_surface).u64(display).u64(9).u64(0x77).u64(0), &surface);
    made.returning(message(in::egl_make_current).u64(display).u64(surface).u64(surface).u64(context),
                   &ignored);
    made.whole(message(in::gles20_viewport).i32(0).i32(0).i32(16).i32(16));
    made.whole(message(in::gles20_clear_color).f32(1).f32(0.5f).f32(0).f32(1));
    made.whole(message(in::gles20_enable).u32(GL_SCISSOR_TEST));
    made.whole(message(in::gles20_scissor).i32(1).i32(1).i32(4).i32(4));
    made.whole(message(in::gles20_clear).u32(GL_COLOR_BUFFER_BIT));
    made.whole(message(in::gles20_get_integerv).u32(GL_VIEWPORT).u64(memory + 0xc00));
    made.whole(message(in::gles20_read_pixels)
                   .i32(0)
                   .i32(0)
                   .i32(16)
                   .i32(16)
                   .u32(GL_RGBA)
                   .u32(GL_UNSIGNED_BYTE)
                   .u64(memory + 0x1000));
    for (int frame = 0; frame < 2; frame++)
        made.returning(message(in::egl_swap_buffers)
                           .u64(display)
                           .u64(surface)
                           .u64(memory + 0x4000)
                           .u32(16 * 16 * 4)
                           .u64(1)
                           .u64(0)
                           .u32(32)
                           .u32(16)
                           .u32(16)
                           .u32(64),
                       &ignored);
    made.returning(message(in::egl_make_current).u64(display).u64(0).u64(0).u64(0), &ignored);
    made.returning(message(in::egl_destroy_surface).u64(display).u64(surface), &ignored);
    made.returning(message(in::egl_destroy_context).u64(display).u64(context), &ignored);
    made.returning(message(in::egl_terminate).u64(display), &ignored);
    made.returning(message(in::egl_get_display).u64(0), &ignored);
    return made;
}

void add_objects(seed& made)
{
    for (uint32_t generate :
         {in::gles20_gen_buffers, in::gles20_gen_textures, in::gles20_gen_framebuffers,
          in::gles20_gen_renderbuffers, in::gles30_gen_vertex_arrays, in::gles30_gen_queries})
        made.whole(message(generate).i32(2).u64(memory + 0xd00));
    made.whole(message(in::gles20_bind_buffer).u32(GL_ARRAY_BUFFER).u32(1));
    made.whole(message(in::gles20_buffer_data).u32(GL_ARRAY_BUFFER).u64(64).u64(memory).u32(GL_STATIC_DRAW));
    made.whole(message(in::gles20_buffer_sub_data).u32(GL_ARRAY_BUFFER).u64(8).u64(16).u64(memory));
    made.whole(
        message(in::gles30_map_buffer_range).u32(GL_ARRAY_BUFFER).u64(0).u64(32).u32(GL_MAP_WRITE_BIT));
    made.whole(message(in::gles30_unmap_buffer).u32(GL_ARRAY_BUFFER));
    made.whole(message(in::gles20_bind_texture).u32(GL_TEXTURE_2D).u32(1));
    made.whole(message(in::gles20_tex_image_2d)
                   .u32(GL_TEXTURE_2D)
                   .i32(0)
                   .i32(GL_RGBA)
                   .i32(4)
                   .i32(4)
                   .i32(0)
                   .u32(GL_RGBA)
                   .u32(GL_UNSIGNED_BYTE)
                   .u64(memory));
    made.whole(message(in::gles20_bind_framebuffer).u32(GL_FRAMEBUFFER).u32(1));
    made.whole(message(in::gles20_framebuffer_texture_2d)
                   .u32(GL_FRAMEBUFFER)
                   .u32(GL_COLOR_ATTACHMENT0)
                   .u32(GL_TEXTURE_2D)
                   .u32(1)
                   .i32(0));
    made.whole(message(in::gles20_bind_framebuffer).u32(GL_FRAMEBUFFER).u32(0));
}

void add_program(seed& made)
{
    constexpr uint32_t vertex = 1, fragment = 2, program = 3;
    message sources(0);
    sources.u64(memory + 0x300).u64(memory + 0x400);
    made.memory(32, sources.payload());
    made.memory(48, characters("attribute vec4 at; void main() { gl_Position = at; }"));
    made.memory(64, characters("uniform vec4 colour; void main() { gl_FragColor = colour; }"));
    made.memory(80, characters("colour"));
    made.whole(message(in::gles20_create_shader).u32(GL_VERTEX_SHADER));
    made.whole(message(in::gles20_create_shader).u32(GL_FRAGMENT_SHADER));
    made.whole(message(in::gles20_create_program));
    for (uint32_t shader : {vertex, fragment}) {
        made.whole(message(in::gles20_shader_source)
                       .u32(shader)
                       .i32(1)
                       .u64(memory + 0x200 + 8 * (shader - 1))
                       .u64(0));
        made.whole(message(in::gles20_compile_shader).u32(shader));
        made.whole(message(in::gles20_get_shaderiv).u32(shader).u32(GL_COMPILE_STATUS).u64(memory + 0xd00));
        made.whole(message(in::gles20_attach_shader).u32(program).u32(shader));
    }
    made.whole(message(in::gles20_link_program).u32(program));
    made.whole(message(in::gles20_use_program).u32(program));
    made.whole(message(in::gles20_get_uniform_location).u32(program).u64(memory + 0x500));
    made.whole(message(in::gles20_get_active_uniform)
                   .u32(program)
                   .u32(0)
                   .i32(64)
                   .u64(memory + 0xd00)
                   .u64(memory + 0xd04)
                   .u64(memory + 0xd08)
                   .u64(memory + 0xe00));
    made.whole(message(in::gles20_uniform_4fv).i32(0).i32(1).u64(memory).f32(1).f32(1).f32(1).f32(1));
}

void add_draws(seed& made)
{
    for (uint32_t buffer : {1u, 0u}) {
        made.whole(message(in::gles20_bind_buffer).u32(GL_ARRAY_BUFFER).u32(buffer));
        made.whole(message(in::gles20_vertex_attrib_pointer)
                       .u32(0)
                       .i32(4)
                       .u32(GL_FLOAT)
                       .u8(0)
                       .i32(16)
                       .u64(buffer ? 0 : memory));
        made.whole(message(in::gles20_enable_vertex_attrib_array).u32(0));
        made.whole(message(in::gles20_draw_arrays).u32(GL_TRIANGLES).i32(0).i32(3));
        made.whole(
            message(in::gles20_draw_elements).u32(GL_TRIANGLES).i32(6).u32(GL_UNSIGNED_SHORT).u64(memory));
    }
    made.whole(message(in::gles20_draw_arrays).u32(GL_TRIANGLES).i32(-1).i32(0x7fffffff));
    for (uint32_t end :
         {in::gles20_delete_buffers, in::gles20_delete_textures, in::gles20_delete_framebuffers})
        made.whole(message(end).i32(2).u64(memory + 0xd00).u32(1).u32(2));
    made.whole(message(in::gles20_delete_program).u32(3));
    made.whole(message(in::gles20_delete_shader).u32(1));
}

/// A context with objects, a program and draws from buffers and from target memory.
seed drawing(uint8_t settings)
{
    seed made(settings);
    uint64_t display, ignored, context, surface;
    made.memory(16, words({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}));
    made.returning(message(in::egl_get_display).u64(0), &display);
    made.returning(message(in::egl_initialize).u64(display).u64(0).u64(0), &ignored);
    made.returning(message(in::egl_create_context).u64(display).u64(9).u64(0).u64(memory + 0x100), &context);
    made.returning(message(in::egl_create_pbuffer_surface).u64(display).u64(9).u64(0), &surface);
    made.returning(message(in::egl_make_current).u64(display).u64(surface).u64(surface).u64(context),
                   &ignored);
    add_objects(made);
    add_program(made);
    add_draws(made);
    made.returning(message(in::egl_destroy_context).u64(display).u64(context), &ignored);
    made.returning(message(in::egl_terminate).u64(display), &ignored);
    return made;
}

/// Two threads whose contexts share objects; the second one outlives the first.
seed sharing(uint8_t settings)
{
    seed made(settings);
    uint64_t display, ignored, first, second, surface;
    made.memory(16, words({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}));
    made.returning(message(in::egl_get_display).u64(0), &display);
    made.returning(message(in::egl_initialize).u64(display).u64(0).u64(0), &ignored);
    made.returning(message(in::egl_create_context).u64(display).u64(9).u64(0).u64(memory + 0x100), &first);
    made.returning(message(in::egl_create_context).u64(display).u64(9).u64(first).u64(memory + 0x100),
                   &second);
    made.returning(message(in::egl_create_pbuffer_surface).u64(display).u64(9).u64(0), &surface);
    made.returning(message(in::egl_make_current).u64(display).u64(surface).u64(surface).u64(first), &ignored,
                   1);
    made.returning(message(in::egl_make_current).u64(display).u64(surface).u64(surface).u64(second), &ignored,
                   2);
    made.whole(message(in::gles20_clear).u32(GL_COLOR_BUFFER_BIT), 1);
    made.returning(message(in::egl_destroy_context).u64(display).u64(first), &ignored, 2);
    made.returning(message(in::egl_make_current).u64(display).u64(0).u64(0).u64(0), &ignored, 1);
    made.whole(message(in::gles20_clear).u32(GL_COLOR_BUFFER_BIT), 2);
    made.returning(message(in::egl_release_thread), &ignored, 2);
    made.returning(message(in::egl_terminate).u64(display), &ignored, 1);
    return made;
}

/// The same while the target runs each call as well: results come with the messages.
seed session_with_target(uint8_t settings)
{
    constexpr uint64_t display = 0xd1, context = 0xc1, surface = 0x51;
    seed made(settings);
    made.memory(16, words({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}));
    made.whole(message(in::egl_get_display).u64(display).u64(0));
    made.whole(message(in::egl_initialize).u32(1).u64(display).u64(0).u64(0));
    made.whole(message(in::egl_create_context).u64(context).u64(display).u64(5).u64(0).u64(memory + 0x100));
    made.whole(message(in::egl_create_pbuffer_surface).u64(surface).u64(display).u64(5).u64(0));
    made.whole(message(in::egl_make_current).u32(1).u64(display).u64(surface).u64(surface).u64(context));
    made.whole(message(in::gles20_clear).u32(GL_COLOR_BUFFER_BIT));
    made.whole(message(in::gles20_get_error).u32(GL_INVALID_ENUM));
    made.whole(message(in::egl_swap_buffers)
                   .u32(1)
                   .u64(display)
                   .u64(surface)
                   .u64(memory + 0x4000)
                   .u32(1024)
                   .u64(1)
                   .u64(0)
                   .u32(32)
                   .u32(16)
                   .u32(16)
                   .u32(64));
    made.whole(message(in::egl_terminate).u32(1).u64(display));
    return made;
}

void write_sessions()
{
    write("session", session(loud));
    write("session_with_settings", session(0, 0, true));
    write("session_direct", session(direct_reads | direct_writes));
    write("session_batched", session(batched | direct_reads | direct_writes | loud));
    write("session_on_screen",
          session(direct_writes | loud, screen_sized_frames | rate_shown | frames_cached));
    write("session_compressed", session(direct_writes | loud, screen_sized_frames | frames_compressed));
    write("session_cached", session(direct_writes | loud, frames_cached | narrow_pointers));
    write("session_forced_config", session(loud, config_forced));
    write("session_shared", sharing(loud));
    write("drawing", drawing(loud));
    write("drawing_direct", drawing(direct_reads | direct_writes | errors_checked));
    write("session_dummy", session_with_target(target_runs_dummy | direct_reads | loud));
    write("session_gpu", session_with_target(target_runs_gpu | loud));
}

void write_framing()
{
    message color = message(in::gles20_clear_color).f32(1).f32(2).f32(3).f32(4);
    seed cuts(loud), promises(loud), pieces(loud);
    for (uint8_t cut = 0; cut <= 36; cut++) {
        cuts.record(kind::split, seed::content(color, {cut}));
        auto payload = color.payload();
        payload.resize(payload.size() * cut / 36);
        promises.whole(message(in::gles20_clear_color).raw(payload));
    }
    write("split_at_every_byte", cuts);
    write("short_payloads", promises);
    for (uint16_t missing : {1, 3, 20, 1000})
        pieces.record(kind::lying, seed::content(color, {static_cast<uint8_t>(missing),
                                                         static_cast<uint8_t>(missing >> 8)}));
    write("promises_too_much", pieces);

    for (uint32_t size : {0u, 3u, 4u, 8u, 19u, 35u, 37u, 0x400000u, 0x7fffffffu, 0xffffffffu}) {
        seed made(loud);
        made.record(kind::raw, message(color).declared_size(size).bytes());
        made.whole(color);
        write("declared_" + std::to_string(size), made);
    }
    seed tiny(loud);
    for (uint32_t size : {4u, 5u, 7u, 8u, 11u, 12u, 19u}) {
        auto bytes = message(in::gles20_clear).declared_size(size).bytes();
        bytes.resize(size);
        tiny.record(kind::raw, bytes);
    }
    write("whole_below_a_header", tiny);
    seed vmid(loud);
    vmid.record(kind::raw, message(in::egl_get_display, 0x05001234, 1).u64(0).bytes());
    vmid.record(kind::raw, message(in::egl_get_display, -1, ~0ull).u64(0).bytes());
    vmid.record(kind::foreign, seed::content(message(in::egl_query_string).u64(0).u32(EGL_VENDOR)));
    write("other_processes", vmid);
}

std::vector<uint8_t> command(const message& inner)
{
    auto size = static_cast<uint16_t>(inner.payload().size());
    std::vector<uint8_t> bytes{static_cast<uint8_t>(inner.type()), static_cast<uint8_t>(inner.type() >> 8),
                               static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8)};
    bytes.insert(bytes.end(), inner.payload().begin(), inner.payload().end());
    return bytes;
}

void write_batches()
{
    message clear = message(in::gles20_clear).u32(1);
    std::vector<uint8_t> commands{1};
    for (const message& inner :
         {clear, message(in::egl_get_display).u64(0), message(4).u32(0).u8(0), message(5), message(0),
          message(601), message(in::report_shim_message).text("in a batch")}) {
        auto bytes = command(inner);
        commands.insert(commands.end(), bytes.begin(), bytes.end());
    }
    write("batch", seed(batched | loud).record(kind::batch, commands));
    write("batch_unexpected", seed(loud).record(kind::batch, commands));
    write("batch_empty", seed(batched).record(kind::batch, {1}));

    // What a count and the sizes inside can claim.
    for (uint32_t count : {1u, 2u, 0xffffffffu}) {
        for (uint32_t size : {0u, 19u, 24u, 25u, 0xffffffffu}) {
            message batch(in::batch_commands);
            batch.u32(count).raw(message(clear).declared_size(size).bytes());
            write("batch_of_" + std::to_string(count) + "_sized_" + std::to_string(size),
                  seed(batched | loud).record(kind::raw, batch.bytes()));
        }
    }
    message nested = clear;
    for (int depth = 0; depth < 64; depth++)
        nested = message(in::batch_commands).u32(1).raw(nested.bytes());
    write("batch_nested", seed(batched | loud).record(kind::raw, nested.bytes()));
}

void write_shim_messages()
{
    seed texts(loud);
    texts.whole(message(in::report_shim_message).text("hello %s %n\n"));
    texts.whole(message(in::report_shim_message).text(""));
    texts.whole(message(in::report_shim_message));
    texts.whole(message(in::report_shim_message).u32(0x41414141));
    texts.record(kind::confirmation, {1});
    texts.record(kind::confirmation, {1, 0, 0, 0, 0, 255, 1, 2, 3});
    write("shim_texts_and_stray_confirmations", texts);

    seed exchange(loud, 0, {0, 2, 4, 0, 2, 4, 0, 0});
    for (uint32_t bits : {32u, 64u, 0u, 0xffffffffu})
        exchange.whole(
            message(in::get_settings).u32(0xffffffff).u32(0).u32(bits).text("short").u64(memory).u64(0));
    exchange.whole(message(in::get_settings).u32(1));
    exchange.whole(message(in::get_settings).u32(1).u32(1).u32(1).raw(std::vector<uint8_t>(64, 'a')));
    write("settings_exchange", exchange);
}

/// Answers of a target that has nothing good to say.
void write_answers()
{
    for (uint8_t how : {1, 2, 3}) {
        std::vector<uint8_t> script;
        for (int i = 0; i < 64; i++)
            script.insert(script.end(), {how, static_cast<uint8_t>(i), 1, 0xff});
        seed made(static_cast<uint8_t>(target_runs_dummy | errors_checked | loud), 0, script);
        made.whole(message(in::egl_get_display).u64(0xd1).u64(0));
        made.whole(message(in::egl_initialize).u32(1).u32(EGL_SUCCESS).u64(0xd1).u64(0).u64(0));
        made.whole(message(in::egl_get_config_attrib)
                       .u32(1)
                       .u32(0)
                       .u64(0xd1)
                       .u64(1)
                       .u32(EGL_RENDERABLE_TYPE)
                       .u64(memory));
        made.whole(message(in::gles20_shader_source).u32(0).u32(1).u32(0x7fffffff).u64(memory).u64(memory));
        write("answers_" + std::to_string(how), made);
    }
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " FOLDER\n";
        return 2;
    }
    folder = argv[1];
    std::filesystem::create_directories(folder);
    write_all_types();
    write_sessions();
    write_framing();
    write_batches();
    write_shim_messages();
    write_answers();
    std::cout << written << " seeds in " << folder.string() << "\n";
    return 0;
}
