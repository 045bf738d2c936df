// A wrong handler signature would silently be the wire. Here each handler meets the published prototype of
// its entry point: as many arguments, each as wide.

#include "handlers/egl/egl_handlers.h"
#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/framebuffers_handlers.h"
#include "handlers/gles/gles_handlers.h"
#include "handlers/gles/gles_programs.h"
#include "handlers/gles/textures_handlers.h"
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

// Buffers, vertex arrays, draws. glUnmapBuffer has a stage that its prototype lacks.
FITS(gles20_glBindBuffer, glBindBuffer)
FITS(gles30_glBindBufferBase, glBindBufferBase)
FITS(gles30_glBindBufferRange, glBindBufferRange)
FITS(gles20_glIsBuffer, glIsBuffer)
FITS(gles20_glBufferData, glBufferData)
FITS(gles20_glBufferSubData, glBufferSubData)
FITS(gles30_glCopyBufferSubData, glCopyBufferSubData)
FITS(gles20_glGetBufferParameteriv, glGetBufferParameteriv)
FITS(gles30_glGetBufferParameteri64v, glGetBufferParameteri64v)
FITS(gles30_glMapBufferRange, glMapBufferRange)
FITS(gles30_glFlushMappedBufferRange, glFlushMappedBufferRange)
FITS(gles30_glGetBufferPointerv, glGetBufferPointerv)
FITS(gles30_glBindVertexArray, glBindVertexArray)
FITS(gles20_glBindVertexArrayOES, glBindVertexArrayOES)
FITS(gles30_glIsVertexArray, glIsVertexArray)
FITS(gles20_glIsVertexArrayOES, glIsVertexArrayOES)
FITS(gles20_glVertexAttribPointer, glVertexAttribPointer)
FITS(gles30_glVertexAttribIPointer, glVertexAttribIPointer)
FITS(gles20_glEnableVertexAttribArray, glEnableVertexAttribArray)
FITS(gles20_glDisableVertexAttribArray, glDisableVertexAttribArray)
FITS(gles30_glVertexAttribDivisor, glVertexAttribDivisor)
FITS(gles31_glVertexAttribBinding, glVertexAttribBinding)
FITS(gles31_glBindVertexBuffer, glBindVertexBuffer)
FITS(gles31_glVertexAttribFormat, glVertexAttribFormat)
FITS(gles31_glVertexAttribIFormat, glVertexAttribIFormat)
FITS(gles31_glVertexBindingDivisor, glVertexBindingDivisor)
FITS(gles20_glVertexAttrib1f, glVertexAttrib1f)
FITS(gles20_glVertexAttrib2f, glVertexAttrib2f)
FITS(gles20_glVertexAttrib3f, glVertexAttrib3f)
FITS(gles20_glVertexAttrib4f, glVertexAttrib4f)
FITS(gles30_glVertexAttribI4i, glVertexAttribI4i)
FITS(gles30_glVertexAttribI4ui, glVertexAttribI4ui)
FITS(gles20_glVertexAttrib1fv, glVertexAttrib1fv)
FITS(gles20_glVertexAttrib2fv, glVertexAttrib2fv)
FITS(gles20_glVertexAttrib3fv, glVertexAttrib3fv)
FITS(gles20_glVertexAttrib4fv, glVertexAttrib4fv)
FITS(gles30_glVertexAttribI4iv, glVertexAttribI4iv)
FITS(gles30_glVertexAttribI4uiv, glVertexAttribI4uiv)
FITS(gles20_glGetVertexAttribfv, glGetVertexAttribfv)
FITS(gles20_glGetVertexAttribiv, glGetVertexAttribiv)
FITS(gles30_glGetVertexAttribIiv, glGetVertexAttribIiv)
FITS(gles30_glGetVertexAttribIuiv, glGetVertexAttribIuiv)
FITS(gles20_glGetVertexAttribPointerv, glGetVertexAttribPointerv)
FITS(gles20_glDrawArrays, glDrawArrays)
FITS(gles30_glDrawArraysInstanced, glDrawArraysInstanced)
FITS(gles31_glDrawArraysIndirect, glDrawArraysIndirect)
FITS(gles20_glDrawElements, glDrawElements)
FITS(gles30_glDrawRangeElements, glDrawRangeElements)
FITS(gles30_glDrawElementsInstanced, glDrawElementsInstanced)
FITS(gles31_glDrawElementsIndirect, glDrawElementsIndirect)
FITS(gles31_glDispatchCompute, glDispatchCompute)
FITS(gles31_glDispatchComputeIndirect, glDispatchComputeIndirect)
FITS(gles31_glMemoryBarrier, glMemoryBarrier)
FITS(gles31_glMemoryBarrierByRegion, glMemoryBarrierByRegion)
FITS(gles30_glBeginTransformFeedback, glBeginTransformFeedback)
FITS(gles30_glEndTransformFeedback, glEndTransformFeedback)
FITS(gles30_glPauseTransformFeedback, glPauseTransformFeedback)
FITS(gles30_glResumeTransformFeedback, glResumeTransformFeedback)
FITS(gles30_glBindTransformFeedback, glBindTransformFeedback)
FITS(gles30_glIsTransformFeedback, glIsTransformFeedback)
FITS(gles30_glBeginQuery, glBeginQuery)
FITS(gles20_glBeginQueryEXT, glBeginQueryEXT)
FITS(gles30_glEndQuery, glEndQuery)
FITS(gles20_glEndQueryEXT, glEndQueryEXT)
FITS(gles30_glGetQueryiv, glGetQueryiv)
FITS(gles20_glGetQueryivEXT, glGetQueryivEXT)
FITS(gles30_glGetQueryObjectuiv, glGetQueryObjectuiv)
FITS(gles20_glGetQueryObjectuivEXT, glGetQueryObjectuivEXT)
FITS(gles30_glIsQuery, glIsQuery)
FITS(gles20_glIsQueryEXT, glIsQueryEXT)
FITS(gles30_glFenceSync, glFenceSync)
FITS(gles30_glIsSync, glIsSync)
FITS(gles30_glDeleteSync, glDeleteSync)
FITS(gles30_glClientWaitSync, glClientWaitSync)
FITS(gles30_glWaitSync, glWaitSync)
FITS(gles30_glGetSynciv, glGetSynciv)
FITS(gles30_glClearBufferiv, glClearBufferiv)
FITS(gles30_glClearBufferuiv, glClearBufferuiv)
FITS(gles30_glClearBufferfv, glClearBufferfv)
FITS(gles30_glClearBufferfi, glClearBufferfi)
FITS(gles31_glBindImageTexture, glBindImageTexture)
FITS(gles20_glBlendColor, glBlendColor)
FITS(gles20_glBlendEquation, glBlendEquation)
FITS(gles20_glBlendEquationSeparate, glBlendEquationSeparate)
FITS(gles20_glBlendFunc, glBlendFunc)
FITS(gles20_glBlendFuncSeparate, glBlendFuncSeparate)
FITS(gles20_glCullFace, glCullFace)
FITS(gles20_glDepthFunc, glDepthFunc)
FITS(gles20_glStencilFunc, glStencilFunc)
FITS(gles20_glStencilFuncSeparate, glStencilFuncSeparate)
FITS(gles20_glStencilOp, glStencilOp)
FITS(gles20_glStencilOpSeparate, glStencilOpSeparate)
FITS(gles31_glSampleMaski, glSampleMaski)
FITS(gles31_glGetMultisamplefv, glGetMultisamplefv)
FITS(gles20_glBindFramebuffer, glBindFramebuffer)
FITS(gles20_glIsFramebuffer, glIsFramebuffer)
FITS(gles20_glCheckFramebufferStatus, glCheckFramebufferStatus)
FITS(gles30_glReadBuffer, glReadBuffer)
FITS(gles30_glDrawBuffers, glDrawBuffers)
FITS(gles31_glFramebufferParameteri, glFramebufferParameteri)
FITS(gles31_glGetFramebufferParameteriv, glGetFramebufferParameteriv)
FITS(gles20_glFramebufferRenderbuffer, glFramebufferRenderbuffer)
FITS(gles20_glFramebufferTexture2D, glFramebufferTexture2D)
FITS(gles20_glFramebufferTexture2DMultisampleEXT, glFramebufferTexture2DMultisampleEXT)
FITS(gles20_glFramebufferTexture3DOES, glFramebufferTexture3DOES)
FITS(gles30_glFramebufferTextureLayer, glFramebufferTextureLayer)
FITS(gles20_glGetFramebufferAttachmentParameteriv, glGetFramebufferAttachmentParameteriv)
FITS(gles30_glBlitFramebuffer, glBlitFramebuffer)
FITS(gles30_glInvalidateFramebuffer, glInvalidateFramebuffer)
FITS(gles30_glInvalidateSubFramebuffer, glInvalidateSubFramebuffer)
FITS(gles20_glDiscardFramebufferEXT, glDiscardFramebufferEXT)
FITS(gles20_glBindRenderbuffer, glBindRenderbuffer)
FITS(gles20_glIsRenderbuffer, glIsRenderbuffer)
FITS(gles20_glRenderbufferStorage, glRenderbufferStorage)
FITS(gles30_glRenderbufferStorageMultisample, glRenderbufferStorageMultisample)
FITS(gles20_glRenderbufferStorageMultisampleEXT, glRenderbufferStorageMultisampleEXT)
FITS(gles20_glGetRenderbufferParameteriv, glGetRenderbufferParameteriv)

// Textures and samplers.
FITS(gles20_glActiveTexture, glActiveTexture)
FITS(gles20_glBindTexture, glBindTexture)
FITS(gles20_glIsTexture, glIsTexture)
FITS(gles20_glGenerateMipmap, glGenerateMipmap)
FITS(gles20_glTexParameterf, glTexParameterf)
FITS(gles20_glTexParameterfv, glTexParameterfv)
FITS(gles20_glTexParameteri, glTexParameteri)
FITS(gles20_glTexParameteriv, glTexParameteriv)
FITS(gles20_glGetTexParameterfv, glGetTexParameterfv)
FITS(gles20_glGetTexParameteriv, glGetTexParameteriv)
FITS(gles31_glGetTexLevelParameterfv, glGetTexLevelParameterfv)
FITS(gles31_glGetTexLevelParameteriv, glGetTexLevelParameteriv)
FITS(gles30_glGetInternalformativ, glGetInternalformativ)
FITS(gles20_glTexImage2D, glTexImage2D)
FITS(gles30_glTexImage3D, glTexImage3D)
FITS(gles20_glEGLImageTargetTexture2DOES, glEGLImageTargetTexture2DOES)
FITS(gles20_glEGLImageTargetRenderbufferStorageOES, glEGLImageTargetRenderbufferStorageOES)
FITS(gles20_glTexImage3DOES, glTexImage3DOES)
FITS(gles20_glTexSubImage2D, glTexSubImage2D)
FITS(gles30_glTexSubImage3D, glTexSubImage3D)
FITS(gles20_glTexSubImage3DOES, glTexSubImage3DOES)
FITS(gles20_glCompressedTexImage2D, glCompressedTexImage2D)
FITS(gles20_glCompressedTexSubImage2D, glCompressedTexSubImage2D)
FITS(gles30_glCompressedTexImage3D, glCompressedTexImage3D)
FITS(gles20_glCompressedTexImage3DOES, glCompressedTexImage3DOES)
FITS(gles30_glCompressedTexSubImage3D, glCompressedTexSubImage3D)
FITS(gles20_glCompressedTexSubImage3DOES, glCompressedTexSubImage3DOES)
FITS(gles20_glTexStorage1DEXT, glTexStorage1DEXT)
FITS(gles30_glTexStorage2D, glTexStorage2D)
FITS(gles20_glTexStorage2DEXT, glTexStorage2DEXT)
FITS(gles30_glTexStorage3D, glTexStorage3D)
FITS(gles20_glTexStorage3DEXT, glTexStorage3DEXT)
FITS(gles31_glTexStorage2DMultisample, glTexStorage2DMultisample)
FITS(gles20_glCopyTexImage2D, glCopyTexImage2D)
FITS(gles20_glCopyTexSubImage2D, glCopyTexSubImage2D)
FITS(gles30_glCopyTexSubImage3D, glCopyTexSubImage3D)
FITS(gles20_glCopyTexSubImage3DOES, glCopyTexSubImage3DOES)
FITS(gles30_glIsSampler, glIsSampler)
FITS(gles30_glBindSampler, glBindSampler)
FITS(gles30_glSamplerParameterf, glSamplerParameterf)
FITS(gles30_glSamplerParameterfv, glSamplerParameterfv)
FITS(gles30_glSamplerParameteri, glSamplerParameteri)
FITS(gles30_glSamplerParameteriv, glSamplerParameteriv)
FITS(gles30_glGetSamplerParameterfv, glGetSamplerParameterfv)
FITS(gles30_glGetSamplerParameteriv, glGetSamplerParameteriv)
#define ZELVAR_OBJECT_KIND(group, gen, remove, kind) FITS(group##_##gen, gen) FITS(group##_##remove, remove)
#include "handlers/gles/object_kinds.inc"
#undef ZELVAR_OBJECT_KIND

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
