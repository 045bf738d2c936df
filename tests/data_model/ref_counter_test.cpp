// Programs and shaders that live as long as they are in use.
#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"
#include "support/library.h"

#include <gtest/gtest.h>

namespace {
class ref_counter : public testing::Test
{
protected:
    _zelvar_context_data data;
    _zelvar_context_data_shared shared;

    void SetUp() override
    {
        sidechannel_set_log_level(2);
        data.data_shared = &shared;
    }
};

TEST_F(ref_counter, AProgramInUseOutlivesItsDeletionAndItsShadersWithIt)
{
    shared.programs[1].attached_shaders = {2, 3, 99};
    shared.shaders[2];
    shared.shaders[3];
    zelvar_data_model_ref_counter_retain_shader_object(&data, 2);
    zelvar_data_model_ref_counter_retain_shader_object(&data, 3);
    zelvar_data_model_ref_counter_release_shader_object(&data, 2);  // glDeleteShader
    zelvar_data_model_ref_counter_retain_program_object(&data, 1);  // glUseProgram
    zelvar_data_model_ref_counter_release_program_object(&data, 1); // glDeleteProgram
    EXPECT_TRUE(shared.programs.contains(1));
    EXPECT_TRUE(shared.shaders.contains(2));
    EXPECT_EQ(library::printed_by([&] { zelvar_data_model_ref_counter_release_program_object(&data, 1); }),
              "");
    EXPECT_FALSE(shared.programs.contains(1));
    EXPECT_FALSE(shared.shaders.contains(2));
    EXPECT_EQ(shared.shaders.at(3).ref_counter, 1) << "not deleted by the application";
}

TEST_F(ref_counter, RetainingWhatHasNoCountLeftStopsTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    shared.programs[1].ref_counter = 0;
    shared.shaders[1].ref_counter = 0;
    EXPECT_DEATH(zelvar_data_model_ref_counter_retain_program_object(&data, 1),
                 "\\(\\*po_iterator_ptr\\)->second.ref_counter > 0");
    EXPECT_DEATH(zelvar_data_model_ref_counter_retain_shader_object(&data, 1),
                 "\\(\\*so_iterator_ptr\\)->second.ref_counter > 0");
}

TEST_F(ref_counter, NullsAndUnknownIdsAreLinesAndNothingMore)
{
    std::string printed = library::printed_by([&] {
        zelvar_data_model_ref_counter_release_program_object(nullptr, 1);
        zelvar_data_model_ref_counter_retain_program_object(&data, 1);
        zelvar_data_model_ref_counter_release_shader_object(&data, 1);
        zelvar_data_model_ref_counter_retain_data_shared(nullptr);
    });
    EXPECT_NE(
        printed.find("ERROR [ZELVAR] Cannot release program object descriptor for NULL context data.\n"),
        std::string::npos);
    EXPECT_EQ(library::occurrences(printed, "ERROR [ZELVAR] Cannot "), 4u) << printed;
    EXPECT_TRUE(shared.programs.empty());
}
} // namespace
