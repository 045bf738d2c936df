// Any pixels through encoder and decoder: what comes out is what went in, and every coder makes the same
// bytes.

#include "tpakutil/tpak_main.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr size_t choices = 8;

void expect(bool condition)
{
    if (!condition)
        std::abort();
}

void packed_round_trip(const uint8_t* choice, const uint8_t* data, size_t size)
{
    const tpak_opts options{.yuv_trans = choice[1] & 1,
                            .version = 3 + choice[2] % 3,
                            .block_split = choice[1] >> 1 & 1,
                            .tiled = choice[1] >> 2 & 1};
    const unsigned format = 1 + choice[3] % 3;
    const unsigned width = 1 + choice[4] % 20;
    const unsigned height = 1 + choice[5] % 20;
    const bool reverse = choice[1] & 8;
    std::vector<uint8_t> pixels(size_t{width} * height * (format + 1));
    for (size_t i = 0; i < pixels.size() && size > 0; i++)
        pixels[i] = data[i % size];
    std::vector<uint8_t> plain;
    for (tpak_coder coder :
         {tpak_coder::reference, tpak_coder::portable, tpak_coder::avx2, tpak_coder::avx512}) {
        if (!tpak_select_coder(coder))
            continue;
        TpakEncoder encoder{format, width, height, &options};
        std::vector<uint8_t> buffer(encoder.getMaxFrameSize());
        expect(encoder.encode(pixels.data(), buffer.data(), reverse));
        expect(encoder.getEncodedFrameSize(buffer.data()) <= buffer.size());
        if (plain.empty())
            plain = buffer;
        expect(buffer == plain);
        TpakDecoder decoder{format, width, height, &options};
        std::vector<uint8_t> back(pixels.size());
        expect(decoder.decode(buffer.data(), back.data()));
        expect(reverse || back == pixels);
    }
}

void planes_round_trip(const uint8_t* choice, const uint8_t* data, size_t size)
{
    const int layout = choice[1] % tpak_layouts;
    const bool subsampled = sl_subsampling[layout] != 0;
    const int count = subsampled ? 3 : 1 + choice[2] % 4;
    // Depths whose every block a stream can hold.
    const int depth = 2 + choice[3] % (subsampled ? 11 : 13);
    int bits[] = {depth, depth, depth, 1 + choice[3] % 14};
    tpak_frame_info info;
    tpak_init_frame_info(&info, 2 * (1 + choice[4] % 18), 2 * (1 + choice[5] % 10), count, layout,
                         choice[6] & 1, choice[6] >> 1 & 1, bits);
    info.block_split = info.no_copy_at_split = choice[6] >> 2 & 1;
    info.copy_identical_blocks = choice[6] >> 3 & 1;
    info.solid_enabled = info.zero_header_allowed = choice[6] >> 4 & 1;
    info.fixed_superblock_positions = info.block_split || info.tiled;
    uint32_t* source[tpak_most_components];
    uint32_t* back[tpak_most_components];
    alloc_frame_planes(source, info);
    alloc_frame_planes(back, info);
    const auto plane_size = [&](int c) {
        const int sub = c > 0 ? sl_subsampling[layout] : 0;
        return static_cast<size_t>(info.width / (sub ? 2 : 1)) *
               static_cast<size_t>(info.height / (sub == 1 ? 2 : 1));
    };
    for (int c = 0; c < count && size > 0; c++) {
        for (size_t i = 0; i < plane_size(c); i++)
            source[c][i] = (data[(2 * i) % size] | data[(2 * i + static_cast<size_t>(c)) % size] << 8) &
                           ((1 << bits[c]) - 1);
    }
    std::vector<uint8_t> buffer(tpak_get_max_frame_size(&info));
    expect(encode_frame(info, source, buffer.data(), static_cast<int>(buffer.size())) > 0);
    info.frame_size = buffer.size();
    info.conformance = 1;
    decode_frame(info, buffer.data(), static_cast<int>(buffer.size()), back);
    expect(!info.conformance_error);
    for (int c = 0; c < count; c++)
        expect(std::memcmp(source[c], back[c], plane_size(c) * sizeof(uint32_t)) == 0);
    free_planes(source);
    free_planes(back);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < choices)
        return 0;
    if (data[0] & 1)
        packed_round_trip(data, data + choices, size - choices);
    else
        planes_round_trip(data, data + choices, size - choices);
    return 0;
}
