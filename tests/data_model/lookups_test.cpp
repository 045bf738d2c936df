// Sizes, binding points, rendering modes and descriptors. Numbers are the standard's, written out.
#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"
#include "support/library.h"

#include <gtest/gtest.h>

namespace {
struct size_case
{
    std::vector<uint32_t> enums;
    uint64_t expected;
};

TEST(sizes, OfTypes)
{
    constexpr uint64_t count = 3;
    const size_case cases[] = {
        {{5120, 5121}, 3},
        {{5122, 5123, 5131, 36193}, 6},
        {{5124, 5125, 5126, 5132}, 12},
        {{32819, 32820, 33635}, 2}, // packed: the count doesn't matter
        {{33640, 34042, 35899, 35902, 36255, 36269}, 4},
    };
    for (const auto& c : cases)
        for (uint32_t type : c.enums)
            EXPECT_EQ(zelvar_data_get_type_size(type, count), c.expected) << type;
    EXPECT_EQ(zelvar_data_get_type_size(5126, 0x80000000), 0x200000000u) << "64 bits";
    EXPECT_EQ(library::printed_by([] { EXPECT_EQ(zelvar_data_get_type_size(77, 5), 5u); }),
              "FATAL [ZELVAR] Unrecognized type [77] - may cause a crash on Zelvar end!\n");
}

TEST(sizes, OfPixels)
{
    const size_case cases[] = {
        {{6402, 6403, 6406, 6409, 36244}, 1},
        {{6410, 33319, 33320, 34041}, 2},
        {{6407, 36248}, 3},
        {{6408, 32993, 36249}, 4},
    };
    for (const auto& c : cases) {
        for (uint32_t format : c.enums) {
            EXPECT_EQ(zelvar_data_get_pixel_size(format, 5121), c.expected) << format;
            EXPECT_EQ(zelvar_data_get_pixel_size(format, 5126), c.expected * 4) << format;
            EXPECT_EQ(zelvar_data_get_pixel_size(format, 33635), 2u) << format;
        }
    }
    EXPECT_EQ(library::printed_by([] { EXPECT_EQ(zelvar_data_get_pixel_size(78, 5126), 4u); }),
              "FATAL [ZELVAR] Unrecognized format [78] - may cause a crash on Zelvar end!\n");
}

TEST(binding_points, EachHasItsPlaceInTheVertexArray)
{
    _zelvar_vertex_array_object_descriptor array;
    const std::pair<uint32_t, uint32_t*> points[] = {
        {34962, &array.array_buffer},
        {34963, &array.element_array_buffer},
        {35051, &array.pixel_pack_buffer},
        {35052, &array.pixel_unpack_buffer},
        {36662, &array.copy_read_buffer},
        {36663, &array.copy_write_buffer},
        {35982, &array.transform_feedback_buffer},
        {35345, &array.uniform_buffer},
        {37568, &array.atomic_counter_buffer},
        {37102, &array.dispatch_indirect_buffer},
        {36671, &array.draw_indirect_buffer},
        {37074, &array.shader_storage_buffer},
        {35882, &array.texture_buffer},
    };
    uint32_t id = 100;
    for (const auto& [target, place] : points)
        *place = ++id;
    id = 100;
    for (const auto& [target, place] : points) {
        uint32_t found = 0;
        EXPECT_TRUE(zelvar_data_get_target_bind_buffer(array, target, &found));
        EXPECT_EQ(found, ++id) << target;
    }
    uint32_t untouched = 5;
    sidechannel_set_log_level(2);
    EXPECT_EQ(library::printed_by(
                  [&] { EXPECT_FALSE(zelvar_data_get_target_bind_buffer(array, 34964, &untouched)); }),
              "ERROR [ZELVAR] Unrecognized buffer binding point [34964]\n");
    EXPECT_EQ(untouched, 5u);
}

TEST(rendering_modes, AreTheFourteenAndOnlyDitheringStartsOn)
{
    const uint32_t caps[] = {3042,  2884,  2929, 3024, 32823, 36201, 35977,
                             32926, 32928, 3089, 2960, 36433, 37600, 33346};
    _zelvar_context_data data;
    for (uint32_t cap : caps) {
        EXPECT_TRUE(zelvar_data_model_is_cap_valid(cap)) << cap;
        EXPECT_EQ(zelvar_data_model_is_rendering_mode_enabled(&data, cap), cap == 3024) << cap;
    }
    for (size_t i = 0; i < std::size(caps); i++) {
        bool enable = caps[i] != 3024;
        EXPECT_TRUE(zelvar_data_model_update_rendering_mode_status(&data, caps[i], enable));
        EXPECT_EQ(data.rendering_modes[i], uint32_t{enable}) << caps[i];
        EXPECT_EQ(zelvar_data_model_is_rendering_mode_enabled(&data, caps[i]), enable);
    }
    sidechannel_set_log_level(3);
    EXPECT_EQ(library::printed_by([&] {
                  EXPECT_FALSE(zelvar_data_model_is_cap_valid(3553));
                  EXPECT_FALSE(zelvar_data_model_update_rendering_mode_status(&data, 3553, true));
                  EXPECT_FALSE(zelvar_data_model_is_rendering_mode_enabled(&data, 3553));
              }),
              "WARN [ZELVAR] Unrecognized \"mode\" argument\nWARN [ZELVAR] Unrecognized \"mode\" argument\n");
}

TEST(host_ids, AreLookedUpByAScanInWhichTheFirstWins)
{
    _zelvar_context_data data;
    _zelvar_context_data_shared shared;
    data.data_shared = &shared;
    shared.textures[0].host_id = 0;
    shared.textures[4].host_id = 40;
    shared.textures[9].host_id = 40;
    shared.renderbuffers[5].host_id = 40;
    uint32_t found = 77;
    EXPECT_TRUE(zelvar_data_model_get_target_texture_from_host_texture(40, &data, &found));
    EXPECT_EQ(found, 4u);
    EXPECT_TRUE(zelvar_data_model_get_target_renderbuffer_from_host_renderbuffer(40, &data, &found));
    EXPECT_EQ(found, 5u);
    EXPECT_FALSE(zelvar_data_model_get_target_renderbuffer_from_host_renderbuffer(0, &data, &found));
    EXPECT_EQ(found, 5u);
}

TEST(descriptors, OfVertexArraysStartWithEveryAttribute)
{
    _zelvar_context_data data;
    data.target_constants.max_vertex_attribs = 16;
    _zelvar_vertex_array_object_descriptor array;
    array.uniform_buffer = 4;
    array.attribute_arrays[99];
    zelvar_data_model_init_vertex_array_object_descriptor(&data, 33, &array);
    EXPECT_EQ(array.host_id, 33u);
    EXPECT_EQ(array.uniform_buffer, 0u);
    ASSERT_EQ(array.attribute_arrays.size(), 16u);
    const auto& last = array.attribute_arrays.at(15);
    EXPECT_EQ(last.type, 5126u);
    EXPECT_EQ(last.size, 4u);
    EXPECT_FALSE(last.enabled || last.normalized || last.integer || last.separate_format);
}

TEST(descriptors, OfProgramBinariesCopyTheHostsLengthWithinBothBlocks)
{
    _zelvar_program_binary_descriptor longer, shorter;
    zelvar_data_model_init_program_binary_descriptor(nullptr, "hostbytes", "target", 1, 2, 9, 6, &shorter);
    EXPECT_EQ(shorter.target_binary.size, 6u);
    EXPECT_EQ(std::string(shorter.target_binary.bytes.get(), shorter.target_binary.bytes.get() + 6),
              "target");
    EXPECT_EQ(std::string(shorter.host_binary.bytes.get(), shorter.host_binary.bytes.get() + 9), "hostbytes");
    zelvar_data_model_init_program_binary_descriptor(nullptr, "h", "target", 1, 2, 2, 6, &longer);
    EXPECT_EQ(std::string(longer.target_binary.bytes.get(), longer.target_binary.bytes.get() + 6),
              std::string("ta\0\0\0\0", 6));
    EXPECT_EQ(longer.host_format, 1u);
    EXPECT_EQ(longer.target_format, 2u);
}
} // namespace
