#include "pixels/fourcc.h"
#include "sidechannel_log.h"
#include "support/library.h"
#include "wire/api.h"

#include <gtest/gtest.h>

namespace {
uint32_t code(const char (&text)[5])
{
    return uint32_t(text[0]) | uint32_t(text[1]) << 8 | uint32_t(text[2]) << 16 | uint32_t(text[3]) << 24;
}

wire::winsys_buffer_object_descriptor breakdown(uint32_t fourcc, fourcc_flavour flavour, bool known = true)
{
    wire::winsys_buffer_object_descriptor d{};
    EXPECT_EQ(zelvar_helper_breakdown_fourcc_color(fourcc, &d, flavour), known);
    return d;
}

TEST(fourcc, NamesReadAsTheyAreWritten)
{
    auto d = breakdown(code("AB24"), fourcc_for_gles);
    EXPECT_EQ(d.format, uint32_t{GL_RGBA});
    EXPECT_EQ(d.type, uint32_t{GL_UNSIGNED_BYTE});
    EXPECT_EQ(d.bits_per_pixel, 32);
    EXPECT_EQ(d.remove_alpha, 0);
    d = breakdown(code("RG16"), fourcc_for_gles);
    EXPECT_EQ(d.type, uint32_t{GL_UNSIGNED_SHORT_5_6_5});
    EXPECT_EQ(d.bits_per_pixel, 16);
    EXPECT_EQ(breakdown(code("RX24"), fourcc_for_model).remove_alpha, 1);
}

TEST(fourcc, SomeAlphasGoForOneFlavourOnly)
{
    for (uint32_t c : {code("BA12"), code("BA15"), code("AB15")}) {
        EXPECT_EQ(breakdown(c, fourcc_for_gles).remove_alpha, 1) << std::hex << c;
        EXPECT_EQ(breakdown(c, fourcc_for_model).remove_alpha, 0) << std::hex << c;
    }
    EXPECT_EQ(breakdown(code("RA12"), fourcc_for_model).remove_alpha, 1);
}

TEST(fourcc, SingleChannelIsFilledAndRefused)
{
    std::string printed = library::printed_by([] {
        sidechannel_set_log_level(2);
        auto d = breakdown(code("RG88"), fourcc_for_gles, false);
        EXPECT_EQ(d.format, uint32_t{GL_RED});
        EXPECT_EQ(d.bits_per_pixel, 8);
        breakdown(code("NV12"), fourcc_for_gles, false);
    });
    EXPECT_EQ(library::occurrences(printed, "ERROR [ZELVAR] Unknown/Unsupported DRM FourCC Color Code: 0x"),
              2u);
}
} // namespace
