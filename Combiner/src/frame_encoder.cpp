// This build has no codec yet: every frame takes the road of one that failed to encode, and that is said
// once.
#include "frame_encoder.h"

#include "sidechannel_log.h"

#include <atomic>

namespace {

void report_missing_codec()
{
    static std::atomic<bool> reported{false};
    if (!reported.exchange(true))
        LOG_ERROR(
            "Frame compression isn't built into this library: compressed frame buffers get raw frames.");
}

} // namespace

bool encode_frame(const frame_encoding&, const uint8_t*, uint64_t, uint64_t, frame_block*)
{
    report_missing_codec();
    return false;
}

bool decode_frame(const frame_encoding&, const frame_block&, uint64_t, frame_block*)
{
    report_missing_codec();
    return false;
}
