// Superblocks: header blocks, what the decoder makes of faulty ones, and what it says about them.
#include "tpakutil/frames.h"

#include <cstring>

namespace {

using planes_of_superblock = unsigned[4][tpak_superblock_pixels];

/// Bits as the format has them, for headers and streams that no encoder makes.
bytes bits_of(const std::vector<std::pair<uint64_t, int>>& fields, size_t size = 16)
{
    bytes out(size, 0);
    size_t at = 0;
    for (const auto& [value, count] : fields) {
        for (int i = 0; i < count; i++, at++)
            out.at(at / 8) = uint8_t(out[at / 8] | (value >> i & 1) << at % 8);
    }
    return out;
}

/// A header block of layout 0 with the same size field for all subblocks but the first ones.
bytes plain_header(uint32_t offset, std::vector<int> first, int others)
{
    std::vector<std::pair<uint64_t, int>> fields{{offset, 32}};
    for (size_t i = 0; i < 16; i++)
        fields.emplace_back(i < first.size() ? first[i] : others, 6);
    return bits_of(fields);
}

struct parsed
{
    unsigned total = 0;
    unsigned payload_offset = 0;
    unsigned long offsets[24];
    unsigned char sizes[24];
    unsigned char forms[24];
};

parsed parse(tpak_frame_info& info, const bytes& header)
{
    parsed out;
    std::memset(out.offsets, 0xee, sizeof out.offsets);
    const guarded_bytes guarded{header};
    out.total = tpak_parse_header_block(&info, guarded.data(), &out.payload_offset, out.offsets, out.sizes,
                                        out.forms);
    return out;
}

TEST(tpak_header_block, SubblocksFollowOneAnother)
{
    tpak_frame_info info = frame_kind{}.describe();
    const parsed all = parse(info, plain_header(1000, {5, 1, 0, 2}, 0));
    EXPECT_EQ(all.payload_offset, 1000u);
    EXPECT_EQ(all.total, 5u + 64 + 2);
    const unsigned long offsets[] = {1000, 1005, 1005, 1069, 1069};
    const int sizes[] = {5, 64, 64, 2, 2};
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(all.offsets[i], offsets[i]) << i;
        EXPECT_EQ(all.sizes[i], sizes[i]);
        EXPECT_EQ(all.forms[i], i == 1 || i == 2);
    }
    int size;
    int uncompressed;
    EXPECT_EQ(
        tpak_get_subblock_offset(&info, plain_header(1000, {5, 1, 0, 2}, 0).data(), 2, &size, &uncompressed),
        1005u);
    EXPECT_EQ(size, 64);
    EXPECT_EQ(uncompressed, 1);
}

TEST(tpak_header_block, SplitJumpsToTheSecondHalf)
{
    tpak_frame_info info = frame_kind{.split = true}.describe();
    const parsed small = parse(info, plain_header(100, {}, 3));
    EXPECT_EQ(small.offsets[7], 100u + 21);
    EXPECT_EQ(small.offsets[8], 100u + 512);
    EXPECT_EQ(small.total, 512u + 24);
    const parsed large = parse(info, plain_header(0xfffffff0, {63, 63, 63, 63, 63, 63, 63, 63, 63}, 1));
    EXPECT_EQ(large.offsets[8], 0xfffffff0ul + 512) << "offsets go beyond 32 bits";
    info.uncompressed_block_size[0] = 127; // more than half before the split
    EXPECT_EQ(parse(info, plain_header(0, {}, 1)).total, 127u * 16 + 1024 - 127 * 8);
}

TEST(tpak_header_block, FirstOfATypeCopiesNothing)
{
    tpak_frame_info info = frame_kind{.layout = 2, .bits = {8, 8, 8}}.describe();
    std::vector<std::pair<uint64_t, int>> fields{{77, 32}, {2, 4}, {0, 4}, {0, 4}, {3, 4}, {4, 4}};
    const parsed all = parse(info, bits_of(fields));
    EXPECT_EQ(all.sizes[1], 0);
    EXPECT_EQ(all.offsets[1], 0u);
    EXPECT_EQ(all.offsets[2], 77u) << "luma";
    EXPECT_EQ(all.offsets[4], 77u + 2 + 3);
    EXPECT_EQ(all.sizes[4], 8) << "chroma counts in twos";
    EXPECT_EQ(all.offsets[7], all.offsets[4]);
}

TEST(tpak_header_block, SolidCoversNothing)
{
    tpak_frame_info info = frame_kind{}.describe();
    const bytes solid = bits_of({{0, 64}, {10, 8}, {20, 8}, {30, 8}, {40, 8}});
    EXPECT_EQ(parse(info, solid).total, 0u);
    const guarded_bytes buffer{solid};
    planes_of_superblock planes;
    EXPECT_EQ(tpak_decode_superblock(&info, buffer.data(), 16, 0, 0, planes), 0);
    EXPECT_EQ(planes[0][0], 10u);
    EXPECT_EQ(planes[3][255], 40u);
    info.zero_header_allowed = 0;
    EXPECT_EQ(
        printed_by([&] { EXPECT_EQ(tpak_decode_superblock(&info, buffer.data(), 16, 0, 0, planes), 0); }),
        "ERROR: Header block for superblock mbx=0 mby=0 is all zeroes; not a valid header in TPAK version < "
        "1.2.\n");
}

// What the decoder says. Each case is a buffer of one superblock, or more, with one fault.

class tpak_faults : public testing::Test
{
protected:
    tpak_faults() { use({}); }
    void use(const frame_kind& kind)
    {
        info = kind.describe();
        info.conformance = 1;
        buffer.assign(tpak_get_max_frame_size(&info), 0);
        info.frame_size = buffer.size();
    }
    /// A good superblock (a flat block and its copies) at (0, 0) with its payload at `offset`.
    void lay_flat(uint32_t offset)
    {
        lay(plain_header(offset, {2}, 0));
        if (offset + defaults.size() <= buffer.size())
            std::copy_n(defaults.begin(), defaults.size(), buffer.begin() + offset);
    }
    void lay(const bytes& header) { std::copy(header.begin(), header.end(), buffer.begin()); }
    std::string decode(int mbx = 0, int mby = 0, int buffer_size = -1)
    {
        const guarded_bytes guarded{
            bytes(buffer.begin(), buffer_size < 0 ? buffer.end() : buffer.begin() + buffer_size)};
        info.conformance_error = 0;
        return printed_by([&] {
            tpak_decode_superblock(&info, guarded.data(), buffer_size < 0 ? int(buffer.size()) : buffer_size,
                                   mbx, mby, planes);
        });
    }
    bool failed() const { return info.conformance_error; }
    static int count(const std::string& text, const std::string& what)
    {
        int found = 0;
        for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
            found++;
        return found;
    }

    const bytes defaults{0xee, 0xee}; // a block of four components at their defaults
    tpak_frame_info info;
    bytes buffer;
    planes_of_superblock planes;
};

TEST_F(tpak_faults, GoodSuperblockSaysNothing)
{
    lay_flat(16);
    EXPECT_EQ(decode(), "");
    EXPECT_FALSE(failed());
    EXPECT_EQ(planes[1][255], 128u) << "default";
    EXPECT_EQ(planes[0][255], 255u);
}

TEST_F(tpak_faults, SizeFields)
{
    info.uncompressed_block_size[0] = 63;
    info.conformance_error = 0;
    EXPECT_EQ(printed_by([&] {
                  parse(info, plain_header(16, {2, 63}, 0));
              }),
              "ERROR: This is not a legal TPAK buffer, the size of subblock 1 is 63 maximum allowed 63\n");
    EXPECT_TRUE(failed());
    use({.layout = 1, .bits = {8, 8, 8}});
    EXPECT_EQ(printed_by([&] {
                  parse(info, bits_of({{20, 28}, {2, 5}, {2, 5}, {0, 5}, {2, 5}, {2, 5}, {2, 5},
                                       {2, 5},   {0, 5}, {2, 5}, {2, 5}, {2, 5}, {2, 5}, {2, 5},
                                       {2, 5},   {2, 5}, {2, 5}, {2, 5}, {2, 5}, {0, 5}, {2, 5}}));
              }),
              "ERROR: This is not a legal TPAK buffer, subblock 2 not allowed to be a copy block\n"
              "ERROR: This is not a legal TPAK buffer, subblock 7 not allowed to be a copy block\n");
    EXPECT_TRUE(failed());
}

TEST_F(tpak_faults, PayloadAcrossTheEndOf32Bits)
{
    EXPECT_EQ(
        printed_by([&] { parse(info, plain_header(0xffffffff, {2}, 0)); }),
        "ERROR: This is not a legal TPAK buffer, all payload data needs to be within 2^32 bytes from the "
        "start of "
        "the header buffer. Some payload data straddles the end of the 2^32 byte region: payload data start: "
        "0xffffffff, size: 0x2\n");
    EXPECT_TRUE(failed());
    EXPECT_EQ(printed_by([&] { parse(info, plain_header(0xfffffff0, {2}, 0)); }), "");
}

TEST_F(tpak_faults, SolidHeaders)
{
    lay(plain_header(5, {}, 0));
    EXPECT_EQ(decode(), "ERROR: The header indicates a solid color block but the payload offset is not 0.\n");
    EXPECT_TRUE(failed());
    use({.layout = 1, .bits = {8, 8, 8}});
    EXPECT_EQ(decode(), "ERROR: Solid color blocks is only allowed for non subsampled superblock layouts.\n");
    EXPECT_TRUE(failed());
}

TEST_F(tpak_faults, PagingTiles)
{
    use({.width = 256, .height = 256, .tiled = true});
    info.paging_tile_start_check = 1;
    lay_flat(4096);
    EXPECT_EQ(decode(), "");
    lay_flat(4096 + 64 * 1024 - 1023);
    EXPECT_EQ(
        decode(),
        "ERROR: Superblock 0, 0 is outside its paging tile. Valid range of the paging tile is 4096-69632, "
        "but superblock spans 68609-69633.\n"
        "ERROR: Superblock 0, 0 is the first superblock in a paging tile, but its payload data isn't at the "
        "beginning of the paging tile.\nERROR: Paging tile start is 4096, but superblock start is 68609.\n");
    EXPECT_TRUE(failed());
    info.paging_tile_start_check = 0;
    EXPECT_EQ(count(decode(), "\n"), 1);
    EXPECT_FALSE(failed()) << "the range alone is no failure";
    lay_flat(4095);
    info.conformance = 0;
    EXPECT_EQ(count(decode(), "outside its paging tile"), 1);
    // The last tile, at its end.
    info.conformance = info.paging_tile_start_check = 1;
    const uint64_t index = tpak_get_superblock_index(&info, 15, 15);
    EXPECT_EQ(index, 255u);
    const bytes header = plain_header(4096 + 255 * 1024, {2}, 0);
    std::copy(header.begin(), header.end(), buffer.begin() + 255 * 16);
    std::copy_n(defaults.begin(), defaults.size(), buffer.begin() + 4096 + 255 * 1024);
    EXPECT_EQ(decode(15, 15), "");
}

TEST_F(tpak_faults, AlignmentAndSpacing)
{
    use({.width = 64, .height = 64});
    info.payload_alignment = 64;
    info.payload_base = 16;
    lay_flat(80);
    EXPECT_EQ(decode(), "");
    lay_flat(96);
    EXPECT_EQ(decode(), "ERROR: The payload buffer is not aligned to 64 bytes. It starts at byte 96.\n");
    EXPECT_TRUE(failed());
    info.payload_alignment = 0;
    info.sparse_alloc = 1;
    EXPECT_EQ(decode(), "");
    EXPECT_EQ(info.lowest_payload_offset, 80u);
    const bytes header = plain_header(96 + 1000, {2}, 0);
    std::copy(header.begin(), header.end(), buffer.begin() + 16 * (4 + 1));
    std::copy_n(defaults.begin(), defaults.size(), buffer.begin() + 1096);
    EXPECT_EQ(
        decode(1, 1),
        "ERROR: Superblock 5 in the payload buffer not spaced a multiple of 1024 bytes vs another block.\n");
    EXPECT_TRUE(failed());
}

TEST_F(tpak_faults, Stripes)
{
    use({.width = 32, .height = 64});
    info.payload_alignment = 64;
    info.stripe_height = 32;
    std::vector<tpak_stripe> stripes(2);
    stripes[1].superblocks_left = 2;
    info.stripe_table = stripes.data();
    const auto lay_at = [&](int index, uint32_t offset) {
        const bytes header = plain_header(offset, {2}, 0);
        std::copy(header.begin(), header.end(), buffer.begin() + 16 * index);
        std::copy_n(defaults.begin(), defaults.size(), buffer.begin() + offset);
    };
    lay_at(4, 1000);
    lay_at(7, 1000 + 3 * 1024 + 1);
    EXPECT_EQ(decode(0, 2), "");
    EXPECT_EQ(decode(1, 3), "ERROR: Stripe 1 in the payload buffer is not aligned to expected 64 bytes.\n"
                            "ERROR: Stripe 1 covers 4097 bytes, which is larger than expected 4096 bytes\n");
    EXPECT_TRUE(failed());
    EXPECT_EQ(stripes[0].highest_end_offset, ~uint64_t{0});
    info.stripe_height = 15; // no whole superblock
    lay_at(0, 1000);
    EXPECT_EQ(decode(), "");
}

TEST_F(tpak_faults, SubblocksOutside)
{
    info.frame_size = 98;
    lay_flat(97);
    const std::string outside = decode();
    EXPECT_EQ(count(outside, "ERROR: Subblock outside the frame mbx=0 mby=0 i="), 16);
    EXPECT_EQ(outside.substr(0, outside.find('\n')),
              "ERROR: Subblock outside the frame mbx=0 mby=0 i=0 subblock_offset=97 "
              "subblock_size=2 ucompressed=0 frame_size=98");
    EXPECT_EQ(planes[0][0] + planes[3][255], 0u);

    use({.bits = {8}});
    lay(plain_header(40, {}, 2));
    const std::string beyond = decode(0, 0, 41);
    EXPECT_EQ(count(beyond, "ERROR: Buffer size is 41 but current subblock offset is "), 15);
    EXPECT_EQ(
        count(beyond,
              "subblock offset is 42.ERROR: This buffer does not pass conformance!\nERROR: Subblock size "
              "mismatch mbx=0 mby=0 i=1 subblock_offset=42 subblock_size=2 ucompressed=0 decoded size=-1\n"),
        1);
    EXPECT_EQ(count(beyond, "size mismatch mbx=0 mby=0 i=0"), 1) << "cut off in its middle";
    EXPECT_TRUE(failed());
    EXPECT_EQ(count(decode(0, 0, 7), "is all zeroes"), 0) << "half a header";
}

TEST_F(tpak_faults, SizesThatDoNotMatch)
{
    lay_flat(16);
    lay(plain_header(16, {6}, 0));
    const std::string wrong = decode();
    EXPECT_EQ(wrong.find("ERROR: This buffer does not pass conformance!\nERROR: Subblock size mismatch mbx=0 "
                         "mby=0 i=0 subblock_offset=16 "
                         "subblock_size=6 ucompressed=0 decoded size=2\n"),
              0u);
    EXPECT_EQ(count(wrong, " decoded size=2\n"), 16);
    EXPECT_TRUE(failed());
    info.conformance = 0;
    EXPECT_EQ(count(decode(), "conformance"), 0);
    EXPECT_FALSE(failed());
    // A stream of one unit is told as two, and so is its message.
    use({.bits = {1, 1}});
    lay(plain_header(16, {3}, 0));
    buffer[16] = 0xff;
    EXPECT_EQ(count(decode(), " subblock_size=3 ucompressed=0 decoded size=2\n"), 16);
}

TEST_F(tpak_faults, Trees)
{
    use({.bits = {8}});
    const auto decode_stream = [&](const std::vector<std::pair<uint64_t, int>>& fields, int size) {
        lay(plain_header(16, {size}, 0));
        const bytes stream = bits_of(fields, 60);
        std::copy(stream.begin(), stream.end(), buffer.begin() + 16);
        const std::string text = decode();
        EXPECT_TRUE(failed());
        return text;
    };
    const std::string ones = decode_stream({{1, 4}, {3, 2}, {3, 2}, {3, 2}, {3, 2}, {0, 8}, {15, 4}}, 3);
    EXPECT_EQ(
        count(ones,
              "ERROR: This is not a legal TPAK buffer, at least one mintree child out of 4 must be 0\n"),
        16);
    EXPECT_EQ(count(ones, "\n"), 16);
    const std::string negative = decode_stream({{0, 4}, {2, 2}, {0, 2}, {0, 2}, {0, 2}, {0, 8}}, 9);
    EXPECT_EQ(negative.substr(0, negative.find("ERROR", 10)),
              "ERROR: This is not a legal TPAK buffer, bctree_l4 should be 0 or more\n");
    EXPECT_EQ(count(negative, "is larger than the bitdepth of its component 14 8\n"), 16);
    const std::string wide = decode_stream({{8, 4}, {1, 2}, {1, 2}, {0, 2}, {0, 2}, {0, 8}}, 19);
    EXPECT_EQ(
        count(wide,
              "ERROR: This is not a legal TPAK buffer, one mintree node is larger than the bitdepth of its "
              "component 9 8\n"),
        32);
}

TEST_F(tpak_faults, ColoursOutOfRange)
{
    use({.bits = {8, 8, 8}, .yuv = true});
    lay(plain_header(16, {5}, 0));
    const bytes stream = bits_of({{0xfff, 12}, {255, 8}, {0, 9}, {511, 9}}, 5);
    std::copy(stream.begin(), stream.end(), buffer.begin() + 16);
    const std::string text = decode();
    // green = (4 * 255 - 511 + 512 + 3) >> 2 = 256
    EXPECT_EQ(text.find("ERROR: This buffer does not pass conformance!\nERROR: YUV values produces rgb "
                        "values out of range: YUV 255 0 511 "
                        "-> rgb 0 256 511\n"),
              0u);
    EXPECT_EQ(count(text, "\n"), 2 * 256);
    EXPECT_TRUE(failed());
    EXPECT_EQ(planes[1][77], 256u) << "kept as they are";
    info.conformance = 0;
    EXPECT_EQ(count(decode(), "\n"), 256);
    EXPECT_FALSE(failed());
}

// The encoder's headers.

TEST(tpak_superblock, HeaderOfOneColourBlocks)
{
    tpak_frame_info info = frame_kind{.version = 4}.describe();
    planes_of_superblock planes;
    std::fill_n(&planes[0][0], 4 * 256, 255u);
    const guarded_bytes buffer{bytes(16 + 1024, 0)};
    const int end = tpak_encode_superblock(&info, planes, buffer.data(), 1040, 0, 16, 0, 0);
    // Roots -1 -1 -1 -2 and three bases: 40 bits.
    EXPECT_EQ(end, 16 + 5);
    EXPECT_EQ(bytes(buffer.data(), buffer.data() + 24), [] {
        bytes expected = plain_header(16, {5}, 0);
        for (int byte : {0xff, 0xef, 0xff, 0xff, 0xff, 0, 0, 0})
            expected.push_back(uint8_t(byte));
        return expected;
    }());
    info.solid_enabled = 1;
    EXPECT_EQ(tpak_encode_superblock(&info, planes, buffer.data(), 1040, 0, 16, 0, 0), 16);
    EXPECT_EQ(bytes(buffer.data(), buffer.data() + 16),
              (bytes{0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 0, 0, 0, 0}));
    planes[3][255] = 254;
    EXPECT_FALSE(tpak_encode_superblock_is_solid(&info, planes));
}

TEST(tpak_superblock, CopiesAreErasedAndForbiddenAtTheSplit)
{
    tpak_frame_info info = frame_kind{.split = true, .version = 4}.describe();
    planes_of_superblock planes;
    std::fill_n(&planes[0][0], 4 * 256, 255u);
    const guarded_bytes buffer{bytes(16 + 1024, 0xcc)};
    int half_end = 0;
    const int end = tpak_encode_superblock_ext(&info, planes, buffer.data(), 1040, 0, 16, 0, 0, &half_end);
    EXPECT_EQ(half_end, 16 + 5);
    EXPECT_EQ(end, 16 + 512 + 5);
    EXPECT_EQ(bytes(buffer.data(), buffer.data() + 16), plain_header(16, {5, 0, 0, 0, 0, 0, 0, 0, 5}, 0));
    EXPECT_EQ(bytes(buffer.data() + 21, buffer.data() + 27), (bytes{0, 0, 0, 0, 0, 0xcc}));
    // Raw sizes: 16 blocks of 5 bytes, 40 in each half.
    EXPECT_EQ(info.contiguous_read_bytes[1], 576u + 16);
    EXPECT_EQ(info.split_read_bytes[1], 64u + 64 + 64 + 16);
    info.no_copy_at_split = 0;
    EXPECT_EQ(tpak_encode_superblock(&info, planes, buffer.data(), 1040, 0, 16, 0, 0), 16 + 512);
}

TEST(tpak_superblock, IdenticalBlocksAreCopiedWhenAsked)
{
    tpak_frame_info info = frame_kind{}.describe();
    info.copy_identical_blocks = 1;
    planes_of_superblock planes = {};
    for (auto& plane : planes) {
        for (int i = 0; i < 256; i++)
            plane[i] = static_cast<unsigned>(i % 4 * 50 + i / 16 % 4);
    }
    const guarded_bytes buffer{bytes(16 + 1024, 0)};
    const int end = tpak_encode_superblock(&info, planes, buffer.data(), 1040, 0, 16, 0, 0);
    EXPECT_EQ(bytes(buffer.data(), buffer.data() + 16), plain_header(16, {end - 16}, 0));
    info.copy_identical_blocks = 0;
    EXPECT_EQ(tpak_encode_superblock(&info, planes, buffer.data(), 1040, 0, 16, 0, 0), 16 + 16 * (end - 16));
}

TEST(tpak_superblock, NoRoomIsSaidAndNothingIsWrittenBeyond)
{
    planes_of_superblock planes;
    std::mt19937 random{3};
    for (auto& plane : planes) {
        for (unsigned& value : plane)
            value = random() & 255;
    }
    tpak_frame_info info = frame_kind{}.describe();
    for (int size = 0; size < 16 + 1024; size += 13) {
        const guarded_bytes buffer{bytes(size_t(size), 0)};
        EXPECT_EQ(tpak_encode_superblock(&info, planes, buffer.data(), size, 0, 16, 0, 0), -1);
    }
    const guarded_bytes buffer{bytes(16 + 1024, 0)};
    EXPECT_EQ(tpak_encode_superblock(&info, planes, buffer.data(), 1040, 0, 16, 0, 0), 1040);
    EXPECT_EQ(tpak_encode_superblock(&info, planes, buffer.data(), 1040, 1, 16, 0, 0), 1040);
    EXPECT_EQ(tpak_encode_superblock(&info, planes, buffer.data(), 1040, 65, 16, 0, 0), -1)
        << "no header block";
}

} // namespace
