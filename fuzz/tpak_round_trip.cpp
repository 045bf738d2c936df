// Any pixels through encoder and decoder: what comes out is what went in, and a fast coder makes the
// bytes of the plain one.

#include "tpakutil/tpak_main.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr size_t choices = 8;

/// A side of a frame. Seldom more than a superblock's: each costs as much again, and few are needed to show
/// what is between them.
int side_of(uint8_t choice)
{
    return choice < 240 ? 1 + choice % 16 : 17 + choice % 4;
}

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
                            .tiled = choice[1] % 64 > 60};
    const unsigned format = 1 + choice[3] % 3;
    const auto width = static_cast<unsigned>(side_of(choice[4]));
    const auto height = static_cast<unsigned>(side_of(choice[5]));
    const bool reverse = choice[1] & 8;
    constexpr tpak_coder fast_ones[] = {tpak_coder::portable, tpak_coder::avx2, tpak_coder::avx512};
    std::vector<uint8_t> pixels(size_t{width} * height * (format + 1));
    for (size_t i = 0; i < pixels.size() && size > 0; i++)
        pixels[i] = data[i % size];
    std::vector<uint8_t> plain;
    for (tpak_coder coder : {tpak_coder::reference, fast_ones[choice[6] % 3]}) {
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

/// A frame of any layout, of depths whose every block a stream can hold.
void describe(const uint8_t* choice, int* bits, tpak_frame_info& info)
{
    const int layout = choice[1] % tpak_layouts;
    const bool subsampled = sl_subsampling[layout] != 0;
    const int count = subsampled ? 3 : 1 + choice[2] % 4;
    const int depth = 2 + choice[3] % (subsampled ? 11 : 13);
    bits[0] = bits[1] = bits[2] = depth;
    bits[3] = 1 + choice[3] % 14;
    const int across = superblock_width[layout] / 16;
    const int width = (side_of(choice[4]) + 1) / 2 * 2 * across;
    const int height = (side_of(choice[5]) + 2 * across - 1) / (2 * across) * 2;
    tpak_init_frame_info(&info, width, height, count, layout, choice[6] & 1, choice[7] > 250, bits);
}

void block_round_trip(const uint8_t* choice, const uint8_t* data, size_t size)
{
    int bits[tpak_most_components];
    tpak_frame_info info;
    describe(choice, bits, info);
    const int type = choice[7] % info.nblocktypes;
    const int count = info.ncomponents_of_type[type];
    unsigned source[tpak_most_components][16] = {};
    for (int c = 0; c < count && size > 0; c++) {
        for (size_t i = 0; i < 16; i++) {
            const size_t place = 2 * (16 * static_cast<size_t>(c) + i);
            source[c][i] = (data[place % size] | data[(place + 1) % size] << 8) &
                           ((1 << bits[info.first_component_of_type[type] + c]) - 1);
        }
    }
    unsigned transformed[tpak_most_components][16];
    std::memcpy(transformed, source, sizeof source);
    const int room = info.uncompressed_block_size[type];
    const std::unique_ptr<uint8_t[]> stream{new uint8_t[static_cast<size_t>(room)]};
    long long key;
    int uncompressed;
    const int length = tpak_encode_block4x4(&info, type, transformed, stream.get(), room, &key, &uncompressed,
                                            choice[6] >> 1 & 1, choice[6] >> 2 & 1);
    expect(length > 0 && length <= room);
    info.conformance = 1;
    unsigned back[tpak_most_components][4][4] = {};
    const int taken = tpak_decode_block4x4(&info, type, stream.get(), length, uncompressed, back, 0);
    expect(taken > 0 && taken <= length && !info.conformance_error);
    expect(std::memcmp(source, back, sizeof source[0] * static_cast<size_t>(count)) == 0);
}

void planes_round_trip(const uint8_t* choice, const uint8_t* data, size_t size)
{
    int bits[tpak_most_components];
    tpak_frame_info info;
    describe(choice, bits, info);
    const int layout = info.layout;
    const int count = info.ncomponents_of_type[0] + info.ncomponents_of_type[1];
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
    // Frames are made of single blocks, which take a hundredth of the time.
    const uint8_t* content = data + choices;
    switch (data[0] % 8) {
    case 0:
        packed_round_trip(data, content, size - choices);
        break;
    case 1:
        planes_round_trip(data, content, size - choices);
        break;
    default:
        block_round_trip(data, content, size - choices);
    }
    return 0;
}
