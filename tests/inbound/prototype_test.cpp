// A wrong handler signature would silently be the wire. Here each handler meets the published prototype of
// its entry point: as many arguments, each as wide.

#include "handlers/egl/egl_handlers.h"
#include "handlers/gles/gles_handlers.h"
#include "handlers/gles/gles_programs.h"
#include "inbound/rows.h"
#include "wire/api.h"
#include "wire/wire.h"

#include <gtest/gtest.h>

#include <array>
#include <type_traits>

namespace {
template <size_t N>
struct widths
{
    std::array<unsigned, N> of{};
    unsigned result = 0;
};

/// Width of an argument on the wire; 0 for what is no argument.
template <class T>
constexpr unsigned wire_width = std::is_pointer_v<T> ? 8 : sizeof(T);
template <>
constexpr unsigned wire_width<target_ptr> = 8;
template <class T>
constexpr unsigned wire_width<inline_array<T>> = 0;
template <class T>
constexpr unsigned wire_width<result_of<T>> = 0;
template <>
constexpr unsigned wire_width<gles_target_error> = 0;
template <>
constexpr unsigned wire_width<egl_target_error> = 0;

template <class T>
constexpr unsigned result_width = 0;
template <class T>
constexpr unsigned result_width<result_of<T>> = sizeof(T);

template <class R, class... A>
constexpr auto widths_of_prototype(R (*)(A...))
{
    widths<16> w;
    size_t i = 0;
    ((w.of[i++] = wire_width<A>), ...);
    if constexpr (!std::is_void_v<R>)
        w.result = wire_width<R>;
    return w;
}
template <class... A>
constexpr auto widths_of_handler(void (*)(pid_t, tid_t, A...))
{
    widths<16> w;
    size_t i = 0;
    ((wire_width<A> ? (void)(w.of[i++] = wire_width<A>) : (void)0), ...);
    w.result = (result_width<A> + ... + 0u);
    return w;
}

template <auto Handler, auto Prototype>
constexpr bool fits()
{
    constexpr auto h = widths_of_handler(Handler);
    constexpr auto p = widths_of_prototype(Prototype);
    return h.of == p.of && h.result == p.result;
}

#define FITS(handler, prototype)                                                                             \
    static_assert(fits<&handler, &::prototype>(), #handler " doesn't take what " #prototype " takes");

FITS(gles20_glClear, glClear)
FITS(gles20_glClearColor, glClearColor)
FITS(gles20_glClearDepthf, glClearDepthf)
FITS(gles20_glClearStencil, glClearStencil)
FITS(gles20_glColorMask, glColorMask)
FITS(gles20_glDepthMask, glDepthMask)
FITS(gles20_glStencilMask, glStencilMask)
FITS(gles20_glStencilMaskSeparate, glStencilMaskSeparate)
FITS(gles20_glScissor, glScissor)
FITS(gles20_glViewport, glViewport)
FITS(gles20_glDepthRangef, glDepthRangef)
FITS(gles20_glFrontFace, glFrontFace)
FITS(gles20_glHint, glHint)
FITS(gles20_glLineWidth, glLineWidth)
FITS(gles20_glPolygonOffset, glPolygonOffset)
FITS(gles20_glSampleCoverage, glSampleCoverage)
FITS(gles20_glEnable, glEnable)
FITS(gles20_glDisable, glDisable)
FITS(gles20_glIsEnabled, glIsEnabled)
FITS(gles20_glPixelStorei, glPixelStorei)
FITS(gles20_glReadPixels, glReadPixels)
FITS(gles20_glGetError, glGetError)
FITS(gles20_glGetString, glGetString)
FITS(gles30_glGetStringi, glGetStringi)
FITS(gles20_glFinish, glFinish)
FITS(gles20_glFlush, glFlush)
FITS(gles20_glGetBooleanv, glGetBooleanv)
FITS(gles31_glGetBooleani_v, glGetBooleani_v)
FITS(gles20_glGetFloatv, glGetFloatv)
FITS(gles20_glGetIntegerv, glGetIntegerv)
FITS(gles30_glGetInteger64v, glGetInteger64v)
FITS(gles30_glGetIntegeri_v, glGetIntegeri_v)
FITS(gles30_glGetInteger64i_v, glGetInteger64i_v)

FITS(gles20_glAttachShader, glAttachShader)
FITS(gles20_glBindAttribLocation, glBindAttribLocation)
FITS(gles20_glCompileShader, glCompileShader)
FITS(gles20_glCreateProgram, glCreateProgram)
FITS(gles20_glCreateShader, glCreateShader)
FITS(gles20_glDeleteProgram, glDeleteProgram)
FITS(gles20_glDeleteShader, glDeleteShader)
FITS(gles20_glDetachShader, glDetachShader)
FITS(gles20_glGetActiveAttrib, glGetActiveAttrib)
FITS(gles20_glGetActiveUniform, glGetActiveUniform)
FITS(gles20_glGetAttachedShaders, glGetAttachedShaders)
FITS(gles20_glGetAttribLocation, glGetAttribLocation)
FITS(gles20_glGetProgramiv, glGetProgramiv)
FITS(gles20_glGetProgramInfoLog, glGetProgramInfoLog)
FITS(gles20_glGetShaderiv, glGetShaderiv)
FITS(gles20_glGetShaderInfoLog, glGetShaderInfoLog)
FITS(gles20_glGetShaderPrecisionFormat, glGetShaderPrecisionFormat)
FITS(gles20_glGetShaderSource, glGetShaderSource)
FITS(gles20_glGetUniformfv, glGetUniformfv)
FITS(gles20_glGetUniformiv, glGetUniformiv)
FITS(gles20_glGetUniformLocation, glGetUniformLocation)
FITS(gles20_glIsProgram, glIsProgram)
FITS(gles20_glIsShader, glIsShader)
FITS(gles20_glLinkProgram, glLinkProgram)
FITS(gles20_glReleaseShaderCompiler, glReleaseShaderCompiler)
FITS(gles20_glShaderBinary, glShaderBinary)
FITS(gles20_glShaderSource, glShaderSource)
FITS(gles20_glUniform1f, glUniform1f)
FITS(gles20_glUniform1fv, glUniform1fv)
FITS(gles20_glUniform1i, glUniform1i)
FITS(gles20_glUniform1iv, glUniform1iv)
FITS(gles20_glUniform2f, glUniform2f)
FITS(gles20_glUniform2fv, glUniform2fv)
FITS(gles20_glUniform2i, glUniform2i)
FITS(gles20_glUniform2iv, glUniform2iv)
FITS(gles20_glUniform3f, glUniform3f)
FITS(gles20_glUniform3fv, glUniform3fv)
FITS(gles20_glUniform3i, glUniform3i)
FITS(gles20_glUniform3iv, glUniform3iv)
FITS(gles20_glUniform4f, glUniform4f)
FITS(gles20_glUniform4fv, glUniform4fv)
FITS(gles20_glUniform4i, glUniform4i)
FITS(gles20_glUniform4iv, glUniform4iv)
FITS(gles20_glUniformMatrix2fv, glUniformMatrix2fv)
FITS(gles20_glUniformMatrix3fv, glUniformMatrix3fv)
FITS(gles20_glUniformMatrix4fv, glUniformMatrix4fv)
FITS(gles20_glUseProgram, glUseProgram)
FITS(gles20_glValidateProgram, glValidateProgram)
FITS(gles30_glUniformMatrix2x3fv, glUniformMatrix2x3fv)
FITS(gles30_glUniformMatrix3x2fv, glUniformMatrix3x2fv)
FITS(gles30_glUniformMatrix2x4fv, glUniformMatrix2x4fv)
FITS(gles30_glUniformMatrix4x2fv, glUniformMatrix4x2fv)
FITS(gles30_glUniformMatrix3x4fv, glUniformMatrix3x4fv)
FITS(gles30_glUniformMatrix4x3fv, glUniformMatrix4x3fv)
FITS(gles30_glTransformFeedbackVaryings, glTransformFeedbackVaryings)
FITS(gles30_glGetTransformFeedbackVarying, glGetTransformFeedbackVarying)
FITS(gles30_glGetUniformuiv, glGetUniformuiv)
FITS(gles30_glGetFragDataLocation, glGetFragDataLocation)
FITS(gles30_glUniform1ui, glUniform1ui)
FITS(gles30_glUniform2ui, glUniform2ui)
FITS(gles30_glUniform3ui, glUniform3ui)
FITS(gles30_glUniform4ui, glUniform4ui)
FITS(gles30_glUniform1uiv, glUniform1uiv)
FITS(gles30_glUniform2uiv, glUniform2uiv)
FITS(gles30_glUniform3uiv, glUniform3uiv)
FITS(gles30_glUniform4uiv, glUniform4uiv)
FITS(gles30_glGetUniformIndices, glGetUniformIndices)
FITS(gles30_glGetActiveUniformsiv, glGetActiveUniformsiv)
FITS(gles30_glGetUniformBlockIndex, glGetUniformBlockIndex)
FITS(gles30_glGetActiveUniformBlockiv, glGetActiveUniformBlockiv)
FITS(gles30_glGetActiveUniformBlockName, glGetActiveUniformBlockName)
FITS(gles30_glUniformBlockBinding, glUniformBlockBinding)
FITS(gles30_glGetProgramBinary, glGetProgramBinary)
FITS(gles30_glProgramBinary, glProgramBinary)
FITS(gles30_glProgramParameteri, glProgramParameteri)
FITS(gles31_glGetProgramInterfaceiv, glGetProgramInterfaceiv)
FITS(gles31_glGetProgramResourceIndex, glGetProgramResourceIndex)
FITS(gles31_glGetProgramResourceName, glGetProgramResourceName)
FITS(gles31_glGetProgramResourceiv, glGetProgramResourceiv)
FITS(gles31_glGetProgramResourceLocation, glGetProgramResourceLocation)
FITS(gles31_glUseProgramStages, glUseProgramStages)
FITS(gles31_glActiveShaderProgram, glActiveShaderProgram)
FITS(gles31_glCreateShaderProgramv, glCreateShaderProgramv)
FITS(gles31_glBindProgramPipeline, glBindProgramPipeline)
FITS(gles31_glIsProgramPipeline, glIsProgramPipeline)
FITS(gles31_glGetProgramPipelineiv, glGetProgramPipelineiv)
FITS(gles31_glProgramUniform1i, glProgramUniform1i)
FITS(gles31_glProgramUniform2i, glProgramUniform2i)
FITS(gles31_glProgramUniform3i, glProgramUniform3i)
FITS(gles31_glProgramUniform4i, glProgramUniform4i)
FITS(gles31_glProgramUniform1ui, glProgramUniform1ui)
FITS(gles31_glProgramUniform2ui, glProgramUniform2ui)
FITS(gles31_glProgramUniform3ui, glProgramUniform3ui)
FITS(gles31_glProgramUniform4ui, glProgramUniform4ui)
FITS(gles31_glProgramUniform1f, glProgramUniform1f)
FITS(gles31_glProgramUniform2f, glProgramUniform2f)
FITS(gles31_glProgramUniform3f, glProgramUniform3f)
FITS(gles31_glProgramUniform4f, glProgramUniform4f)
FITS(gles31_glProgramUniform1iv, glProgramUniform1iv)
FITS(gles31_glProgramUniform2iv, glProgramUniform2iv)
FITS(gles31_glProgramUniform3iv, glProgramUniform3iv)
FITS(gles31_glProgramUniform4iv, glProgramUniform4iv)
FITS(gles31_glProgramUniform1uiv, glProgramUniform1uiv)
FITS(gles31_glProgramUniform2uiv, glProgramUniform2uiv)
FITS(gles31_glProgramUniform3uiv, glProgramUniform3uiv)
FITS(gles31_glProgramUniform4uiv, glProgramUniform4uiv)
FITS(gles31_glProgramUniform1fv, glProgramUniform1fv)
FITS(gles31_glProgramUniform2fv, glProgramUniform2fv)
FITS(gles31_glProgramUniform3fv, glProgramUniform3fv)
FITS(gles31_glProgramUniform4fv, glProgramUniform4fv)
FITS(gles31_glProgramUniformMatrix2fv, glProgramUniformMatrix2fv)
FITS(gles31_glProgramUniformMatrix3fv, glProgramUniformMatrix3fv)
FITS(gles31_glProgramUniformMatrix4fv, glProgramUniformMatrix4fv)
FITS(gles31_glProgramUniformMatrix2x3fv, glProgramUniformMatrix2x3fv)
FITS(gles31_glProgramUniformMatrix3x2fv, glProgramUniformMatrix3x2fv)
FITS(gles31_glProgramUniformMatrix2x4fv, glProgramUniformMatrix2x4fv)
FITS(gles31_glProgramUniformMatrix4x2fv, glProgramUniformMatrix4x2fv)
FITS(gles31_glProgramUniformMatrix3x4fv, glProgramUniformMatrix3x4fv)
FITS(gles31_glProgramUniformMatrix4x3fv, glProgramUniformMatrix4x3fv)
FITS(gles31_glValidateProgramPipeline, glValidateProgramPipeline)
FITS(gles31_glGetProgramPipelineInfoLog, glGetProgramPipelineInfoLog)

TEST(rows, EachBuiltRowStandsOnceAndInTheTable)
{
    std::array<int, wire::inbound::row_count + 1> rows{};
    auto count = [&](const built_row* list, size_t size) {
        for (size_t i = 0; i < size; ++i) {
            ASSERT_LE(list[i].type, wire::inbound::row_count);
            ++rows[list[i].type];
            EXPECT_TRUE(message_is_built(list[i].type)) << list[i].type;
        }
    };
    for (const row_family& family : row_families)
        count(family.rows, *family.count);
    for (uint32_t type = 0; type <= wire::inbound::row_count; ++type)
        EXPECT_LE(rows[type], 1) << type;
}
} // namespace
