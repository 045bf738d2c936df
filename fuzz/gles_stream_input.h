#pragma once
// The layout of an input of the gles_stream fuzz targets: blocks of one size, so that taking one out, putting
// one in or exchanging two leaves the others what they are. The first is the head, each other one a record.

#include <cstddef>
#include <cstdint>

namespace gles_stream_input {
constexpr size_t block_size = 20;

/// Bytes of the head; the rest of it says nothing.
enum head : uint8_t
{
    head_settings, // library_under_test::setting
    head_contexts, // bits 0-1 version of the contexts, 2 all share, 3 narrow pointers
};

/// Bytes of a record; the rest are picks, one an argument.
enum record : uint8_t
{
    record_kind,      // bits 0-1 thread, 2 doesn't wait for the one before, 3-7 kind
    record_call,      // 2 bytes: which call, whatever its kind of record
    record_extra = 3, // widens picks
    record_tail,      // what stands inline
    record_picks,
};
constexpr size_t most_picks = block_size - record_picks;

/// What a record does; all numbers up to `first_other` are calls.
enum kind : uint8_t
{
    first_other = 22,
    poke = first_other, // picks into target memory
    make_current,
    make_current_none,
    create_context,
    destroy_context,
    use_new_program,
    fill_new_buffer,
    point_arrays,
    attach_new_texture,
    show_new_image,
    kind_count
};
static_assert(kind_count <= 32);
} // namespace gles_stream_input
