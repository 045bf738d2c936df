// Surfaces, images, sync objects, ids that the host makes up, and what the road of a frame remembers.
#include "object_manager/registry_fixture.h"

#include "wire/wire.h"

#include <cstdlib>

namespace out = wire::outbound;
using namespace registry_test;

namespace {
EGLSurface host_surface(uint64_t n)
{
    return reinterpret_cast<EGLSurface>(0xee0000 + n);
}
EGLImageKHR host_image(uint64_t n)
{
    return reinterpret_cast<EGLImageKHR>(0xdd0000 + n);
}

using surfaces = registry_test::registry;

TEST_F(surfaces, KeepWhatTheyWereMadeWith)
{
    auto add_it = [] {
        return zelvar_object_manager_add_surface(pid, host_surface(1), 0x51, surface_window, 9, 0x77, 0, 640,
                                                 480);
    };
    EXPECT_TRUE(add_it());
    std::string printed = library::printed_by([&] { EXPECT_FALSE(add_it()); });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] Cannot add surface object to object manager - object [              81] is "
              "already known!\n");
    EGLSurface host = nullptr;
    uint64_t number = 0;
    uint16_t width = 0, height = 0;
    zelvar_surface_type type = surface_pbuffer;
    EXPECT_TRUE(zelvar_object_manager_get_host_surface(pid, 0x51, &host));
    EXPECT_EQ(host, host_surface(1));
    EXPECT_TRUE(zelvar_object_manager_get_target_surface(pid, host_surface(1), &number));
    EXPECT_EQ(number, 0x51u);
    EXPECT_TRUE(zelvar_object_manager_get_surface_config(pid, 0x51, &number));
    EXPECT_EQ(number, 9u);
    EXPECT_TRUE(zelvar_object_manager_get_host_surface_properties(pid, 0x51, &width, &height));
    EXPECT_EQ(width, 640);
    EXPECT_EQ(height, 480);
    EXPECT_TRUE(zelvar_object_manager_get_surface_type(pid, 0x51, &type));
    EXPECT_EQ(type, surface_window);
}

TEST_F(surfaces, ZeroIsNoSurfaceAndUnknownOnesAreErrors)
{
    EGLSurface host = host_surface(1);
    uint64_t number = 5;
    EXPECT_TRUE(zelvar_object_manager_get_host_surface(pid, 0, &host));
    EXPECT_EQ(host, EGL_NO_SURFACE);
    EXPECT_EQ(
        library::printed_by([&] { EXPECT_FALSE(zelvar_object_manager_get_surface_config(pid, 0, &number)); }),
        "");
    EXPECT_FALSE(zelvar_object_manager_get_host_surface(pid, 3, &host));
    EXPECT_FALSE(zelvar_object_manager_add_surface(99, host_surface(1), 1, surface_window, 0, 0, 0, 1, 1));
    std::string printed = library::printed_by(
        [&] { EXPECT_FALSE(zelvar_object_manager_get_target_surface(pid, host_surface(2), &number)); });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] Could not find target-side surface for host-side surface [        15597570] "
              "for process id [00000007]\n");
    EXPECT_EQ(number, 5u);
}

bool has_container(pid_t process, uint64_t surface)
{
    return zelvar_object_manager_get_host_pixel_container(process, 1, surface, 0, false) != nullptr;
}

TEST_F(surfaces, DeletionAlwaysTakesTheContainerOfThePlainPid)
{
    constexpr pid_t with_vmid = 0x2000000 | pid;
    zelvar_object_manager_ensure_process_record(with_vmid);
    zelvar_object_manager_add_surface(with_vmid, host_surface(1), 0x51, surface_window, 0, 0, 0, 1, 1);
    auto* container =
        zelvar_object_manager_get_host_pixel_container(pid, 1, 0x51, 0, true); // by the masked pid
    zelvar_object_manager_set_host_pixel_container_data(container, static_cast<uint8_t*>(std::malloc(4)), 4);
    std::string printed = library::printed_by(
        [] { EXPECT_TRUE(zelvar_object_manager_delete_target_surface(with_vmid, 0x51)); });
    EXPECT_NE(
        printed.find("INFO [ZELVAR] Surface [              81] of process [33554439] is no longer considered "
                     "valid.\n"),
        std::string::npos);
    EXPECT_TRUE(has_container(pid, 0x51));
    EXPECT_FALSE(zelvar_object_manager_delete_target_surface(pid, 0x51)) << "not this process's";
    EXPECT_FALSE(has_container(pid, 0x51)) << "but its container";
}

class images : public registry_test::registry
{
protected:
    static constexpr uint64_t display = 0xd0;

    void SetUp() override
    {
        registry::SetUp();
        zelvar_object_manager_add_display(pid, tid, reinterpret_cast<EGLDisplay>(0x77), display);
        fake_host::clear();
    }
    static void add_image(uint64_t image)
    {
        EXPECT_TRUE(zelvar_object_manager_add_egl_image(pid, host_image(image), image));
        EXPECT_TRUE(zelvar_object_manager_set_egl_image_target_display(pid, image, display));
    }
    static bool destroy(uint64_t image)
    {
        return zelvar_object_manager_set_egl_image_delete_postponed(pid, tid, display, image);
    }
    static void orphan(uint32_t object, uint32_t type = GL_TEXTURE)
    {
        EXPECT_TRUE(zelvar_object_manager_set_egl_image_sibling_orphaned(pid, tid, &object, type, 1));
    }
    static size_t host_images_destroyed() { return fake_host::count("eglDestroyImageKHR"); }
    static size_t records() { return pid_to_process_data_map.at(pid).images.size(); }
};

TEST_F(images, WithoutSiblingsGoAtOnce)
{
    add_image(1);
    EXPECT_TRUE(destroy(1));
    EXPECT_EQ(fake_host::calls().at(0), fake_host::made("eglDestroyImageKHR", reinterpret_cast<void*>(0x77),
                                                        static_cast<void*>(host_image(1))));
    EXPECT_EQ(records(), 0u);
    std::string printed = library::printed_by([] { EXPECT_FALSE(destroy(1)); });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] Cannot find eglImageKHR descriptor for target eglImageKHR [               1]"
              "\n");
}

TEST_F(images, StayForTheirSiblingsWhileTheirIdIsUsedAgain)
{
    add_image(1);
    zelvar_object_manager_set_egl_image_target_sibling(pid, 1, 10, GL_TEXTURE);
    zelvar_object_manager_set_egl_image_target_sibling(pid, 1, 10, GL_RENDERBUFFER);
    EXPECT_TRUE(destroy(1));
    EXPECT_EQ(host_images_destroyed(), 0u);
    EGLImageKHR host = nullptr;
    EXPECT_FALSE(zelvar_object_manager_get_host_egl_image(pid, 1, &host));
    uint64_t moved = 0;
    EXPECT_TRUE(zelvar_object_manager_get_egl_image(pid, 10, GL_TEXTURE, &moved));
    EXPECT_EQ(moved, (uint64_t{1} << 48) | 1);

    EXPECT_TRUE(zelvar_object_manager_add_egl_image(pid, host_image(2), 1)); // the same id, a new image
    orphan(10);
    EXPECT_EQ(host_images_destroyed(), 0u) << "the renderbuffer of the same number still shows it";
    EXPECT_FALSE(zelvar_object_manager_get_egl_image(pid, 10, GL_TEXTURE, &moved));
    orphan(10, GL_RENDERBUFFER);
    EXPECT_EQ(host_images_destroyed(), 1u);
    EXPECT_TRUE(zelvar_object_manager_get_host_egl_image(pid, 1, &host));
    EXPECT_EQ(host, host_image(2));
}

TEST_F(images, EachDestroyedOneOfAnIdGetsAGenerationOfItsOwn)
{
    for (uint32_t i = 0; i < 3; i++) {
        add_image(1);
        zelvar_object_manager_set_egl_image_target_sibling(pid, 1, 10 + i, GL_TEXTURE);
        EXPECT_TRUE(destroy(1));
    }
    EXPECT_EQ(records(), 3u);
    orphan(11);
    EXPECT_EQ(records(), 2u);
    orphan(12);
    orphan(10);
    EXPECT_EQ(records(), 0u);
}

TEST_F(images, OrphansOfALiveImageDestroyNothing)
{
    add_image(1);
    zelvar_object_manager_set_egl_image_target_sibling(pid, 1, 10, GL_TEXTURE);
    orphan(10);
    orphan(99);
    EXPECT_EQ(host_images_destroyed(), 0u);
    EXPECT_TRUE(destroy(1));
    EXPECT_EQ(host_images_destroyed(), 1u);
}

TEST_F(images, NativeBuffersAreGivenBackWhenTheImageGoes)
{
    wire::winsys_buffer_object_descriptor descriptor{};
    descriptor.width = 64;
    add_image(1);
    zelvar_object_manager_set_egl_image_target(pid, 1, EGL_NATIVE_BUFFER_ANDROID);
    zelvar_object_manager_set_egl_image_android_native_window_buffer_parameters(pid, 1, 0xb0b, descriptor);
    uint64_t buffer = 0;
    descriptor.width = 0;
    EXPECT_TRUE(zelvar_object_manager_get_winsys_buffer_parameters(pid, 1, &buffer, &descriptor));
    EXPECT_EQ(buffer, 0xb0bu);
    EXPECT_EQ(descriptor.width, 64u);
    answer_service(out::winsys_buffer_object_end_use, uint32_t{0});
    std::string printed = library::printed_by([] { EXPECT_TRUE(destroy(1)); });
    EXPECT_NE(printed.find("ERROR [ZELVAR] Target side has failed to finish buffer [2827] usage.\n"),
              std::string::npos);
    answer_service(out::winsys_buffer_object_end_use, uint32_t{1});
    add_image(2);
    zelvar_object_manager_set_egl_image_target(pid, 2, EGL_NATIVE_BUFFER_ANDROID);
    EXPECT_EQ(library::printed_by([] { destroy(2); }).find("failed to finish"), std::string::npos);
}

TEST_F(images, AKnownIdIsSkippedAndWrongSiblingTypesAreTaken)
{
    add_image(1);
    zelvar_object_manager_set_egl_image_service_texture(pid, 1, 33);
    std::string printed =
        library::printed_by([] { EXPECT_TRUE(zelvar_object_manager_add_egl_image(pid, host_image(2), 1)); });
    EXPECT_NE(printed.find("DEBUG [ZELVAR] Skipping addition of EGLImage to object manager - object ["),
              std::string::npos);
    uint32_t texture = 0;
    EXPECT_TRUE(zelvar_object_manager_get_egl_image_service_texture(pid, 1, &texture));
    EXPECT_EQ(texture, 33u);
    printed = library::printed_by(
        [] { EXPECT_TRUE(zelvar_object_manager_set_egl_image_target_sibling(pid, 1, 4, GL_TEXTURE_2D)); });
    EXPECT_NE(printed.find("ERROR"), std::string::npos);
    _zelvar_object_manager_egl_image_data copy;
    EXPECT_TRUE(zelvar_object_manager_get_egl_image_data(pid, 1, &copy));
    EXPECT_EQ(copy.host_image, host_image(1));
    EXPECT_EQ(copy.siblings.size(), 1u);
}

TEST_F(images, HostTexturesOfImagesAreListedByProcess)
{
    zelvar_object_manager_set_image_sibling(pid, 4);
    zelvar_object_manager_set_image_sibling(pid, 5);
    zelvar_object_manager_delete_image_sibling(pid, 4);
    zelvar_object_manager_delete_image_sibling(99, 5);
    EXPECT_FALSE(zelvar_object_manager_is_image_sibling(pid, 4));
    EXPECT_TRUE(zelvar_object_manager_is_image_sibling(pid, 5));
    EXPECT_FALSE(zelvar_object_manager_is_image_sibling(pid + 1, 5));
}

using syncs = registry_test::registry;

TEST_F(syncs, AWaiterKeepsADestroyedRecordUntilItReturns)
{
    constexpr uint64_t sync = 0x5c;
    EXPECT_TRUE(zelvar_object_manager_add_sync_khr_object(pid, EGL_SYNC_REUSABLE_KHR, sync));
    EXPECT_FALSE(zelvar_object_manager_add_sync_khr_object(pid, EGL_SYNC_FENCE_KHR, sync));
    std::shared_ptr<_zelvar_sync_khr_descriptor> record;
    ASSERT_TRUE(zelvar_object_manager_get_sync_khr_object(pid, sync, &record));
    EXPECT_EQ(record->type, uint32_t{EGL_SYNC_REUSABLE_KHR});
    EXPECT_EQ(record->status, uint32_t{EGL_UNSIGNALED_KHR});
    EXPECT_EQ(record->valid, 1u);
    EXPECT_TRUE(zelvar_object_manager_retain_sync_khr_object(pid, tid, sync)); // a waiter
    auto destroyed = [] {
        return zelvar_test_support_get_fake_targetside_call_counter(service(out::shim_sync_object_destroy));
    };
    EXPECT_TRUE(zelvar_object_manager_release_sync_khr_object(pid, tid, sync)); // eglDestroySyncKHR
    EXPECT_EQ(destroyed(), 0u);
    EXPECT_TRUE(zelvar_object_manager_get_sync_khr_object(pid, sync, &record));
    EXPECT_TRUE(zelvar_object_manager_release_sync_khr_object(pid, tid, sync)); // the waiter returns
    EXPECT_EQ(destroyed(), 1u);
    EXPECT_FALSE(zelvar_object_manager_get_sync_khr_object(pid, sync, &record));
    record->waiter_count++; // what a handler still holds is still there
}

TEST_F(syncs, MissingRecordsAreFatalLines)
{
    std::shared_ptr<_zelvar_sync_khr_descriptor> record;
    EXPECT_EQ(library::printed_by([&] {
                  EXPECT_FALSE(zelvar_object_manager_get_sync_khr_object(pid, 0xab, &record));
                  EXPECT_FALSE(zelvar_object_manager_delete_sync_khr_object(pid, 0xab));
                  EXPECT_FALSE(zelvar_object_manager_retain_sync_khr_object(pid, tid, 0xab));
                  EXPECT_FALSE(zelvar_object_manager_release_sync_khr_object(pid, tid, 0xab));
              }),
              "FATAL [ZELVAR] Cannot find mapping for shim sync object [0xab].\n"
              "FATAL [ZELVAR] Cannot delete mapping for [0xab] due to mapping does not exist.\n"
              "FATAL [ZELVAR] Cannot retain sync khr object for [0xab] due to mapping does not exist.\n"
              "FATAL [ZELVAR] Cannot release sync khr object for [0xab] due to mapping does not exist.\n");
}

TEST_F(syncs, ACountThatRanOutStopsTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    zelvar_object_manager_add_sync_khr_object(pid, EGL_SYNC_REUSABLE_KHR, 1);
    pid_to_process_data_map.at(pid).syncs.at(1)->ref_counter = 0;
    EXPECT_DEATH(zelvar_object_manager_release_sync_khr_object(pid, tid, 1),
                 "sync_khr_iterator->second.ref_counter > 0");
}

class ids : public registry_test::registry
{
protected:
    _zelvar_context_data data;
    _zelvar_context_data_shared shared;

    void SetUp() override
    {
        registry::SetUp();
        data.data_shared = &shared;
        data.data_nonshared = std::make_unique<_zelvar_context_data_nonshared>();
    }
};

TEST_F(ids, CountersStartAtOneAndServeAllProcesses)
{
    EXPECT_EQ(zelvar_object_manager_generate_target_context(), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_context(), 2u);
    EXPECT_EQ(zelvar_object_manager_generate_target_surface(), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_egl_image(), 1u);
}

TEST_F(ids, WrapPastZeroAndSkipWhatIsInUse)
{
    shared.textures[0]; // every group has it
    shared.textures[2];
    EXPECT_EQ(zelvar_object_manager_generate_target_texture(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_texture(&data), 3u);
    shared.last_texture = 0xfffffffe;
    shared.textures[0xffffffff];
    shared.textures[1];
    EXPECT_EQ(zelvar_object_manager_generate_target_texture(&data), 3u) << "was never entered";
    shared.last_sync = 0xffffffffffffffff;
    shared.gles_syncs[1];
    EXPECT_EQ(zelvar_object_manager_generate_fence_sync(&data), 2u);
    EXPECT_EQ(zelvar_object_manager_generate_fence_sync(&data), 3u);
}

TEST_F(ids, ProgramsAndShadersShareOneNameSpaceOtherKindsDoNot)
{
    EXPECT_EQ(zelvar_object_manager_create_target_program(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_create_target_shader(&data), 2u);
    shared.programs[4];
    shared.shaders[3];
    EXPECT_EQ(zelvar_object_manager_create_target_shader(&data), 5u);
    EXPECT_EQ(zelvar_object_manager_generate_target_buffer(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_renderbuffer(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_sampler(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_transform_feedback(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_framebuffer(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_query(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_vertex_array(&data), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_program_pipeline(&data), 1u);
    EXPECT_EQ(data.data_nonshared->last_vertex_array, 1u);
}

TEST_F(ids, TheSameProgramBinaryKeepsItsId)
{
    auto store = [this](uint32_t id, const char* bytes, uint32_t format, uint32_t length) {
        zelvar_data_model_init_program_binary_descriptor(&data, "host", bytes, 1, format, length, length,
                                                         &shared.program_binaries[id]);
    };
    EXPECT_EQ(zelvar_object_manager_generate_target_program_binary_id(&data, "abcd", 5, 4), 1u);
    store(1, "abcd", 5, 4);
    EXPECT_EQ(zelvar_object_manager_generate_target_program_binary_id(&data, "abcd", 5, 4), 1u);
    EXPECT_EQ(zelvar_object_manager_generate_target_program_binary_id(&data, "abcd", 6, 4), 2u);
    EXPECT_EQ(zelvar_object_manager_generate_target_program_binary_id(&data, "abc", 5, 3), 3u);
    EXPECT_EQ(zelvar_object_manager_generate_target_program_binary_id(&data, "abce", 5, 4), 4u);
}

TEST_F(ids, AreTheTargetsOwnWhileItRunsCalls)
{
    library::set_target_gpu(TARGET_GPU_REAL);
    EXPECT_EQ(
        library::printed_by([&] {
            EXPECT_EQ(zelvar_object_manager_generate_fence_sync(&data), 0u);
            EXPECT_EQ(zelvar_object_manager_create_target_shader(&data), 0u);
            EXPECT_EQ(zelvar_object_manager_generate_target_program_binary_id(&data, "a", 1, 1), 0u);
        }),
        "FATAL [ZELVAR] zelvar_object_manager_generate_fence_sync should not be called when OpenGL ES target "
        "side present.\n"
        "FATAL [ZELVAR] zelvar_object_manager_create_target_shader should not be called when OpenGL ES "
        "target "
        "side present.\n"
        "FATAL [ZELVAR] zelvar_object_manager_generate_target_program_binary_id should not be called when "
        "OpenGL ES target side present.\n");
    EXPECT_EQ(shared.last_program_or_shader, 0u);
}

using frames = registry_test::registry;

TEST_F(frames, AFrameBufferIsEncodedFromItsSecondFrameOn)
{
    EXPECT_FALSE(zelvar_object_manager_check_tpak_encode_allowed(pid, 0x1000));
    EXPECT_FALSE(zelvar_object_manager_check_tpak_encode_allowed(pid, 0x2000));
    EXPECT_TRUE(zelvar_object_manager_check_tpak_encode_allowed(pid, 0x1000));
    zelvar_object_manager_clear_cached_framebuffer(pid);
    EXPECT_FALSE(zelvar_object_manager_check_tpak_encode_allowed(pid, 0x1000));
    EXPECT_FALSE(zelvar_object_manager_check_tpak_encode_allowed(99, 0x1000));
    EXPECT_FALSE(zelvar_object_manager_check_tpak_encode_allowed(99, 0x1000))
        << "an unknown process has no set";
}

TEST_F(frames, TheResolutionIsOnePair)
{
    uint32_t width = 1, height = 1;
    zelvar_object_manager_framebuffer_resolution_set(0xffffffff, 480);
    zelvar_object_manager_framebuffer_resolution_get(&width, &height);
    EXPECT_EQ(width, 0xffffffffu);
    EXPECT_EQ(height, 480u);
}

TEST_F(frames, ContainersGoByPidLabelSurfaceAndContext)
{
    auto get = [](uint32_t label, uint64_t context, bool create) {
        return zelvar_object_manager_get_host_pixel_container(pid, label, 0x51, context, create);
    };
    EXPECT_EQ(get(1, 0, false), nullptr);
    auto* of_surface = get(1, 0, true);
    ASSERT_NE(of_surface, nullptr);
    EXPECT_EQ(get(1, 0, false), of_surface);
    EXPECT_EQ(get(4, 7, false), nullptr);
    auto* of_framebuffer = get(4, 7, true);
    EXPECT_NE(of_framebuffer, of_surface);
    zelvar_object_manager_delete_host_pixel_container_data(pid, 4, 0x51, 7);
    zelvar_object_manager_delete_host_pixel_container_data(pid, 4, 0x51, 7);
    EXPECT_EQ(get(4, 7, false), nullptr);
    EXPECT_EQ(get(1, 0, false), of_surface);
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(get(1, 7, true), "target_context == \\(uint64_t\\) \\(\\(EGLContext\\)0\\)");
}

TEST_F(frames, AContainerOwnsItsBlockAndTakesItsFormatOnce)
{
    auto* container = zelvar_object_manager_get_host_pixel_container(pid, 1, 0x51, 0, true);
    auto block = [] { return static_cast<uint8_t*>(std::malloc(16)); };
    container->obsolete = true;
    EXPECT_EQ(library::printed_by(
                  [&] { zelvar_object_manager_set_host_pixel_container_data(container, block(), 16); }),
              "");
    EXPECT_FALSE(container->obsolete);
    EXPECT_NE(library::printed_by([&] {
                  zelvar_object_manager_set_host_pixel_container_data(container, block(), 16);
              }).find("INFO [ZELVAR] Free host pixels [0x"),
              std::string::npos);
    auto& description = container->description;
    std::string printed =
        library::printed_by([&] { zelvar_object_manager_set_host_pixel_container_desc(container, 0); });
    EXPECT_EQ(printed, "WARN [ZELVAR] Force set 32bpp for host_pixel_container\n");
    EXPECT_EQ(description.bits_per_pixel, 32);
    EXPECT_EQ(description.format, 0u);
    printed =
        library::printed_by([&] { zelvar_object_manager_set_host_pixel_container_desc(container, 12); });
    EXPECT_EQ(printed, "WARN [ZELVAR] Unhandled config_bpp value: 12\n");
    zelvar_object_manager_set_host_pixel_container_desc(container, 16);
    EXPECT_EQ(description.format, uint32_t{GL_RGB});
    EXPECT_EQ(description.type, uint32_t{GL_UNSIGNED_SHORT_5_6_5});
    zelvar_object_manager_set_host_pixel_container_desc(container, 32);
    EXPECT_EQ(description.format, uint32_t{GL_RGB}) << "once set, kept";
    EXPECT_EQ(description.bits_per_pixel, 32);
    zelvar_object_manager_set_host_pixel_container_width(container, 3);
    zelvar_object_manager_set_host_pixel_container_height(container, 4);
    zelvar_object_manager_set_host_pixel_container_stride(container, 12);
    EXPECT_EQ(description.get_buffer_size(), 48u);
    zelvar_object_manager_delete_host_pixel_container_data(pid, 1, 0x51, 0);
}
} // namespace
