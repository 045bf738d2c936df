// Pairing target configs with host configs, what the application is offered, and looking configs up.

#include "config_fixture.h"

#include "object_manager/kelvo9_configs.h"
#include "sidechannel_log.h"

namespace {
using pairs = std::map<uint64_t, uint64_t>;

TEST_F(config_test, TheFixedTableIsOfferedWhereTheHostHasAPartner)
{
    // Rows of the table: 9 and 21 are 8/8/8/8, 13 and 22 the same with 4 samples, 10 is 8/8/8, 0 is RGB565.
    set_host(
        {row(0x101, 1, "8888", 24, 8, 0), row(0x102, 2, "8880", 24, 8, 0), row(0x103, 3, "8888", 24, 8, 4)});
    EXPECT_EQ(mapping(), (pairs{{9, 0x101}, {10, 0x102}, {13, 0x103}}));
    // An entry has the target's fields and the host's handle.
    const auto& entry = pid_to_process_data_map.at(pid).configs.at(display).at(9);
    EXPECT_EQ(entry.config_id, 9);
    EXPECT_EQ(entry.caveat, EGL_NONE);
    // The table stays as it is for the next process.
    EXPECT_EQ(target_display_configs_map.at({pid, tid, display}).size(),
              kelvo9_supported_display_configs.size());
    EXPECT_EQ(target_display_configs_map.at({pid, tid, display})[9].host_config, nullptr);
}

TEST_F(config_test, ExactPartnersAreTakenInOrderAndOnlyOnce)
{
    // Rows 9, 21, 24 and 25 have the sizes of these five.
    set_host({row(5, 5, "8888", 24, 8, 0), row(4, 4, "8888", 24, 8, 0), row(3, 3, "8888", 24, 8, 0),
              row(2, 2, "8888", 24, 8, 0), row(1, 1, "8888", 24, 8, 0)});
    // The fifth has no exact partner left and carries RGB565.
    EXPECT_EQ(mapping(), (pairs{{9, 5}, {21, 4}, {24, 3}, {25, 2}, {0, 1}}));
}

TEST_F(config_test, OnlyLeftOverRgba8888WithEqualBuffersCarriesRgb565)
{
    set_host({row(1, 1, "8888", 0, 0, 0), row(2, 2, "8888", 0, 0, 0), row(3, 3, "8888", 16, 8, 0),
              row(4, 4, "8880", 0, 0, 0), row(5, 5, "8880", 0, 0, 0), row(6, 6, "8888", 24, 8, 16),
              row(7, 7, "8888", 24, 8, 16)});
    // 18 and 14 are exact, 19 is 8/8/8; 17 and 2 are RGB565 without buffers and with 16 samples.
    EXPECT_EQ(mapping(), (pairs{{18, 1}, {19, 4}, {14, 6}, {17, 2}, {2, 7}}));
}

TEST_F(config_test_on_target, ATargetsOwnConfigsAreOnlyPairedExactly)
{
    set_target(
        {row(0x90, 1, "5650", 24, 8, 0), row(0x91, 2, "8888", 24, 8, 0), row(0x92, 3, "8888", 24, 8, 0)});
    set_host({row(1, 1, "8888", 24, 8, 0), row(2, 2, "8888", 16, 8, 0), row(3, 3, "8888", 24, 8, 0),
              row(4, 4, "8888", 24, 8, 0)});
    EXPECT_EQ(mapping(), (pairs{{0x91, 1}, {0x92, 3}}));
}

TEST_F(config_test, AMappingIsBuiltOnceAndNeedsAProcess)
{
    set_host({row(1, 1, "8888", 24, 8, 0)});
    EXPECT_EQ(mapping().size(), 1u);
    set_host({});
    EXPECT_EQ(mapping().size(), 1u);
    _ensure_egl_config_mappings(999, tid, display);
    EXPECT_FALSE(pid_to_process_data_map.contains(999));
}

TEST_F(config_test, AForcedIdThatNoHostConfigHasIsReported)
{
    set_host({row(1, 1, "8888", 24, 8, 0)});
    force_id(7);
    EXPECT_NE(library::printed_by([this] { mapping(); })
                  .find("FATAL [ZELVAR] zelvar_only_settings.forceHostEGLConfigID is enabled, but the "
                        "specified value "
                        "7 does not have a valid host side config.\n"),
              std::string::npos);
    EXPECT_EQ(mapping().size(), 1u); // carries on
}

// What the application is offered.

class offers : public config_test
{
protected:
    offers()
    {
        // Offered: 10 (8/8/8 with buffers), 20 (8/8/8 without stencil), 9 and 13 (8/8/8/8), 0 and 1 (RGB565).
        set_host({row(1, 1, "8888", 24, 8, 0), row(2, 2, "8888", 24, 8, 4), row(3, 3, "8880", 24, 8, 0),
                  row(4, 4, "8880", 24, 0, 0), row(5, 5, "5650", 24, 8, 0), row(6, 6, "5650", 24, 8, 4)});
        _ensure_egl_config_mappings(pid, tid, display);
    }
    std::vector<uint64_t> get(int32_t size)
    {
        std::vector<uint64_t> handles(32, 0xee);
        int32_t count = -1;
        EXPECT_TRUE(zelvar_object_manager_egl_get_configs_for_target(pid, tid, display, handles.data(), size,
                                                                     &count));
        EXPECT_EQ(handles.at(static_cast<size_t>(count)), 0xeeu);
        handles.resize(static_cast<size_t>(count));
        return handles;
    }
    /// The host answers an attribute list with these configs, best first.
    void set_ranking(std::vector<uint64_t> ranking)
    {
        fake_host::hook<&sidechannel_egl_imports::eglChooseConfig>(
            [ranking](EGLDisplay, const EGLint*, EGLConfig* out, EGLint size, EGLint* count) {
                *count = static_cast<EGLint>(ranking.size());
                for (size_t i = 0; out && i < std::min<size_t>(size, ranking.size()); ++i)
                    out[i] = reinterpret_cast<EGLConfig>(ranking[i]);
                return EGLBoolean{EGL_TRUE};
            });
    }
    std::vector<uint64_t> choose(int32_t size)
    {
        const EGLint list[] = {EGL_RED_SIZE, 1, EGL_NONE};
        std::vector<uint64_t> handles(32);
        int32_t count = -1;
        EXPECT_TRUE(zelvar_object_manager_egl_choose_config_for_target(pid, tid, display, list,
                                                                       handles.data(), size, &count));
        handles.resize(static_cast<size_t>(count));
        return handles;
    }
};
using handles = std::vector<uint64_t>;

TEST_F(offers, PlainRgbComesFirstAndRgb565Last)
{
    EXPECT_EQ(get(32), (handles{10, 9, 13, 20, 0, 1}));
    // The first in key order are taken, then put in order.
    EXPECT_EQ(get(5), (handles{10, 9, 13, 0, 1}));
    EXPECT_EQ(get(3), (handles{9, 0, 1}));
    EXPECT_EQ(get(0), handles{});
    EXPECT_EQ(get(-5), handles{});
    int32_t count = -1;
    EXPECT_TRUE(zelvar_object_manager_egl_get_configs_for_target(pid, tid, display, nullptr, 2, &count));
    EXPECT_EQ(count, 6);
    EXPECT_FALSE(zelvar_object_manager_egl_get_configs_for_target(999, tid, display, nullptr, 2, &count));
    EXPECT_TRUE(fake_host::calls().empty());
}

TEST_F(offers, ChoicesKeepTheHostsRanking)
{
    set_ranking({6, 0x777, 2, 3, 1});
    EXPECT_EQ(choose(32), (handles{1, 13, 10, 9})); // what has no target partner is left out
    EXPECT_EQ(choose(2), (handles{1, 13}));
    EXPECT_EQ(choose(0), handles{});
    int32_t count = -1;
    EXPECT_TRUE(
        zelvar_object_manager_egl_choose_config_for_target(pid, tid, display, nullptr, nullptr, 0, &count));
    EXPECT_EQ(count, 4);
    set_ranking({});
    EXPECT_EQ(choose(32), handles{});
}

TEST_F(offers, AForcedIdIsOfferedForEveryHostConfig)
{
    force_id(38); // the id of row 10
    set_ranking({6, 0x777, 3});
    EXPECT_EQ(choose(32), (handles{1, 10, 10})); // row 1 stands before row 10 in key order
}

TEST_F(offers, AHostThatCannotChooseIsReported)
{
    const EGLint list[] = {EGL_NONE};
    int32_t count = -1;
    auto choose_printed = [&] {
        return library::printed_by([&] {
            EXPECT_FALSE(zelvar_object_manager_egl_choose_config_for_target(pid, tid, display, list, nullptr,
                                                                            0, &count));
        });
    };
    fake_host::fails<&sidechannel_egl_imports::eglChooseConfig>(EGL_BAD_ATTRIBUTE);
    EXPECT_EQ(choose_printed(),
              "FATAL [ZELVAR] Cannot retrieve number of EGLConfigs available. eglChooseConfig() "
              "host side failed with error code 0x3004.\n");
    fake_host::hook<&sidechannel_egl_imports::eglChooseConfig>(
        [](EGLDisplay, const EGLint*, EGLConfig* out, EGLint, EGLint* n) {
            *n = 1;
            return EGLBoolean(out == nullptr);
        });
    EXPECT_EQ(choose_printed(),
              "FATAL [ZELVAR] Cannot retrieve EGLConfigs available. eglChooseConfig() host side "
              "failed with error code 0x3000.\n");
    EXPECT_EQ(count, -1);
    EXPECT_TRUE(critical_section_verify(pid_to_process_data_map_cs));
}

// Translating and asking for attributes.

class lookups : public config_test
{
protected:
    lookups()
    {
        set_host({row(0x101, 1, "8888", 24, 8, 0), row(0x102, 2, "8888", 24, 8, 0),
                  row(0x103, 3, "8888", 24, 8, 0), row(0x104, 4, "8888", 24, 8, 0),
                  row(0x105, 5, "8888", 24, 8, 0)});
        set_top(0x101);
    }
    uint64_t host_of(uint64_t config)
    {
        EGLConfig host = reinterpret_cast<EGLConfig>(uintptr_t{0xbad});
        bool found = zelvar_object_manager_get_host_config(pid, tid, display, config, &host);
        EXPECT_EQ(found, host != reinterpret_cast<EGLConfig>(uintptr_t{0xbad}));
        return found ? reinterpret_cast<uint64_t>(host) : 0xbad;
    }
    /// Red size and id, or -1 and -1.
    std::pair<int32_t, int32_t> data_of(uint64_t config, bool want_host)
    {
        int32_t red = -1, id = -1;
        config_attributes out;
        out.red = &red;
        out.config_id = &id;
        zelvar_object_manager_get_config_data(pid, tid, display, config, want_host, out);
        return {red, id};
    }
};
using sizes = std::pair<int32_t, int32_t>;

TEST_F(lookups, ZeroIsAConfigAndUnpairedRowsAreNot)
{
    EXPECT_EQ(host_of(0), 0x105u); // RGB565 on the one that was left over
    EXPECT_EQ(host_of(9), 0x101u);
    EXPECT_EQ(host_of(10), 0xbadu);
    EXPECT_EQ(top(), 0x101u); // never touched while nothing runs on the target
    EXPECT_EQ(data_of(0, false), (sizes{5, 5}));
    EXPECT_EQ(data_of(0, true), (sizes{8, 5}));
    EXPECT_EQ(data_of(9, true), (sizes{8, 1}));
    EXPECT_EQ(data_of(10, false), (sizes{-1, -1}));
    uint32_t bpp = 0;
    EXPECT_TRUE(zelvar_object_manager_get_target_config_bpp(pid, tid, display, 0, &bpp));
    EXPECT_EQ(bpp, 16u);
    EXPECT_FALSE(zelvar_object_manager_get_target_config_bpp(pid, tid, 0x999, 0, &bpp));
}

TEST_F(lookups, HostConfigsAreFoundByHandle)
{
    int32_t alpha = -1, stencil = -1;
    config_attributes out;
    out.alpha = &alpha;
    out.stencil = &stencil;
    EXPECT_TRUE(
        zelvar_object_manager_get_host_config_data(pid, reinterpret_cast<EGLConfig>(uintptr_t{0x103}), out));
    EXPECT_EQ(alpha, 8);
    EXPECT_EQ(stencil, 8);
    auto printed = library::printed_by([&] {
        EXPECT_FALSE(zelvar_object_manager_get_host_config_data(
            pid, reinterpret_cast<EGLConfig>(uintptr_t{0x1}), out));
    });
    EXPECT_EQ(printed, "ERROR [ZELVAR] Could not find the data for EGLConfig [0x1]!\n");
}

TEST_F(lookups, ATargetConfigIsFoundByItsId)
{
    _ensure_egl_config_mappings(pid, tid, display);
    uint64_t config = 0x55;
    EXPECT_TRUE(zelvar_object_manager_get_target_config_by_id(pid, tid, display, 33, &config));
    EXPECT_EQ(config, 21u);
    config = 0x55;
    EXPECT_FALSE(zelvar_object_manager_get_target_config_by_id(pid, tid, display, 38, &config)); // no partner
    EXPECT_EQ(config, 0x55u);
}

TEST_F(lookups, AForcedIdRunsEverythingOnTheTopConfig)
{
    force_id(2);
    set_top(0x102);
    EXPECT_EQ(host_of(9), 0x102u);
    EXPECT_EQ(host_of(10), 0x102u);
    EXPECT_EQ(data_of(9, true), (sizes{8, 2}));
    EXPECT_EQ(data_of(9, false), (sizes{8, 9}));
    auto printed = library::printed_by([&] { EXPECT_EQ(data_of(10, false), (sizes{-1, -1})); });
    EXPECT_EQ(printed, "ERROR [ZELVAR] Could not find the data for EGLConfig [0xa]!\n");
}

// The near host config for a target that has its own EGL.

class nearest : public config_test_on_target
{
protected:
    static constexpr uint64_t config = 0x90;
    nearest() { set_top(0x999); }
    uint64_t choose(const config_list& host)
    {
        set_host(host);
        return reinterpret_cast<uint64_t>(_choose_host_config_for_target(config, {pid, tid, display}));
    }
};

TEST_F(nearest, TheSameColourWithEnoughBuffersIsBestAndTheLowestIdWins)
{
    set_target({row(config, 1, "5650", 16, 8, 0)});
    EXPECT_EQ(choose({row(1, 9, "5650", 24, 8, 4), row(2, 3, "5650", 16, 8, 0), row(3, 5, "5650", 16, 8, 0),
                      row(4, 1, "5650", 0, 0, 0), row(5, 2, "8888", 24, 8, 0)}),
              2u);
}

TEST_F(nearest, TheSameColourWithFewerBuffersComesNext)
{
    set_target({row(config, 1, "5650", 24, 8, 0)});
    EXPECT_EQ(choose({row(1, 9, "8888", 24, 8, 0), row(2, 8, "5650", 0, 0, 0), row(3, 7, "5650", 0, 8, 0),
                      row(4, 1, "8888", 24, 8, 0)}),
              3u);
    // Lower ids count only until a better class has turned up.
    EXPECT_EQ(choose({row(1, 9, "5650", 0, 0, 0), row(2, 8, "5650", 24, 8, 0), row(3, 1, "5650", 0, 0, 0)}),
              2u);
}

TEST_F(nearest, ThenRgba8888WithEnoughBuffersThenTheTopConfig)
{
    set_target({row(config, 1, "4444", 24, 8, 4)});
    EXPECT_EQ(choose({row(1, 1, "8888", 24, 8, 0), row(2, 9, "8888", 24, 8, 4), row(3, 5, "8888", 24, 8, 16),
                      row(4, 2, "8880", 24, 8, 4)}),
              3u);
    EXPECT_EQ(choose({row(1, 1, "8888", 24, 8, 0), row(4, 2, "8880", 24, 8, 4)}), 0x999u);
    EXPECT_EQ(choose({}), 0x999u);
}

TEST_F(nearest, AForcedIdOnlyMattersWhenItIsMissing)
{
    set_target({row(config, 1, "8888", 24, 8, 0)});
    config_list host{row(1, 1, "8888", 24, 8, 0), row(2, 2, "5650", 24, 8, 0)};
    force_id(2);
    EXPECT_EQ(choose(host), 1u); // not 2
    force_id(3);
    EXPECT_EQ(choose(host), 0u);
}

TEST_F(nearest, LookUpsLeaveTheNearestAsTheFallBackAndWarnOncePerChange)
{
    set_target(
        {row(0x90, 1, "4444", 24, 8, 0), row(0x91, 2, "8888", 24, 8, 0), row(0x92, 3, "4444", 0, 0, 0)});
    set_host({row(0x101, 1, "8888", 24, 8, 0), row(0x102, 2, "5650", 24, 8, 0)});
    sidechannel_set_log_level(0);
    auto host_of = [&](uint64_t of_config) {
        EGLConfig host = nullptr;
        EXPECT_TRUE(zelvar_object_manager_get_host_config(pid, tid, display, of_config, &host));
        return reinterpret_cast<uint64_t>(host);
    };
    auto printed = library::printed_by([&] {
        EXPECT_EQ(host_of(0x91), 0x101u); // exact
        EXPECT_EQ(host_of(0x90), 0x101u); // falls back
        EXPECT_EQ(top(), 0x101u);
        EXPECT_EQ(host_of(0x90), 0x101u);
    });
    EXPECT_EQ(printed,
              "WARN [ZELVAR] Target display [0xd15]: Mapping target EGLConfig [0x90] failed, so config ID "
              "[0x101] is used in host instead.\n");
    printed = library::printed_by([&] {
        host_of(0x92);
        host_of(0x90);
    });
    EXPECT_EQ(library::occurrences(printed, "WARN"), 2u);

    // Attributes of a config that fell back: the target's own row, or the host's fall-back.
    int32_t alpha = -1, id = -1;
    config_attributes out;
    out.alpha = &alpha;
    out.config_id = &id;
    EXPECT_TRUE(zelvar_object_manager_get_config_data(pid, tid, display, 0x92, false, out));
    EXPECT_EQ(sizes(alpha, id), (sizes{4, 3}));
    EXPECT_TRUE(zelvar_object_manager_get_config_data(pid, tid, display, 0x92, true, out));
    EXPECT_EQ(sizes(alpha, id), (sizes{8, 1}));
    uint64_t by_id = 0x90;
    EXPECT_TRUE(zelvar_object_manager_get_target_config_by_id(pid, tid, display, 3, &by_id));
    EXPECT_EQ(by_id, 0x92u);
}
} // namespace
