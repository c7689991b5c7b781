// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cfloat>

// Results are exact only where every operation rounds once, in its own type, and NaN is respected.
// That holds for inline code in users' files, too.
#if defined(__FAST_MATH__) || (defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__)
#error "Gas needs exact floating point: do not compile with -ffast-math or -ffinite-math-only"
#endif
static_assert(FLT_EVAL_METHOD == 0, "floats must be computed as floats");

#include <gas/host/simd/rounded_product.h>

/// The one door to the renderer's side. A renderer that brings its own types defines
/// GAS_HOST_HEADER as the name of a header that declares them (docs/host.md); without it the
/// reference host of this folder is used.

#ifdef GAS_HOST_HEADER
#include GAS_HOST_HEADER
#else
#include <gas/host/aligned_memory.h>
#include <gas/host/app_base.h>
#include <gas/host/app_progress_bar.h>
#include <gas/host/core_array.h>
#include <gas/host/core_log.h>
#include <gas/host/core_object.h>
#include <gas/host/core_string.h>
#include <gas/host/core_vector.h>
#include <gas/host/ctx_eval.h>
#include <gas/host/ctx_motion_blur.h>
#include <gas/host/ctx_shader.h>
#include <gas/host/geometry_ray_batch.h>
#include <gas/host/geometry_raytrace.h>
#include <gas/host/geometry_single_ray.h>
#include <gas/host/gmath_basic_ray.h>
#include <gas/host/gmath_bbox3.h>
#include <gas/host/gmath_frustum.h>
#include <gas/host/gmath_pinhole_frustum.h>
#include <gas/host/gmath_vec3.h>
#include <gas/host/host_access.h>
#include <gas/host/resource_data.h>
#include <gas/host/simd_f.h>
#include <gas/host/simd_i.h>
#include <gas/host/sys_thread_lock.h>
#include <gas/host/sys_thread_task.h>
#endif
