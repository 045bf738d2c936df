// Whole frames: every kind there and back, bytes of any kind, and the classes.
#include "tpakutil/frames.h"

#include <cstring>

namespace {

/// Encodes and decodes one content of one kind of frame, the buffer ending at a guard page.
void go_round(const frame_kind& kind, const std::function<void(tpak_frame_info&)>& change, int content)
{
    tpak_frame_info info = kind.describe();
    change(info);
    frame_planes source{info};
    draw(source, content, kind.width);
    const int bound = static_cast<int>(tpak_get_max_frame_size(&info));
    const guarded_bytes buffer{bytes(size_t(bound), 0)};
    const int end = encode_frame(info, source.get(), buffer.data(), bound);
    EXPECT_GT(end, 0);
    EXPECT_LE(end, bound);
    info.frame_size = static_cast<uint64_t>(bound);
    info.conformance = 1;
    frame_planes back{info};
    decode_frame(info, buffer.data(), bound, back.get());
    EXPECT_FALSE(info.conformance_error);
    EXPECT_TRUE(source == back) << "layout " << kind.layout << " content " << content;
}

void go_round(
    const frame_kind& kind, const std::function<void(tpak_frame_info&)>& change = [](tpak_frame_info&) {})
{
    // Nothing is printed, by the codec or by what is expected of it above.
    EXPECT_EQ(printed_by([&] {
                  for (int content = 0; content < content_kinds; content++)
                      go_round(kind, change, content);
              }),
              "");
}

TEST(tpak_frames, EveryKindComesBack)
{
    // Deeper noise has quads of 16 bits and more, which a stream can't say.
    const std::vector<std::vector<int>> depths{{8, 8, 8, 8}, {8, 8, 8},    {5, 6, 5}, {10, 10, 10, 2},
                                               {14, 14, 14}, {5, 5, 5, 1}, {8},       {8, 8},
                                               {12, 12, 12}, {1, 1, 1}};
    for (int layout = 0; layout < tpak_layouts; layout++) {
        for (const auto& bits : depths) {
            // The size fields of subsampled layouts end at 12 bits.
            if (sl_subsampling[layout] != 0 && (bits.size() != 3 || bits[1] > 12))
                continue;
            for (int version = 3; version <= 5; version++) {
                for (int flags = 0; flags < 8; flags++) {
                    // Even sides, as subsampled pictures drop the odd pixel.
                    const frame_kind kind{.width = 54,
                                          .height = 26,
                                          .layout = layout,
                                          .bits = bits,
                                          .yuv = (flags & 1) != 0,
                                          .tiled = (flags & 2) != 0,
                                          .split = (flags & 4) != 0,
                                          .version = version};
                    if (kind.yuv && bits.size() >= 3 && (bits[1] == 1))
                        continue;
                    if (version < 5 && flags != 4 && layout != 0)
                        continue;
                    go_round(kind);
                }
            }
        }
    }
}

TEST(tpak_frames, OddSizesCropsAndFixedPlacesComeBack)
{
    for (int width : {1, 3, 15, 17, 33}) {
        for (int height : {1, 2, 31}) {
            go_round({.width = width, .height = height});
            go_round({.width = width, .height = height, .layout = 4, .yuv = true});
        }
    }
    go_round({.width = 40, .height = 40}, [](tpak_frame_info& info) {
        info.left_crop = 5;
        info.top_crop = 9;
        info.mbw = info.mbh = 4;
    });
    go_round({.width = 40, .height = 40}, [](tpak_frame_info& info) { info.fixed_superblock_positions = 1; });
    go_round({.width = 40, .height = 40}, [](tpak_frame_info& info) { info.force_uncompressed = 1; });
    go_round({.width = 40, .height = 40}, [](tpak_frame_info& info) { info.copy_identical_blocks = 1; });
}

TEST(tpak_frames, BufferTooSmallIsSaidForEachSuperblock)
{
    tpak_frame_info info = frame_kind{.width = 32, .height = 16}.describe();
    frame_planes source{info};
    draw(source, 1, 32);
    const guarded_bytes buffer{bytes(100, 0)};
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(encode_frame(info, source.get(), buffer.data(), 100), -1); }),
              "ERROR: buffer overflow, internal consistency failure\n"
              "ERROR: buffer overflow, internal consistency failure\n");
}

TEST(tpak_frames, AnyBytesAreDecodedWithinTheirBuffer)
{
    std::mt19937 random{7};
    for (int round = 0; round < 3000; round++) {
        bytes header(32, 0);
        for (uint8_t& byte : header)
            byte = uint8_t(random());
        std::memcpy(header.data(), "TPAK", 4);
        header[4] = 32;
        header[6] = uint8_t(3 + random() % 3);
        header[12] = uint8_t(1 + random() % 4);
        header[13] = uint8_t(random() % 7);
        for (size_t i = 16; i < 20; i++)
            header[i] = uint8_t(random() % 18);
        for (size_t i : {20, 22, 24, 26}) {
            header[i] = uint8_t(random() % (i < 24 ? 6 : 70));
            header[i + 1] = 0;
        }
        tpak_frame_info info;
        unsigned long size;
        if (tpak_parse_fileheader(header.data(), &info, &size) != 0)
            continue;
        info.conformance = random() % 2;
        info.tree_bits_limit = random() % 4;
        info.sparse_alloc = random() % 2;
        info.payload_alignment = random() % 2 * 64;
        info.paging_tile_start_check = 1;
        const size_t length = random() % 3000;
        info.frame_size = random() % 2 ? length : ~uint64_t{0};
        bytes content(length);
        for (uint8_t& byte : content)
            byte = random() % 3 ? uint8_t(random()) : uint8_t(random() % 4);
        const guarded_bytes buffer{content};
        frame_planes planes{info};
        printed_by([&] { decode_frame(info, buffer.data(), static_cast<int>(length), planes.get()); });
    }
}

// The classes.

bytes picture(unsigned width, unsigned height, unsigned bytes_per_pixel, int content)
{
    std::mt19937 random{9};
    bytes pixels(size_t{width} * height * bytes_per_pixel);
    for (size_t i = 0; i < pixels.size(); i++)
        pixels[i] = content == 0 ? uint8_t(random()) : content == 1 ? uint8_t(i / 37 * 3) : uint8_t(0x41);
    return pixels;
}

struct encoded_frame
{
    bytes data;
    unsigned long size;
};

encoded_frame encode(unsigned format, unsigned width, unsigned height, const bytes& pixels,
                     const tpak_opts& opts, bool reverse = false)
{
    TpakEncoder encoder{format, width, height, &opts};
    const guarded_bytes source{pixels};
    const guarded_bytes target{bytes(encoder.getMaxFrameSize(), 0)};
    EXPECT_TRUE(encoder.encode(source.data(), target.data(), reverse));
    const unsigned long size = encoder.getEncodedFrameSize(target.data());
    bytes file_header(32);
    encoder.writeFileHeader(file_header.data());
    tpak_frame_info info;
    unsigned long told = 0;
    EXPECT_EQ(tpak_parse_fileheader(file_header.data(), &info, &told), 0);
    if (opts.tiled || !opts.block_split) {
        EXPECT_EQ(told, opts.tiled ? encoder.getMaxFrameSize() : size);
    }
    return {bytes(target.data(), target.data() + encoder.getMaxFrameSize()), size};
}

bytes decode(unsigned format, unsigned width, unsigned height, const bytes& data, const tpak_opts& opts)
{
    TpakDecoder decoder{format, width, height, &opts};
    const guarded_bytes source{data};
    const guarded_bytes target{bytes(size_t{width} * height * (format + 1), 0)};
    EXPECT_TRUE(decoder.decode(source.data(), target.data()));
    return bytes(target.data(), target.data() + size_t{width} * height * (format + 1));
}

TEST(tpak_classes, FramesComeBack)
{
    for (unsigned format = 1; format <= 3; format++) {
        for (int content = 0; content < 3; content++) {
            for (int flags = 0; flags < 24; flags++) {
                const tpak_opts opts{.yuv_trans = flags & 1,
                                     .version = 3 + flags / 8,
                                     .block_split = flags >> 1 & 1,
                                     .tiled = flags >> 2 & 1};
                const bytes pixels = picture(45, 19, format + 1, content);
                EXPECT_EQ(decode(format, 45, 19, encode(format, 45, 19, pixels, opts).data, opts), pixels);
            }
        }
    }
}

TEST(tpak_classes, SizesOfSolidFrames)
{
    const bytes pixels(100 * 50 * 4, 0x33);
    EXPECT_EQ(encode(3, 100, 50, pixels, {.version = 5}).size, 7u * 4 * 16);
    EXPECT_GT(encode(3, 100, 50, pixels, {.version = 4}).size, 7u * 4 * 16)
        << "an older version has no solid superblocks";
    const tpak_opts tiled{.version = 5, .tiled = 1};
    EXPECT_EQ(encode(3, 100, 50, pixels, tiled).size, 7u * 4 * 16) << "padding isn't counted";
}

TEST(tpak_classes, ReversedComponentsComeBackExchanged)
{
    const tpak_opts opts{.yuv_trans = 1, .version = 5};
    const bytes pixels{0x1f, 0x00, 0x00, 0xf8, 0xe0, 0x07, 0x34, 0x12}; // blue, red, green, any
    const auto swapped = [](unsigned v) { return (v & 0x7e0) | v >> 11 | (v & 31) << 11; };
    const bytes back = decode(1, 4, 1, encode(1, 4, 1, pixels, opts, true).data, opts);
    for (size_t i = 0; i < 8; i += 2)
        EXPECT_EQ(back[i] | back[i + 1] << 8, int(swapped(unsigned(pixels[i] | pixels[i + 1] << 8))));
    EXPECT_EQ(decode(1, 4, 1, encode(1, 4, 1, pixels, opts, false).data, opts), pixels);
}

TEST(tpak_classes, OptionsThatCountAndThoseThatDoNot)
{
    const tpak_opts opts{.crop_top = 5,
                         .crop_left = -1,
                         .crop_height = 3,
                         .crop_width = 2,
                         .yuv_trans = -1,
                         .sparse_alloc = 1,
                         .version = 4,
                         .block_split = 1,
                         .tiled = 2};
    const TpakEncoder encoder{3, 64, 64, &opts};
    const tpak_frame_info& info = encoder.frame_info();
    EXPECT_EQ(info.top_crop + info.left_crop + info.sparse_alloc, 0) << "a frame is never cropped";
    EXPECT_EQ(info.width, 64);
    EXPECT_EQ(info.yuv_transform, 0);
    EXPECT_EQ(info.tiled, 1);
    EXPECT_EQ(info.version, 4);
    EXPECT_EQ(info.solid_enabled, 0);
    EXPECT_EQ(info.zero_header_allowed, 1);
    EXPECT_NE(info.no_copy_at_split, 0);
    EXPECT_NE(info.fixed_superblock_positions, 0);
    const tpak_opts two{.yuv_trans = 2, .version = 5};
    EXPECT_EQ((TpakEncoder{3, 4, 4, &two}).frame_info().yuv_transform, 0) << "only 1 turns it on";
}

TEST(tpak_classes, WithoutAFrame)
{
    const tpak_opts opts{.version = 5};
    EXPECT_EQ(printed_by([&] {
                  TpakDecoder decoder{4, 16, 16, &opts};
                  EXPECT_EQ(decoder.getMaxFrameSize(), 0u);
                  EXPECT_EQ(decoder.getEncodedFrameSize(nullptr), 0u);
                  EXPECT_FALSE(decoder.decode(nullptr, nullptr));
              }),
              "[TPAK] format unknown for encoder: 4.\n");
    TpakEncoder huge{3, 60000, 60000, &opts};
    EXPECT_FALSE(huge.encode(nullptr, nullptr, false)) << "beyond 31 bits";
    EXPECT_EQ((TpakEncoder{3, ~0u, 1, &opts}).getMaxFrameSize(), 0u);
}

} // namespace
