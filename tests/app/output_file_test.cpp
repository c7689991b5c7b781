// SPDX-License-Identifier: Apache-2.0
#include <apps/common/output_file.h>

#include <gmock/gmock.h>

#include <apps/common/user_error.h>

#include <tests/app/temporary_folder.h>

namespace {

using namespace gas_app;

const std::vector<unsigned char> bytes = {'g', 'a', 's', 0, 255};
const std::string content("gas\0\xff", 5);

TEST(OutputFile, WritesAndReplaces) {
    const TemporaryFolder folder;
    write_output_file(folder.get_path("new.png"), bytes);
    EXPECT_EQ(folder.read("new.png"), content);
    folder.write("old.png", "something longer than that");
    write_output_file(folder.get_path("old.png"), bytes);
    EXPECT_EQ(folder.read("old.png"), content);
    EXPECT_EQ(folder.count_files(), 2u);
}

TEST(OutputFile, WritesThroughALink) {
    const TemporaryFolder folder;
    folder.write("target.png", "old");
    std::filesystem::create_symlink(folder.get_path("target.png"), folder.get_path("link.png"));
    write_output_file(folder.get_path("link.png"), bytes);
    EXPECT_TRUE(std::filesystem::is_symlink(folder.get_path("link.png")));
    EXPECT_EQ(folder.read("target.png"), content);
}

TEST(OutputFile, LeavesDevicesInPlace) {
    check_output_path("/dev/null", "");
    write_output_file("/dev/null", bytes);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(OutputFile, TellsDevicesFromFiles) {
    const TemporaryFolder folder;
    EXPECT_TRUE(is_special_file("/dev/null"));
    EXPECT_FALSE(is_special_file(folder.get_path("")));
    EXPECT_FALSE(is_special_file(folder.get_path("none")));
    EXPECT_FALSE(is_special_file(folder.write("a", "")));
}

TEST(OutputFile, LeavesNothingBehindWhenItFails) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.get_path("folder.png"));
    EXPECT_THROW(write_output_file(folder.get_path("folder.png"), bytes), UserError);
    EXPECT_THROW(write_output_file(folder.get_path("none/a.png"), bytes), UserError);
    EXPECT_EQ(folder.count_files(), 1u);
}

TEST(OutputFile, LeavesAsideWhatOthersHaveBegun) {
    const TemporaryFolder folder;
    const std::string begun = ".gas-" + std::to_string(::getpid()) + "-0.partial";
    folder.write(begun, "half");
    write_output_file(folder.get_path("new.png"), bytes);
    EXPECT_EQ(folder.read("new.png"), content);
    EXPECT_EQ(folder.read(begun), "half");
    EXPECT_EQ(folder.count_files(), 2u);
}

TEST(OutputFile, ReportsAFullDevice) {
    EXPECT_THROW(write_output_file("/dev/full", bytes), UserError);
}

TEST(OutputFile, RefusesPathsBeforeTheWork) {
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", "v 0 0 0\n");
    EXPECT_NO_THROW(check_output_path(folder.get_path("a.png"), mesh));
    EXPECT_NO_THROW(check_output_path("picture_in_the_working_folder.png", mesh));
    EXPECT_THROW(check_output_path("", mesh), UserError);
    EXPECT_THROW(check_output_path(folder.get_path(""), mesh), UserError);
    EXPECT_THROW(check_output_path(folder.get_path("none/a.png"), mesh), UserError);
    EXPECT_THROW(check_output_path(folder.get_path("mesh.obj/a.png"), mesh), UserError);
    EXPECT_THROW(check_output_path(mesh, mesh), UserError);
    EXPECT_THROW(check_output_path(folder.get_path("./mesh.obj"), mesh), UserError);
    std::filesystem::create_symlink(mesh, folder.get_path("link.obj"));
    EXPECT_THROW(check_output_path(folder.get_path("link.obj"), mesh), UserError);
    EXPECT_EQ(folder.read("mesh.obj"), "v 0 0 0\n");
}

} // namespace
