// Mutates inputs of gles_stream by whole records as well as inside of them.

#include "gles_stream_input.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace {
using namespace gles_stream_input;
using bytes = std::vector<uint8_t>;

void fill(uint8_t* record, std::minstd_rand& random)
{
    std::generate_n(record, block_size, [&] { return static_cast<uint8_t>(random() >> 8); });
    // Mostly on thread 1, one after the other.
    if (random() % 4)
        record[record_kind] = static_cast<uint8_t>((record[record_kind] & 0xf8) | 1);
    if (random() % 2)
        record[record_tail] = 0;
}

void mutate_record(bytes& input, size_t at, std::minstd_rand& random)
{
    uint8_t* record = &input[at];
    const size_t records = input.size() / block_size;
    switch (random() % 6) {
    case 0:
        return fill(record, random);
    case 1:
        record[record_picks + random() % most_picks] = static_cast<uint8_t>(random() >> 8);
        return;
    case 2:
        record[random() % block_size] += static_cast<uint8_t>(1 + random() % 3);
        return;
    case 3: // another call with the same arguments
        record[record_call] = static_cast<uint8_t>(random() >> 8);
        record[record_call + 1] = static_cast<uint8_t>(random() & 1);
        return;
    case 4: { // again, elsewhere
        bytes copy(record, record + block_size);
        const size_t to = 1 + random() % records;
        input.insert(input.begin() + static_cast<ptrdiff_t>(to * block_size), copy.begin(), copy.end());
        return;
    }
    case 5:
        LLVMFuzzerMutate(record, block_size, block_size);
        return;
    }
}
} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned seed)
{
    std::minstd_rand random(seed + 1);
    bytes input(data, data + size / block_size * block_size);
    if (input.empty())
        input.assign(block_size, 0);
    for (size_t changes = 1 + random() % 4; changes > 0; changes--) {
        const size_t records = input.size() / block_size;
        const size_t at = random() % records * block_size;
        const auto place = input.begin() + static_cast<ptrdiff_t>(at);
        if (records < 3 || random() % 4 == 0) {
            bytes fresh(block_size);
            fill(fresh.data(), random);
            input.insert(place + block_size, fresh.begin(), fresh.end());
        } else if (at && random() % 4 == 0) {
            input.erase(place, place + block_size);
        } else {
            mutate_record(input, at, random);
        }
    }
    size = std::min(input.size(), max_size / block_size * block_size);
    std::memcpy(data, input.data(), size);
    return size;
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* first, size_t first_size, const uint8_t* second,
                                            size_t second_size, uint8_t* out, size_t max_size, unsigned seed)
{
    std::minstd_rand random(seed + 1);
    const size_t head = random() % (first_size / block_size + 1) * block_size;
    const size_t from = random() % (second_size / block_size + 1) * block_size;
    const size_t taken = std::min(head, max_size / block_size * block_size);
    const size_t more = std::min(second_size - from, max_size - taken);
    std::memcpy(out, first, taken);
    std::memcpy(out + taken, second + from, more);
    return taken + more;
}
