// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gas/host/simd_f.h>
#include <gas/host/simd_i.h>

/// A second host, as small as the library lets one be. Wherever the layout is the host's own it
/// differs from the reference host's; only the lanes are borrowed.

/// Lanes, vectors and boxes.

template <typename T> struct GMathVec3 {
    T x, y, z;
    const T& operator[](unsigned axis) const { return axis == 2 ? z : axis == 1 ? y : x; }
};
template <typename T> struct GMathBbox3 { GMathVec3<T> min, max; };

/// Keeps the direction alone; an inverse of a zero keeps the zero's sign.
class GMathBasicRay {
  public:
    GMathVec3<float> direction;
    GMathVec3<float> origin;
};

/// Planes that look outward: inside is where a x + b y + c z <= d. Kept by coefficient, with room
/// for eight.
class GMathFrustum {
  public:
    void add(double a, double b, double c, double d) {
        coefficients[0][used] = a;
        coefficients[1][used] = b;
        coefficients[2][used] = c;
        coefficients[3][used] = d;
        ++used;
    }

    double coefficients[4][8] = {};
    unsigned char used = 0;
};

/// Containers and text.

template <typename T> class CoreArray {
  public:
    std::vector<T> items;
};
/// Three pointers; grows by three elements at a time.
template <typename T> class CoreVector {
  public:
    CoreVector() = default;
    CoreVector(const CoreVector&) = delete;
    CoreVector& operator=(const CoreVector&) = delete;
    ~CoreVector() { delete[] first; }

    void push(const T& item) {
        if (end == limit) {
            const std::size_t size = static_cast<std::size_t>(end - first);
            T* const grown = new T[size + 3];
            std::copy(first, end, grown);
            delete[] first;
            first = grown;
            end = grown + size;
            limit = end + 3;
        }
        *end++ = item;
    }

    T* first = nullptr;
    T* end = nullptr;
    T* limit = nullptr;
};
class CoreString {
  public:
    CoreString() = default;
    CoreString(const char* text) : m_text(text) {}
    CoreString operator+(const char* text) const { return (m_text + text).c_str(); }
    CoreString operator+(unsigned number) const {
        return (m_text + std::to_string(number)).c_str();
    }
    const std::string& get() const { return m_text; }

  private:
    std::string m_text;
};

/// Messages.

class CoreLogStream {
  public:
    template <typename T> CoreLogStream& operator<<(const T& value) {
        if constexpr (std::is_arithmetic_v<T> && !std::is_same_v<T, char>)
            text += std::to_string(value);
        else
            text += value;
        return *this;
    }
    std::string text;
};
class CoreLogHandler {
  public:
    void info_msg(const CoreLogStream& stream) { messages.push_back(stream.text); }
    std::vector<std::string> messages;
};
CoreLogHandler& core_main_log_handler();

/// The application.

struct BarThrows {};

class AppProgressBar {
  public:
    void increment_if_step(const unsigned& n) {
        heard_counts.push_back(n);
        if (n >= throws_at)
            throw BarThrows();
        if (n % interval == 0)
            fraction += increment;
    }
    void set_value(const float& value) {
        heard_values.push_back(value);
        if (value >= throws_at_value)
            throw BarThrows();
        fraction = value;
    }
    void finish() {
        ++finish_count;
        if (throws_at_finish)
            throw BarThrows();
        fraction = 1.0f;
    }

    class AppBase* owner;
    float increment;
    float fraction;
    unsigned interval;
    char title[30];
    bool done;
    std::vector<unsigned> heard_counts = {};
    std::vector<float> heard_values = {};
    /// From this count on each call throws.
    unsigned throws_at = 0xFFFFFFFFu;
    /// So does a value from this on.
    float throws_at_value = 2.0f;
    bool throws_at_finish = false;
    unsigned finish_count = 0;
};
class AppBase {
  public:
    AppProgressBar* create_progress_bar(const CoreString& title, const bool& visible) {
        if (throws)
            throw BarThrows();
        titles.push_back(title.get() + (visible ? ", visible" : ", hidden"));
        return &bar;
    }
    AppProgressBar bar = {this, 0.0f, 0.0f, 1, "", false};
    std::vector<std::string> titles;
    short build_method = 2;
    bool throws = false;
};

/// Threads: there are none but the caller's.

class SysThreadLock {
  public:
    enum DurationHint { brief, lasting };
    void lock(DurationHint) { mutex.lock(); }
    void unlock() { mutex.unlock(); }

    std::mutex mutex;
};
class SysThreadTask {
  public:
    virtual ~SysThreadTask() = default;
    virtual void run() = 0;
};
class SysThreadTaskManager {
  public:
    explicit SysThreadTaskManager(void*) {}
    void add_task(SysThreadTask& task, const bool& is_owned, const bool&) {
        tasks.push_back({&task, is_owned});
    }
    void wait_until_completed() {
        for (const auto& [task, is_owned] : tasks) {
            task->run();
            if (is_owned)
                delete task;
        }
        tasks.clear();
    }

    std::vector<std::pair<SysThreadTask*, bool>> tasks;
};

/// Contexts.

struct CtxEval {
    int depth = 0;
};
/// Sample times evenly over 0 to 1.
struct CtxMotionBlur {
    unsigned char count = 0;
    void get_time_spanf(const float& time, unsigned& sample, float& fraction) const;
};
struct CtxShader {
    CtxMotionBlur* motion_blur = nullptr;
    void* slots[9] = {};
    float settings[2] = {0.0f, 0.0f};
};

/// Ray batches: one array per component in place of a record per ray.

struct GeometryIntersectionPath {
    unsigned item;
    float unused[3];
    double distance;
};
class GeometryIntersectionMap {
  public:
    void init(const unsigned& count, const double* distances);
    GeometryIntersectionPath& get_path(const unsigned& ray) { return paths[ray]; }
    std::vector<GeometryIntersectionPath> paths;
    double settings[2] = {0.0, 0.0};
};

struct SeamRays {
    explicit SeamRays(unsigned ray_count);
    void set(unsigned ray, const GMathBasicRay& line, float time, signed char cache_slot);

    unsigned count;
    std::vector<float> origins[3];
    std::vector<float> directions[3];
    std::vector<float> times;
    std::vector<signed char> cache_slots;
    std::vector<float> near_distances;
    std::vector<double> far_distances;
    std::vector<unsigned char> hits;
    GeometryIntersectionMap map;
    GMathFrustum frustum;
    bool has_frustum = false;
};

class GeometryRaytraceCtx {
  public:
    double get_tnear(const unsigned& ray) const;
    GeometryIntersectionPath& get_intersection_path(const unsigned& ray) const;
    class GeometryRaytraceData* data;
};
/// A half-open range of shared rays.
class GeometryRaytraceData {
  public:
    GeometryRaytraceData() : ctx{this} {}
    GeometryRaytraceData(const GeometryRaytraceData&) = delete;
    GeometryRaytraceData& operator=(const GeometryRaytraceData& other) {
        rays = other.rays;
        map = other.map;
        begin = other.begin;
        end = other.end;
        return *this;
    }

    SeamRays* rays = nullptr;
    GeometryIntersectionMap* map = nullptr;
    short begin = 0;
    short end = 0;
    GeometryRaytraceCtx ctx;
};

/// Resources; the operations are declared far down the chain.

struct CoreClassInfo {
    int number;
};
struct Core128BitHashKey {
    unsigned char bytes[16];
};
class CoreBaseType {
  public:
    virtual ~CoreBaseType() = default;
    virtual std::size_t get_memory_size() const { return sizeof(*this); }
    virtual const CoreClassInfo& get_class_info() const;
    virtual Core128BitHashKey get_hash_key() const { return {}; }
    virtual bool is_serializable() const { return false; }
    virtual void* serialize(std::size_t& size) const;
    virtual bool deserialize(void*, const std::size_t&) { return false; }
};
class CoreBaseObject : public CoreBaseType {};
class CoreCustomData : public CoreBaseObject {
  public:
    double numbers[5] = {};
};
class EventObject : public CoreCustomData {};
class ResourceData : public EventObject {};

/// Memory; `seam_live_blocks` counts what was not released yet.

extern int seam_live_blocks;
void* sys_aligned_malloc(std::size_t size);
void sys_aligned_free(void* memory);
void* sys_malloc(std::size_t size);
void sys_free(void* memory);

#include <tests/seam/seam_access.h>
