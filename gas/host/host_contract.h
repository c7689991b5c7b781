// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>

#include <gas/host/host.h>
#include <gas/host/host_contract_values.h>

inline namespace gas_abi1 {

/// Everything the library requires of the host: a concept per record, then a check per record that
/// names what is missing. Concepts check types only; what an operation must do is stated beside
/// each concept and tested by tests/host. Included by sources of the library only.
namespace gas_host_contract {

/// A count and the first of that many elements, which may be null only at a count of 0.
template <typename Container, typename Item>
concept ItemContainer = requires(const Container& container) {
    { gas_host::get_count(container) } -> std::same_as<unsigned>;
    { gas_host::get_items(container) } -> std::same_as<const Item*>;
};

/// Removes its elements; appends one.
template <typename Container, typename Item>
concept ItemCollector = ItemContainer<Container, Item> &&
    requires(Container& container, const Item& item) {
    gas_host::clear(container);
    gas_host::append(container, item);
};

template <typename String>
concept TextRecord = std::default_initializable<String> && std::copyable<String> &&
    std::constructible_from<String, const char*> &&
    requires(const String& string, const char* text, unsigned number) {
    { string + text } -> std::convertible_to<String>;
    { string + number } -> std::convertible_to<String>;
};

/// Collects the pieces of one message.
template <typename Stream>
concept LogStream = std::default_initializable<Stream> &&
    requires(Stream& stream, const char* text, const char& character, const int& integer,
             const unsigned& count, const float& number) {
    { stream << text } -> std::same_as<Stream&>;
    { stream << character } -> std::same_as<Stream&>;
    { stream << integer } -> std::same_as<Stream&>;
    { stream << count } -> std::same_as<Stream&>;
    { stream << number } -> std::same_as<Stream&>;
};

/// Emits one informational message.
template <typename Handler>
concept LogHandler = requires(Handler& handler, const CoreLogStream& stream) {
    { core_main_log_handler() } -> std::same_as<Handler&>;
    handler.info_msg(stream);
};

/// `increment_if_step` adds the increment when the count reaches the next multiple of the interval;
/// the build method setting is 0..3. The library releases a bar that it requested when its build
/// is done; the application may then delete it. `increment_if_step`, `set_value` and `finish` may
/// throw, which cancels the build; the release throws nothing.
template <typename Bar>
concept ProgressBar = requires(Bar& bar, const Bar& fixed, const unsigned& count,
                               const float& value, unsigned interval, float increment) {
    bar.increment_if_step(count);
    bar.set_value(value);
    bar.finish();
    gas_host::set_progress_steps(bar, interval, increment);
    { gas_host::get_build_method(fixed) } -> std::same_as<unsigned>;
    { gas_host::get_app(fixed) } -> std::same_as<AppBase*>;
    { gas_host::get_title(fixed) } -> std::convertible_to<CoreString>;
    gas_host::release_progress_bar(bar);
};

/// Makes progress bars, which the application owns, for any thread.
template <typename Application>
concept ProgressApplication = requires(Application& application, const CoreString& title,
                                       const bool& visible) {
    { application.create_progress_bar(title, visible) } -> std::same_as<AppProgressBar*>;
};

/// Two slots, null at first and left to the library; the motion-blur setting; two settings for the
/// intersection map of a nearest-hit batch.
template <typename Shader>
concept ShaderCtx = requires(Shader& shader, const Shader& fixed) {
    { gas_host::get_tree_ctx_slot(shader) } -> std::same_as<void*&>;
    { gas_host::get_ray_frame_slot(shader) } -> std::same_as<void*&>;
    { gas_host::get_motion_blur(fixed) } -> std::convertible_to<const CtxMotionBlur&>;
    { gas_host::get_motion_blur_sample_count(fixed) } -> std::same_as<unsigned>;
    { gas_host::get_intersection_flags(fixed) } -> std::same_as<unsigned>;
    { gas_host::get_intersection_bias(fixed) } -> std::same_as<double>;
};

/// Gives a sample at most the sample count less 2, and a fraction in 0..1, for any time.
template <typename MotionBlur>
concept MotionBlurTimes = requires(const MotionBlur& motion, const float& time, unsigned& sample,
                                   float& fraction) {
    motion.get_time_spanf(time, sample, fraction);
    { gas_host::get_sample_count(motion) } -> std::same_as<unsigned>;
    { gas_host::get_first_time(motion) } -> std::same_as<double>;
    { gas_host::get_time_step(motion) } -> std::same_as<double>;
};

/// A lock for structures with very many of them; what is written before `unlock` is seen after
/// `lock`. The hint of value 1 means that a piece of work is done under it.
template <typename Lock>
concept ThreadLock = std::default_initializable<Lock> && requires(Lock& lock) {
    lock.lock(static_cast<typename Lock::DurationHint>(1));
    lock.unlock();
};

/// Runs each task added, perhaps on other threads: the first flag says that the manager deletes it
/// afterwards, the second that any thread may run it. The wait returns when all have run; it may
/// run tasks of its own manager, but never another's, because the waiting thread may hold locks. It
/// works on every thread, also on one that runs a task. Tasks may be added again after the wait.
template <typename Manager>
concept ThreadTaskManager = std::constructible_from<Manager, std::nullptr_t> &&
    requires(Manager& manager, SysThreadTask& task, const bool& flag) {
    manager.add_task(task, flag, flag);
    manager.wait_until_completed();
};

template <typename Task>
concept ThreadTask = std::has_virtual_destructor_v<Task> && requires(Task& task) {
    task.run();
};

/// A view over per-ray arrays: a copy shares the rays and their hits; its range (inclusive) and
/// its context are its own. Its frustum, null where there is none, holds every ray between its near
/// and far distance.
template <typename Data>
concept RayBatch = std::default_initializable<Data> && std::is_copy_assignable_v<Data> &&
    requires(Data& data, const Data& fixed, unsigned ray, int first, int last) {
    { gas_host::get_ctx(data) } -> std::same_as<GeometryRaytraceCtx&>;
    { gas_host::get_ray_count(fixed) } -> std::same_as<unsigned>;
    { gas_host::get_first_ray(fixed) } -> std::same_as<int>;
    { gas_host::get_last_ray(fixed) } -> std::same_as<int>;
    gas_host::set_range(data, first, last);
    { gas_host::get_hit_flags(data) } -> std::same_as<unsigned char*>;
    { gas_host::get_far_distances(fixed) } -> std::same_as<const double*>;
    { gas_host::get_line(fixed, ray) } -> std::convertible_to<const GMathBasicRay&>;
    { gas_host::get_time(fixed, ray) } -> std::same_as<float>;
    { gas_host::get_cache_slot(fixed, ray) } -> std::same_as<int>;
    gas_host::drop_intersection_map(data);
    { gas_host::take_intersection_map(data) } -> std::same_as<GeometryIntersectionMap&>;
    { gas_host::has_intersection_map(fixed) } -> std::same_as<bool>;
    { gas_host::get_intersection_map(data) } -> std::same_as<GeometryIntersectionMap&>;
    { gas_host::get_frustum(fixed) } -> std::same_as<const GMathFrustum*>;
};

/// The batch as callbacks see it.
template <typename Ctx>
concept RayCtx = requires(Ctx& ctx, const unsigned& ray) {
    { gas_host::get_data(ctx) } -> std::same_as<GeometryRaytraceData&>;
    { ctx.get_tnear(ray) } -> std::same_as<double>;
    { ctx.get_intersection_path(ray) } -> std::same_as<GeometryIntersectionPath&>;
};

/// `init` resets `count` paths to the given distances; paths stay where they are until the next.
template <typename Map>
concept IntersectionMap = requires(Map& map, const unsigned& count, const double* distances,
                                   const unsigned& ray, unsigned flags, float bias) {
    map.init(count, distances);
    { map.get_path(ray) } -> std::same_as<GeometryIntersectionPath&>;
    gas_host::set_intersection_settings(map, flags, bias);
};

template <typename Path>
concept IntersectionPath = requires(const Path& path) {
    { gas_host::get_hit_distance(path) } -> std::same_as<double>;
};

/// 16-byte aligned memory and the C heap; both throw std::bad_alloc in place of returning null, and
/// both releases take null.
template <typename Size>
concept MemoryFunctions = requires(Size size, void* memory) {
    { sys_aligned_malloc(size) } -> std::same_as<void*>;
    sys_aligned_free(memory);
    { sys_malloc(size) } -> std::same_as<void*>;
    sys_free(memory);
};

/// Can be copied and assigned, and has the six operations after its destructor, of these types.
template <typename Data>
concept ResourceBase = std::has_virtual_destructor_v<Data> && std::copyable<Data> && requires {
    static_cast<std::size_t (Data::*)() const>(&Data::get_memory_size);
    static_cast<const CoreClassInfo& (Data::*)() const>(&Data::get_class_info);
    static_cast<Core128BitHashKey (Data::*)() const>(&Data::get_hash_key);
    static_cast<bool (Data::*)() const>(&Data::is_serializable);
    static_cast<void* (Data::*)(std::size_t&) const>(&Data::serialize);
    static_cast<bool (Data::*)(void*, const std::size_t&)>(&Data::deserialize);
};

template <typename Derived, typename Base>
concept PublicBase = std::derived_from<Derived, Base>;

/// Does not compile where one of the six is not virtual. Never made: it has no bodies.
struct ResourceProbe : ResourceData {
    std::size_t get_memory_size() const override;
    const CoreClassInfo& get_class_info() const override;
    Core128BitHashKey get_hash_key() const override;
    bool is_serializable() const override;
    void* serialize(std::size_t& size) const override;
    bool deserialize(void* data, const std::size_t& size) override;
};

static_assert(ItemContainer<CoreArray<GMathBbox3<float>>, GMathBbox3<float>>,
              "CoreArray needs gas_host::get_count and get_items");
static_assert(ItemContainer<CoreArray<GMathBbox3<double>>, GMathBbox3<double>>,
              "CoreArray needs gas_host::get_count and get_items");
static_assert(ItemContainer<CoreVector<GMathBbox3<float>>, GMathBbox3<float>>,
              "CoreVector needs gas_host::get_count and get_items");
static_assert(ItemCollector<CoreVector<unsigned>, unsigned>,
              "CoreVector<unsigned> needs gas_host::clear and append");
static_assert(TextRecord<CoreString>, "CoreString copies and adds text and numbers");
static_assert(LogStream<CoreLogStream>, "CoreLogStream takes text, char, int, unsigned and float");
static_assert(LogHandler<CoreLogHandler>, "core_main_log_handler() gives the CoreLogHandler, whose "
                                          "info_msg takes a CoreLogStream");

static_assert(ProgressBar<AppProgressBar>,
              "AppProgressBar needs increment_if_step, set_value, finish, and "
              "gas_host::set_progress_steps, get_build_method, get_app, get_title and "
              "release_progress_bar");
static_assert(ProgressApplication<AppBase>, "AppBase needs create_progress_bar");
static_assert(ShaderCtx<CtxShader>, "CtxShader needs the gas_host functions of its slots, its "
                                    "motion blur and its intersection settings");
static_assert(MotionBlurTimes<CtxMotionBlur>,
              "CtxMotionBlur needs get_time_spanf, and gas_host::get_sample_count, get_first_time "
              "and get_time_step");

static_assert(ThreadLock<SysThreadLock>, "SysThreadLock needs lock(DurationHint) and unlock");
static_assert(ThreadTask<SysThreadTask>, "SysThreadTask needs run and a virtual destructor");
static_assert(ThreadTaskManager<SysThreadTaskManager>,
              "SysThreadTaskManager needs add_task and wait_until_completed, and is constructed "
              "from a null thread manager");

static_assert(RayBatch<GeometryRaytraceData>,
              "GeometryRaytraceData copies by assignment and needs the gas_host functions of its "
              "rays, its range, its intersection map and its frustum");
static_assert(RayCtx<GeometryRaytraceCtx>, "GeometryRaytraceCtx needs gas_host::get_data, "
                                           "get_tnear and get_intersection_path");
static_assert(IntersectionMap<GeometryIntersectionMap>,
              "GeometryIntersectionMap needs init, get_path and "
              "gas_host::set_intersection_settings");
static_assert(IntersectionPath<GeometryIntersectionPath>,
              "GeometryIntersectionPath needs gas_host::get_hit_distance");

static_assert(MemoryFunctions<std::size_t>, "sys_aligned_malloc, sys_aligned_free, sys_malloc and "
                                            "sys_free are missing or have other types");
static_assert(ResourceBase<ResourceData>, "ResourceData lacks one of its virtual operations, or "
                                          "copies, or has other types");
static_assert(PublicBase<ResourceData, EventObject> && PublicBase<EventObject, CoreCustomData> &&
                  PublicBase<CoreCustomData, CoreBaseObject> &&
                  PublicBase<CoreBaseObject, CoreBaseType>,
              "ResourceData derives from EventObject, that from CoreCustomData, CoreBaseObject and "
              "CoreBaseType");

} // namespace gas_host_contract

} // namespace gas_abi1
