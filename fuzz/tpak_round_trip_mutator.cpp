// Keeps the share of whole frames near what tpak_round_trip means it to be. They reach the most code, so that
// nearly all inputs worth keeping are frames, and take as long as thirty single blocks.

#include <cstddef>
#include <cstdint>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned seed)
{
    constexpr uint8_t kinds = 8;
    constexpr uint8_t single_block = 2;
    size = LLVMFuzzerMutate(data, size, max_size);
    if (size > 0 && data[0] % kinds < single_block && seed % 2)
        data[0] = static_cast<uint8_t>(data[0] / kinds * kinds + single_block);
    return size;
}
