// Every coder gives the bytes, pixels, messages and sums of the plain one.
#include "statistics.h"
#include "tpakutil/frames.h"

#include <array>

namespace {

struct picture_kind
{
    const char* name;
    std::function<uint32_t(std::mt19937&, unsigned x, unsigned y)> pixel; // four bytes
};

const std::vector<picture_kind>& pictures()
{
    static const std::vector<picture_kind> all{
        {"noise", [](std::mt19937& random, unsigned, unsigned) { return uint32_t(random()); }},
        {"opaque noise",
         [](std::mt19937& random, unsigned, unsigned) { return uint32_t(random()) | 0xff000000; }},
        {"solid", [](std::mt19937&, unsigned, unsigned) { return 0xff123456; }},
        {"areas", [](std::mt19937&, unsigned x,
                     unsigned y) { return (x / 20 * 0x30507 + y / 12 * 0x71101) | 0xff000000; }},
        {"slopes", [](std::mt19937&, unsigned x,
                      unsigned y) { return (x * 2 + y) % 256 * 0x010101 + y % 3 * 0x80000000; }},
        {"ends", [](std::mt19937& random, unsigned, unsigned) { return random() % 2 ? 0xffffffff : 0; }},
        {"dots", [](std::mt19937& random, unsigned,
                    unsigned) { return random() % 40 ? 0x80808080 : uint32_t(random()); }},
        {"low bits",
         [](std::mt19937& random, unsigned x, unsigned) {
             return 0x40404040 + (uint32_t(random()) & 0x01010101 * ((1u << (x / 8 % 8)) - 1));
         }},
        // Neighbours of every kind: flat, grey, opaque, of every depth and incompressible.
        {"mixture",
         [](std::mt19937& random, unsigned x, unsigned y) {
             const uint32_t kind = (x / 4 * 2654435761u + y / 4 * 40503u) >> 16;
             uint32_t noise = uint32_t(random()) & 0x01010101 * ((1u << kind % 9) - 1);
             if (kind & 0x100)
                 noise = (noise & 0xff) * 0x010101;
             return kind & 0x200 ? noise | 0xff000000 : noise;
         }},
    };
    return all;
}

bytes draw(const picture_kind& kind, unsigned width, unsigned height, unsigned bytes_per_pixel)
{
    std::mt19937 random{5};
    bytes out;
    for (unsigned y = 0; y < height; y++) {
        for (unsigned x = 0; x < width; x++) {
            const uint32_t word = kind.pixel(random, x, y);
            for (unsigned byte = 0; byte < bytes_per_pixel; byte++)
                out.push_back(uint8_t(word >> 8 * byte));
        }
    }
    return out;
}

/// What a way of decoding adds to the sums of this process.
std::array<uint32_t, 8> counted_by(const std::function<void()>& decode)
{
    using namespace tpakutil;
    const auto now = [] {
        return std::array<uint32_t, 8>{accum_unc,
                                       accum_b3,
                                       accum_b4,
                                       accum_m2,
                                       accum_m3,
                                       accum_m4,
                                       accum_used_tree_bits,
                                       accum_needed_tree_bits};
    };
    const auto before = now();
    decode();
    auto after = now();
    for (size_t i = 0; i < after.size(); i++)
        after[i] -= before[i];
    return after;
}

struct outcome
{
    bytes buffer;
    bytes pixels;
    std::string printed;
    unsigned split_read = 0;
    uint64_t frame_size = 0;
    std::array<uint32_t, 8> counted = {};
    bool operator==(const outcome&) const = default;
};

outcome encode(tpak_coder coder, unsigned format, unsigned width, unsigned height, const tpak_opts& opts,
               const bytes& pixels, bool reverse, tpak_threads* threads = nullptr)
{
    EXPECT_TRUE(tpak_select_coder(coder));
    TpakEncoder encoder{format, width, height, &opts};
    const guarded_bytes source{pixels};
    const guarded_bytes target{bytes(encoder.getMaxFrameSize(), 0)};
    EXPECT_TRUE(encoder.encode(source.data(), target.data(), reverse, threads));
    return {bytes(target.data(), target.data() + encoder.getMaxFrameSize()),
            {},
            {},
            encoder.frame_info().split_read_bytes[1],
            encoder.frame_info().frame_size,
            {}};
}

outcome decode(tpak_coder coder, unsigned format, unsigned width, unsigned height, const tpak_opts& opts,
               const bytes& buffer)
{
    EXPECT_TRUE(tpak_select_coder(coder));
    TpakDecoder decoder{format, width, height, &opts};
    const guarded_bytes source{buffer};
    const size_t size = size_t{width} * height * (format + 1);
    const guarded_bytes target{bytes(size, 0xa5)};
    outcome out;
    out.counted = counted_by([&] {
        out.printed = printed_by([&] { EXPECT_TRUE(decoder.decode(source.data(), target.data())); });
    });
    out.pixels.assign(target.data(), target.data() + size);
    return out;
}

class tpak_coders : public testing::TestWithParam<tpak_coder>
{
protected:
    void SetUp() override
    {
        if (!tpak_select_coder(GetParam()))
            GTEST_SKIP() << "this machine can't run it";
    }
};

TEST_P(tpak_coders, EncodeToTheSameBytesAndDecodeThem)
{
    for (const picture_kind& kind : pictures()) {
        for (unsigned format = 1; format <= 3; format++) {
            for (int flags = 0; flags < 48; flags++) {
                const tpak_opts opts{.yuv_trans = flags & 1,
                                     .version = 4 + (flags >> 1 & 1),
                                     .block_split = flags >> 2 & 1,
                                     .tiled = flags >> 3 & 1};
                const bool reverse = flags >= 32;
                const unsigned width = flags % 3 ? 53 : 64;
                const bytes pixels = draw(kind, width, 37, format + 1);
                const outcome plain = encode(tpak_coder::reference, format, width, 37, opts, pixels, reverse);
                ASSERT_EQ(encode(GetParam(), format, width, 37, opts, pixels, reverse), plain)
                    << kind.name << " format " << format << " flags " << flags;
                const outcome back = decode(GetParam(), format, width, 37, opts, plain.buffer);
                EXPECT_EQ(back.printed, "");
                ASSERT_EQ(back.counted,
                          decode(tpak_coder::reference, format, width, 37, opts, plain.buffer).counted)
                    << kind.name << " format " << format << " flags " << flags;
                if (!reverse) {
                    ASSERT_EQ(back.pixels, pixels) << kind.name << " format " << format << " flags " << flags;
                }
            }
        }
    }
}

TEST_P(tpak_coders, ShareFramesBetweenThreadsToTheSameBytes)
{
    tpak_threads two{2};
    tpak_threads three{3};
    constexpr unsigned sizes[][2] = {{519, 301}, {8192, 17}, {16, 8192}};
    for (const auto& [width, height] : sizes) {
        for (int flags = 0; flags < 8; flags++) {
            for (const size_t number : {size_t(flags), size_t(flags + 3)}) {
                const picture_kind& kind = pictures()[number % pictures().size()];
                const tpak_opts opts{.yuv_trans = 1,
                                     .version = flags & 1 ? 5 : 3,
                                     .block_split = flags >> 1 & 1,
                                     .tiled = flags >> 2 & 1};
                const unsigned format = 1 + (width + unsigned(flags)) % 3;
                const bytes pixels = draw(kind, width, height, format + 1);
                const outcome alone = encode(GetParam(), format, width, height, opts, pixels, format == 1);
                for (tpak_threads* threads : {&two, &three})
                    ASSERT_EQ(encode(GetParam(), format, width, height, opts, pixels, format == 1, threads),
                              alone)
                        << kind.name << " " << width << "x" << height << " flags " << flags;
            }
        }
    }
}

TEST_P(tpak_coders, SayAndShowTheSameOfBrokenFrames)
{
    std::mt19937 random{11};
    for (int round = 0; round < 700; round++) {
        const unsigned format = 1 + round % 3;
        const tpak_opts opts{.yuv_trans = round >> 2 & 1,
                             .version = 5,
                             .block_split = round >> 3 & 1,
                             .tiled = round >> 4 & 1};
        const picture_kind& kind = pictures()[random() % pictures().size()];
        bytes buffer =
            encode(tpak_coder::reference, format, 33, 17, opts, draw(kind, 33, 17, format + 1), false).buffer;
        const unsigned headers = opts.tiled ? 1024 : 96;
        for (unsigned faults = 1 + random() % 6; faults > 0; faults--)
            buffer[random() % 2 ? random() % headers : random() % buffer.size()] =
                uint8_t(random() % 3 ? random() : random() % 2);
        const outcome plain = decode(tpak_coder::reference, format, 33, 17, opts, buffer);
        ASSERT_EQ(decode(GetParam(), format, 33, 17, opts, buffer), plain) << "round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(, tpak_coders,
                         testing::Values(tpak_coder::portable, tpak_coder::avx2, tpak_coder::avx512),
                         [](const auto& each) {
                             return std::string(each.param == tpak_coder::portable ? "portable"
                                                : each.param == tpak_coder::avx2   ? "avx2"
                                                                                   : "avx512");
                         });

} // namespace
