// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tests/app/program.h>
#include <tests/support/sanitizers.h>

/// Options of a picture that takes a moment: of several tiles, some of them cut off by its border.
inline const std::vector<std::string> small_picture = {"--size", "18x9", "--spp", "2", "--ao", "1"};
/// Keeps the procedural scene small; a forest has its number of items instead.
inline const std::vector<std::string> small_detail = {"--detail", "0.001"};

/// Renders a small picture and returns the bytes of the file.
inline std::string render_small(const TemporaryFolder& folder, std::vector<std::string> arguments) {
    if (std::find(arguments.begin(), arguments.end(), "--items") == arguments.end())
        arguments.insert(arguments.end(), small_detail.begin(), small_detail.end());
    arguments.insert(arguments.begin(), {"render", "--quiet", "-o", folder.get_path("a.png")});
    arguments.insert(arguments.end(), small_picture.begin(), small_picture.end());
    const ProgramResult result = run_program(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "");
    return folder.read("a.png");
}

/// Counts ways to render, of which every second one is taken, and under sanitizers every fourth,
/// one of the others.
class TriedWays {
  public:
    bool take() { return m_count++ % step == (support::is_sanitized ? step / 4 : 0); }

  private:
    static constexpr unsigned step = support::scale(support::scale_when_whole(1, 2), 4);

    unsigned m_count = 0;
};

/// An OBJ file of one triangle.
inline std::string make_triangle() { return "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n"; }

inline constexpr int lumpy_sheet_side = 12;

/// Height of the sheet's vertex in column x, row y.
inline int get_lumpy_height(int x, int y) { return (x * 7 + y * y * 3) % 5; }

/// An OBJ file: a lumpy sheet over a grid; some of its faces stand in the file twice.
inline std::string make_lumpy_sheet() {
    constexpr int side = lumpy_sheet_side;
    std::string text;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            text += "v " + std::to_string(x) + " " + std::to_string(get_lumpy_height(x, y)) + " " +
                    std::to_string(y) + "\n";
    for (int y = 0; y + 1 < side; ++y)
        for (int x = 0; x + 1 < side; ++x) {
            const int corner = y * side + x + 1;
            const std::string face =
                "f " + std::to_string(corner) + " " + std::to_string(corner + 1) + " " +
                std::to_string(corner + side + 1) + " " + std::to_string(corner + side) + "\n";
            text += face;
            if (x % 3 == 0)
                text += face;
        }
    return text;
}

/// Scenes that every way to render is tried with.
enum class UsualScene { still, moving, mesh, triangle };

/// A test of a way to render, for each of them.
class UsualScenes : public testing::TestWithParam<UsualScene> {
  protected:
    /// Calls `compare(folder, options)` for pictures of the scene, by the options that choose them.
    template <typename Compare> void for_each_picture(const Compare& compare) const {
        const TemporaryFolder folder;
        if (GetParam() == UsualScene::mesh) {
            const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
            compare(folder, {mesh});
            compare(folder, {mesh, "--motion", "--up", "z"});
        } else if (GetParam() == UsualScene::triangle) {
            compare(folder, {folder.write("one.obj", make_triangle())});
        } else if (GetParam() == UsualScene::moving) {
            compare(folder, {"--motion"});
        } else {
            compare(folder, {});
        }
    }
};

inline const auto usual_scenes =
    testing::Values(UsualScene::still, UsualScene::moving, UsualScene::mesh, UsualScene::triangle);

inline std::string name_usual_scene(const testing::TestParamInfo<UsualScene>& scene) {
    constexpr const char* names[] = {"still", "moving", "mesh", "triangle"};
    return names[static_cast<unsigned>(scene.param)];
}
