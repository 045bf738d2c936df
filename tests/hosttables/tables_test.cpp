#include "hosttables/host_tables.h"
#include "hosttables/table_slots.h"
#include "registration/host_call.h"
#include "support/fake_host.h"

#include <gtest/gtest.h>

namespace {
using egl = sidechannel_egl_imports;
using gles = sidechannel_gles_imports;

TEST(TablesTest, GivenTablesReplaceTheProcessWideOnesEachAlone)
{
    EXPECT_FALSE(sidechannel_api_support("glActiveTexture"));
    egl only_egl{};
    only_egl.eglInitialize = fake_driver::egl().eglInitialize;
    sidechannel_set_imports_init(&only_egl, nullptr);
    EXPECT_EQ(zelvar_imports_get_egl_ptrs()->eglInitialize, only_egl.eglInitialize);
    EXPECT_EQ(zelvar_imports_get_gles_ptrs()->glActiveTexture, nullptr);
    EXPECT_TRUE(sidechannel_api_support("eglInitialize"));
    EXPECT_FALSE(sidechannel_api_support("eglTerminate"));
    EXPECT_FALSE(sidechannel_api_support("glActiveTexture"));

    sidechannel_set_imports_init(nullptr, &fake_driver::gles());
    EXPECT_EQ(zelvar_imports_get_egl_ptrs()->eglInitialize, only_egl.eglInitialize);
    EXPECT_TRUE(sidechannel_api_support("glActiveTexture"));
}

TEST(TablesTest, SupportIsAskedByTextAndOnlyForEglAndGles)
{
    fake_host::install();
    std::string built = std::string("gl") + "DrawArrays";
    EXPECT_TRUE(sidechannel_api_support(built.c_str()));
    EXPECT_FALSE(sidechannel_api_support(nullptr));
    EXPECT_FALSE(sidechannel_api_support(""));
    EXPECT_FALSE(sidechannel_api_support("glDrawArray"));
    EXPECT_FALSE(sidechannel_api_support("vkCreateInstance"));
    EXPECT_FALSE(sidechannel_api_support("GLES2_Set"));
    fake_host::remove<&gles::glDrawArrays>();
    EXPECT_FALSE(sidechannel_api_support("glDrawArrays"));
}

TEST(TablesTest, TheFunctionMapHoldsEveryNameOnceMissingOrNot)
{
    egl some{};
    gles none{};
    some.eglGetError = fake_driver::egl().eglGetError;
    zelvar_api_map_type map;
    zelvar_api_map_init(&some, &none, &map);
    EXPECT_EQ(map.size(), host_egl_count + host_gles_count - 2);
    EXPECT_EQ(map.at("eglGetError"), reinterpret_cast<void*>(some.eglGetError));
    EXPECT_EQ(map.at("glTexStorage3DEXT"), nullptr);
    zelvar_api_map_deinit(&map);
    EXPECT_TRUE(map.empty());
}

TEST(TablesTest, TheTestTableIsASecondOne)
{
    TEST_ONLY_zelvar_imports_get_egl_ptrs()->eglInitialize = fake_driver::egl().eglInitialize;
    EXPECT_EQ(zelvar_imports_get_egl_ptrs()->eglInitialize, nullptr);
}

// Calls through the tables.

TEST(HostCallTest, AsksForTheErrorOnceBehindTheCall)
{
    fake_host::install();
    fake_host::gl_errors({GL_INVALID_VALUE});
    EXPECT_EQ(host::gl<&gles::glClear>(0x4000u).error, unsigned{GL_INVALID_VALUE});
    EXPECT_TRUE(host::gl<&gles::glBindBuffer>(GL_ARRAY_BUFFER, 7u).ok());
    fake_host::egl_errors({EGL_BAD_ALLOC});
    fake_host::returns<&egl::eglSwapInterval>(EGL_FALSE);
    auto swap = host::egl<&egl::eglSwapInterval>(nullptr, -1);
    EXPECT_EQ(swap.result, unsigned{EGL_FALSE});
    EXPECT_EQ(swap.error, unsigned{EGL_BAD_ALLOC});
    host::gl_unchecked<&gles::glFlush>();
    EXPECT_EQ(host::egl_unchecked<&egl::eglQueryAPI>(), unsigned{EGL_OPENGL_ES_API});
    EXPECT_EQ(fake_host::texts(), (std::vector<std::string>{
                                      "glClear(16384)",
                                      "glGetError()",
                                      "glBindBuffer(34962, 7)",
                                      "glGetError()",
                                      "eglSwapInterval(null, -1)",
                                      "eglGetError()",
                                      "glFlush()",
                                      "eglQueryAPI()",
                                  }));
}

TEST(HostCallTest, AMissingSlotIsAnErrorLineAndACountNotACrash)
{
    zelvar_test_support_reset();
    fake_host::install();
    fake_host::remove<&gles::glCreateShader>();
    fake_host::remove<&egl::eglCreateContext>();
    testing::internal::CaptureStdout();
    auto shader = host::gl<&gles::glCreateShader>(GL_VERTEX_SHADER);
    auto context = host::egl<&egl::eglCreateContext>(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(host::gl_unchecked<&gles::glCreateShader>(GL_VERTEX_SHADER), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "FATAL [ZELVAR] The host lacks glCreateShader().\n"
                                                      "FATAL [ZELVAR] The host lacks eglCreateContext().\n"
                                                      "FATAL [ZELVAR] The host lacks glCreateShader().\n");
    EXPECT_EQ(shader.result, 0u);
    EXPECT_EQ(shader.error, unsigned{GL_INVALID_OPERATION});
    EXPECT_EQ(context.result, nullptr);
    EXPECT_EQ(context.error, unsigned{EGL_BAD_ACCESS});
    EXPECT_EQ(zelvar_test_support_get_hostside_call_counter(zelvar_call_of<&gles::glCreateShader>()), 2u);
    EXPECT_EQ(zelvar_test_support_get_hostside_call_counter(zelvar_call_of<&gles::glGetError>()), 0u);
    EXPECT_TRUE(fake_host::calls().empty());
}

TEST(HostCallTest, AHostWithoutErrorQueriesReportsNone)
{
    fake_host::install();
    fake_host::remove<&gles::glGetError>();
    fake_host::remove<&egl::eglGetError>();
    EXPECT_EQ(host::gl_error(), unsigned{GL_NO_ERROR});
    EXPECT_EQ(host::egl_error(), unsigned{EGL_SUCCESS});
}

TEST(FakeHostTest, RecordsTextNumbersAndPointersAndRunsHooks)
{
    fake_host::install();
    fake_host::hook<&gles::glGetUniformLocation>(
        [](GLuint program, const GLchar*) -> GLint { return static_cast<GLint>(program) - 10; });
    EXPECT_EQ(zelvar_imports_get_gles_ptrs()->glGetUniformLocation(4, "colour"), -6);
    zelvar_imports_get_gles_ptrs()->glUniform1f(-1, 0.5f);
    GLuint names[2] = {};
    zelvar_imports_get_gles_ptrs()->glGenBuffers(2, names);
    EXPECT_NE(names[0], names[1]);
    char label[] = {'a', 'b'}; // not terminated: its length stands beside it
    zelvar_imports_get_gles_ptrs()->glObjectLabel(GL_BUFFER, 1, 2, label);
    auto calls = fake_host::calls();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[0], fake_host::made("glGetUniformLocation", 4, "colour"));
    EXPECT_FALSE(calls[0] == fake_host::made("glGetUniformLocation", 4, "color"));
    EXPECT_EQ(calls[1], fake_host::made("glUniform1f", -1, 0.5));
    EXPECT_EQ(calls[2], fake_host::made("glGenBuffers", 2, names));
    EXPECT_EQ(calls[3], fake_host::made("glObjectLabel", fake_host::any, 1, 2, fake_host::any));
    fake_host::clear();
    fake_host::fails<&gles::glFlush>(GL_OUT_OF_MEMORY);
    EXPECT_EQ(host::gl<&gles::glFlush>().error, unsigned{GL_OUT_OF_MEMORY});
    EXPECT_EQ(fake_host::texts(fake_host::error_queries::leave_out), std::vector<std::string>{"glFlush()"});
}
} // namespace
