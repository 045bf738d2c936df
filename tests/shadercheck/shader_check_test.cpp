// What the validator's library says of shaders that the build makes, whole and with words changed.

#include "shadercheck/shader_check.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {
namespace fs = std::filesystem;
using words = std::vector<uint32_t>;

/// SPIR-V as the compiler writes it into headers: numbers between braces.
words words_of(const fs::path& header)
{
    std::ifstream file{header};
    const std::string text{std::istreambuf_iterator<char>{file}, {}};
    words all;
    for (size_t at = text.find("0x"); at != std::string::npos; at = text.find("0x", at + 2))
        all.push_back(static_cast<uint32_t>(std::stoul(text.substr(at, 10), nullptr, 16)));
    return all;
}

class shader_checks : public testing::Test
{
protected:
    shader_checks()
    {
        void* library = dlopen(SHADER_CHECK, RTLD_NOW | RTLD_LOCAL);
        _check = library ? reinterpret_cast<shader_check*>(dlsym(library, shader_check_function)) : nullptr;
        for (const auto& entry : fs::directory_iterator{SHADERS})
            if (entry.path().extension() == ".h")
                shaders.push_back(words_of(entry.path()));
    }
    std::string check(const words& module) const
    {
        char text[200];
        std::memset(text, 'x', sizeof(text));
        return _check(module.data(), module.size(), text, sizeof(text)) == 0 ? "sound" : text;
    }
    void SetUp() override
    {
        ASSERT_NE(_check, nullptr) << dlerror();
        ASSERT_GT(shaders.size(), 10u);
    }

    std::vector<words> shaders;

private:
    shader_check* _check;
};

TEST_F(shader_checks, LetPassWhatIsSound)
{
    for (const words& shader : shaders)
        EXPECT_EQ(check(shader), "sound");
}

TEST_F(shader_checks, TellWhatIsWrongInOneLine)
{
    constexpr size_t header = 5;
    for (const words& shader : shaders) {
        words cut = shader;
        cut.pop_back();
        words other = shader;
        for (size_t at = header; at < other.size(); at += other[at] >> 16)
            if ((other[at] & 0xffff) == 61) // a load becomes nothing
                other[at] &= 0xffff0000;
        for (const words& broken : {cut, other, words(shader.begin(), shader.begin() + 3), words{}}) {
            const std::string said = check(broken);
            EXPECT_NE(said, "sound");
            EXPECT_NE(said, "");
            EXPECT_EQ(said.find('\n'), std::string::npos) << said;
        }
    }
}

TEST_F(shader_checks, EndSoonWhateverComes)
{
    words numbered = shaders[0];
    numbered[3] = UINT32_MAX; // as many ids as that
    EXPECT_NE(check(numbered), "sound");
    words endless = shaders[0];
    endless.resize((4 << 20) + 1, 1 << 16); // instructions that do nothing
    EXPECT_NE(check(endless), "sound");
}

TEST_F(shader_checks, ComeFromSeveralThreads)
{
    std::atomic<int> refused = 0;
    std::vector<std::thread> threads;
    constexpr int count = 4;
    threads.reserve(count);
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&] {
            for (const words& shader : shaders)
                refused += check(shader) != "sound";
        });
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(refused, 0);
}
} // namespace
