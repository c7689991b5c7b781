// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The renderer's types under the names that Gas uses. GAS_HOST_HEADER names this file.

// Borrowed from the reference host: lanes, arrays, memory, threads, and the bases of resources.
#include <gas/host/aligned_memory.h>
#include <gas/host/core_array.h>
#include <gas/host/core_vector.h>
#include <gas/host/resource_data.h>
#include <gas/host/simd_f.h>
#include <gas/host/simd_i.h>
#include <gas/host/sys_thread_lock.h>
#include <gas/host/sys_thread_task.h>

#include <my/app.h>
#include <my/rays.h>
#include <my/vectors.h>

// Vectors, boxes, lines and regions.
template <typename T> using GMathVec3 = my::Vec<T>;
template <typename T> using GMathBbox3 = my::Box<T>;
using GMathBasicRay = my::Line;
using GMathFrustum = my::Region;

// Ray batches.
using GeometryRaytraceData = my::View;
using GeometryRaytraceCtx = my::ViewCtx;
using GeometryIntersectionMap = my::Hits;
using GeometryIntersectionPath = my::Hit;

// Text, log, progress and contexts.
using CoreString = my::Text;
using CoreLogStream = my::Message;
using CoreLogHandler = my::Log;
inline CoreLogHandler& core_main_log_handler() {
    static CoreLogHandler log;
    return log;
}
using AppBase = my::App;
using AppProgressBar = my::Bar;
using CtxEval = my::Picture;
using CtxShader = my::ThreadState;
using CtxMotionBlur = my::Shutter;

#include <my/gas_access.h>
