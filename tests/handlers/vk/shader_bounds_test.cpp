// Shaders that ask for what their pipeline's layout lacks never reach the host's compiler.

#include "handlers/vk/vk_fixture.h"

namespace {
/// SPIR-V, instruction by instruction.
class words
{
public:
    words& add(uint32_t opcode, std::vector<uint32_t> operands)
    {
        all.push_back(static_cast<uint32_t>(operands.size() + 1) << 16 | opcode);
        all.insert(all.end(), operands.begin(), operands.end());
        return *this;
    }
    std::vector<uint32_t> all{0x07230203, 0x10000, 0, 100, 0};
};
constexpr uint32_t uniform = 2, storage_buffer = 12, main_text = 0x6e69616d; // "main"

class vk_shaders : public vk_fixture
{
protected:
    const uint64_t shader = 0x71;

    /// Whose main function uses variable 20, of a type, by way of a second one; a third, which uses another
    /// variable, is only there.
    static words module_with(std::vector<uint32_t> type_opcode_and_operands, uint32_t storage)
    {
        words made;
        made.add(15, {5, 1, main_text, 0});             // entry point for computing
        made.add(71, {20, 34, 1}).add(71, {20, 33, 3}); // set and binding
        made.add(71, {21, 34, 9}).add(71, {21, 33, 0});
        made.add(25, {14, 6, 1, 0, 0, 0, 1}); // an image to be sampled
        const uint32_t opcode = type_opcode_and_operands[0];
        type_opcode_and_operands[0] = 10;
        made.add(opcode, type_opcode_and_operands);
        made.add(43, {6, 5, 2})
            .add(28, {11, 10, 5})
            .add(32, {12, storage, 11}); // a pointer to an array of it
        made.add(59, {12, 20, storage}).add(59, {12, 21, storage});
        made.add(54, {8, 1, 0, 9}).add(57, {8, 40, 2}).add(56, {});
        made.add(54, {8, 2, 0, 9}).add(65, {13, 41, 20, 7}).add(56, {});
        made.add(54, {8, 3, 0, 9}).add(65, {13, 42, 21, 7}).add(56, {});
        return made;
    }
    static words module_of_buffers() { return module_with({30, 6}, storage_buffer); }

    bool compiles(const words& module, const char* name = "main")
    {
        VkShaderModuleCreateInfo code{};
        code.codeSize = module.all.size() * sizeof(uint32_t);
        code.pCode = as<const uint32_t*>(memory);
        message make = target.make(in::vk_create_shader_module).u64(device_handle).u64(memory).u64(0);
        put(make.u64(memory), code).raw(module.all.data(), code.codeSize);
        EXPECT_EQ(host_calls(make.u64(shader)).size(), 1u);
        VkComputePipelineCreateInfo info{};
        info.stage.stage = VK_SHADER_STAGE_COMPUTE_BIT;
        info.stage.module = as<VkShaderModule>(shader);
        info.stage.pName = as<const char*>(memory);
        info.layout = as<VkPipelineLayout>(target_of<VkPipelineLayout>());
        message call = target.make(in::vk_create_compute_pipelines).u64(device_handle).u64(0).u32(1);
        put(call.u64(memory).u64(0).u64(memory), info).text(name);
        const bool reached = !host_calls(call.u64(0x72)).empty();
        device->shader_module.erase(as<VkShaderModule>(shader));
        device->pipeline.erase(as<VkPipeline>(0x72));
        return reached;
    }
    void lay_out(VkDescriptorType type, VkShaderStageFlags stages = VK_SHADER_STAGE_COMPUTE_BIT)
    {
        auto& layout = entry<VkPipelineLayout>();
        layout.set_count = 2;
        layout.sets = {nullptr, std::make_shared<std::map<uint32_t, vk_binding>>(
                                    std::map<uint32_t, vk_binding>{{3, {2, false, type, stages}}})};
    }
};

TEST_F(vk_shaders, UseBindingsThatTheirLayoutHas)
{
    EXPECT_TRUE(compiles(module_of_buffers())) << "of the layout nothing is known";
    lay_out(VK_DESCRIPTOR_TYPE_STORAGE_BUFFER_DYNAMIC);
    EXPECT_TRUE(compiles(module_of_buffers())) << "what no reachable function uses doesn't count";
    entry<VkPipelineLayout>().set_count = 1;
    EXPECT_FALSE(compiles(module_of_buffers()));
    lay_out(VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, VK_SHADER_STAGE_FRAGMENT_BIT);
    EXPECT_FALSE(compiles(module_of_buffers()));
    entry<VkPipelineLayout>().sets[1] = std::make_shared<std::map<uint32_t, vk_binding>>(
        std::map<uint32_t, vk_binding>{{3, {1, false, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER}}});
    EXPECT_FALSE(compiles(module_of_buffers())) << "it uses two of them";
    lay_out(VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER);
    EXPECT_FALSE(compiles(module_of_buffers()));
    lay_out(VK_DESCRIPTOR_TYPE_STORAGE_BUFFER);
    entry<VkPipelineLayout>().sets[1] = std::make_shared<std::map<uint32_t, vk_binding>>();
    EXPECT_FALSE(compiles(module_of_buffers()));
}

TEST_F(vk_shaders, UseDescriptorsOfTheirKind)
{
    const auto image = [](uint32_t dimensions, uint32_t sampled) {
        return module_with({25, 6, dimensions, 0, 0, 0, sampled}, 0);
    };
    constexpr uint32_t flat = 1, of_buffer = 5, of_subpass = 6;
    const std::vector<std::pair<VkDescriptorType, words>> kinds{
        {VK_DESCRIPTOR_TYPE_SAMPLER, module_with({26}, 0)},
        {VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, module_with({27, 14}, 0)},
        {VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE, image(flat, 1)},
        {VK_DESCRIPTOR_TYPE_STORAGE_IMAGE, image(flat, 2)},
        {VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER, image(of_buffer, 1)},
        {VK_DESCRIPTOR_TYPE_STORAGE_TEXEL_BUFFER, image(of_buffer, 2)},
        {VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, module_with({30, 6}, uniform)},
        {VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, module_of_buffers()},
        {VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT, image(of_subpass, 2)}};
    for (const auto& [laid_out, ignored] : kinds)
        for (const auto& [used, module] : kinds) {
            lay_out(laid_out);
            const bool image_of_both =
                laid_out == VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER &&
                (used == VK_DESCRIPTOR_TYPE_SAMPLER || used == VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE);
            EXPECT_EQ(compiles(module), laid_out == used || image_of_both) << laid_out << " for " << used;
        }
    words old_kind = module_with({30, 6}, uniform);
    old_kind.add(71, {10, 3}); // such a block is a storage buffer
    lay_out(VK_DESCRIPTOR_TYPE_STORAGE_BUFFER);
    EXPECT_TRUE(compiles(old_kind));
}

/// A main function with a variable, an array of so many numbers.
words module_with_array(uint32_t length, uint32_t storage)
{
    words made;
    made.add(15, {5, 1, main_text, 0}).add(21, {6, 32, 0}).add(43, {6, 5, length});
    made.add(28, {11, 6, 5}).add(32, {12, storage, 11}).add(59, {12, 20, storage});
    return made.add(54, {8, 1, 0, 9});
}

TEST_F(vk_shaders, HaveVariablesAndValuesThatCanBeHeld)
{
    constexpr uint32_t of_function = 7, of_thread = 6, of_group = 4, large = 1 << 20;
    for (uint32_t storage : {of_function, of_thread}) {
        EXPECT_TRUE(compiles(module_with_array(4000, storage)));
        EXPECT_FALSE(compiles(module_with_array(large, storage)));
        EXPECT_FALSE(compiles(module_with_array(UINT32_MAX, storage)));
    }
    EXPECT_TRUE(compiles(module_with_array(8000, of_group)));
    EXPECT_FALSE(compiles(module_with_array(large, of_group)));
    EXPECT_TRUE(compiles(module_with_array(UINT32_MAX, storage_buffer))) << "it lies elsewhere";
    EXPECT_TRUE(compiles(module_with_array(4000, storage_buffer).add(61, {11, 30, 20})));
    EXPECT_FALSE(compiles(module_with_array(large, storage_buffer).add(61, {11, 30, 20}))) << "loaded whole";
    EXPECT_TRUE(compiles(module_with_array(4000, storage_buffer).add(63, {20, 20})));
    EXPECT_FALSE(compiles(module_with_array(large, storage_buffer).add(63, {20, 20}))) << "copied whole";
    words nested = module_with_array(1, storage_buffer);
    for (uint32_t level = 0; level < 100; ++level)
        nested.add(28, {100 + level, level ? 99 + level : 6, 5});
    EXPECT_FALSE(compiles(nested));
}

TEST_F(vk_shaders, CallFunctionsThatCanStandInThePlaceOfTheCalls)
{
    const auto cascade = [](uint32_t levels, uint32_t calls) {
        words made;
        made.add(15, {5, 1, main_text, 0});
        for (uint32_t level = 1; level <= levels; ++level) {
            made.add(54, {8, level, 0, 9});
            for (uint32_t call = 0; level < levels && call < calls; ++call)
                made.add(57, {8, 1000 + level * calls + call, level + 1});
            made.add(56, {});
        }
        return made;
    };
    EXPECT_TRUE(compiles(cascade(12, 2)));
    EXPECT_FALSE(compiles(cascade(40, 2)));
    EXPECT_TRUE(compiles(cascade(100, 1)));
    EXPECT_FALSE(compiles(cascade(1000, 1)));
    EXPECT_FALSE(compiles(cascade(1, 1).add(54, {8, 2, 0, 9}).add(57, {8, 30, 2}))) << "calls itself";
}

TEST_F(vk_shaders, LieWithinThePlacesBetweenStages)
{
    constexpr uint32_t input = 1, output = 3, location = 30, builtin = 11, clip_distance = 3;
    for (uint32_t storage : {input, output}) {
        EXPECT_TRUE(compiles(module_with_array(2, storage).add(71, {20, location, 30})));
        EXPECT_FALSE(compiles(module_with_array(2, storage).add(71, {20, location, 31})));
        EXPECT_FALSE(compiles(module_with_array(1, storage).add(71, {20, location, UINT32_MAX - 1})));
        EXPECT_TRUE(compiles(module_with_array(8, storage).add(71, {20, builtin, clip_distance})));
        EXPECT_FALSE(compiles(module_with_array(9, storage).add(71, {20, builtin, clip_distance})));
    }
}

TEST_F(vk_shaders, AreModulesWithTheEntryPoint)
{
    EXPECT_FALSE(compiles(module_of_buffers(), "other"));
    words cut = module_of_buffers();
    cut.all.pop_back();
    EXPECT_TRUE(compiles(cut)) << "a whole instruction";
    cut.all.pop_back();
    EXPECT_FALSE(compiles(cut));
    words endless;
    endless.add(15, {5, 1, main_text, 0}).all.push_back(0);
    EXPECT_FALSE(compiles(endless)) << "an instruction without a length";
    EXPECT_FALSE(compiles(words{}));
    words other = module_of_buffers();
    other.all[0] = 1;
    EXPECT_FALSE(compiles(other));
    other.all.resize(3);
    EXPECT_FALSE(compiles(other));
}
} // namespace
