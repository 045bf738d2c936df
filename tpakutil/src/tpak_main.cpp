#include "tpakutil/tpak_main.h"

#include "packed_frame.h"

#include <atomic>
#include <cstdio>
#include <iterator>

using namespace tpakutil;

namespace {

constexpr unsigned widest_side = 1u << 24; // pixels; keeps every size within 64 bits
constexpr int version_with_solid = 5;

struct pixel_format
{
    int ncomponents;
    int bits[tpak_most_components];
};
constexpr pixel_format formats[] = {{3, {5, 6, 5}}, {3, {8, 8, 8}}, {4, {8, 8, 8, 8}}};

std::atomic<const packed_coder*> selected_coder{nullptr};

const packed_coder* coder_named(tpak_coder wanted)
{
    switch (wanted) {
    case tpak_coder::reference:
        return &reference_coder;
    case tpak_coder::portable:
        return &portable_coder;
    case tpak_coder::avx2:
        return has_avx2() ? &avx2_coder : nullptr;
    case tpak_coder::avx512:
        return has_avx512() ? &avx512_coder : nullptr;
    default:
        return has_avx512() ? &avx512_coder : has_avx2() ? &avx2_coder : &portable_coder;
    }
}

const packed_coder& coder()
{
    const packed_coder* found = selected_coder.load(std::memory_order_acquire);
    if (!found) {
        found = coder_named(tpak_coder::best);
        selected_coder.store(found, std::memory_order_release);
    }
    return *found;
}

int zero_if_unset(int32_t value)
{
    return value == -1 ? 0 : value;
}

} // namespace

bool tpak_select_coder(tpak_coder wanted)
{
    const packed_coder* found = coder_named(wanted);
    if (found)
        selected_coder.store(found, std::memory_order_release);
    return found != nullptr;
}

TpakBase::TpakBase(unsigned format, unsigned width, unsigned height, const tpak_opts* opts)
{
    // The description is made anew below, so that a frame is never cropped and its superblocks are never
    // spaced.
    _info.top_crop = zero_if_unset(opts->crop_top);
    _info.left_crop = zero_if_unset(opts->crop_left);
    _info.sparse_alloc = zero_if_unset(opts->sparse_alloc);
    if (format < 1 || format > std::size(formats)) {
        std::printf("[TPAK] format unknown for encoder: %d.\n", static_cast<int>(format));
        return;
    }
    if (width > widest_side || height > widest_side)
        return;
    pixel_format chosen = formats[format - 1];
    tpak_init_frame_info(&_info, static_cast<int>(width), static_cast<int>(height), chosen.ncomponents, 0,
                         opts->yuv_trans == 1, opts->tiled != 0, chosen.bits);
    _info.version = opts->version;
    _info.block_split = opts->block_split;
    _info.zero_header_allowed = 1;
    _info.solid_enabled = opts->version >= version_with_solid;
    _info.no_copy_at_split = opts->block_split != 0;
    _info.fixed_superblock_positions = opts->block_split != 0 || opts->tiled != 0;
    _valid = true;
}

TpakBase::~TpakBase() = default;
TpakEncoder::~TpakEncoder() = default;
TpakDecoder::~TpakDecoder() = default;

unsigned long TpakBase::getMaxFrameSize() const
{
    return _valid ? tpak_get_max_frame_size(&_info) : 0;
}

unsigned long TpakBase::getEncodedFrameSize(const unsigned char* buffer)
{
    if (!_valid)
        return 0;
    const unsigned long superblocks =
        static_cast<unsigned long>(_info.mbw) * static_cast<unsigned long>(_info.mbh);
    unsigned long size = 0;
    for (unsigned long i = 0; i < superblocks; i++) {
        unsigned payload_offset;
        unsigned long offsets[tpak_most_subblocks];
        unsigned char sizes[tpak_most_subblocks];
        unsigned char forms[tpak_most_subblocks];
        size += tpak_parse_header_block(&_info, buffer + i * tpak_header_block_size, &payload_offset, offsets,
                                        sizes, forms);
        size += tpak_header_block_size;
    }
    return size;
}

bool TpakEncoder::encode(const uint8_t* pixels, uint8_t* buffer, bool reverse_components,
                         tpak_threads* threads)
{
    const unsigned long largest = getMaxFrameSize();
    if (!is_within_31_bits(largest))
        return false;
    const auto bound = static_cast<int>(largest);
    const int end = coder().encode(_info, pixels, buffer, bound, reverse_components, threads);
    const int size = _info.tiled ? bound : end;
    if (size > 0)
        _info.frame_size = static_cast<uint64_t>(size);
    return true;
}

void TpakEncoder::writeFileHeader(unsigned char* buffer) const
{
    tpak_write_fileheader(&_info, static_cast<int>(_info.frame_size), buffer);
}

bool TpakDecoder::decode(const unsigned char* buffer, unsigned char* pixels)
{
    const unsigned long size = getMaxFrameSize();
    _info.frame_size = size;
    if (size == 0 || !is_within_31_bits(size))
        return false;
    coder().decode(_info, buffer, static_cast<int>(size), pixels);
    return true;
}
