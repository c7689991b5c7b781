// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <apps/gas/scene/camera.h>
#include <apps/gas/scene/scene.h>
#include <apps/gas/scene/shutter_time.h>
#include <apps/gas/scene/sky.h>

namespace gas_app {

/// A picture's scene, camera and light.
struct Stage {
    /// Copies of a stage share it.
    std::shared_ptr<Scene> scene;
    Camera camera;
    Sky sky;
    /// The length of ambient occlusion rays.
    double ambient_distance = 1.0;
    /// Distances at which surfaces begin to fade into the sky, and at which they have vanished.
    double haze_start = 1e6;
    double haze_end = 2e6;
    /// Moves everything that moves to another time; the trees have to be built anew.
    std::function<void(const ShutterTime& shutter)> set_shutter;
};

/// What a mesh does in an animation.
enum class MeshMotion {
    turn, ///< turns as a whole
    wave  ///< sways from its foot
};

/// The settings of a stage and its camera.
struct StageSettings {
    unsigned width = 640;
    unsigned height = 400;
    ViewPoint view;
    /// Whether the view point was chosen by the user; otherwise each stage has its own.
    bool has_view = false;
    bool motion = false;
    /// Where it is one of an animation: what a mesh does there.
    std::optional<MeshMotion> animation;
    /// Of the procedural scene: how many items, compared with the usual.
    double detail = 1.0;
    /// Of a mesh file: the axis that points up, 0 to 2.
    unsigned up_axis = 1;
    /// Of a mesh file: whether to say on standard error that another axis may point up.
    bool hints_at_up_axis = false;
    /// Filled as a mesh file is read; may be null.
    AppProgressBar* progress_bar = nullptr;
};

/// Motion samples of a scene that moves.
inline constexpr unsigned motion_sample_count = 5;

/// The procedural scene.
Stage make_default_stage(const StageSettings& settings);

/// A forest of `item_count` (at least 1) leaves that are not stored.
Stage make_forest_stage(const StageSettings& settings, unsigned item_count);

/// The mesh of an OBJ, PLY or STL file, brought to a common size, on a floor. Throws a UserError.
Stage make_mesh_stage(const StageSettings& settings, const std::string& path);

} // namespace gas_app
