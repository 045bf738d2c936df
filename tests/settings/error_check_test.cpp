// The list of entry points whose error codes are compared.
#include "settings/settings_fixture.h"

namespace {

using error_check = settings_files;

constexpr const char* list_on = "callOnTargetAPI 1\ncheckErrorCode 1\nenableErrorCheckWhiteList 1\n";

bool checked(const char* name)
{
    return sidechannel_error_check_support(zelvar_settings, name);
}

TEST_F(error_check, WithoutTheListEveryNameIsChecked)
{
    read("");
    EXPECT_FALSE(checked("gles20_glClear"));
    EXPECT_FALSE(sidechannel_is_error_check_working(zelvar_settings));
    read("callOnTargetAPI 1\n");
    EXPECT_FALSE(checked("gles20_glClear"));
    read("callOnTargetAPI 1\ncheckErrorCode 1\n");
    EXPECT_TRUE(checked("gles20_glClear"));
    EXPECT_TRUE(checked(nullptr));
    EXPECT_TRUE(sidechannel_is_error_check_working(zelvar_settings));
}

TEST_F(error_check, ListNamesWhatIsChecked)
{
    write_file("checkerrcode.ini", "1 gles20_glClear\n"
                                   "0 gles20_glFlush\n"
                                   "# a line that doesn't parse\n"
                                   "7 egl_eglSwapBuffers behind it\n"
                                   "1\n"
                                   "\n"
                                   "gles20_glFinish 1\n" +
                                       ("1 " + std::string(5000, 'n')));
    const std::string printed = read(list_on);
    EXPECT_TRUE(
        contains(printed, "INFO [ZELVAR] Read checkerrcode.ini file at " + directory.string() + "\n"));
    EXPECT_TRUE(checked("gles20_glClear"));
    EXPECT_FALSE(checked("gles20_glFlush"));
    EXPECT_TRUE(checked("egl_eglSwapBuffers"));
    EXPECT_FALSE(checked("gles20_glFinish"));
    EXPECT_FALSE(checked(""));
    EXPECT_FALSE(checked(nullptr));
    EXPECT_FALSE(sidechannel_is_error_check_working(zelvar_settings)) << "the host has no text of the list";

    // Read once per process.
    write_file("checkerrcode.ini", "1 gles20_glFlush\n");
    EXPECT_FALSE(contains(read(list_on), "checkerrcode.ini"));
    EXPECT_FALSE(checked("gles20_glFlush"));
    EXPECT_TRUE(checked("gles20_glClear"));
}

TEST_F(error_check, LeadingNumberAloneSwitchesTheNameBeforeItOn)
{
    write_file("checkerrcode.ini", "0 gles20_glClear\n1\n");
    read(list_on);
    EXPECT_TRUE(checked("gles20_glClear"));
}

TEST_F(error_check, MissingListChecksNothingAndIsLookedForOnce)
{
    const std::string warning = "WARN [ZELVAR] Failed to open checkerrcode.ini file.\n";
    EXPECT_TRUE(contains(read(list_on), warning));
    EXPECT_FALSE(checked("gles20_glClear"));
    write_file("checkerrcode.ini", "1 gles20_glClear\n");
    EXPECT_FALSE(contains(read(list_on), warning));
    EXPECT_FALSE(checked("gles20_glClear"));
}

TEST_F(error_check, FileIsLeftAloneUnlessTheListIsOn)
{
    EXPECT_FALSE(contains(read("callOnTargetAPI 1\ncheckErrorCode 1\n"), "checkerrcode.ini"));
    EXPECT_FALSE(contains(read("checkErrorCode 1\nenableErrorCheckWhiteList 1\n"), "checkerrcode.ini"));
    EXPECT_TRUE(contains(read(list_on), "checkerrcode.ini"));
}

TEST_F(error_check, CopyOfTheBlockTakesTheListFromItsText)
{
    error_check_white_list list;
    const char text[] = "gles20_glClear,,egl_eglGetError,";
    _runtime_settings copy{};
    copy.callOnTarget = copy.checkErrorCode = copy.enableErrorCheckWhiteList = true;
    copy.white_list_text = text;
    EXPECT_FALSE(sidechannel_error_check_support(copy, "gles20_glClear")) << "no list to fill";
    EXPECT_TRUE(sidechannel_is_error_check_working(copy));

    copy.white_list = &list;
    EXPECT_TRUE(sidechannel_error_check_support(copy, "egl_eglGetError"));
    EXPECT_EQ(list, (error_check_white_list{{"gles20_glClear", true}, {"egl_eglGetError", true}}));
    list["gles20_glClear"] = false;
    EXPECT_FALSE(sidechannel_error_check_support(copy, "gles20_glClear"));
    sidechannel_error_check_white_list_deinit(list);
    EXPECT_TRUE(list.empty());
    copy.white_list_text = "";
    EXPECT_FALSE(sidechannel_error_check_support(copy, "egl_eglGetError"));
    EXPECT_FALSE(sidechannel_is_error_check_working(copy));
}

} // namespace
