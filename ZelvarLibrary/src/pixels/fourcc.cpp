#include "pixels/fourcc.h"

#include "sidechannel_log.h"
#include "wire/api.h"

namespace {
enum class alpha : uint8_t
{
    kept,
    removed,
    removed_for_gles,
};

struct fourcc_row
{
    uint32_t code;
    uint8_t bits;
    uint32_t format;
    uint32_t type;
    alpha treatment;
};

constexpr uint32_t BGR = 0x80E0;
constexpr uint32_t BGRA = 0x80E1;
constexpr uint32_t UINT_8888 = 0x8035;
constexpr uint32_t USHORT_4444_REV = 0x8365;
constexpr uint32_t USHORT_1555_REV = 0x8366;
constexpr uint32_t single_channel = 0x38384752;

constexpr fourcc_row rows[] = {
    {0x34324752, 24, BGR, GL_UNSIGNED_BYTE, alpha::kept},
    {0x34324742, 24, GL_RGB, GL_UNSIGNED_BYTE, alpha::kept},
    {0x32314142, 16, BGRA, GL_UNSIGNED_SHORT_4_4_4_4, alpha::removed_for_gles},
    {0x32314152, 16, GL_RGBA, GL_UNSIGNED_SHORT_4_4_4_4, alpha::removed},
    {0x32314241, 16, GL_RGBA, USHORT_4444_REV, alpha::kept},
    {0x32315241, 16, BGRA, USHORT_4444_REV, alpha::kept},
    {0x34324142, 32, BGRA, UINT_8888, alpha::kept},
    {0x34325842, 32, BGRA, UINT_8888, alpha::kept},
    {0x34324152, 32, GL_RGBA, UINT_8888, alpha::kept},
    {0x34325852, 32, GL_RGBA, UINT_8888, alpha::removed},
    {0x34324241, 32, GL_RGBA, GL_UNSIGNED_BYTE, alpha::kept},
    {0x34324258, 32, GL_RGBA, GL_UNSIGNED_BYTE, alpha::kept},
    {0x34325241, 32, BGRA, GL_UNSIGNED_BYTE, alpha::kept},
    {0x34325258, 32, BGRA, GL_UNSIGNED_BYTE, alpha::kept},
    {0x35314142, 16, BGRA, GL_UNSIGNED_SHORT_5_5_5_1, alpha::removed_for_gles},
    {0x35314152, 16, GL_RGBA, GL_UNSIGNED_SHORT_5_5_5_1, alpha::removed},
    {0x35314241, 16, GL_RGBA, USHORT_1555_REV, alpha::removed_for_gles},
    {0x35315241, 16, BGRA, USHORT_1555_REV, alpha::removed},
    {0x36314752, 16, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, alpha::kept},
    {single_channel, 8, GL_RED, GL_UNSIGNED_BYTE, alpha::kept},
};

void fill(wire::winsys_buffer_object_descriptor* descriptor, const fourcc_row& row, fourcc_flavour flavour)
{
    descriptor->bits_per_pixel = row.bits;
    descriptor->format = row.format;
    descriptor->type = row.type;
    descriptor->remove_alpha = row.treatment == alpha::removed ||
                               (row.treatment == alpha::removed_for_gles && flavour == fourcc_for_gles);
}
} // namespace

bool zelvar_helper_breakdown_fourcc_color(uint32_t fourcc, wire::winsys_buffer_object_descriptor* descriptor,
                                          fourcc_flavour flavour)
{
    for (const fourcc_row& row : rows) {
        if (row.code != fourcc)
            continue;
        fill(descriptor, row, flavour);
        if (fourcc != single_channel)
            return true;
        break; // filled, but no road takes it yet
    }
    LOG_ERROR("Unknown/Unsupported DRM FourCC Color Code: 0x%X", fourcc);
    return false;
}
