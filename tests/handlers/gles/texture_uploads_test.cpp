// Pixels on their way to a texture: how many are read, what the host is handed.

#include "handlers/gles/buffers_fixture.h"
#include "handlers/gles/copy_aligned.h"
#include "handlers/gles/sizes.h"
#include "handlers/gles/texture_update.h"

namespace {
using bytes = std::vector<uint8_t>;

TEST(upload_sizes, OfToldAndOfTouchedBytes)
{
    struct
    {
        const char* what;
        current_pack_params unpack;
        image_extent extent;
        uint64_t pixel;
        uint64_t told;
        uint64_t reach;
    } const rows[] = {
        {"rows are padded, the last one is not touched to its end", {}, {5, 2, 1, false}, 3, 32, 31},
        {"no padding at alignment 1", {.alignment = 1}, {5, 2, 1, false}, 3, 30, 30},
        {"a row length stands for the width", {.row_length = 8}, {5, 2, 1, false}, 4, 64, 52},
        {"skipped rows are read", {.skip_rows = 3}, {4, 2, 1, false}, 4, 80, 80},
        {"skipped pixels are not", {.skip_pixels = 2}, {4, 2, 1, false}, 4, 32, 40},
        {"an image height counts in two dimensions", {.image_height = 5}, {4, 2, 1, false}, 4, 80, 32},
        {"images", {}, {4, 2, 3, true}, 4, 96, 96},
        {"image height and skipped images",
         {.image_height = 5, .skip_images = 2},
         {4, 2, 3, true},
         4,
         400,
         352},
        {"skipped rows don't count in three", {.skip_rows = 3}, {4, 2, 3, true}, 4, 96, 144},
        {"nothing", {}, {0, 2, 1, false}, 4, 0, 0},
        {"no rows", {.image_height = 2}, {4, 0, 1, false}, 4, 32, 0},
        {"a negative size", {}, {4, -1, 1, false}, 4, 0, 0},
        {"a negative depth", {}, {4, 1, -1, true}, 4, 0, 0},
        {"more pixels than a float counts",
         {.alignment = 1},
         {(1 << 24) + 1, 1, 1, false},
         1,
         1 << 24,
         (1 << 24) + 1},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(unpack_size(row.unpack, row.extent, row.pixel), row.told) << row.what;
        EXPECT_EQ(unpack_reach(row.unpack, row.extent, row.pixel), row.reach) << row.what;
    }
    const image_extent vast{INT32_MAX, INT32_MAX, INT32_MAX, true};
    const current_pack_params skipping{8, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX};
    EXPECT_GT(unpack_size(skipping, vast, 16), uint64_t{1} << 60) << "no wrap";
    EXPECT_GT(unpack_reach(skipping, vast, 16), uint64_t{1} << 60) << "no wrap";
}

TEST(upload_sizes, AnUnknownPixelIsTheWidestThatADriverKnows)
{
    EXPECT_EQ(zelvar_data_get_pixel_reach(GL_LUMINANCE, GL_UNSIGNED_BYTE), 1u);
    EXPECT_EQ(zelvar_data_get_pixel_reach(GL_RGBA, GL_UNSIGNED_SHORT_4_4_4_4), 2u);
    EXPECT_EQ(zelvar_data_get_pixel_reach(GL_DEPTH_STENCIL, GL_FLOAT_32_UNSIGNED_INT_24_8_REV), 8u);
    EXPECT_EQ(zelvar_data_get_pixel_reach(0x8C40, GL_UNSIGNED_BYTE), 4u);
    EXPECT_EQ(zelvar_data_get_pixel_reach(0x8C40, 0x1234), 16u);
}

TEST(upload_sizes, OfTheOlderForm)
{
    auto size = [](uint32_t format, int32_t depth, uint32_t type) {
        uint64_t bytes = 77;
        zelvar_helpers_get_targetside_gl_tex_image_pixels_array_size(format, 3, 2, depth, type, &bytes);
        return bytes;
    };
    EXPECT_EQ(size(GL_LUMINANCE, 1, GL_UNSIGNED_BYTE), 6u);
    EXPECT_EQ(size(GL_LUMINANCE_ALPHA, 2, GL_UNSIGNED_BYTE), 24u);
    EXPECT_EQ(size(GL_RGBA, 1, GL_UNSIGNED_SHORT_4_4_4_4), 48u);
    EXPECT_EQ(size(GL_RGB, 1, GL_FLOAT), 0u);
    EXPECT_EQ(size(GL_RGB, -1, GL_UNSIGNED_BYTE), 0u);
}

TEST(copy_aligned, WidensNarrowsAndRefuses)
{
    const uint32_t narrow[] = {1, 0xfffffffe};
    uint64_t wide[] = {~0ull, ~0ull};
    EXPECT_TRUE(zelvar_helpers_copy_aligned(wide, 8, narrow, 4, 2));
    EXPECT_EQ(wide[1], 0xfffffffeu);
    uint16_t narrower[] = {9, 9, 9};
    EXPECT_TRUE(zelvar_helpers_copy_aligned(narrower, 2, narrow, 4, 2));
    EXPECT_EQ(narrower[1], 0xfffe);
    EXPECT_EQ(narrower[2], 9);
    library::start(); // for its log
    auto printed = library::printed_by([&] {
        EXPECT_FALSE(zelvar_helpers_copy_aligned(wide, 8, narrow, 0, 2));
        EXPECT_FALSE(zelvar_helpers_copy_aligned(nullptr, 8, narrow, 4, 2));
    });
    EXPECT_NE(printed.find("ERROR [ZELVAR] zelvar_helpers_copy_aligned: invalid source item size"),
              std::string::npos);
}

class texture_uploads : public buffers_fixture
{
protected:
    const void* host_pointer = nullptr;
    bytes host_got;
    size_t host_takes = 0; // bytes that the host reads of what it is handed
    size_t reads = 0;      // of target memory

    void SetUp() override
    {
        buffers_fixture::SetUp();
        fake_host::hook<&gles::glTexImage2D>([this](GLenum, GLint, GLint, GLsizei, GLsizei, GLint, GLenum,
                                                    GLenum, const void* p) { take(p); });
        fake_host::hook<&gles::glTexSubImage3D>([this](GLenum, GLint, GLint, GLint, GLint, GLsizei, GLsizei,
                                                       GLsizei, GLenum, GLenum, const void* p) { take(p); });
        fake_host::hook<&gles::glCompressedTexImage2D>(
            [this](GLenum, GLint, GLenum, GLsizei, GLsizei, GLint, GLsizei, const void* p) { take(p); });
        target.on_request = [this](const outbound_message& request) {
            reads += request.type == out::read_from_shim_address_space;
            return target.default_answer(request);
        };
        for (size_t i = 0; i < target.memory.size(); ++i)
            target.memory[i] = static_cast<uint8_t>(i % 251);
    }
    void take(const void* pixels)
    {
        host_pointer = pixels;
        host_got.clear();
        if (host_takes)
            host_got.assign(static_cast<const uint8_t*>(pixels),
                            static_cast<const uint8_t*>(pixels) + host_takes);
    }
    void image(int32_t width, int32_t height, uint32_t format, uint64_t address)
    {
        target.run(target.make(in::gles20_tex_image_2d)
                       .u32(GL_TEXTURE_2D)
                       .i32(0)
                       .u32(format)
                       .i32(width)
                       .i32(height)
                       .i32(0)
                       .u32(format)
                       .u32(GL_UNSIGNED_BYTE)
                       .u64(address));
    }
    void sub_image_3d(int32_t width, int32_t height, int32_t depth, uint64_t address)
    {
        target.run(target.make(in::gles30_tex_sub_image_3d)
                       .u32(GL_TEXTURE_3D)
                       .i32(0)
                       .i32(1)
                       .i32(2)
                       .i32(3)
                       .i32(width)
                       .i32(height)
                       .i32(depth)
                       .u32(GL_RGBA)
                       .u32(GL_UNSIGNED_BYTE)
                       .u64(address));
    }
    void compressed(int32_t size, uint64_t address)
    {
        target.run(target.make(in::gles20_compressed_tex_image_2d)
                       .u32(GL_TEXTURE_2D)
                       .i32(0)
                       .u32(GL_COMPRESSED_RGB8_ETC2)
                       .i32(4)
                       .i32(4)
                       .i32(0)
                       .i32(size)
                       .u64(address));
    }
    bytes in_target(size_t offset, size_t size)
    {
        auto from = target.memory.begin() + static_cast<ptrdiff_t>(offset);
        return {from, from + static_cast<ptrdiff_t>(size)};
    }
    void use_vertex_array(uint32_t id) { target.run(target.make(in::gles30_bind_vertex_array).u32(id)); }
};

TEST_F(texture_uploads, TheToldBytesAreReadAndTheRestIsZero)
{
    host_takes = 32;
    image(5, 2, GL_RGB, memory + 0x100);
    EXPECT_EQ(host_got, in_target(0x100, 32));
    EXPECT_EQ(reads, 1u);

    // A row is skipped that isn't read: the same block, shorter read, nothing of the last upload in it.
    model().unpack_params.skip_rows = 1;
    host_takes = 16;
    sub_image_3d(1, 2, 1, memory + 0x200);
    bytes expected = in_target(0x200, 8);
    expected.resize(12, 0);
    host_got.resize(12);
    EXPECT_EQ(host_got, expected);
}

TEST_F(texture_uploads, AShortReadKeepsWhatTheTargetHas)
{
    host_takes = 16;
    image(2, 2, GL_RGBA, memory); // dirt in the block
    auto printed = library::printed_by([&] { image(2, 2, GL_RGBA, memory + 0x10000 - 6); });
    bytes expected = in_target(0x10000 - 6, 6);
    expected.resize(16, 0);
    EXPECT_EQ(host_got, expected);
    EXPECT_EQ(library::occurrences(printed, "ERROR"), 1u);
    EXPECT_EQ(error_of_target(), 0u);
}

TEST_F(texture_uploads, NothingIsReadForNullNegativeOrVastPixels)
{
    image(4, 4, GL_RGBA, 0);
    EXPECT_EQ(host_pointer, nullptr);
    image(-4, 4, GL_RGBA, memory);
    EXPECT_EQ(host_pointer, nullptr);
    fake_host::clear();
    auto printed = library::printed_by([&] { image(1 << 16, 1 << 16, GL_RGBA, memory); });
    EXPECT_EQ(host_pointer, nullptr);
    EXPECT_EQ(fake_host::count("glTexImage2D"), 1u) << "the image gets its size all the same";
    EXPECT_EQ(error_of_target(), uint32_t{GL_OUT_OF_MEMORY});
    EXPECT_NE(
        printed.find("bytes for pixel storage. Host-side will initialize the TO but will not use the data."),
        std::string::npos);
    EXPECT_EQ(reads, 0u);
}

TEST_F(texture_uploads, WithABoundBufferTheAddressIsAnOffset)
{
    bind(GL_PIXEL_UNPACK_BUFFER, 3);
    image(4, 4, GL_RGBA, 0x40);
    EXPECT_EQ(host_pointer, reinterpret_cast<void*>(0x40));
    compressed(8, 0x48);
    EXPECT_EQ(host_pointer, reinterpret_cast<void*>(0x48));
    EXPECT_EQ(reads, 0u);
    remove(in::gles20_delete_buffers, {3});
    image(4, 4, GL_RGBA, memory);
    EXPECT_EQ(reads, 1u);
}

TEST_F(texture_uploads, AHostWithoutABufferNeverSeesAnOffset)
{
    // Each vertex array remembers a buffer of its own; the host has one binding.
    auto arrays = generate(in::gles30_gen_vertex_arrays, 2);
    use_vertex_array(arrays[0]);
    bind(GL_PIXEL_UNPACK_BUFFER, 3);
    use_vertex_array(arrays[1]);
    bind(GL_PIXEL_UNPACK_BUFFER, 0);
    use_vertex_array(arrays[0]);
    host_takes = 4;
    image(1, 1, GL_RGBA, memory + 4);
    EXPECT_EQ(host_got, in_target(4, 4));
}

TEST_F(texture_uploads, CompressedBytesPassUnchanged)
{
    host_takes = 8;
    compressed(8, memory + 0x30);
    EXPECT_EQ(host_got, in_target(0x30, 8));
    fake_host::clear();
    auto printed = library::printed_by([&] { compressed(-1, memory); });
    EXPECT_EQ(printed.rfind("ERROR [ZELVAR] Imagesize is less than zero, GL_INVALID_VALUE is generated.", 0),
              0u);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    EXPECT_EQ(fake_host::count("glCompressedTexImage2D"), 0u);
}

/// The worker's own helper, called as image import will.
class texture_update : public texture_uploads
{
protected:
    bytes taken;

    bool update(uint32_t format, uint32_t type, uint32_t width, uint32_t stride, uint32_t bits, size_t takes)
    {
        const bytes pixels = in_target(0, 64);
        fake_host::hook<&gles::glTexSubImage2D>(
            [&, takes](GLenum, GLint, GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, const void* p) {
                taken.assign(static_cast<const uint8_t*>(p), static_cast<const uint8_t*>(p) + takes);
            });
        fake_host::hook<&gles::glGetIntegerv>([](GLenum, GLint* value) { *value = 900; });
        fake_host::clear();
        bool updated = false;
        library::aside([&] {
            updated = zelvar_helpers_update_texture_pixel_data(&model(), 800, width, 2, format, type, stride,
                                                               bits, pixels.data());
        });
        return updated;
    }
};

TEST_F(texture_update, LeavesWhatTheApplicationSees)
{
    bind(GL_PIXEL_UNPACK_BUFFER, 3);
    model().host_major_version = 3;
    model().unpack_params = {2, 7, 0, 5, 6, 0};
    EXPECT_TRUE(update(GL_RGBA, GL_UNSIGNED_BYTE, 2, 12, 32, 20));
    EXPECT_EQ(taken, in_target(0, 20)) << "no copy where the host has a row length";
    const auto buffer = std::to_string(model().data_shared->buffers.at(3).host_id);
    EXPECT_EQ(
        fake_host::texts(quiet),
        (texts{"glGetIntegerv(32873, pointer)", "glBindTexture(3553, 800)", "glBindBuffer(35052, 0)",
               "glPixelStorei(3317, 1)", "glPixelStorei(3314, 3)", "glPixelStorei(3315, 0)",
               "glPixelStorei(3316, 0)", "glTexSubImage2D(3553, 0, 0, 0, 2, 2, 6408, 5121, pointer)",
               "glPixelStorei(3317, 2)", "glPixelStorei(3314, 7)", "glPixelStorei(3315, 6)",
               "glPixelStorei(3316, 5)", "glBindBuffer(35052, " + buffer + ")", "glBindTexture(3553, 900)"}));
}

TEST_F(texture_update, PacksRowsWhereTheHostHasNoRowLength)
{
    model().host_major_version = 2;
    EXPECT_TRUE(update(GL_RGBA, GL_UNSIGNED_BYTE, 2, 12, 32, 16));
    bytes expected = in_target(0, 8), second = in_target(12, 8);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(taken, expected);
    EXPECT_EQ(fake_host::count("glPixelStorei"), 2u);
    // Rows of 6 bytes: the host steps by 8.
    EXPECT_TRUE(update(GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 3, 6, 16, 14));
    expected = in_target(0, 6);
    expected.resize(8, 0);
    second = in_target(6, 6);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(taken, expected);
}

TEST_F(texture_update, StopsAtATextureThatCantBeBound)
{
    fake_host::fails<&gles::glBindTexture>(GL_INVALID_OPERATION);
    auto printed =
        library::printed_by([&] { EXPECT_FALSE(update(GL_RGBA, GL_UNSIGNED_BYTE, 2, 8, 32, 16)); });
    EXPECT_NE(printed.find("Received GL_INVALID_OPERATION while updating texture"), std::string::npos);
    EXPECT_EQ(fake_host::count("glTexSubImage2D"), 0u);
}
} // namespace
