// What the shim answers while a call runs.

#include "shim/fake_device.h"
#include "shim/target_names.h"

#include <algorithm>
#include <sys/wait.h>

using namespace shim_test;

namespace {

class services : public device_test
{
protected:
    /// Runs a call in which the device asks this; returns what the shim sent back, which may be nothing.
    std::vector<uint8_t> ask(const bytes& request)
    {
        device->sent.clear();
        device->replies = {request, release()};
        if (!wants_answer)
            device->replies = {bytes{request}.add(release())};
        target_glFinish();
        EXPECT_TRUE(device->replies.empty()) << "no confirmation came";
        return device->sent.size() == 2 ? device->sent[1] : std::vector<uint8_t>{};
    }

    bool wants_answer = true;
};

TEST_F(services, sizes_and_names)
{
    EXPECT_EQ(ask(message(446)), confirmation(bytes{}.u32(8)).get()) << "pointer size";
    EXPECT_EQ(ask(message(462)), confirmation(bytes{}.u32(1)).get()) << "operating system";
    EXPECT_EQ(ask(message(443)), confirmation(bytes{}.u32(480)).get()) << "frame buffer height";
    EXPECT_EQ(ask(message(444)), confirmation(bytes{}.u32(640)).get()) << "frame buffer width";
    EXPECT_EQ(ask(message(463, bytes{}.u64(1))), confirmation(bytes{}.u32(480)).get()) << "window height";
    EXPECT_EQ(ask(message(464, bytes{}.u64(1))), confirmation(bytes{}.u32(640)).get()) << "window width";
    EXPECT_EQ(ask(message(464, bytes{}.u64(0))), confirmation(bytes{}.u32(0)).get()) << "no window";
    const auto name = ask(message(469));
    ASSERT_EQ(name.size(), 33u);
    uint64_t address;
    std::memcpy(&address, name.data() + 25, 8);
    EXPECT_STREQ(reinterpret_cast<const char*>(address), program_invocation_short_name);
}

TEST_F(services, strings_and_attribute_lists)
{
    EXPECT_EQ(ask(message(445, bytes{}.address("seven c"))), confirmation(bytes{}.u32(7)).get());
    EXPECT_EQ(ask(message(445, bytes{}.address(""))), confirmation(bytes{}.u32(0)).get());
    EXPECT_EQ(ask(message(445, bytes{}.u64(0))), confirmation(bytes{}.u32(0)).get());
    // A value that looks like the end mark isn't one.
    const EGLint list[] = {EGL_RED_SIZE, EGL_NONE, EGL_DEPTH_SIZE, 24, EGL_NONE};
    EXPECT_EQ(ask(message(442, bytes{}.address(list))), confirmation(bytes{}.u32(20)).get());
    EXPECT_EQ(ask(message(442, bytes{}.address(list + 4))), confirmation(bytes{}.u32(4)).get());
    EXPECT_EQ(ask(message(442, bytes{}.u64(0))), confirmation(bytes{}.u32(0)).get());
    EXPECT_EQ(ask(message(449, bytes{}.address("glClear"))),
              confirmation(bytes{}.address(reinterpret_cast<const void*>(&target_glClear))).get());
}

TEST_F(services, blocks_are_zeroed_and_given_back_once)
{
    const auto answer = ask(message(440, bytes{}.u32(64)));
    ASSERT_EQ(answer.size(), 33u);
    uint64_t address;
    std::memcpy(&address, answer.data() + 25, 8);
    const auto* block = reinterpret_cast<const uint8_t*>(address);
    EXPECT_EQ(std::count(block, block + 64, 0), 64);
    wants_answer = false;
    EXPECT_TRUE(ask(message(441, bytes{}.u64(address))).empty());
    capture();
    ask(message(441, bytes{}.u64(address)));
    int own = 0;
    ask(message(441, bytes{}.address(&own)));
    const std::string lines = captured();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << "neither is freed: " << lines;
}

TEST_F(services, memory_requests_are_confirmed_and_nothing_else)
{
    char target[4] = {};
    EXPECT_EQ(ask(message(438, bytes{}.u32(4).address(target))), confirmation(bytes{}).get());
    EXPECT_EQ(ask(message(439, bytes{}.address(target).u32(4))), confirmation(bytes{}).get());
    for (const uint32_t type : {450u, 451u, 452u})
        EXPECT_EQ(ask(message(type, bytes{}.u32(1))), confirmation(bytes{}).get()) << type;
    EXPECT_EQ(ask(message(457, bytes{}.u32(1).u32(2))), confirmation(bytes{}).get());
    EXPECT_EQ(ask(message(460, bytes{}.u64(1).u64(2))), confirmation(bytes{}.u8(1)).get());
    EXPECT_EQ(ask(message(461, bytes{}.u64(1))), confirmation(bytes{}).get());
}

TEST_F(services, what_is_not_built_says_so_and_answers_zeros_of_the_right_size)
{
    const struct
    {
        uint32_t type, payload, answer;
    } cases[] = {{447, 24, 4}, {448, 16, 16}};
    for (const auto& c : cases) {
        capture();
        EXPECT_EQ(ask(message(c.type, bytes{}.zeros(c.payload))),
                  confirmation(bytes{}.zeros(c.answer)).get());
        EXPECT_NE(captured().find("isn't built"), std::string::npos) << c.type;
    }
}

TEST_F(services, memory_of_vulkan_has_the_handle_that_was_made_up_and_unknown_buffers_have_nothing)
{
    const uint64_t handle = 0x1122334455667788;
    const bytes request = bytes{}.u64(1).u64(2).u64(0).address(&handle).u32(3);
    EXPECT_EQ(ask(message(468, request)), confirmation(bytes{}.u64(handle)).get());
    EXPECT_EQ(ask(message(468, bytes{}.zeros(36))), confirmation(bytes{}.u64(0)).get());
    EXPECT_EQ(ask(message(467, bytes{}.u64(0x1234))), confirmation(bytes{}.zeros(32)).get());
}

TEST_F(services, the_begin_use_request_is_longer_than_it_says)
{
    capture();
    bytes request = message(458); // declares 20 bytes
    request.zeros(12);
    EXPECT_EQ(ask(request), confirmation(bytes{}.zeros(56)).get());
    EXPECT_EQ(captured().find("gone"), std::string::npos) << "what follows is read from the right place";
}

TEST_F(services, short_requests_are_answered_with_zeros)
{
    capture();
    EXPECT_EQ(ask(message(445, bytes{}.u32(1))), confirmation(bytes{}.u32(0)).get());
    EXPECT_EQ(ask(message(440)), confirmation(bytes{}.u64(0)).get());
    EXPECT_NE(captured().find("bytes of arguments instead of"), std::string::npos);
}

TEST_F(services, unknown_requests_are_named_and_passed_over)
{
    wants_answer = false;
    for (const uint32_t type : {0u, 434u, 470u, 0xffffffffu}) {
        capture();
        EXPECT_TRUE(ask(message(type, bytes{}.u32(0))).empty());
        EXPECT_NE(captured().find("which there isn't"), std::string::npos) << type;
    }
}

TEST_F(services, calls_on_the_target_get_neutral_answers)
{
    capture();
    // glIsTexture, glGetError, eglCreateContext, glActiveTexture.
    EXPECT_EQ(ask(message(132, bytes{}.u32(3))), confirmation(bytes{}.u8(0)).get());
    EXPECT_EQ(ask(message(105)), confirmation(bytes{}.u32(0)).get());
    EXPECT_EQ(ask(message(3, bytes{}.zeros(32))), confirmation(bytes{}.u64(0), 0x3000).get());
    EXPECT_EQ(ask(message(45, bytes{}.u32(0x84C0))), confirmation(bytes{}).get());
    EXPECT_EQ(ask(message(435)), confirmation(bytes{}.u64(0), 0x3000).get());
    EXPECT_NE(captured().find("has no driver"), std::string::npos);
}

TEST_F(services, void_calls_on_the_target_want_no_answer_when_they_are_batched)
{
    device->settings_block[33] = 1;
    capture();
    wants_answer = false;
    EXPECT_TRUE(ask(message(45, bytes{}.u32(0x84C0))).empty());
    wants_answer = true;
    EXPECT_EQ(ask(message(108, bytes{}.u32(1).u64(0))), confirmation(bytes{}).get())
        << "glGetIntegerv has an output";
    EXPECT_EQ(ask(message(132, bytes{}.u32(3))), confirmation(bytes{}.u8(0)).get());
    captured();
}

TEST_F(services, several_messages_come_at_once_or_in_pieces_cut_anywhere)
{
    // A value, a request without an answer, one with an answer; after that a newer value and the release.
    const bytes first =
        message(436, bytes{}.u8(4).u32(1)).add(message(441, bytes{}.u64(0))).add(message(446));
    const bytes second = message(436, bytes{}.u8(4).u32(0xabcdef)).add(release());
    for (size_t piece = 1; piece <= first.size(); ++piece) {
        device->sent.clear();
        device->piece = piece;
        device->replies = {first, second};
        EXPECT_EQ(target_glGetError(), 0xabcdefu) << piece;
        ASSERT_EQ(device->sent.size(), 2u) << piece;
        EXPECT_EQ(device->sent[1], confirmation(bytes{}.u32(8)).get()) << piece;
    }
}

TEST_F(services, the_answer_may_fill_the_smallest_window)
{
    use_device(size_t{1} << 20);
    bytes many;
    for (int i = 0; i < 5000; ++i)
        many.add(message(441, bytes{}.u64(0)));
    device->piece = 777;
    device->replies = {many.add(value_and_release(bytes{}.u32(5)))};
    EXPECT_EQ(target_glGetError(), 5u);
}

// When things go wrong.

TEST_F(services, rubbish_from_the_device_ends_the_connection_and_not_the_application)
{
    const bytes cases[] = {bytes{}.u32(19).u32(446).u32(0).u64(0), bytes{}.u32(0).u32(437).u32(0).u64(0),
                           bytes{}.u32(0xffffffff).u32(438).u32(0).u64(0)};
    for (const bytes& rubbish : cases) {
        use_device();
        capture();
        device->replies = {rubbish};
        EXPECT_EQ(target_glGetError(), 0u);
        EXPECT_EQ(target_eglGetDisplay(EGL_DEFAULT_DISPLAY), EGL_NO_DISPLAY);
        EXPECT_EQ(device->sent.size(), 1u) << "nothing more is sent";
        EXPECT_NE(captured().find("The device is gone"), std::string::npos);
    }
}

TEST_F(services, a_device_that_goes_is_reported_once)
{
    target_glFinish();
    device->gone = true;
    capture();
    for (int i = 0; i < 3; ++i)
        target_glFinish();
    EXPECT_EQ(target_eglInitialize(nullptr, nullptr, nullptr), EGLBoolean{EGL_FALSE});
    EXPECT_EQ(target_eglGetError(), EGL_NOT_INITIALIZED);
    const std::string lines = captured();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
}

TEST_F(services, the_log_level_is_that_of_the_settings)
{
    device->settings_block[0] = 1; // FATAL alone
    target_glFinish();
    capture();
    wants_answer = false;
    ask(message(470));
    EXPECT_EQ(captured(), "");
}

TEST_F(services, a_forked_child_connects_for_itself)
{
    target_glFinish();
    device->sent.clear();
    device->keep_settings_exchange = true;
    const pid_t child = fork();
    if (child == 0) {
        // The device's record is this process's own copy.
        target_glFinish();
        const bool fresh = device->sent.size() == 2 && device->sent[1] == message(95).get();
        _exit(fresh ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    target_glFinish();
    EXPECT_EQ(only_message(), message(95).get()) << "the parent's connection goes on";
}

} // namespace
