// A wrong handler signature would silently be the wire. Here each handler meets the published prototype of
// its entry point: as many arguments, each as wide.

#include "handlers/egl/egl_handlers.h"
#include "handlers/gles/gles_handlers.h"
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
