// The compressed road, with a codec of the test's own behind the seam.
#include "frame_encoder.h"

#include "combiner/combiner_fakes.h"
#include "sidechannel_log.h"
#include "zelvar/zelvar.h"

#include <cstring>
#include <optional>

namespace {

struct fake_codec
{
    std::optional<frame_encoding> encoding;
    bytes encoder_input;
    bool encodes = true;
    bool decodes = true;
    bool lacks_memory = false;
    uint64_t decoded_size = 0;
};
fake_codec* codec;

frame_block block_of_size(uint64_t size, uint8_t value)
{
    return {block_of(bytes(size, value)), size, 5};
}

} // namespace

bool encode_frame(const frame_encoding& encoding, const uint8_t* pixels, uint64_t pixels_size,
                  uint64_t minimum_size, frame_block* out)
{
    codec->encoding = encoding;
    codec->encoder_input = content_of(pixels, pixels_size);
    if (codec->encodes && !codec->lacks_memory)
        *out = block_of_size(minimum_size + 3, 0xec);
    return codec->encodes;
}

bool decode_frame(const frame_encoding&, const frame_block& encoded, uint64_t size, frame_block* out)
{
    EXPECT_EQ(encoded.pixels[0], 0xec);
    codec->decoded_size = size;
    if (codec->decodes)
        *out = block_of_size(size, 0xdc);
    return codec->decodes;
}

namespace {

class encoded_frames : public combiner_room
{
protected:
    void SetUp() override
    {
        combiner_room::SetUp();
        fake = {};
        codec = &fake;
        info.frameBufferLength = 40;
        zelvar_only_settings.tpakForTRV = true;
    }
    std::string deliver()
    {
        _inter_frame_data frame = frame_of(counted(16));
        std::string printed = combine(info, frame);
        release_inter_frame_data(&frame);
        return printed;
    }

    fake_codec fake;
    buffer_info info = frame_buffer(2, 2, 32, 2);
};

TEST_F(encoded_frames, FrameBufferIsWrittenWhole)
{
    sidechannel_set_log_level(6566);
    EXPECT_TRUE(contains(deliver(),
                         "DEBUG [ZELVAR] [TPAK] framebuffer encoded 2x2, format:0x3, len:16->5 (31.25%) at "
                         "process:3.\n"));
    EXPECT_EQ(fake.encoder_input, counted(16));
    EXPECT_EQ(around->writes, (std::vector<model_write>{{info.buffer, bytes(40, 0xec)}}));
}

TEST_F(encoded_frames, WhatFailsGoesRawAndFilledUpAsAnEncodedOne)
{
    zelvar_only_settings.cacheAndroidNativeBuffer = true; // not for encoded frames
    fake.encodes = false;
    bytes expected = counted(16);
    expected.resize(40, 0);
    _inter_frame_data frame = frame_of(counted(16));
    for (int pass = 0; pass < 2; pass++) {
        EXPECT_TRUE(
            contains(combine(info, frame, false),
                     "ERROR [ZELVAR] [TPAK] framebuffer failed to encode 2x2, format:0x3, at process:3.\n"));
        EXPECT_EQ(around->writes.back(), (model_write{info.buffer, expected}))
            << "never compared with the one before";
        frame.pCurrentFrame = block_of(counted(16));
        frame.current_size = 16;
    }
    fake.encodes = true;
    fake.lacks_memory = true;
    EXPECT_EQ(combine(info, frame, false), "");
    EXPECT_EQ(around->writes.back().data, expected);
    release_inter_frame_data(&frame);
}

TEST_F(encoded_frames, ParametersComeFromTheFormatAndTheSettings)
{
    struct
    {
        uint32_t bits;
        uint32_t code;
        bool reverse;
    } formats[]{{32, 3, false}, {24, 2, false}, {16, 1, true}};
    for (const auto& format : formats) {
        info.bits_per_pixel = format.bits;
        deliver();
        EXPECT_EQ(fake.encoding->format_code, format.code);
        EXPECT_EQ(fake.encoding->reverse_components, format.reverse);
        EXPECT_EQ(fake.encoding->version, 5u);
        EXPECT_FALSE(fake.encoding->block_split);
    }
    zelvar_only_settings.tpakVersion = TPAK_VERSION_1_0;
    info.format = uint64_t{1} << 33;
    deliver();
    EXPECT_EQ(fake.encoding->version, 3u);
    EXPECT_TRUE(fake.encoding->block_split);

    info.format = uint64_t{1} << 35;
    EXPECT_TRUE(
        contains(deliver(), "ERROR [ZELVAR] GRALLOC_CORVANE_INTFMT_TPAK_WIDEBLK not support in zelvar\n"));
    EXPECT_FALSE(fake.encoding->block_split);

    fake.encoding.reset();
    info.bits_per_pixel = 8;
    deliver();
    EXPECT_FALSE(fake.encoding) << "no codec format for this pixel size";
    EXPECT_EQ(around->writes.back().data, counted(4)) << "so it is a raw frame, not an encoded one";
}

TEST_F(encoded_frames, AttributesAreReadWhereThereAreAny)
{
    around->attributes = {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0};
    for (uint64_t none : {uint64_t{0}, ~uint64_t{0}, ~uint64_t{1}}) {
        info.attributes = none;
        deliver();
        EXPECT_TRUE(around->attribute_reads.empty());
        EXPECT_EQ(fake.encoding->attributes.crop_top, 0u);
        EXPECT_EQ(fake.encoding->attributes.yuv_transform, 1u);
    }
    info.attributes = 0x1234;
    deliver();
    EXPECT_EQ(around->attribute_reads, std::vector<uint64_t>{0x1234});
    EXPECT_EQ(fake.encoding->attributes.crop_top, 1u);
    EXPECT_EQ(fake.encoding->attributes.crop_left, 2u);
    EXPECT_EQ(fake.encoding->attributes.crop_height, 3u);
    EXPECT_EQ(fake.encoding->attributes.crop_width, 4u);
    EXPECT_EQ(fake.encoding->attributes.yuv_transform, 0u);
    EXPECT_EQ(fake.encoding->attributes.sparse_allocation, 6u);

    around->attributes.clear(); // unreadable
    deliver();
    EXPECT_EQ(fake.encoding->attributes.yuv_transform, 1u);
}

TEST_F(encoded_frames, DummyDriverGetsItsFirstFrameRaw)
{
    zelvar_only_settings.tpakForTRV = false;
    const auto encodes = [&](uint32_t mode, uint64_t format) {
        zelvar_settings.callOnTargetAPI = mode;
        info.format = format;
        fake.encoding.reset();
        deliver();
        return fake.encoding.has_value();
    };
    for (uint64_t format : {uint64_t{1} << 32, uint64_t{1} << 33, uint64_t{1} << 35}) {
        around->seen_frame_buffers.clear();
        EXPECT_FALSE(encodes(TARGET_GPU_DUMMY, format)) << "first";
        EXPECT_EQ(around->writes.back().data.size(), 16u);
        EXPECT_TRUE(encodes(TARGET_GPU_DUMMY, format)) << "second";
        EXPECT_EQ(around->writes.back().data.size(), 40u);
        EXPECT_FALSE(encodes(TARGET_GPU_NONE, format));
    }
    around->seen_frame_buffers.clear();
    EXPECT_FALSE(encodes(TARGET_GPU_DUMMY, ~uint64_t{0xb00000000}));
    EXPECT_TRUE(around->seen_frame_buffers.empty()) << "an uncompressed buffer isn't asked about";
}

TEST_F(encoded_frames, LentFrameGoesThroughTheCodecAsACopy)
{
    bytes lent = counted(16);
    EXPECT_TRUE(combiner_of_lent_frame(3, 4, &info, lent.data(), lent.size()));
    EXPECT_EQ(around->writes, (std::vector<model_write>{{info.buffer, bytes(40, 0xec)}}));
    EXPECT_EQ(lent, counted(16));

    zelvar_only_settings.tpakForTRV = false;
    zelvar_settings.callOnTargetAPI = TARGET_GPU_DUMMY;
    info.format = uint64_t{1} << 32;
    for (bool compressed : {false, true}) {
        EXPECT_TRUE(combiner_of_lent_frame(3, 4, &info, lent.data(), lent.size()));
        EXPECT_EQ(around->writes.back().data.size(), compressed ? 40u : 16u) << "each frame counts once";
    }
}

TEST_F(encoded_frames, DecodingInPlaceDeliversPlainPixels)
{
    zelvar_only_settings.tpakDecodeInPlace = true;
    sidechannel_set_log_level(6566);
    EXPECT_TRUE(contains(deliver(),
                         "DEBUG [ZELVAR] [TPAK] framebuffer decoded 2x2, format:0x3, len:5->40 (800.00%) at "
                         "process:3.\n"));
    EXPECT_EQ(fake.decoded_size, 40u);
    EXPECT_EQ(around->writes.back().data, bytes(40, 0xdc));

    info.frameBufferLength = 4; // shorter than the pixels
    deliver();
    EXPECT_EQ(fake.decoded_size, 16u);
    EXPECT_EQ(around->writes.back().data, bytes(4, 0xdc));

    fake.decodes = false;
    EXPECT_TRUE(contains(deliver(), "ERROR [ZELVAR] [TPAK] framebuffer failed to decode 2x2, format:0x3, at "
                                    "process:3.\n"));
    EXPECT_EQ(around->writes.back().data, bytes(4, 0xec));
}

TEST_F(encoded_frames, CodecIsNeverGivenLessThanTheFrame)
{
    info.width = 3; // the block holds 2x2
    deliver();
    EXPECT_EQ(fake.encoder_input.size(), 24u);
    fake.encoding.reset();
    info.width = info.height = ~0u;
    EXPECT_TRUE(contains(deliver(), "[TPAK] framebuffer failed to encode"));
    EXPECT_FALSE(fake.encoding);
}

} // namespace
