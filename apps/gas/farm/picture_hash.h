// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <apps/gas/render/render_settings.h>
#include <apps/gas/scene/stage.h>

namespace gas_app {

// Numbers that tell pictures apart: equal where the pictures are, to the bit.

/// Of everything that a picture shows, and the camera; not of the trees.
std::uint64_t hash_stage(const Stage& stage);

/// Of the settings that change a picture. Light depends on neither trees nor walks, but what a heat
/// map counts does: `trees` and `build_method` are those of its trees.
std::uint64_t hash_settings(const RenderSettings& settings, const TreeSettings& trees,
                            unsigned build_method);

/// Of what this machine's mathematical functions return for some thousand arguments: libraries
/// differ in the last bit, and one library between processors.
std::uint64_t hash_functions();

} // namespace gas_app
