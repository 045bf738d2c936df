// The compressed road with the codec itself.
#include "combiner/combiner_fakes.h"
#include "frame_encoder.h"
#include "sidechannel_log.h"
#include "tpakutil/tpak_main.h"
#include "zelvar/zelvar.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t width = 37;
constexpr uint32_t height = 21;

bytes drawing(uint32_t bytes_per_pixel)
{
    bytes pixels(width * height * bytes_per_pixel);
    for (size_t i = 0; i < pixels.size(); i++)
        pixels[i] = static_cast<uint8_t>(i < pixels.size() / 2 ? i * i >> 7 : 77);
    return pixels;
}

class compressed_frames : public combiner_room
{
protected:
    void SetUp() override
    {
        combiner_room::SetUp();
        zelvar_only_settings.tpakForTRV = true;
        describe(32);
    }
    void describe(uint32_t bits)
    {
        info = frame_buffer(width, height, bits, width);
        info.frameBufferLength = 3 * 2 * (16 + 1024);
    }
    bytes deliver()
    {
        _inter_frame_data frame = frame_of(drawing((info.bits_per_pixel + 7) / 8));
        combine(info, frame);
        release_inter_frame_data(&frame);
        return around->writes.empty() ? bytes{} : around->writes.back().data;
    }
    /// As a display that knows the options reads the target's frame buffer.
    bytes shown(const bytes& content, const tpak_opts& options)
    {
        const uint32_t bytes_per_pixel = info.bits_per_pixel / 8;
        TpakDecoder decoder{bytes_per_pixel - 1, width, height, &options};
        bytes pixels(width * height * bytes_per_pixel);
        EXPECT_LE(decoder.getMaxFrameSize(), content.size());
        EXPECT_TRUE(decoder.decode(content.data(), pixels.data()));
        return pixels;
    }
    buffer_info info;
};

TEST_F(compressed_frames, ArriveAsThePixelsThatWereSent)
{
    for (uint32_t bits : {32u, 24u}) {
        describe(bits);
        const bytes content = deliver();
        EXPECT_EQ(content.size(), info.frameBufferLength);
        EXPECT_EQ(shown(content, {.yuv_trans = 1, .version = 5}), drawing(bits / 8));
        info.format = gralloc_tpak_split_block;
        EXPECT_EQ(shown(deliver(), {.yuv_trans = 1, .version = 5, .block_split = 1}), drawing(bits / 8));
    }
    around->attributes = bytes(24, 0); // no colour transform
    info.attributes = 0x1234;
    info.format = 0;
    EXPECT_EQ(shown(deliver(), {.version = 5}), drawing(3));
}

TEST_F(compressed_frames, ExchangeTheEndsOf16BitPixels)
{
    describe(16);
    bytes exchanged = drawing(2);
    for (size_t i = 0; i < exchanged.size(); i += 2) {
        const unsigned packed = exchanged[i] | unsigned{exchanged[i + 1]} << 8;
        const unsigned other = (packed & 0x7e0) | packed >> 11 | (packed & 31) << 11;
        exchanged[i] = static_cast<uint8_t>(other);
        exchanged[i + 1] = static_cast<uint8_t>(other >> 8);
    }
    EXPECT_EQ(shown(deliver(), {.yuv_trans = 1, .version = 5}), exchanged);
    zelvar_only_settings.tpakDecodeInPlace = true;
    const bytes decoded = deliver();
    EXPECT_TRUE(std::equal(exchanged.begin(), exchanged.end(), decoded.begin()));
}

TEST_F(compressed_frames, GoThroughTheCodecAndBackInPlace)
{
    zelvar_only_settings.tpakDecodeInPlace = true;
    for (uint32_t version : {TPAK_VERSION_1_0, TPAK_VERSION_1_1, TPAK_VERSION_1_2}) {
        zelvar_only_settings.tpakVersion = version;
        bytes expected = drawing(4);
        expected.resize(info.frameBufferLength, 0);
        EXPECT_EQ(deliver(), expected);
    }
}

TEST_F(compressed_frames, AreCutByAShortFrameBufferAndRefusedWhenHuge)
{
    const bytes whole = deliver();
    info.frameBufferLength = 100;
    EXPECT_EQ(deliver(), bytes(whole.begin(), whole.begin() + 100));

    frame_block block;
    frame_encoding encoding;
    encoding.format_code = 3;
    encoding.width = encoding.height = 40000;
    EXPECT_FALSE(encode_frame(encoding, nullptr, ~uint64_t{0}, 0, &block)) << "beyond 31 bits";
    encoding.width = 1u << 25;
    encoding.height = 1;
    EXPECT_FALSE(encode_frame(encoding, nullptr, ~uint64_t{0}, 0, &block));
    encoding.width = 4;
    EXPECT_FALSE(encode_frame(encoding, nullptr, 15, 0, &block)) << "a byte is missing";
    const frame_block encoded{nullptr, 1039, 0};
    EXPECT_FALSE(decode_frame(encoding, encoded, 16, &block));
    EXPECT_EQ(block.pixels, nullptr);
}

} // namespace
