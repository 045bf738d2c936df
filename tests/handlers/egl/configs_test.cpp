// eglChooseConfig, eglGetConfigs and eglGetConfigAttrib as a target sees them.

#include "egl_fixture.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace in = wire::inbound;

namespace {
/// What the host was given as attribute list, one entry per eglChooseConfig; an empty one for null.
class egl_choose : public egl_test
{
protected:
    std::vector<std::vector<EGLint>> lists;
    EGLBoolean check_result = EGL_TRUE; // of the first call, which counts only
    unsigned check_error = EGL_SUCCESS;
    uint64_t display = open_display();

    egl_choose()
    {
        fake_host::hook<&sidechannel_egl_imports::eglChooseConfig>(
            [this](EGLDisplay, const EGLint* list, EGLConfig* out, EGLint size, EGLint* count) {
                std::vector<EGLint> copy;
                for (; list && *list != EGL_NONE; list += 2)
                    copy.insert(copy.end(), {list[0], list[1]});
                lists.push_back(copy);
                if (lists.size() == 1 && !check_result) {
                    fake_host::egl_errors({check_error});
                    return check_result;
                }
                // The host likes its third config best.
                const uintptr_t ranking[] = {3, 1, 4, 2};
                *count = out ? std::min(size, 4) : 4;
                for (EGLint i = 0; out && i < *count; ++i)
                    out[i] = reinterpret_cast<EGLConfig>(ranking[i]);
                return EGLBoolean{EGL_TRUE};
            });
    }
    message choose(EGLint size = 10, uint64_t configs = out_address, uint64_t list = list_address)
    {
        return call(in::egl_choose_config).u64(display).u64(list).u64(configs).i32(size).u64(count_address);
    }
    std::vector<uint64_t> handles(size_t count) const
    {
        std::vector<uint64_t> all;
        for (size_t i = 0; i < count; ++i)
            all.push_back(target.peek<uint64_t>(out_address + i * 8));
        return all;
    }
};
using list = std::vector<EGLint>;

TEST_F(egl_choose, WindowsBecomePbuffersAndTheHostsRankingStays)
{
    put_list({EGL_RED_SIZE, 8, EGL_SURFACE_TYPE, EGL_WINDOW_BIT | EGL_PIXMAP_BIT, EGL_RENDERABLE_TYPE,
              EGL_OPENGL_ES2_BIT | EGL_OPENGL_ES_BIT, EGL_SAMPLES, 4, EGL_RECORDABLE_ANDROID, 1,
              EGL_FRAMEBUFFER_TARGET_ANDROID, 1, EGL_DEPTH_SIZE, 16, EGL_NONE});
    auto seen = send(choose());
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_EQ(seen.width, 4u);
    list expected{EGL_RED_SIZE,        8,
                  EGL_SURFACE_TYPE,    EGL_PBUFFER_BIT | EGL_PIXMAP_BIT,
                  EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT,
                  EGL_DEPTH_SIZE,      16};
    EXPECT_EQ(lists, (std::vector<list>{expected, expected, expected})); // check, count, configs
    EXPECT_EQ(seen.asked, (strings{"get_egl_attribute_list_length", "read 60", "get_target_pointer_size",
                                   "write 32", "write 4"}));
    // Handles are rows of the fixed table: 8/8/8/8 with 4 samples, plain, its second, 8/8/8.
    EXPECT_EQ(target.peek<int32_t>(count_address), 4);
    EXPECT_EQ(handles(4), (std::vector<uint64_t>{13, 9, 21, 10}));
}

TEST_F(egl_choose, HandlesAreNarrowForANarrowTargetAndNoMoreThanAskedFor)
{
    pointer_size = 4;
    put_list({EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT, EGL_NONE});
    target.poke(out_address + 8, uint32_t{0xeeeeeeee});
    EXPECT_EQ(value_of(choose(2)), EGL_TRUE);
    EXPECT_EQ(target.peek<int32_t>(count_address), 2);
    EXPECT_EQ(target.peek<uint32_t>(out_address), 13u);
    EXPECT_EQ(target.peek<uint32_t>(out_address + 4), 9u);
    EXPECT_EQ(target.peek<uint32_t>(out_address + 8), 0xeeeeeeeeu);
}

TEST_F(egl_choose, ANullArrayOnlyCountsAndSizesBelowOneGiveNothing)
{
    put_list({EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT, EGL_NONE});
    EXPECT_EQ(value_of(choose(0, 0)), EGL_TRUE);
    EXPECT_EQ(target.peek<int32_t>(count_address), 4);
    for (EGLint size : {0, -1}) {
        target.poke(count_address, 77);
        EXPECT_EQ(value_of(choose(size)), EGL_TRUE);
        EXPECT_EQ(target.peek<int32_t>(count_address), 0);
    }
    EXPECT_EQ(value_of(choose(0x7fffffff)), EGL_TRUE);
    EXPECT_EQ(target.peek<int32_t>(count_address), 4);
}

TEST_F(egl_choose, WhatIsMissingIsAddedAndOpenGles1IsReported)
{
    sidechannel_set_log_level(3);
    put_list({EGL_RED_SIZE, 5, EGL_NONE});
    auto seen = send(choose());
    EXPECT_EQ(lists[0], (list{EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RED_SIZE, 5}));
    EXPECT_TRUE(prints(seen.printed, "WARN [ZELVAR] Unsupported OpenGL ES 1.0 config.\n"));
    lists.clear();
    put_list({EGL_RENDERABLE_TYPE, EGL_OPENGL_ES_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_NONE});
    seen = send(choose());
    EXPECT_EQ(lists[0], (list{EGL_RENDERABLE_TYPE, EGL_OPENGL_ES_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT}));
    EXPECT_TRUE(prints(seen.printed, "WARN [ZELVAR] Unsupported OpenGL ES 1.0 config.\n"));
}

TEST_F(egl_choose, AnEmptyListOffersEverythingInTheRegistrysOrder)
{
    sidechannel_set_log_level(3);
    put_list({EGL_NONE});
    for (uint64_t address : {uint64_t{0}, list_address}) {
        lists.clear();
        auto seen = send(choose(10, out_address, address));
        EXPECT_EQ(seen.value, EGL_TRUE);
        EXPECT_TRUE(prints(seen.printed, "WARN [ZELVAR] Empty configuration list provided by target.\n"));
        EXPECT_EQ(lists, (std::vector<list>{{}}));
        EXPECT_EQ(handles(4), (std::vector<uint64_t>{10, 9, 13, 21}));
    }
}

TEST_F(egl_choose, AHostsRefusalIsToleratedOnlyWhereTheListWasChanged)
{
    check_result = EGL_FALSE;
    check_error = EGL_BAD_ATTRIBUTE;
    struct
    {
        std::initializer_list<int32_t> asked;
        uint32_t error;
    } cases[] = {
        {{EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, 4, EGL_NONE}, EGL_SUCCESS},
        {{EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_NONE}, EGL_SUCCESS},
        {{EGL_RED_SIZE, 5, EGL_NONE}, EGL_SUCCESS},
        {{EGL_NONE}, EGL_BAD_ATTRIBUTE},
    };
    for (const auto& one : cases) {
        lists.clear();
        put_list(one.asked);
        auto seen = send(choose());
        EXPECT_EQ(seen.value, EGL_FALSE);
        EXPECT_EQ(lists.size(), 1u);
        EXPECT_EQ(seen.printed.find("arguments checking is failed") != std::string::npos,
                  one.error != EGL_SUCCESS);
        EXPECT_EQ(pending_error(), one.error);
    }
}

TEST_F(egl_choose, ListsThatMakeNoSenseAreRefusedBeforeTheHostSeesThem)
{
    put_list({EGL_RED_SIZE, 5, EGL_NONE});
    for (uint32_t length : {0u, 3u, 0x100001u, 0xffffffffu}) {
        claimed_list_length = length;
        EXPECT_EQ(value_of(choose()), EGL_FALSE) << length;
        EXPECT_TRUE(lists.empty());
    }
    // Cut in the middle of a pair, without its end: the host's list ends all the same.
    claimed_list_length = 12;
    put_list({EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RED_SIZE, 5});
    EXPECT_EQ(value_of(choose()), EGL_TRUE);
    EXPECT_EQ(lists[0], (list{EGL_SURFACE_TYPE, EGL_PBUFFER_BIT}));
}

TEST_F(egl_choose, UnknownDisplaysAreRefusedWithoutAnError)
{
    display = 0x999;
    auto seen = send(choose());
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_SUCCESS));
}

TEST_F(egl_test, GetConfigsChecksItsArgumentsOnTheHost)
{
    uint64_t display = open_display();
    auto get = [&](EGLint size, uint64_t configs) {
        return call(in::egl_get_configs).u64(display).u64(configs).i32(size).u64(count_address);
    };
    auto seen = send(get(10, out_address));
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_EQ(seen.host, strings{"eglGetConfigs(pointer, null, 10, pointer)"});
    EXPECT_EQ(target.peek<int32_t>(count_address), 4);
    EXPECT_EQ(target.peek<uint64_t>(out_address), 10u); // 8/8/8 without alpha stands in front
    EXPECT_EQ(value_of(get(0, 0)), EGL_TRUE);
    EXPECT_EQ(target.peek<int32_t>(count_address), 4);

    fake_host::returns<&sidechannel_egl_imports::eglGetConfigs>(EGL_FALSE); // but no error: goes on
    EXPECT_EQ(value_of(get(2, out_address)), EGL_TRUE);
    EXPECT_EQ(target.peek<int32_t>(count_address), 2);
    fake_host::fails<&sidechannel_egl_imports::eglGetConfigs>(EGL_NOT_INITIALIZED);
    EXPECT_EQ(value_of(get(2, out_address)), EGL_FALSE);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_NOT_INITIALIZED));
}

TEST_F(egl_test_on_dummy, TheTargetAnswersForItsOwnConfigs)
{
    sidechannel_set_log_level(6566);
    auto seen = send(call32(in::egl_choose_config, 1).u64(1).u64(list_address).u64(0).i32(0).u64(0));
    EXPECT_TRUE(seen.host.empty() && seen.asked.empty() && !seen.value);
    EXPECT_TRUE(prints(seen.printed,
                       "DEBUG [ZELVAR] callOnTargetAPI is enabled. The API eglChooseConfig() do not "
                       "need to execute on host side.\n"));
    seen = send(call32(in::egl_get_configs, 1).u64(1).u64(0).i32(0).u64(0));
    EXPECT_TRUE(seen.host.empty() && seen.asked.empty() && !seen.value);
}

class egl_attribute : public egl_test
{
protected:
    uint64_t display = open_display();

    outcome get(uint64_t config, EGLint attribute)
    {
        target.poke(out_address, -1);
        return send(call(in::egl_get_config_attrib).u64(display).u64(config).i32(attribute).u64(out_address));
    }
    int32_t value() const { return target.peek<int32_t>(out_address); }
};

TEST_F(egl_attribute, SizesAndIdAreThePromisedOnes)
{
    // Row 21 is an 8/8/8/8 with id 33; behind it stands the host's config 4.
    struct
    {
        EGLint attribute;
        int32_t expected;
    } cases[] = {{EGL_ALPHA_SIZE, 8},  {EGL_BLUE_SIZE, 8},    {EGL_GREEN_SIZE, 8}, {EGL_RED_SIZE, 8},
                 {EGL_DEPTH_SIZE, 24}, {EGL_STENCIL_SIZE, 8}, {EGL_SAMPLES, 0},    {EGL_CONFIG_ID, 33}};
    for (auto [attribute, expected] : cases) {
        auto seen = get(21, attribute);
        EXPECT_EQ(seen.value, EGL_TRUE);
        EXPECT_EQ(seen.host, strings{"eglGetConfigAttrib(pointer, pointer, " + std::to_string(attribute) +
                                     ", pointer)"});
        EXPECT_EQ(seen.asked, strings{"write 4"});
        EXPECT_EQ(value(), expected) << attribute;
    }
}

TEST_F(egl_attribute, WindowsAreAddedAndOpenGles1TakenAway)
{
    get(13, EGL_SURFACE_TYPE); // the host has a pbuffer only
    EXPECT_EQ(value(), EGL_PBUFFER_BIT | EGL_WINDOW_BIT);
    for (EGLint attribute : {EGL_RENDERABLE_TYPE, EGL_CONFORMANT}) {
        get(13, attribute);
        EXPECT_EQ(value(), EGL_OPENGL_ES2_BIT | EGL_OPENGL_ES3_BIT);
    }
}

TEST_F(egl_attribute, OnlyAndroidHasVisualIds)
{
    get(21, EGL_NATIVE_VISUAL_ID);
    EXPECT_EQ(value(), 0);
    pid_to_process_data_map.at(pid).target_os_version = 2;
    get(21, EGL_NATIVE_VISUAL_ID);
    EXPECT_EQ(value(), 1); // 8/8/8/8
    get(10, EGL_NATIVE_VISUAL_ID);
    EXPECT_EQ(value(), 3); // 8/8/8
}

TEST_F(egl_attribute, FixedPointColourIsAnsweredWithAnOddResult)
{
    auto seen = get(21, EGL_COLOR_COMPONENT_TYPE_EXT);
    EXPECT_EQ(seen.value, 0x3000u);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_EQ(value(), EGL_COLOR_COMPONENT_TYPE_FIXED_EXT);
}

TEST_F(egl_attribute, ZeroIsAConfigAndWhatHasNoPartnerIsNot)
{
    EXPECT_EQ(get(0, EGL_RED_SIZE).value, EGL_FALSE); // RGB565 has no partner on this host
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_CONFIG));
    auto seen = get(~uint64_t{0}, EGL_RED_SIZE);
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(prints(seen.printed, "is not an EGL configuration \n"));
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_CONFIG));
    EXPECT_EQ(value(), -1);
    display = 0x999;
    EXPECT_EQ(get(21, EGL_RED_SIZE).value, EGL_FALSE);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_DISPLAY));
}

TEST_F(egl_attribute, AnAttributeThatTheHostLacksIsNotWritten)
{
    fake_host::fails<&sidechannel_egl_imports::eglGetConfigAttrib>(EGL_BAD_ATTRIBUTE);
    EXPECT_EQ(get(21, 0x1234).value, EGL_FALSE);
    EXPECT_EQ(value(), -1);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_ATTRIBUTE));
}

TEST_F(egl_test_on_dummy, OfATargetsAnswerOnlyOpenGles1IsTakenAway)
{
    auto get = [&](uint32_t result, EGLint attribute) {
        target.poke(out_address, EGL_OPENGL_ES_BIT | EGL_OPENGL_ES2_BIT);
        return send(call32(in::egl_get_config_attrib, result).u64(1).u64(2).i32(attribute).u64(out_address));
    };
    auto seen = get(EGL_TRUE, EGL_RENDERABLE_TYPE);
    EXPECT_EQ(seen.asked, (strings{"read 4", "write 4"}));
    EXPECT_TRUE(seen.host.empty() && !seen.value);
    EXPECT_EQ(target.peek<int32_t>(out_address), EGL_OPENGL_ES2_BIT);
    EXPECT_TRUE(get(EGL_TRUE, EGL_RED_SIZE).asked.empty());
    EXPECT_TRUE(get(EGL_FALSE, EGL_CONFORMANT).asked.empty());
}
} // namespace
