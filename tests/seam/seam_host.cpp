// SPDX-License-Identifier: Apache-2.0
#include <tests/seam/seam_host.h>

#include <cstdlib>
#include <new>

CoreLogHandler& core_main_log_handler() {
    static CoreLogHandler handler;
    return handler;
}

void CtxMotionBlur::get_time_spanf(const float& time, unsigned& sample, float& fraction) const {
    const float position = time * static_cast<float>(count - 1);
    sample = static_cast<unsigned>(position);
    if (sample > count - 2u)
        sample = count - 2u;
    fraction = position - static_cast<float>(sample);
}

void GeometryIntersectionMap::init(const unsigned& count, const double* distances) {
    paths.resize(count);
    for (unsigned ray = 0; ray < count; ++ray)
        paths[ray] = {0xFFFFFFFFu, {}, distances[ray]};
}

SeamRays::SeamRays(unsigned ray_count) : count(ray_count) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        origins[axis].resize(count);
        directions[axis].resize(count);
    }
    times.resize(count);
    cache_slots.resize(count);
    near_distances.resize(count);
    far_distances.assign(count, 1000.0);
    hits.resize(count);
    map.init(count, far_distances.data());
}

void SeamRays::set(unsigned ray, const GMathBasicRay& line, float time, signed char cache_slot) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        origins[axis][ray] = line.origin[axis];
        directions[axis][ray] = line.direction[axis];
    }
    times[ray] = time;
    cache_slots[ray] = cache_slot;
}

double GeometryRaytraceCtx::get_tnear(const unsigned& ray) const {
    return static_cast<double>(data->rays->near_distances[ray]);
}

GeometryIntersectionPath& GeometryRaytraceCtx::get_intersection_path(const unsigned& ray) const {
    return data->map->get_path(ray);
}

const CoreClassInfo& CoreBaseType::get_class_info() const {
    static const CoreClassInfo info = {1};
    return info;
}

void* CoreBaseType::serialize(std::size_t& size) const {
    size = 0;
    return nullptr;
}

int seam_live_blocks = 0;

namespace {

void* count_block(void* memory) {
    if (!memory)
        throw std::bad_alloc();
    ++seam_live_blocks;
    return memory;
}

void release_block(void* memory) {
    if (memory)
        --seam_live_blocks;
    std::free(memory);
}

} // namespace

void* sys_aligned_malloc(std::size_t size) {
    return count_block(std::aligned_alloc(64, (size / 64 + 1) * 64));
}

void sys_aligned_free(void* memory) { release_block(memory); }

void* sys_malloc(std::size_t size) { return count_block(std::malloc(size)); }

void sys_free(void* memory) { release_block(memory); }
