// Any bytes as a compressed frame of any description, with every check on or off: a file header and eight
// bytes of choices, then the buffer.

#include "tpakutil/tpak_main.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr size_t choices = 8;
constexpr int widest = 40; // pixels; more of them only repeat what few can show

/// A side of a frame, seldom more than a superblock's.
unsigned side_of(uint8_t choice)
{
    return choice < 240 ? 1u + choice % 16 : 17u + choice % 4;
}

/// A block that ends where its bytes do, so that a sanitizer sees a byte too much.
struct exact_bytes
{
    explicit exact_bytes(size_t size) : data{static_cast<uint8_t*>(std::malloc(size ? size : 1))} {}
    ~exact_bytes() { std::free(data); }
    exact_bytes(const exact_bytes&) = delete;
    exact_bytes& operator=(const exact_bytes&) = delete;
    uint8_t* data;
};

void choose_checks(tpak_frame_info& info, const uint8_t* choice, tpak_stripe* stripes)
{
    info.conformance = choice[0] & 1;
    info.zero_header_allowed = choice[0] >> 1 & 1;
    info.sparse_alloc = choice[0] >> 2 & 1;
    info.paging_tile_start_check = choice[0] >> 3 & 1;
    info.tree_bits_limit = choice[0] >> 4;
    info.payload_alignment = choice[1];
    info.payload_base = choice[2];
    info.stripe_height = choice[3];
    info.stripe_table = stripes;
    if (choice[4] & 1)
        info.frame_size = choice[5] << 4;
}

void decode_block(tpak_frame_info& info, const uint8_t* choice, const uint8_t* data, size_t size)
{
    choose_checks(info, choice, nullptr);
    const exact_bytes stream{size};
    std::memcpy(stream.data, data, size);
    const bool uncompressed = choice[6] & 1;
    uint32_t block[tpak_most_components][4][4] = {};
    const int taken = tpak_decode_block4x4(&info, choice[5] % info.nblocktypes, stream.data,
                                           static_cast<int>(size), uncompressed, block, 0);
    if (taken < -1 || taken > static_cast<int>(size))
        std::abort();
}

/// By planes, which every layout has.
void decode_planes(tpak_frame_info& info, const uint8_t* buffer, size_t size)
{
    uint32_t* planes[tpak_most_components];
    alloc_frame_planes(planes, info);
    decode_frame(info, buffer, static_cast<int>(size), planes);
    free_planes(planes);
}

/// By the classes, whose coders must show the same: the plain one and one of the others.
void decode_packed(const uint8_t* choice, const uint8_t* data, size_t size)
{
    const tpak_opts options{.yuv_trans = choice[0] & 1,
                            .version = 5,
                            .block_split = choice[0] >> 1 & 1,
                            .tiled = choice[0] % 64 > 60};
    const unsigned format = 1 + choice[1] % 3;
    const unsigned width = side_of(choice[2]);
    const unsigned height = side_of(choice[3]);
    constexpr tpak_coder fast_ones[] = {tpak_coder::portable, tpak_coder::avx2, tpak_coder::avx512};
    const size_t pixels = size_t{width} * height * (format + 1);
    const exact_bytes plain{pixels};
    const exact_bytes fast{pixels};
    TpakDecoder decoder{format, width, height, &options};
    const size_t length = decoder.getMaxFrameSize();
    const exact_bytes buffer{length};
    std::memset(buffer.data, 0, length);
    std::memcpy(buffer.data, data, size < length ? size : length);
    tpak_select_coder(tpak_coder::reference);
    decoder.decode(buffer.data, plain.data);
    if (!tpak_select_coder(fast_ones[choice[4] % 3]))
        return;
    decoder.decode(buffer.data, fast.data);
    if (std::memcmp(plain.data, fast.data, pixels) != 0)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < tpak_fileheader_size + choices)
        return 0;
    const uint8_t* choice = data + tpak_fileheader_size;
    const uint8_t* content = choice + choices;
    const size_t length = size - tpak_fileheader_size - choices;
    // Frames are made of single blocks, which take a hundredth of the time.
    const unsigned kind = choice[7] % 8;
    if (kind == 0) {
        decode_packed(choice, content, length);
        return 0;
    }
    tpak_frame_info info;
    unsigned long told;
    if (tpak_parse_fileheader(data, &info, &told) != 0)
        return 0;
    if (kind > 1) {
        decode_block(info, choice, content, length);
        return 0;
    }
    if (info.width > widest || info.height > widest || info.mbw > 2 || info.mbh > 2)
        return 0;
    tpak_stripe stripes[256];
    choose_checks(info, choice, stripes);
    const exact_bytes buffer{length};
    std::memcpy(buffer.data, content, length);
    decode_planes(info, buffer.data, length);
    return 0;
}
