// The tool for compressed frame buffers, as a user runs it.
#include "picture_file.h"
#include "simulator/processes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

constexpr uint32_t width = 70;
constexpr uint32_t height = 40;

class tpak_tool : public testing::Test
{
protected:
    tpak_tool() : folder{testing::TempDir() + "/tpak-XXXXXX"}
    {
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        picture.resize(width * height * 4);
        for (size_t i = 0; i < picture.size(); i++)
            picture[i] = static_cast<uint8_t>(i % 4 == 3 ? 255 : i < picture.size() / 2 ? 200 : i * i >> 6);
        picture[0] = 10; // no solid superblock at the start
        EXPECT_EQ(write_picture_file(folder + "/in.png", width, height, 4, picture.data()), "");
    }
    ~tpak_tool() override { std::filesystem::remove_all(folder); }

    std::string path(const std::string& name) const { return folder + "/" + name; }
    outcome tpak(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), TPAK);
        return run_command(arguments);
    }
    void must(std::vector<std::string> arguments) const
    {
        const outcome run = tpak(std::move(arguments));
        EXPECT_EQ(run.status, 0) << run.output;
    }
    std::vector<uint8_t> read_png(const std::string& name) const
    {
        uint32_t columns = 0;
        uint32_t rows = 0;
        std::vector<uint8_t> rgba;
        EXPECT_EQ(read_picture_file(path(name), columns, rows, rgba), "");
        EXPECT_EQ(columns, width);
        EXPECT_EQ(rows, height);
        return rgba;
    }
    void write(const std::string& name, const std::vector<uint8_t>& data) const
    {
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
    }
    std::vector<uint8_t> read(const std::string& name) const
    {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::string folder;
    std::vector<uint8_t> picture;
};

TEST_F(tpak_tool, PicturesComeBackThroughEveryOption)
{
    const std::vector<std::vector<std::string>> options{
        {},          {"--version", "1.0"}, {"--yuv", "off", "--split"},
        {"--tiled"}, {"--reverse"},        {"--split", "--tiled"}};
    for (const auto& chosen : options) {
        std::vector<std::string> command{"encode", "--header", path("in.png"), path("out.tpak")};
        command.insert(command.end(), chosen.begin(), chosen.end());
        must(command);
        must({"check", path("out.tpak")});
        command = {"decode", path("out.tpak"), path("out.png")};
        if (chosen == std::vector<std::string>{"--reverse"})
            command.push_back("--reverse");
        must(command);
        EXPECT_EQ(read_png("out.png"), picture);
        // Without a file header the options have to be told.
        command = {"encode", path("in.png"), path("bare.tpak")};
        command.insert(command.end(), chosen.begin(), chosen.end());
        must(command);
        command = {"decode", path("bare.tpak"), path("bare.png"), "--format", "rgba8888", "--size", "70x40"};
        command.insert(command.end(), chosen.begin(), chosen.end());
        must(command);
        EXPECT_EQ(read_png("bare.png"), picture);
    }
    EXPECT_EQ(read("bare.tpak").size(), 4096u + 64 * 1024) << "as long as the largest frame";
}

TEST_F(tpak_tool, RawPixelsOf16Bits)
{
    std::vector<uint8_t> pixels;
    std::vector<uint8_t> shown;
    for (uint32_t i = 0; i < width * height; i++) {
        const uint32_t red = i % 32;
        pixels.insert(pixels.end(), {static_cast<uint8_t>(3), static_cast<uint8_t>(red << 3)});
        shown.insert(shown.end(), {static_cast<uint8_t>((red * 255 + 15) / 31), 0, 25, 255});
    }
    write("in.raw", pixels);
    for (const std::string reverse : {"--version=1.2", "--reverse"}) {
        must({"encode", "--header", "--format", "rgb565", "--size", "70x40", reverse, path("in.raw"),
              path("out.tpak")});
        must({"decode", reverse, path("out.tpak"), path("out.png")});
        EXPECT_EQ(read_png("out.png"), shown);
    }
}

TEST_F(tpak_tool, InfoAndMapTellWhatBlocksAre)
{
    std::fill(picture.begin(), picture.end(), 9);
    EXPECT_EQ(write_picture_file(path("in.png"), width, height, 4, picture.data()), "");
    must({"encode", "--header", path("in.png"), path("out.tpak")});
    const outcome run = tpak({"info", path("out.tpak")});
    EXPECT_EQ(run.status, 0);
    for (const char* line :
         {"version       1.2\n", "size          70 x 40 pixels, crop left 0 top 0\n",
          "components    8 8 8 8 bits, colours transformed\n", "superblocks   5 x 3 of 16 x 16 pixels",
          "frame         240 bytes, payload 0 bytes\n", "blocks        100.0% in solid superblocks",
          "ratio         46.67\n"})
        EXPECT_NE(run.output.find(line), std::string::npos) << line << run.output;
    must({"map", path("out.tpak"), path("map.png")});
    uint32_t columns = 0;
    uint32_t rows = 0;
    std::vector<uint8_t> rgba;
    EXPECT_EQ(read_picture_file(path("map.png"), columns, rows, rgba), "");
    EXPECT_EQ(columns, 80u);
    EXPECT_EQ(rows, 48u);
    EXPECT_EQ(std::vector<uint8_t>(rgba.begin(), rgba.begin() + 4), (std::vector<uint8_t>{40, 60, 200, 255}));
}

TEST_F(tpak_tool, ChecksSayWhatIsWrong)
{
    must({"encode", "--header", path("in.png"), path("out.tpak")});
    const std::vector<uint8_t> good = read("out.tpak");
    outcome run = tpak({"check", "--alignment", "4096", path("out.tpak")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find("The payload buffer is not aligned to 4096 bytes."), std::string::npos);
    std::vector<uint8_t> bad = good;
    bad[32 + 16 * 14 + 4] ^= 1; // a size field of the last superblock
    write("bad.tpak", bad);
    EXPECT_EQ(tpak({"check", path("bad.tpak")}).status, 1);
    bad = good;
    bad[8] = 200; // the frame is told shorter than it is
    bad[9] = bad[10] = 0;
    write("bad.tpak", bad);
    run = tpak({"check", path("bad.tpak")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find("does not conform"), std::string::npos);
}

TEST_F(tpak_tool, FailuresAreOneSentence)
{
    must({"encode", "--header", path("in.png"), path("out.tpak")});
    std::vector<uint8_t> data = read("out.tpak");
    data.resize(100);
    write("short.tpak", data);
    data[6] = 9;
    write("future.tpak", data);
    write("odd.raw", {1, 2, 3});
    const auto fails = [&](const std::vector<std::string>& command, const std::string& why) {
        const outcome run = tpak(command);
        EXPECT_EQ(run.status, 2) << run.output;
        EXPECT_NE(run.output.find(why), std::string::npos) << run.output;
    };
    fails({"info", path("short.tpak")}, "short.tpak ends within its header blocks\n");
    fails({"info", path("future.tpak")}, "is of version 9, which isn't known\n");
    fails({"info", path("odd.raw")}, "has no file header, so that --format and --size are needed\n");
    fails({"encode", path("odd.raw"), path("x")}, "raw pixels want --format and --size\n");
    fails({"encode", "--format", "rgb888", "--size", "1x2", path("odd.raw"), path("x")},
          "has 3 bytes and not the 6 of such pixels\n");
    fails({"encode", "--format", "rgb888", "--size", "1y2", path("odd.raw"), path("x")},
          "--size wants WIDTHxHEIGHT");
    fails({"encode", path("in.png"), "/nowhere/x"}, "/nowhere/x can't be written\n");
    fails({"check", "--stripe-height", "3", path("out.tpak")}, "is lower than a superblock\n");
    fails({"decode", path("missing")}, "missing");
    EXPECT_EQ(tpak({"--help"}).status, 0);
}

} // namespace
