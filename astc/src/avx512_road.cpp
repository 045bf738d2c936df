#include "block_road.h"

#if ASTC_HAS_AVX512
#include "avx512_tables.h"

namespace {
bool has_instructions()
{
    return __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("avx512f") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
           __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("gfni");
}

class avx512_road : public block_road
{
public:
    avx512_road(uint32_t width, uint32_t height) { astc_avx512::set_up(_tables, width, height); }
    ~avx512_road() override { astc_avx512::clean_up(_tables); }
    void decode_row(const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height, uint8_t* rgba,
                    size_t row_bytes) override
    {
        astc_avx512::decode_row(_tables, blocks, srgb, width, height, rgba, row_bytes);
    }

private:
    astc_avx512::block_tables _tables;
};
} // namespace

std::unique_ptr<block_road> make_avx512_road(uint32_t block_width, uint32_t block_height)
{
    if (!has_instructions())
        return nullptr;
    return std::make_unique<avx512_road>(block_width, block_height);
}
#else
std::unique_ptr<block_road> make_avx512_road(uint32_t, uint32_t)
{
    return nullptr;
}
#endif
