// Any bytes as a file header: refused, or a frame whose header and geometry can be worked out again.

#include "tpakutil/tpak_common.h"

#include <cstdlib>
#include <cstring>

namespace {

void expect(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size != tpak_fileheader_size + 1)
        return 0;
    auto* header = static_cast<uint8_t*>(std::malloc(tpak_fileheader_size));
    std::memcpy(header, data, tpak_fileheader_size);
    tpak_frame_info info;
    info.ignore_crop = data[tpak_fileheader_size] & 1;
    unsigned long told = 0;
    const int result = tpak_parse_fileheader(header, &info, &told);
    expect(result <= 0);
    if (result == 0) {
        expect(info.frame_size == told);
        expect(tpak_get_header_area_size(&info) <= tpak_get_max_frame_size(&info));
        expect(info.payload_offset_bits + info.nsubblocks * info.subblock_size_bits == 128);
        if (info.mbw > 0 && info.mbh > 0) {
            const uint64_t last = tpak_get_superblock_index(&info, info.mbw - 1, info.mbh - 1);
            expect(last * tpak_header_block_size < tpak_get_header_area_size(&info));
        }
        uint8_t written[tpak_fileheader_size];
        tpak_write_fileheader(&info, static_cast<int>(told), written);
        tpak_frame_info again;
        unsigned long told_again = 0;
        expect(tpak_parse_fileheader(written, &again, &told_again) == 0);
        // A width that was worked out of superblocks may be beyond what a file header holds.
        expect(told_again == told && again.mbw == info.mbw &&
               (again.width == info.width || data[tpak_fileheader_size] & 1) && again.layout == info.layout &&
               again.tiled == info.tiled && again.block_split == info.block_split);
    }
    std::free(header);
    return 0;
}
