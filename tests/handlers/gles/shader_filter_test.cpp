// Text in, text out.

#include "handlers/gles/shader_filter.h"
#include "sidechannel_log.h"
#include "support/library.h"

#include <gtest/gtest.h>

namespace {
struct text_case
{
    const char* given;
    const char* expected;
};

TEST(shader_filter, CommentsContinuationsAndBlanks)
{
    const text_case cases[] = {
        {"", ""},
        {"a // b\nc", "a \nc"},
        {"a // b", "a "},
        {"a/* b\nc */d", "ad"},
        {"a/**//**/b", "ab"},
        {"a//b\n//c\n/*d*/e", "a\n\ne"},
        {"a /* unterminated", "a /* unterminated"},
        {"a /*/ b", "a /*/ b"},
        {"x / y", "x / y"},
        {"x /", "x /"},
        {"\"//\"", "\""}, // quotes mean nothing
        {"a\\\nb", "ab"},
        {"a\\\r\nb", "ab"},
        {"// a\\\nb\nc", "\nc"}, // a continuation joins lines before comments go
        {"a\\", "a\\"},
        {"a\r\nb\rc\n", "a\nb\nc\n"},
        {"a \t\v\f b\n\n c", "a b\n\n c"},
        {"#version 300 es // x", "#version 300 es "},
    };
    for (const auto& c : cases)
        EXPECT_EQ(removeCommentsAndExcessWhiteSpace(c.given), c.expected) << c.given;
}

TEST(shader_filter, VersionsThatNobodyKnowsGoAndLineNumbersStay)
{
    const text_case cases[] = {
        {"#version 100\nx", "#version 100\nx"},
        {"  #version 300 es\nx", "  #version 300 es\nx"},
        {"#version   300   es \nx", "#version   300   es \nx"},
        {"\n\n#version 130\nx", "\n\n\nx"},
        {"#version 130", ""},
        {"int x; #version 130\n", "int x; #version 130\n"},
        {"int x; #version 100\n#version 130\n",
         "int x; #version 100\n#version 130\n"}, // only the first counts
        {"#version\n", "#version\n"},
        {"#version", "#version"},
        {"#version1\n", "#version1\n"},
        {"#version 320 es\n", "#version 320 es\n"},
    };
    for (const auto& c : cases) {
        std::string text = c.given;
        EXPECT_EQ(fix_version(text), c.expected) << c.given;
        EXPECT_EQ(text, c.expected) << c.given;
    }
}

TEST(shader_filter, VersionsAreComplainedOf)
{
    sidechannel_set_log_level(3);
    auto printed = [](const char* given) {
        return library::printed_by([given] {
            std::string text = given;
            fix_version(text);
        });
    };
    EXPECT_EQ(library::occurrences(printed("#version  130\n"),
                                   "WARN [ZELVAR] Unrecognized shader language version: "
                                   "`#version 130`, use default version instead.\n"),
              1u);
    // Kept, whatever the line says.
    EXPECT_EQ(printed("#version 320 es\n"),
              "WARN [ZELVAR] Unrecognized shader language version: `#version 320 es`.\n");
    EXPECT_EQ(printed("#version 310 es\n"), "");
}

TEST(shader_filter, IncludesGoUpToTheFirstInTheMiddleOfALine)
{
    const text_case cases[] = {
        {"#include <a>\nx\n #include \"b\"\ny", "\nx\n \ny"},
        {"#include <a>", ""},
        {"#include <a> #include <b>\n#include <c>\n", "\n\n"}, // one line, one directive
        {"#include <a>\nx #include <b>\n#include <c>\n", "\nx #include <b>\n#include <c>\n"},
        {"x", "x"},
    };
    for (const auto& c : cases) {
        std::string text = c.given;
        EXPECT_EQ(fix_include(text), c.expected) << c.given;
        EXPECT_EQ(text, c.expected) << c.given;
    }
}

TEST(shader_filter, StringsAreJoinedByLengthOrTerminator)
{
    const char* strings[] = {"abc", "def", "ghi"};
    const int lengths[] = {2, -1, 0};
    EXPECT_EQ(mergeShaderSourceStrings(3, strings, lengths), "abdefghi");
    EXPECT_EQ(mergeShaderSourceStrings(3, strings, nullptr), "abcdefghi");
    EXPECT_EQ(mergeShaderSourceStrings(0, nullptr, nullptr), "");
    const int with_zero[] = {3};
    const char* zero_inside[] = {"a\0b"};
    EXPECT_EQ(mergeShaderSourceStrings(1, zero_inside, with_zero), std::string("a\0b", 3));
}

TEST(shader_filter, SmallTextFunctions)
{
    EXPECT_EQ(StrLib::trim("  a b  "), "a b");
    EXPECT_EQ(StrLib::trim("   "), "");
    EXPECT_EQ(StrLib::trim("\ta "), "\ta");
    EXPECT_EQ(StrLib::replaceAll("aXbX", "X", "yz"), "ayzbyz");
    EXPECT_EQ(StrLib::replaceAll("aa", "a", "ba"), "baba"); // comes to an end
    EXPECT_EQ(StrLib::replaceAll("aa", "a", "aa"), "aaaa");
    EXPECT_EQ(StrLib::replaceAll("abb", "ab", "a"), "a"); // what a replacement completes is replaced too
    EXPECT_EQ(StrLib::replaceAll("a", "", "b"), "a");
    EXPECT_TRUE(StrLib::isLinePrefixWhiteSpace("a\n \tb", 4));
    EXPECT_FALSE(StrLib::isLinePrefixWhiteSpace("a b", 2));
    EXPECT_FALSE(StrLib::isLinePrefixWhiteSpace("\r b", 2)); // a carriage return is not white
    EXPECT_TRUE(StrLib::isLinePrefixWhiteSpace("", 0));
}

TEST(shader_filter, MemoryLayoutsAreReportedOncePerFirstUse)
{
    auto printed = [](const char* text) {
        return library::printed_by([text] { query_and_check_layout_type_in_shader_source(text); });
    };
    const std::string one =
        printed("layout(std140) uniform a { int x; };\nlayout(std140) uniform b { int y; };");
    EXPECT_EQ(
        library::occurrences(one, "ERROR [ZELVAR] The variable [uniform a { int x; };] has the memory layout "
                                  "qualifier of [std140]."),
        1u);
    EXPECT_EQ(library::occurrences(one, "ERROR"), 1u); // the second is shadowed by the first
    EXPECT_EQ(printed("layout(location = 0) in vec4 p;"), "");
    EXPECT_EQ(printed("// packed\nlayout(packed) uniform a;"), "");
    EXPECT_EQ(printed("layout in"),
              "ERROR [ZELVAR] The shader source [layout in] is not defined with the common "
              "syntax.\n");
}

TEST(shader_filter, LongTextsTakeLinearTime)
{
    const std::string comment = "/**/\r\n\\\n";
    std::string text;
    for (int i = 0; i < 200000; ++i)
        text += comment;
    EXPECT_EQ(removeCommentsAndExcessWhiteSpace(text), std::string(200000, '\n'));
}
} // namespace
