// Runs a fuzz target once over every file of the folders and files that are given: what the fuzzer has found
// stays found. Ends with the number of inputs; an empty corpus is a failure.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
std::vector<std::filesystem::path> inputs_of(int argc, char** argv)
{
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; i++) {
        if (!std::filesystem::is_directory(argv[i])) {
            inputs.emplace_back(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            if (entry.is_regular_file())
                inputs.push_back(entry.path());
        }
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}
} // namespace

int main(int argc, char** argv)
{
    size_t count = 0;
    for (const auto& path : inputs_of(argc, argv)) {
        std::ifstream file(path, std::ios::binary);
        std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
        // Named first, on the stream that isn't buffered, so that a crash tells its input.
        std::fprintf(stderr, "%s\n", path.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        count++;
    }
    std::fprintf(stderr, "%zu inputs replayed\n", count);
    return count ? 0 : 1;
}
