// The bytes of every kind of payload, laid out by hand.

#include "shim/fake_device.h"
#include "shim/target_names.h"

using namespace shim_test;

namespace {

using payload = device_test;

TEST_F(payload, settings_exchange_comes_first)
{
    device->keep_settings_exchange = true;
    target_glFinish();
    ASSERT_EQ(device->sent.size(), 2u);
    const std::vector<uint8_t> exchange = device->sent[0];
    // Width, height, bits, revision of 40 digits with its zero, two addresses.
    ASSERT_EQ(exchange.size(), 20u + 4 + 4 + 4 + 41 + 8 + 8);
    const bytes front = bytes{}.u32(640).u32(480).u32(64);
    EXPECT_EQ(std::vector<uint8_t>(exchange.begin() + 20, exchange.begin() + 32), front.get());
    EXPECT_EQ(exchange[72], 0) << "the revision's zero";
    uint64_t block, list;
    std::memcpy(&block, exchange.data() + 73, 8);
    std::memcpy(&list, exchange.data() + 81, 8);
    EXPECT_EQ(list, block + 24);
    EXPECT_EQ(device->sent[1], message(95).get()) << "glFinish";
}

TEST_F(payload, integers_enums_and_floats_take_four_bytes)
{
    target_glViewport(1, -2, 0x12345678, 4);
    EXPECT_EQ(only_message(), message(192, bytes{}.i32(1).i32(-2).u32(0x12345678).u32(4)).get());
    target_glClearColor(0.5f, -1.0f, 0.0f, 3.25f);
    EXPECT_EQ(only_message(),
              message(67, bytes{}.u32(0x3f000000).u32(0xbf800000).u32(0).u32(0x40500000)).get());
}

TEST_F(payload, a_boolean_takes_one_byte_and_shifts_what_follows)
{
    const float array[4] = {};
    target_glVertexAttribPointer(3, 4, GL_FLOAT, GL_TRUE, 48, array);
    EXPECT_EQ(only_message(),
              message(191, bytes{}.u32(3).u32(4).u32(0x1406).u8(1).u32(48).address(array)).get());
    target_glColorMask(1, 0, 1, 0);
    EXPECT_EQ(only_message(), message(70, bytes{}.u8(1).u8(0).u8(1).u8(0)).get());
}

TEST_F(payload, pointer_sized_integers_take_eight_bytes_with_their_sign)
{
    const char data[3] = {};
    target_glBufferData(GL_ARRAY_BUFFER, 3, data, GL_STATIC_DRAW);
    EXPECT_EQ(only_message(), message(63, bytes{}.u32(0x8892).u64(3).address(data).u32(0x88E4)).get());
    target_glBufferSubData(GL_ARRAY_BUFFER, -1, 3, data);
    EXPECT_EQ(only_message(), message(64, bytes{}.u32(0x8892).u64(~uint64_t{0}).u64(3).address(data)).get());
}

TEST_F(payload, sixty_four_bit_integers_and_sync_objects)
{
    device->replies = {value_and_release(bytes{}.u32(GL_CONDITION_SATISFIED))};
    const auto sync = reinterpret_cast<GLsync>(uintptr_t{0x1122334455667788});
    EXPECT_EQ(target_glClientWaitSync(sync, GL_SYNC_FLUSH_COMMANDS_BIT, 0x8877665544332211),
              GL_CONDITION_SATISFIED);
    EXPECT_EQ(only_message(),
              message(266, bytes{}.u64(0x1122334455667788).u32(1).u64(0x8877665544332211)).get());
}

TEST_F(payload, uniform_arrays_stand_behind_their_address)
{
    const float values[4] = {1, 2, 3, 4};
    target_glUniform2fv(7, 2, values);
    EXPECT_EQ(only_message(),
              message(167, bytes{}.u32(7).u32(2).address(values).f32(1).f32(2).f32(3).f32(4)).get());
    const GLuint numbers[3] = {5, 6, 7};
    target_glUniform3uiv(-1, 1, numbers);
    EXPECT_EQ(only_message(),
              message(247, bytes{}.i32(-1).u32(1).address(numbers).u32(5).u32(6).u32(7)).get());
    const GLint ints[2] = {-5, 6};
    target_glProgramUniform1iv(9, 4, 2, ints);
    EXPECT_EQ(only_message(), message(328, bytes{}.u32(9).u32(4).u32(2).address(ints).i32(-5).i32(6)).get());
}

TEST_F(payload, null_and_empty_arrays_have_no_bytes)
{
    const float value = 1;
    target_glUniform1fv(7, 0, &value);
    EXPECT_EQ(only_message(), message(163, bytes{}.u32(7).u32(0).address(&value)).get());
    target_glUniform1fv(7, -3, &value);
    EXPECT_EQ(only_message(), message(163, bytes{}.u32(7).i32(-3).address(&value)).get());
    target_glUniform1fv(7, 3, nullptr);
    EXPECT_EQ(only_message(), message(163, bytes{}.u32(7).u32(3).u64(0)).get());
    target_glDeleteTextures(-1, nullptr);
    EXPECT_EQ(only_message(), message(84, bytes{}.i32(-1).u64(0)).get());
}

TEST_F(payload, matrices_are_columns_times_rows)
{
    float values[12];
    for (int i = 0; i < 12; ++i)
        values[i] = static_cast<float>(i);
    bytes twelve;
    twelve.raw(values, sizeof values);
    target_glUniformMatrix2x3fv(1, 2, GL_TRUE, values);
    EXPECT_EQ(only_message(), message(210, bytes{}.u32(1).u32(2).u8(1).address(values).add(twelve)).get());
    target_glProgramUniformMatrix4x3fv(5, 1, 1, GL_FALSE, values);
    EXPECT_EQ(only_message(),
              message(348, bytes{}.u32(5).u32(1).u32(1).u8(0).address(values).add(twelve)).get());
    target_glUniformMatrix3fv(1, 1, GL_FALSE, values);
    bytes nine;
    nine.raw(values, 36);
    EXPECT_EQ(only_message(), message(179, bytes{}.u32(1).u32(1).u8(0).address(values).add(nine)).get());
}

TEST_F(payload, ids_travel_when_they_are_given_back_and_not_when_they_are_made)
{
    GLuint ids[2] = {11, 12};
    target_glGenTextures(2, ids);
    EXPECT_EQ(only_message(), message(104, bytes{}.u32(2).address(ids)).get());
    target_glDeleteTextures(2, ids);
    EXPECT_EQ(only_message(), message(84, bytes{}.u32(2).address(ids).u32(11).u32(12)).get());
    target_glDeleteQueriesEXT(1, ids);
    EXPECT_EQ(only_message(), message(423, bytes{}.u32(1).address(ids).u32(11)).get());
}

TEST_F(payload, strings_are_packed_each_with_its_zero)
{
    const char* names[3] = {"position", "", "velocity"};
    target_glTransformFeedbackVaryings(4, 3, names, GL_SEPARATE_ATTRIBS);
    EXPECT_EQ(
        only_message(),
        message(230,
                bytes{}.u32(4).u32(3).address(names).u32(0x8C8D).text("position").text("").text("velocity"))
            .get());
    device->replies = {value_and_release(bytes{}.u32(21))};
    EXPECT_EQ(target_glCreateShaderProgramv(GL_VERTEX_SHADER, 1, names), 21u);
    EXPECT_EQ(only_message(), message(310, bytes{}.u32(0x8B31).u32(1).address(names).text("position")).get());
    GLuint indices[1];
    target_glGetUniformIndices(4, 1, names, indices);
    EXPECT_EQ(only_message(),
              message(255, bytes{}.u32(4).u32(1).address(names).address(indices).text("position")).get());
}

TEST_F(payload, shader_text_stays_where_it_is)
{
    const char* text[1] = {"void main() {}"};
    const GLint length[1] = {14};
    target_glShaderSource(3, 1, text, length);
    EXPECT_EQ(only_message(), message(149, bytes{}.u32(3).u32(1).address(text).address(length)).get());
    target_glShaderSource(3, 1, text, nullptr);
    EXPECT_EQ(only_message(), message(149, bytes{}.u32(3).u32(1).address(text).u64(0)).get());
}

TEST_F(payload, clear_values_are_four_for_colour_and_one_otherwise)
{
    const float colour[4] = {1, 2, 3, 4};
    target_glClearBufferfv(GL_COLOR, 1, colour);
    EXPECT_EQ(only_message(),
              message(251, bytes{}.u32(0x1800).u32(1).address(colour).f32(1).f32(2).f32(3).f32(4)).get());
    target_glClearBufferfv(GL_DEPTH, 0, colour);
    EXPECT_EQ(only_message(), message(251, bytes{}.u32(0x1801).u32(0).address(colour).f32(1)).get());
    target_glClearBufferfi(GL_DEPTH_STENCIL, 0, 0.5f, 3);
    EXPECT_EQ(only_message(), message(252, bytes{}.u32(0x84F9).u32(0).f32(0.5f).u32(3)).get());
}

TEST_F(payload, small_arrays_stand_last)
{
    const GLenum attachments[2] = {GL_COLOR_ATTACHMENT0, GL_DEPTH_ATTACHMENT};
    target_glInvalidateSubFramebuffer(GL_FRAMEBUFFER, 2, attachments, 1, 2, 3, 4);
    EXPECT_EQ(only_message(), message(293, bytes{}
                                               .u32(0x8D40)
                                               .u32(2)
                                               .address(attachments)
                                               .u32(1)
                                               .u32(2)
                                               .u32(3)
                                               .u32(4)
                                               .u32(0x8CE0)
                                               .u32(0x8D00))
                                  .get());
    target_glDrawBuffers(1, attachments);
    EXPECT_EQ(only_message(), message(209, bytes{}.u32(1).address(attachments).u32(0x8CE0)).get());
    const GLint parameter = GL_NEAREST;
    target_glSamplerParameteriv(6, GL_TEXTURE_MIN_FILTER, &parameter);
    EXPECT_EQ(only_message(), message(277, bytes{}.u32(6).u32(0x2801).address(&parameter).u32(0x2600)).get());
    target_glTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &parameter);
    EXPECT_EQ(only_message(), message(160, bytes{}.u32(0x0DE1).u32(0x2801).address(&parameter)).get());
}

TEST_F(payload, queries_with_lists_carry_the_lists)
{
    const GLuint indices[2] = {4, 5};
    GLint out[2];
    target_glGetActiveUniformsiv(3, 2, indices, GL_UNIFORM_TYPE, out);
    EXPECT_EQ(
        only_message(),
        message(256, bytes{}.u32(3).u32(2).address(indices).u32(0x8A37).address(out).u32(4).u32(5)).get());
    const GLenum properties[1] = {GL_LOCATION};
    GLsizei length;
    target_glGetProgramResourceiv(3, GL_UNIFORM, 2, 1, properties, 2, &length, out);
    EXPECT_EQ(only_message(), message(306, bytes{}
                                               .u32(3)
                                               .u32(0x92E1)
                                               .u32(2)
                                               .u32(1)
                                               .address(properties)
                                               .u32(2)
                                               .address(&length)
                                               .address(out)
                                               .u32(0x930E))
                                  .get());
}

TEST_F(payload, unmap_has_a_stage_and_map_plain_sizes)
{
    device->replies = {value_and_release(bytes{}.u8(1))};
    EXPECT_EQ(target_glUnmapBuffer(GL_ARRAY_BUFFER), GL_TRUE);
    EXPECT_EQ(only_message(), message(207, bytes{}.u32(0x8892).u32(1)).get());
    device->replies = {value_and_release(bytes{}.u64(0x7f0000001000))};
    EXPECT_EQ(target_glMapBufferRange(GL_ARRAY_BUFFER, 16, 32, GL_MAP_READ_BIT),
              reinterpret_cast<void*>(0x7f0000001000));
    EXPECT_EQ(only_message(), message(219, bytes{}.u32(0x8892).u64(16).u64(32).u32(1)).get());
}

TEST_F(payload, egl_handles_and_lists)
{
    const auto display = reinterpret_cast<EGLDisplay>(uintptr_t{0x55aa00001000});
    const EGLint wanted[] = {EGL_RED_SIZE, 8, EGL_NONE};
    EGLConfig configs[3];
    EGLint count;
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
    EXPECT_EQ(target_eglChooseConfig(display, wanted, configs, 3, &count), EGLBoolean{EGL_TRUE});
    EXPECT_EQ(
        only_message(),
        message(7, bytes{}.address(display).address(wanted).address(configs).u32(3).address(&count)).get());
}

TEST_F(payload, the_display_id_on_the_wire_is_the_default)
{
    device->replies = {value_and_release(bytes{}.u64(0x55aa00001000))};
    EXPECT_EQ(target_eglGetDisplay(reinterpret_cast<EGLNativeDisplayType>(0x10)),
              reinterpret_cast<EGLDisplay>(0x55aa00001000));
    EXPECT_EQ(only_message(), message(19, bytes{}.u64(0)).get());
}

TEST_F(payload, error_queries_are_empty)
{
    device->replies = {value_and_release(bytes{}.u32(GL_INVALID_ENUM)),
                       value_and_release(bytes{}.u32(EGL_BAD_MATCH))};
    EXPECT_EQ(target_glGetError(), GLenum{GL_INVALID_ENUM});
    EXPECT_EQ(only_message(), message(111).get());
    EXPECT_EQ(target_eglGetError(), EGL_BAD_MATCH);
    EXPECT_EQ(only_message(), message(20).get());
}

TEST_F(payload, proc_addresses_are_found_without_a_message)
{
    EXPECT_EQ(target_eglGetProcAddress("glDrawArrays"), reinterpret_cast<void (*)()>(&target_glDrawArrays));
    EXPECT_EQ(target_eglGetProcAddress("eglCreateSync"), reinterpret_cast<void (*)()>(&target_eglCreateSync));
    EXPECT_EQ(target_eglGetProcAddress("glNoSuchThing"), nullptr);
    EXPECT_EQ(target_eglGetProcAddress("wl_egl_window_create"), nullptr);
    EXPECT_EQ(target_eglGetProcAddress(nullptr), nullptr);
    EXPECT_TRUE(device->sent.empty());
}

TEST_F(payload, newer_spellings_narrow_their_lists)
{
    std::vector<EGLint> list;
    device->on_message = [&](const std::vector<uint8_t>& sent) {
        uint64_t address;
        std::memcpy(&address, sent.data() + 32, 8);
        const auto* at = reinterpret_cast<const EGLint*>(address);
        list.assign(at, at + 3);
    };
    const EGLAttrib attributes[] = {EGL_SYNC_CONDITION, EGL_SYNC_PRIOR_COMMANDS_COMPLETE, EGL_NONE};
    device->replies = {value_and_release(bytes{}.u64(5))};
    EXPECT_EQ(target_eglCreateSync(nullptr, EGL_SYNC_FENCE, attributes), reinterpret_cast<EGLSync>(5));
    EXPECT_EQ(list, (std::vector<EGLint>{EGL_SYNC_CONDITION, EGL_SYNC_PRIOR_COMMANDS_COMPLETE, EGL_NONE}));
    device->on_message = {};
    device->sent.clear();

    EGLAttrib value = -1;
    device->on_message = [](const std::vector<uint8_t>& sent) {
        uint64_t address;
        std::memcpy(&address, sent.data() + 40, 8);
        *reinterpret_cast<EGLint*>(address) = EGL_SIGNALED;
    };
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
    EXPECT_EQ(target_eglGetSyncAttrib(nullptr, nullptr, EGL_SYNC_STATUS, &value), EGLBoolean{EGL_TRUE});
    EXPECT_EQ(value, EGL_SIGNALED);
}

// Values that come back.

TEST_F(payload, results_have_the_width_of_their_type)
{
    device->replies = {value_and_release(bytes{}.u8(1)), value_and_release(bytes{}.i32(-1)),
                       value_and_release(bytes{}.u64(0x123456789abcdef0)),
                       value_and_release(bytes{}.u64(0x1000)), value_and_release(bytes{}.u32(0x1000))};
    EXPECT_EQ(target_glIsTexture(3), GL_TRUE);
    EXPECT_EQ(target_glGetAttribLocation(1, "a"), -1);
    EXPECT_EQ(target_eglCreateContext(nullptr, nullptr, nullptr, nullptr),
              reinterpret_cast<EGLContext>(0x123456789abcdef0));
    EXPECT_EQ(target_glGetString(GL_VERSION), reinterpret_cast<const GLubyte*>(0x1000));
    EXPECT_EQ(target_glGetString(GL_VERSION), reinterpret_cast<const GLubyte*>(0x1000))
        << "a narrower pointer";
}

TEST_F(payload, a_missing_or_malformed_result_is_zero)
{
    device->replies = {release(), value_and_release(bytes{}),
                       message(436, bytes{}.u8(8).u32(1)).add(release()), message(436).add(release())};
    EXPECT_EQ(target_eglInitialize(nullptr, nullptr, nullptr), EGLBoolean{EGL_FALSE});
    EXPECT_EQ(target_glGetString(GL_VERSION), nullptr);
    EXPECT_EQ(target_glGetString(GL_VERSION), nullptr) << "eight bytes announced, four there";
    EXPECT_EQ(target_glGetString(GL_VERSION), nullptr) << "no size at all";
    device->replies = {value_and_release(bytes{}.u64(0x1000).zeros(200))};
    EXPECT_EQ(target_glGetString(GL_VERSION), reinterpret_cast<const GLubyte*>(0x1000)) << "more than fits";
}

// With a driver on the target.

TEST_F(payload, results_and_error_words_stand_in_front_when_the_target_has_a_driver)
{
    device->settings_block[37] = 1; // call on target
    device->settings_block[40] = 1; // which one
    device->settings_block[44] = 1; // error words
    capture();
    target_glActiveTexture(GL_TEXTURE1);
    EXPECT_EQ(only_message(), message(51, bytes{}.u32(0).u32(0x84C1)).get());
    target_glIsTexture(3);
    EXPECT_EQ(only_message(), message(138, bytes{}.u8(0).u32(0).u32(3)).get());
    target_eglCreatePbufferSurface(nullptr, nullptr, nullptr);
    EXPECT_EQ(only_message(), message(10, bytes{}.u64(0).u32(0x3000).u64(0).u64(0).u64(0)).get());
    target_glGetError();
    EXPECT_EQ(only_message(), message(111, bytes{}.u32(0)).get());
    EXPECT_NE(captured().find("has no driver of its own"), std::string::npos);
}

TEST_F(payload, error_words_follow_the_white_list)
{
    static const char list[] = "gles20_glClearStencil,egl_eglSwapInterval";
    device->settings_block[37] = device->settings_block[40] = 1;
    device->settings_block[44] = device->settings_block[45] = 1;
    const auto address = reinterpret_cast<uintptr_t>(list);
    std::memcpy(device->settings_block.data() + 24, &address, 8);
    capture();
    target_glClearStencil(1);
    EXPECT_EQ(only_message(), message(69, bytes{}.u32(0).u32(1)).get());
    target_glClear(1);
    EXPECT_EQ(only_message(), message(66, bytes{}.u32(1)).get()) << "a listed name only begins with its name";
    target_eglSwapInterval(nullptr, 1);
    EXPECT_EQ(only_message(), message(34, bytes{}.u32(0).u32(0x3000).u64(0).u32(1)).get());
    captured();
}

} // namespace
