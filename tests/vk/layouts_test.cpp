// Descriptions against the compiler's own layout, and structures on their way between the two layouts.

#include "inbound/vk_walkers.h"
#include "vk/laid.h"
#include "vk/vk_fields.h"
#include "vk/vk_structure_functions.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

/// Offset of a member as the compiler has it.
template <auto Member, class S>
uint32_t real_offset(const S& s)
{
    return static_cast<uint32_t>(reinterpret_cast<const char*>(&(s.*Member)) -
                                 reinterpret_cast<const char*>(&s));
}

template <class S>
void expect_real_offsets(const char* name)
{
    [[maybe_unused]] static const S s{};
    vk_wire::for_each_field<S>([&](auto field, auto index) {
        constexpr auto member = vk_wire::member_of<decltype(field)>::value;
        EXPECT_EQ((vk_wire::layout<S, 64>::offset(index)), real_offset<member>(s))
            << name << ", field " << index;
    });
}

TEST(layouts, fields_stand_where_the_compiler_puts_them)
{
#define VK_STRUCTURE(name, size32) expect_real_offsets<name>(#name);
#include "wire/vk_structure_names.inc"
#undef VK_STRUCTURE
}

/// Any bytes of the 32-bit layout come through both conversions, apart from their padding.
template <class S>
void expect_round_trip(uint32_t (*unpack)(const vk_structure32<S>*, S*),
                       void (*pack)(vk_structure32<S>*, const S*), const char* name)
{
    vk_structure32<S> narrow, again;
    uint32_t seed = 1;
    for (uint8_t& byte : narrow.bytes)
        byte = static_cast<uint8_t>((seed = seed * 1664525 + 1013904223) >> 24);
    std::memset(again.bytes, 0, sizeof(again.bytes));
    // Beside each, the bytes that neither may touch.
    std::vector<uint8_t> wide(sizeof(S) + 8, 0), twice(sizeof(S) + 8, 0);
    EXPECT_EQ(unpack(&narrow, reinterpret_cast<S*>(wide.data())), sizeof(narrow)) << name;
    pack(&again, reinterpret_cast<const S*>(wide.data()));
    unpack(&again, reinterpret_cast<S*>(twice.data()));
    EXPECT_EQ(wide, twice) << name;
    uint32_t differing = 0;
    for (size_t i = 0; i < sizeof(narrow); ++i)
        differing += narrow.bytes[i] != again.bytes[i];
    EXPECT_LE(differing, sizeof(narrow) / 3) << name << ": more than padding is lost";
}

TEST(layouts, structures_survive_widening_and_narrowing)
{
#define VK_STRUCTURE(name, size32) expect_round_trip<name>(unpack_##name, pack_##name, #name);
#include "wire/vk_structure_names.inc"
#undef VK_STRUCTURE
}

TEST(layouts, a_result_is_narrowed_for_a_32_bit_target)
{
    VkPhysicalDeviceProperties properties{};
    properties.apiVersion = VK_API_VERSION_1_0;
    std::strcpy(properties.deviceName, "some device");
    properties.pipelineCacheUUID[15] = 0xab;
    properties.limits.maxImageDimension1D = 4096;
    properties.limits.bufferImageGranularity = 1ull << 40;
    properties.limits.minMemoryMapAlignment = 64;
    properties.limits.minTexelBufferOffsetAlignment = 16;
    properties.limits.nonCoherentAtomSize = 256;
    properties.sparseProperties.residencyNonResidentStrict = 1;
    ASSERT_EQ(vk_target_size<VkPhysicalDeviceProperties>(32), 816u);
    std::vector<uint8_t> narrow(816 * 2, 0xcc);
    vk_pack_for_target(32, &properties, 1, narrow.data());
    auto at = [&](uint32_t offset) { return vk_fields::load<uint64_t>(narrow.data() + offset); };
    EXPECT_STREQ(reinterpret_cast<char*>(narrow.data()) + 20, "some device");
    EXPECT_EQ(narrow[276 + 15], 0xab);
    EXPECT_EQ(static_cast<uint32_t>(at(296)), 4096u) << "limits begin at a multiple of 8";
    EXPECT_EQ(at(296 + 48), 1ull << 40);
    EXPECT_EQ(static_cast<uint32_t>(at(296 + 300)), 64u) << "a size_t has 4 bytes";
    EXPECT_EQ(at(296 + 304), 16u) << "and 64-bit numbers behind it begin at the next multiple of 8";
    EXPECT_EQ(narrow[816], 0xcc);

    std::vector<uint8_t> wide(sizeof(properties));
    vk_pack_for_target(64, &properties, 1, wide.data());
    EXPECT_EQ(std::memcmp(wide.data(), &properties, sizeof(properties)), 0);
}

TEST(layouts, the_four_results_of_one_size_keep_it)
{
    EXPECT_EQ(vk_target_size<VkPhysicalDeviceFeatures>(32), 220u);
    EXPECT_EQ(vk_target_size<VkPhysicalDeviceMemoryProperties>(32), 520u);
    EXPECT_EQ(vk_target_size<VkMemoryRequirements>(32), 24u);
    EXPECT_EQ(vk_target_size<VkExtensionProperties>(32), 260u);
}

} // namespace
