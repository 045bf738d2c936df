/* Instances and devices that come and go: several at once, one after another, on several threads; threads
 * that record for one device; many objects of all kinds that are destroyed in another order. vk_lives */

#include "vk_drawing.h"

#include "sums.comp.h"
#include "triangle.frag.h"
#include "triangle.vert.h"

#include <pthread.h>
#include <stdio.h>

static const struct extensions none;

/* A triangle; what it looks like tells whether the device works. */
static void draw_once(const struct gpu* gpu, const struct canvas* canvas, VkPipelineLayout layout,
                      float angle)
{
    struct pipeline_parts parts;
    plain_parts(&parts, layout, canvas->pass, canvas->extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(gpu, triangle_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(gpu, triangle_frag));
    const VkPipeline pipeline = make_pipeline(gpu, &parts);
    free_stages(gpu, &parts);
    const float constants[] = {0, 0, angle, 1, 1, 1, 1, 1};
    const VkCommandBuffer commands = begin_commands(gpu);
    begin_pass(commands, canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_VERTEX_BIT, 0, 16, constants);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16, constants + 4);
    vkCmdDraw(commands, 3, 1, 0, 0);
    vkCmdEndRenderPass(commands);
    run_commands(gpu, commands);
    vkDestroyPipeline(gpu->device, pipeline, NULL);
}

struct drawing
{
    struct canvas canvas;
    VkPipelineLayout layout;
};

static struct drawing open_drawing(const struct gpu* gpu)
{
    const VkPushConstantRange ranges[] = {{VK_SHADER_STAGE_VERTEX_BIT, 0, 16},
                                          {VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16}};
    const struct drawing drawing = {open_canvas(gpu, 64, 48), make_layout(gpu, 0, NULL, 2, ranges)};
    return drawing;
}

static void close_drawing(const struct gpu* gpu, struct drawing* drawing)
{
    vkDestroyPipelineLayout(gpu->device, drawing->layout, NULL);
    close_canvas(gpu, &drawing->canvas);
}

static void one_after_another(void)
{
    for (int i = 0; i < 3; ++i) {
        struct gpu gpu = {.instance = make_instance(&none)};
        find_physical_device(&gpu);
        for (int k = 0; k < 3; ++k) {
            char subject[48];
            snprintf(subject, sizeof subject, "instance %d, device %d", i, k);
            make_device(&gpu, &none);
            struct drawing drawing = open_drawing(&gpu);
            draw_once(&gpu, &drawing.canvas, drawing.layout, (float)(i + k));
            print_canvas(&gpu, &drawing.canvas, subject);
            close_drawing(&gpu, &drawing);
            free_device(&gpu);
        }
        vkDestroyInstance(gpu.instance, NULL);
    }
}

/* Two devices of one instance and one of another, used in turn. */
static void at_once(void)
{
    struct gpu gpus[3];
    struct drawing drawings[3];
    gpus[0] = open_gpu();
    gpus[1] = gpus[0];
    make_device(&gpus[1], &none);
    gpus[2] = open_gpu();
    for (int i = 0; i < 3; ++i)
        drawings[i] = open_drawing(&gpus[i]);
    for (int round = 0; round < 2; ++round)
        for (int i = 0; i < 3; ++i) {
            char subject[48];
            snprintf(subject, sizeof subject, "device %d of three, round %d", i, round);
            draw_once(&gpus[i], &drawings[i].canvas, drawings[i].layout, (float)(3 * round + i));
            print_canvas(&gpus[i], &drawings[i].canvas, subject);
        }
    for (int i = 0; i < 3; ++i)
        close_drawing(&gpus[i], &drawings[i]);
    free_device(&gpus[0]);
    free_device(&gpus[1]);
    close_gpu(&gpus[2]);
    vkDestroyInstance(gpus[0].instance, NULL);
}

enum
{
    thread_count = 4,
    words = 64 * 16,
    rounds = 10
};

/* What a thread works with; the device is its own or that of all, whose queue the lock keeps. */
struct worker
{
    struct gpu gpu;
    pthread_mutex_t* lock;
    uint32_t number;
    uint32_t sums[rounds];
};

static void run_locked(struct worker* worker, VkCommandBuffer commands)
{
    wait_for_writes(commands, VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT, VK_ACCESS_SHADER_WRITE_BIT,
                    VK_PIPELINE_STAGE_HOST_BIT, VK_ACCESS_HOST_READ_BIT);
    VK(vkEndCommandBuffer(commands));
    if (worker->lock)
        pthread_mutex_lock(worker->lock);
    submit_and_wait(&worker->gpu, commands);
    if (worker->lock)
        pthread_mutex_unlock(worker->lock);
    vkFreeCommandBuffers(worker->gpu.device, worker->gpu.pool, 1, &commands);
}

/* Fills a buffer with other numbers each round and has them summed up. */
static void work_on(struct worker* worker, const struct buffer* buffers, const struct kernel* kernel)
{
    const struct gpu* const gpu = &worker->gpu;
    for (uint32_t round = 0; round < rounds; ++round) {
        uint32_t numbers[words], result[4] = {0};
        for (uint32_t i = 0; i < words; ++i)
            numbers[i] = i * (worker->number + 1) + round;
        set_buffer(gpu, &buffers[0], 0, numbers, sizeof numbers);
        set_buffer(gpu, &buffers[2], 0, result, sizeof result);
        const VkCommandBuffer commands = begin_commands(gpu);
        bind_kernel(commands, kernel);
        vkCmdDispatch(commands, words / 64, 1, 1);
        run_locked(worker, commands);
        get_buffer(gpu, &buffers[2], 0, result, sizeof result);
        worker->sums[round] = result[0];
    }
}

static void* work(void* argument)
{
    struct worker* const worker = argument;
    const struct gpu* const gpu = &worker->gpu;
    const VkDescriptorType type = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    const VkDescriptorType types[] = {type, type, type};
    const VkDeviceSize sizes[] = {words * 4, words / 16, 16};
    struct buffer buffers[3];
    struct kernel kernel = make_kernel(gpu, SHADER(gpu, sums_comp), 3, types, 0);
    for (uint32_t i = 0; i < 3; ++i) {
        buffers[i] = make_buffer(gpu, sizes[i], VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
        write_buffer(gpu, kernel.set, i, type, &buffers[i], 0, VK_WHOLE_SIZE);
    }
    work_on(worker, buffers, &kernel);
    free_kernel(gpu, &kernel);
    for (uint32_t i = 0; i < 3; ++i)
        free_buffer(gpu, &buffers[i]);
    return NULL;
}

/* A pool of command buffers belongs to one thread. */
static VkCommandPool make_own_pool(const struct gpu* gpu)
{
    const VkCommandPoolCreateInfo info = {.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO,
                                          .flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT,
                                          .queueFamilyIndex = gpu->family};
    VkCommandPool pool = VK_NULL_HANDLE;
    VK(vkCreateCommandPool(gpu->device, &info, NULL, &pool));
    return pool;
}

static void run_workers(struct worker* workers, const char* subject)
{
    pthread_t threads[thread_count];
    for (int i = 0; i < thread_count; ++i)
        check(pthread_create(&threads[i], NULL, work, &workers[i]) == 0, "pthread_create");
    begin_sum();
    for (int i = 0; i < thread_count; ++i) {
        pthread_join(threads[i], NULL);
        add_bytes(workers[i].sums, sizeof workers[i].sums);
    }
    end_sum(subject);
}

static void threads_of_one_device(void)
{
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    struct gpu gpu = open_gpu();
    struct worker workers[thread_count];
    for (uint32_t i = 0; i < thread_count; ++i) {
        const struct worker fresh = {gpu, &lock, i, {0}};
        workers[i] = fresh;
        workers[i].gpu.pool = make_own_pool(&gpu);
    }
    run_workers(workers, "threads of one device");
    for (int i = 0; i < thread_count; ++i)
        vkDestroyCommandPool(gpu.device, workers[i].gpu.pool, NULL);
    close_gpu(&gpu);
}

static void devices_of_threads(void)
{
    struct gpu gpu = {.instance = make_instance(&none)};
    find_physical_device(&gpu);
    struct worker workers[thread_count];
    for (uint32_t i = 0; i < thread_count; ++i) {
        const struct worker fresh = {gpu, NULL, i, {0}};
        workers[i] = fresh;
        make_device(&workers[i].gpu, &none);
    }
    run_workers(workers, "devices of threads");
    for (int i = 0; i < thread_count; ++i)
        free_device(&workers[i].gpu);
    vkDestroyInstance(gpu.instance, NULL);
}

enum
{
    object_count = 200
};

static void make_objects(const struct gpu* gpu, uint32_t i, struct buffer* buffer, struct image* image,
                         struct kernel* kernel)
{
    const VkDescriptorType type = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    const VkDescriptorType types[] = {type, type, type};
    *buffer =
        make_buffer(gpu, 64 + i, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    *image = make_image(gpu, VK_FORMAT_R8G8B8A8_UNORM, 1 + i % 16, 1 + i / 16, VK_IMAGE_USAGE_SAMPLED_BIT);
    *kernel = make_kernel(gpu, SHADER(gpu, sums_comp), 3, types, 0);
}

/* The even ones go first; what stays still works. */
static void many_objects(void)
{
    struct gpu gpu = open_gpu();
    static struct buffer buffers[object_count];
    static struct image images[object_count];
    static struct kernel kernels[object_count];
    for (uint32_t i = 0; i < object_count; ++i)
        make_objects(&gpu, i, &buffers[i], &images[i], &kernels[i]);
    for (uint32_t first = 0; first < 2; ++first) {
        const VkCommandBuffer commands = begin_commands(&gpu);
        for (uint32_t i = first; i < object_count; ++i)
            if (first == 0 || i % 2)
                vkCmdFillBuffer(commands, buffers[i].handle, 4, 32, i << first);
        run_commands(&gpu, commands);
        begin_sum();
        for (uint32_t i = first; i < object_count; i += 2)
            add_buffer(&gpu, &buffers[i]);
        end_sum(first ? "the odd of many objects" : "the even of many objects");
        for (uint32_t i = first; i < object_count; i += 2) {
            free_kernel(&gpu, &kernels[i]);
            free_image(&gpu, &images[i]);
            free_buffer(&gpu, &buffers[i]);
        }
    }
    close_gpu(&gpu);
}

/* Destroying nothing does nothing. */
static void destroy_nothing(void)
{
    struct gpu gpu = open_gpu();
    struct buffer buffer = {.size = 0};
    struct image image = {.aspects = 0};
    struct canvas canvas = {.extent = {0, 0}};
    struct kernel kernel = {.set = VK_NULL_HANDLE};
    free_buffer(&gpu, &buffer);
    free_image(&gpu, &image);
    close_canvas(&gpu, &canvas);
    free_kernel(&gpu, &kernel);
    vkDestroySampler(gpu.device, VK_NULL_HANDLE, NULL);
    vkDestroyFence(gpu.device, VK_NULL_HANDLE, NULL);
    vkDestroySemaphore(gpu.device, VK_NULL_HANDLE, NULL);
    vkDestroyEvent(gpu.device, VK_NULL_HANDLE, NULL);
    vkDestroyQueryPool(gpu.device, VK_NULL_HANDLE, NULL);
    vkDestroyPipelineCache(gpu.device, VK_NULL_HANDLE, NULL);
    vkDestroyBufferView(gpu.device, VK_NULL_HANDLE, NULL);
    vkDestroyShaderModule(gpu.device, VK_NULL_HANDLE, NULL);
    vkDestroyCommandPool(gpu.device, VK_NULL_HANDLE, NULL);
    close_gpu(&gpu);
    vkDestroyDevice(VK_NULL_HANDLE, NULL);
    vkDestroyInstance(VK_NULL_HANDLE, NULL);
    printf("nothing destroyed\n");
}

int main(void)
{
    one_after_another();
    at_once();
    threads_of_one_device();
    devices_of_threads();
    many_objects();
    destroy_nothing();
    return 0;
}
