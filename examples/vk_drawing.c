#include "vk_drawing.h"

VkShaderModule make_shader(const struct gpu* gpu, const uint32_t* code, size_t bytes)
{
    const VkShaderModuleCreateInfo info = {
        .sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO, .codeSize = bytes, .pCode = code};
    VkShaderModule module = VK_NULL_HANDLE;
    VK(vkCreateShaderModule(gpu->device, &info, NULL, &module));
    return module;
}

static VkRenderPass make_canvas_pass(const struct gpu* gpu)
{
    const VkAttachmentDescription attachment = {.format = VK_FORMAT_R8G8B8A8_UNORM,
                                                .samples = VK_SAMPLE_COUNT_1_BIT,
                                                .loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR,
                                                .storeOp = VK_ATTACHMENT_STORE_OP_STORE,
                                                .stencilLoadOp = VK_ATTACHMENT_LOAD_OP_DONT_CARE,
                                                .stencilStoreOp = VK_ATTACHMENT_STORE_OP_DONT_CARE,
                                                .initialLayout = VK_IMAGE_LAYOUT_UNDEFINED,
                                                .finalLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL};
    const VkAttachmentReference reference = {0, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL};
    const VkSubpassDescription subpass = {.pipelineBindPoint = VK_PIPELINE_BIND_POINT_GRAPHICS,
                                          .colorAttachmentCount = 1,
                                          .pColorAttachments = &reference};
    const VkSubpassDependency dependencies[] = {
        {VK_SUBPASS_EXTERNAL, 0, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, VK_PIPELINE_STAGE_ALL_GRAPHICS_BIT,
         VK_ACCESS_MEMORY_WRITE_BIT, VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT, 0},
        {0, VK_SUBPASS_EXTERNAL, VK_PIPELINE_STAGE_ALL_GRAPHICS_BIT, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT,
         VK_ACCESS_MEMORY_WRITE_BIT, VK_ACCESS_MEMORY_READ_BIT, 0}};
    const VkRenderPassCreateInfo info = {.sType = VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO,
                                         .attachmentCount = 1,
                                         .pAttachments = &attachment,
                                         .subpassCount = 1,
                                         .pSubpasses = &subpass,
                                         .dependencyCount = COUNT(dependencies),
                                         .pDependencies = dependencies};
    VkRenderPass pass = VK_NULL_HANDLE;
    VK(vkCreateRenderPass(gpu->device, &info, NULL, &pass));
    return pass;
}

VkFramebuffer make_framebuffer(const struct gpu* gpu, VkRenderPass pass, uint32_t count,
                               const VkImageView* views, VkExtent2D extent)
{
    const VkFramebufferCreateInfo info = {.sType = VK_STRUCTURE_TYPE_FRAMEBUFFER_CREATE_INFO,
                                          .renderPass = pass,
                                          .attachmentCount = count,
                                          .pAttachments = views,
                                          .width = extent.width,
                                          .height = extent.height,
                                          .layers = 1};
    VkFramebuffer framebuffer = VK_NULL_HANDLE;
    VK(vkCreateFramebuffer(gpu->device, &info, NULL, &framebuffer));
    return framebuffer;
}

struct canvas open_canvas(const struct gpu* gpu, uint32_t width, uint32_t height)
{
    struct canvas canvas = {.extent = {width, height}};
    canvas.image = make_image(gpu, VK_FORMAT_R8G8B8A8_UNORM, width, height,
                              VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    canvas.pass = make_canvas_pass(gpu);
    canvas.framebuffer = make_framebuffer(gpu, canvas.pass, 1, &canvas.image.view, canvas.extent);
    return canvas;
}

void close_canvas(const struct gpu* gpu, struct canvas* canvas)
{
    vkDestroyFramebuffer(gpu->device, canvas->framebuffer, NULL);
    vkDestroyRenderPass(gpu->device, canvas->pass, NULL);
    free_image(gpu, &canvas->image);
}

void begin_pass(VkCommandBuffer commands, const struct canvas* canvas, VkSubpassContents contents)
{
    const VkClearValue blue = {.color = {.float32 = {0.0f, 0.0f, 0.25f, 1.0f}}};
    const VkRenderPassBeginInfo info = {.sType = VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO,
                                        .renderPass = canvas->pass,
                                        .framebuffer = canvas->framebuffer,
                                        .renderArea = {{0, 0}, canvas->extent},
                                        .clearValueCount = 1,
                                        .pClearValues = &blue};
    vkCmdBeginRenderPass(commands, &info, contents);
}

void add_canvas(const struct gpu* gpu, const struct canvas* canvas, const char* picture)
{
    add_image(gpu, &canvas->image, picture);
}

void print_canvas(const struct gpu* gpu, const struct canvas* canvas, const char* subject)
{
    begin_sum();
    add_canvas(gpu, canvas, subject);
    end_sum(subject);
}

static void plain_fixed_parts(struct pipeline_parts* parts)
{
    parts->vertex.sType = VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO;
    parts->assembly.sType = VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO;
    parts->assembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
    parts->tessellation.sType = VK_STRUCTURE_TYPE_PIPELINE_TESSELLATION_STATE_CREATE_INFO;
    parts->raster.sType = VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO;
    parts->raster.polygonMode = VK_POLYGON_MODE_FILL;
    parts->raster.frontFace = VK_FRONT_FACE_COUNTER_CLOCKWISE;
    parts->raster.lineWidth = 1.0f;
    parts->samples.sType = VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO;
    parts->samples.rasterizationSamples = VK_SAMPLE_COUNT_1_BIT;
    parts->depth.sType = VK_STRUCTURE_TYPE_PIPELINE_DEPTH_STENCIL_STATE_CREATE_INFO;
    parts->dynamic.sType = VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO;
    for (int i = 0; i < max_blends; ++i)
        parts->blends[i].colorWriteMask = 15;
    parts->blend.sType = VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO;
    parts->blend.attachmentCount = 1;
    parts->blend.pAttachments = parts->blends;
}

void plain_parts(struct pipeline_parts* parts, VkPipelineLayout layout, VkRenderPass pass, VkExtent2D extent)
{
    const struct pipeline_parts empty = {.viewport = {.width = 1}};
    *parts = empty;
    plain_fixed_parts(parts);
    const VkViewport viewport = {0, 0, (float)extent.width, (float)extent.height, 0, 1};
    parts->viewport = viewport;
    parts->scissor.extent = extent;
    parts->view.sType = VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO;
    parts->view.viewportCount = 1;
    parts->view.pViewports = &parts->viewport;
    parts->view.scissorCount = 1;
    parts->view.pScissors = &parts->scissor;
    VkGraphicsPipelineCreateInfo* const info = &parts->info;
    info->sType = VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO;
    info->pStages = parts->stages;
    info->pVertexInputState = &parts->vertex;
    info->pInputAssemblyState = &parts->assembly;
    info->pTessellationState = &parts->tessellation;
    info->pViewportState = &parts->view;
    info->pRasterizationState = &parts->raster;
    info->pMultisampleState = &parts->samples;
    info->pDepthStencilState = &parts->depth;
    info->pColorBlendState = &parts->blend;
    info->pDynamicState = &parts->dynamic;
    info->layout = layout;
    info->renderPass = pass;
    info->basePipelineIndex = -1;
}

void add_stage(struct pipeline_parts* parts, VkShaderStageFlagBits stage, VkShaderModule module)
{
    check(parts->info.stageCount < max_stages, "the number of stages");
    const VkPipelineShaderStageCreateInfo info = {.sType =
                                                      VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO,
                                                  .stage = stage,
                                                  .module = module,
                                                  .pName = "main"};
    parts->stages[parts->info.stageCount++] = info;
}

void free_stages(const struct gpu* gpu, struct pipeline_parts* parts)
{
    while (parts->info.stageCount > 0)
        vkDestroyShaderModule(gpu->device, parts->stages[--parts->info.stageCount].module, NULL);
}

VkPipeline make_pipeline(const struct gpu* gpu, const struct pipeline_parts* parts)
{
    VkPipeline pipeline = VK_NULL_HANDLE;
    VK(vkCreateGraphicsPipelines(gpu->device, VK_NULL_HANDLE, 1, &parts->info, NULL, &pipeline));
    return pipeline;
}

VkPipeline make_compute(const struct gpu* gpu, VkPipelineLayout layout, VkShaderModule module,
                        const VkSpecializationInfo* constants)
{
    const VkComputePipelineCreateInfo info = {
        .sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO,
        .stage = {.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO,
                  .stage = VK_SHADER_STAGE_COMPUTE_BIT,
                  .module = module,
                  .pName = "main",
                  .pSpecializationInfo = constants},
        .layout = layout,
        .basePipelineIndex = -1};
    VkPipeline pipeline = VK_NULL_HANDLE;
    VK(vkCreateComputePipelines(gpu->device, VK_NULL_HANDLE, 1, &info, NULL, &pipeline));
    vkDestroyShaderModule(gpu->device, module, NULL);
    return pipeline;
}
