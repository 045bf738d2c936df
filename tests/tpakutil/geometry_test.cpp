// Sizes, orders and indexes, against numbers worked out by hand.
#include "tpakutil/frames.h"

#include <set>

namespace {

TEST(tpak_geometry, BlockSizesFollowTheDepths)
{
    struct
    {
        std::vector<int> bits;
        int layout;
        int uncompressed[2];
        int unit[2];
    } const rows[]{
        {{5, 6, 5}, 0, {32, 0}, {1, 1}},
        {{8, 8, 8}, 0, {48, 0}, {1, 1}},
        {{8, 8, 8, 8}, 3, {64, 0}, {1, 1}},
        {{16, 16, 16}, 4, {96, 0}, {2, 1}},
        {{1}, 0, {2, 0}, {1, 1}},
        {{8, 8, 8}, 1, {16, 32}, {1, 1}},
        {{10, 10, 10}, 5, {20, 40}, {1, 2}},
        {{8, 8, 8}, 2, {16, 32}, {1, 2}},
        {{10, 10, 10}, 6, {20, 40}, {2, 3}},
    };
    for (const auto& row : rows) {
        const tpak_frame_info info = frame_kind{.layout = row.layout, .bits = row.bits}.describe();
        for (int type = 0; type < info.nblocktypes; type++) {
            EXPECT_EQ(info.uncompressed_block_size[type], row.uncompressed[type]);
            EXPECT_EQ(info.size_unit[type], row.unit[type]);
        }
        EXPECT_EQ(info.payload_offset_bits + info.nsubblocks * info.subblock_size_bits, 128);
    }
}

TEST(tpak_geometry, TransformWidensTheBodyWhereThereAreThreeComponentsInOneBlock)
{
    const auto body = [](int layout, std::vector<int> bits) {
        const tpak_frame_info info =
            frame_kind{.layout = layout, .bits = std::move(bits), .yuv = true}.describe();
        return std::vector<int>(info.body_bits, info.body_bits + 4);
    };
    EXPECT_EQ(body(0, {5, 6, 5}), (std::vector<int>{6, 7, 7, 0}));
    EXPECT_EQ(body(0, {8, 8, 8, 4}), (std::vector<int>{8, 9, 9, 4}));
    EXPECT_EQ(body(0, {8, 8}), (std::vector<int>{8, 8, 0, 0}));
    EXPECT_EQ(body(1, {8, 8, 8}), (std::vector<int>{8, 8, 8, 0}));
    const tpak_frame_info info = frame_kind{.yuv = true}.describe();
    EXPECT_EQ(std::vector<unsigned>(info.default_value, info.default_value + 4),
              (std::vector<unsigned>{255, 256, 256, 255}));
}

TEST(tpak_geometry, SizesOfFrames)
{
    const tpak_frame_info small = frame_kind{.width = 1, .height = 1}.describe();
    EXPECT_EQ(small.mbw, 1);
    EXPECT_EQ(small.mbh, 1);
    EXPECT_EQ(tpak_get_header_area_size(&small), 16u);
    EXPECT_EQ(tpak_get_max_frame_size(&small), 16u + 1024u);
    EXPECT_EQ(tpak_get_uncompressed_frame_size(&small), 1024u);

    const tpak_frame_info odd = frame_kind{.width = 33, .height = 16, .bits = {5, 6, 5, 1}}.describe();
    EXPECT_EQ(odd.mbw, 3);
    EXPECT_EQ(tpak_get_max_superblock_payloadsize_no_rounding(&odd), 16u * 34);
    EXPECT_EQ(tpak_get_max_superblock_payloadsize(&odd), 640u);

    const tpak_frame_info tiled = frame_kind{.width = 129, .height = 16, .tiled = true}.describe();
    EXPECT_EQ(tpak_get_tile_size_x(&tiled), 8);
    EXPECT_EQ(tpak_get_header_area_size(&tiled), 4096u) << "16 by 8 header blocks, to a whole page";
    EXPECT_EQ(tpak_get_max_frame_size(&tiled), 4096u + 128u * 1024);
    const tpak_frame_info deep = frame_kind{.bits = {10, 10, 10, 10}, .tiled = true}.describe();
    EXPECT_EQ(tpak_get_tile_size_y(&deep), 4);
    tpak_frame_info strips = frame_kind{.width = 160}.describe();
    strips.tile_width_override = 3;
    EXPECT_EQ(tpak_get_tile_size_x(&strips), 3);
    EXPECT_EQ(tpak_get_tile_size_y(&strips), 1);
    EXPECT_EQ(tpak_get_header_area_size(&strips), 16u * 12);
    EXPECT_EQ(tpak_get_encoder_superblock_index(&strips, 5, 0), 5u);
    EXPECT_EQ(tpak_get_superblock_index(&strips, 5, 0), 3u) << "the decoder knows no such tiles";
}

TEST(tpak_geometry, TilesAreNumberedInTheirOwnOrder)
{
    const tpak_frame_info square = frame_kind{.width = 256, .height = 256, .tiled = true}.describe();
    EXPECT_EQ(tpak_get_superblock_index(&square, 1, 0), 1u);
    EXPECT_EQ(tpak_get_superblock_index(&square, 0, 1), 2u);
    EXPECT_EQ(tpak_get_superblock_index(&square, 5, 3), 0b011011u);
    EXPECT_EQ(tpak_get_superblock_index(&square, 8, 0), 64u);
    EXPECT_EQ(tpak_get_superblock_index(&square, 0, 8), 128u);
    const tpak_frame_info wide =
        frame_kind{.width = 512, .height = 128, .layout = 4, .tiled = true}.describe();
    EXPECT_EQ(tpak_get_superblock_index(&wide, 5, 3), 0b011101u);
    EXPECT_EQ(tpak_get_superblock_index(&wide, 3, 4), 0b100011u);
    for (const auto& info : {square, wide, frame_kind{.width = 100, .height = 100}.describe()}) {
        std::set<uint64_t> seen;
        for (int y = 0; y < info.mbh; y++) {
            for (int x = 0; x < info.mbw; x++)
                seen.insert(tpak_get_superblock_index(&info, x, y));
        }
        EXPECT_EQ(seen.size(), size_t(info.mbw) * size_t(info.mbh));
        EXPECT_EQ(*seen.rbegin(), seen.size() - 1);
    }
}

TEST(tpak_geometry, SubblocksCoverTheirPlanesOnce)
{
    for (int layout = 0; layout < tpak_layouts; layout++) {
        const tpak_frame_info info = frame_kind{.layout = layout, .bits = {8, 8, 8}}.describe();
        const int sub = sl_subsampling[layout];
        std::set<std::vector<int>> places;
        for (int i = 0; i < info.nsubblocks; i++) {
            const unsigned char* p = info.subblock_order + 3 * i;
            places.insert({p[0], p[1], p[2]});
            EXPECT_LT(p[1], info.superblock_width / (p[0] ? 2 : 1));
            EXPECT_LT(p[2], info.superblock_height / (p[0] && sub == 1 ? 2 : 1));
            EXPECT_EQ(p[1] % 4 + p[2] % 4, 0);
        }
        EXPECT_EQ(places.size(), size_t(info.nsubblocks)) << layout;
    }
}

TEST(tpak_geometry, SplitAndCopyRulesByLayout)
{
    const auto firsts = [](int layout) {
        const tpak_frame_info info = frame_kind{.layout = layout, .bits = {8, 8, 8}}.describe();
        std::vector<int> found;
        for (int i = 0; i < 12; i++) {
            if (tpak_first_block_in_8x8(&info, i))
                found.push_back(i);
        }
        return found;
    };
    EXPECT_EQ(firsts(0), (std::vector<int>{0, 4, 8}));
    EXPECT_EQ(firsts(1), (std::vector<int>{0, 2, 5, 7, 10}));
    EXPECT_EQ(firsts(6), (std::vector<int>{0, 1, 6, 7}));
    const int splits[7][2] = {{8, 8}, {10, 12}, {12, 13}, {8, 8}, {8, 8}, {10, 12}, {12, 13}};
    for (int layout = 0; layout < tpak_layouts; layout++) {
        tpak_frame_info info = frame_kind{.layout = layout, .bits = {8, 8, 8}}.describe();
        EXPECT_EQ(tpak_block_split_block(&info), splits[layout][0]);
        EXPECT_EQ(tpak_block_split_block_alt(&info), splits[layout][1]);
        EXPECT_FALSE(tpak_is_last_block_before_split(&info, splits[layout][0] - 1));
        info.block_split = 1;
        EXPECT_TRUE(tpak_is_last_block_before_split(&info, splits[layout][0] - 1));
        EXPECT_FALSE(tpak_is_last_block_before_split(&info, splits[layout][0]));
    }
}

TEST(tpak_geometry, RecordIsMadeAnew)
{
    tpak_frame_info info;
    info.left_crop = info.sparse_alloc = info.conformance = 7;
    int bits[] = {8, 8, 8};
    tpak_init_frame_info(&info, 20, 20, 3, -1, 0, 0, bits);
    EXPECT_EQ(info.layout, 0);
    EXPECT_EQ(info.version, 5);
    EXPECT_EQ(info.left_crop + info.sparse_alloc + info.conformance, 0);
    EXPECT_EQ(info.lowest_payload_offset, 0xffffffffu);
    EXPECT_EQ(info.component_bits[3], 0);
    EXPECT_EQ(info.default_value[3], 0u);
}

TEST(tpak_geometry_deathtest, FramesThatCannotBe)
{
    const auto describe = [](int layout, std::vector<int> bits, bool yuv = false) {
        frame_kind{.layout = layout, .bits = std::move(bits), .yuv = yuv}.describe();
    };
    EXPECT_DEATH(describe(7, {8, 8, 8}), "layout");
    EXPECT_DEATH(describe(-2, {8, 8, 8}), "layout");
    EXPECT_DEATH(describe(0, {8, 8, 8, 8, 8}), "ncomponents");
    EXPECT_DEATH(describe(1, {8, 8, 8, 8}), "ncomponents==3");
    EXPECT_DEATH(describe(0, {8, 18, 8}), "bits");
    EXPECT_DEATH(describe(0, {16, 17, 16}, true), "bits") << "the transform adds a bit";
    EXPECT_DEATH(describe(0, {0, 0}), "bits");
}

// File headers.

bytes header_of(const tpak_frame_info& info, int size)
{
    bytes header(32, 0xee);
    tpak_write_fileheader(&info, size, header.data());
    return header;
}

TEST(tpak_file_header, StandsByteForByte)
{
    tpak_frame_info info =
        frame_kind{.width = 300, .height = 20, .yuv = true, .tiled = true, .split = true}.describe();
    info.left_crop = 3;
    info.top_crop = 4;
    info.fileheader_reserved = 0x77;
    EXPECT_EQ(header_of(info, 0x01020304),
              (bytes{'T', 'P', 'A', 'K', 32, 0, 5, 0, 4,    3, 2,  1, 4, 0, 1, 1,
                     8,   8,   8,   8,   19, 0, 2, 0, 0x2c, 1, 20, 0, 3, 4, 1, 0x77}));
}

TEST(tpak_file_header, ComesBackByVersion)
{
    for (int version = 3; version <= 5; version++) {
        tpak_frame_info info = frame_kind{.width = 40,
                                          .height = 9,
                                          .layout = 4,
                                          .bits = {5, 6, 5},
                                          .yuv = true,
                                          .tiled = true,
                                          .split = true,
                                          .version = version}
                                   .describe();
        info.left_crop = 2;
        info.mbw = 9;
        info.fileheader_reserved = 5;
        const guarded_bytes header{header_of(info, 1234)};
        tpak_frame_info back;
        unsigned long size = 0;
        ASSERT_EQ(tpak_parse_fileheader(header.data(), &back, &size), 0);
        EXPECT_EQ(size, 1234u);
        EXPECT_EQ(back.frame_size, 1234u);
        EXPECT_EQ(back.version, version);
        EXPECT_EQ(back.block_split, version >= 4);
        EXPECT_EQ(back.tiled, version >= 5);
        EXPECT_EQ(back.layout, 4);
        EXPECT_EQ(back.body_bits[1], 7);
        EXPECT_EQ(back.mbw, 9) << "what is stored wins over what the size asks for";
        EXPECT_EQ(back.left_crop, 2);
        EXPECT_EQ(back.fileheader_reserved, 5);

        tpak_frame_info whole;
        whole.ignore_crop = 1;
        ASSERT_EQ(tpak_parse_fileheader(header.data(), &whole, &size), 0);
        EXPECT_EQ(whole.width, 9 * 32);
        EXPECT_EQ(whole.height, 2 * 8);
        EXPECT_EQ(whole.left_crop, 0);
    }
}

TEST(tpak_file_header, RefusesWhatItCannotDescribe)
{
    const bytes good = header_of(frame_kind{}.describe(), 1);
    const auto parse_with = [&](size_t at, uint8_t value) {
        bytes header = good;
        header[at] = value;
        tpak_frame_info info;
        info.width = 4711;
        unsigned long size = 4711;
        const int result = tpak_parse_fileheader(header.data(), &info, &size);
        EXPECT_TRUE(result == 0 || (size == 4711 && info.width == 4711)) << "nothing is written";
        return result;
    };
    EXPECT_EQ(parse_with(3, 'k'), -1);
    EXPECT_EQ(parse_with(4, 31), -1);
    EXPECT_EQ(parse_with(4, 33), 0) << "a longer one may follow";
    EXPECT_EQ(parse_with(5, 9), 0) << "the upper byte of the size isn't looked at";
    EXPECT_EQ(parse_with(6, 2), -2);
    EXPECT_EQ(parse_with(6, 200), -200);
    EXPECT_EQ(parse_with(6, 0), -1) << "not 0, which is success";
    EXPECT_EQ(parse_with(12, 0), -1);
    EXPECT_EQ(parse_with(12, 5), -1);
    EXPECT_EQ(parse_with(13, 7), -1);
    EXPECT_EQ(parse_with(13, 1), -1) << "subsampled, with four components";
    EXPECT_EQ(parse_with(17, 18), -1);
    EXPECT_EQ(parse_with(19, 255), -1);
}

} // namespace
