// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/peer_scene.h>

#include <stdexcept>

#include <bench/bench_nested.h>

namespace gas_peer {

namespace {

constexpr const char* default_configuration = "threads=1";
constexpr const char* avx2_configuration = "threads=1,isa=avx2";

bool has_avx2() {
    RTCDevice device = rtcNewDevice(avx2_configuration);
    if (device)
        rtcReleaseDevice(device);
    return device != nullptr;
}

} // namespace

PeerDevice::PeerDevice(RTCDevice device) : m_device(device), m_name(find_instruction_set()) {
    rtcSetDeviceMemoryMonitorFunction(m_device, count_bytes, this);
}

PeerDevice::~PeerDevice() { rtcReleaseDevice(m_device); }

std::unique_ptr<PeerDevice> PeerDevice::create(const std::string& configuration) {
    RTCDevice device = rtcNewDevice(configuration.c_str());
    if (!device)
        return nullptr;
    return std::unique_ptr<PeerDevice>(new PeerDevice(device));
}

/// The peer does not say it, but it walks packets as such that fill its vectors: 16 rays need
/// AVX-512, 8 rays AVX, and of that and AVX2 it takes the newer one.
std::string PeerDevice::find_instruction_set() const {
    if (has_packets(16))
        return "avx512";
    if (has_packets(8))
        return has_avx2() ? "avx2" : "avx";
    return "sse";
}

bool PeerDevice::count_bytes(void* device, ssize_t bytes, bool) {
    static_cast<PeerDevice*>(device)->m_byte_count += bytes;
    return true;
}

bool PeerDevice::has_packets(unsigned width) const {
    const RTCDeviceProperty property = width == 4   ? RTC_DEVICE_PROPERTY_NATIVE_RAY4_SUPPORTED
                                       : width == 8 ? RTC_DEVICE_PROPERTY_NATIVE_RAY8_SUPPORTED
                                                    : RTC_DEVICE_PROPERTY_NATIVE_RAY16_SUPPORTED;
    return rtcGetDeviceProperty(m_device, property) != 0;
}

bool PeerDevice::has_streams() const {
    return rtcGetDeviceProperty(m_device, RTC_DEVICE_PROPERTY_RAY_STREAM_SUPPORTED) != 0;
}

std::string PeerDevice::get_version() const {
    const auto get = [this](RTCDeviceProperty property) {
        return std::to_string(rtcGetDeviceProperty(m_device, property));
    };
    return get(RTC_DEVICE_PROPERTY_VERSION_MAJOR) + "." + get(RTC_DEVICE_PROPERTY_VERSION_MINOR) +
           "." + get(RTC_DEVICE_PROPERTY_VERSION_PATCH);
}

void PeerDevice::check() const {
    const RTCError error = rtcGetDeviceError(m_device);
    if (error != RTC_ERROR_NONE)
        throw std::runtime_error("the peer (" + m_name + ") failed with error " +
                                 std::to_string(static_cast<int>(error)));
}

PeerDevices create_peer_devices() {
    PeerDevices devices;
    for (const char* const configuration : {default_configuration, avx2_configuration}) {
        std::unique_ptr<PeerDevice> device = PeerDevice::create(configuration);
        if (device && (devices.empty() || devices[0]->get_name() != device->get_name()))
            devices.push_back(std::move(device));
    }
    if (devices.empty())
        throw std::runtime_error("the peer finds no instruction set that it knows");
    return devices;
}

std::string describe(const PeerDevices& devices) {
    std::string text =
        "Embree " + devices[0]->get_version() + " (" + devices[0]->get_name() + " by default";
    for (std::size_t i = 1; i < devices.size(); ++i)
        text += ", and " + devices[i]->get_name();
    return text + ")";
}

PeerScene::PeerScene(const PeerDevice& device, const Scene& scene, bool may_move, Kind kind,
                     Leaves leaves)
    : m_outline(scene.parts.empty() ? Scene() : gas_bench::make_outline(scene)),
      m_target{scene.parts.empty() ? scene : m_outline, false, {}}, m_device(device),
      m_rtc_scene(rtcNewScene(device.get())),
      m_geometry(rtcNewGeometry(device.get(), RTC_GEOMETRY_TYPE_USER)) {
    rtcSetGeometryUserPrimitiveCount(m_geometry, m_target.scene.boxes.get_count());
    rtcSetGeometryUserData(m_geometry, &m_target);
    rtcSetGeometryTimeStepCount(m_geometry, may_move ? 2 : 1);
    rtcSetGeometryBoundsFunction(m_geometry, get_bounds, nullptr);
    for (const Scene& part : scene.parts) {
        m_parts.push_back(std::make_unique<PeerScene>(device, part, may_move, kind, leaves));
        m_target.parts.push_back(m_parts.back()->get());
    }
    if (!m_parts.empty())
        set_callbacks(get_part_callbacks());
    else if (leaves == Leaves::empty)
        set_callbacks(get_empty_callbacks());
    else
        set_callbacks(get_item_callbacks(may_move));
    set_kind(kind);
}

void PeerScene::set_callbacks(const PeerCallbacks& callbacks) {
    rtcSetGeometryIntersectFunction(m_geometry, callbacks.nearest);
    rtcSetGeometryOccludedFunction(m_geometry, callbacks.any);
}

void PeerScene::set_kind(Kind kind) {
    switch (kind) {
    case Kind::best:
        rtcSetSceneBuildQuality(m_rtc_scene, RTC_BUILD_QUALITY_MEDIUM);
        rtcSetGeometryBuildQuality(m_geometry, RTC_BUILD_QUALITY_MEDIUM);
        break;
    case Kind::fast:
        rtcSetSceneBuildQuality(m_rtc_scene, RTC_BUILD_QUALITY_LOW);
        rtcSetGeometryBuildQuality(m_geometry, RTC_BUILD_QUALITY_LOW);
        break;
    case Kind::refits:
        // Only scenes of low quality keep the trees of their geometries apart, so that one can be
        // refitted.
        rtcSetSceneBuildQuality(m_rtc_scene, RTC_BUILD_QUALITY_LOW);
        rtcSetSceneFlags(m_rtc_scene, RTC_SCENE_FLAG_DYNAMIC);
        rtcSetGeometryBuildQuality(m_geometry, RTC_BUILD_QUALITY_REFIT);
        break;
    }
}

PeerScene::~PeerScene() {
    rtcReleaseGeometry(m_geometry);
    rtcReleaseScene(m_rtc_scene);
}

void PeerScene::build() {
    for (const std::unique_ptr<PeerScene>& part : m_parts)
        part->build();
    rtcCommitGeometry(m_geometry);
    if (!m_is_attached)
        rtcAttachGeometry(m_rtc_scene, m_geometry);
    m_is_attached = true;
    rtcCommitScene(m_rtc_scene);
    m_device.check();
}

void PeerScene::get_bounds(const RTCBoundsFunctionArguments* arguments) {
    const PeerTarget& target = *static_cast<const PeerTarget*>(arguments->geometryUserPtr);
    const bool is_later = target.is_later || arguments->timeStep > 0;
    const Scene& scene = target.scene;
    const unsigned item = arguments->primID;
    *arguments->bounds_o = to_peer_bounds(is_later ? scene.later_boxes[item] : scene.boxes[item]);
}

RTCBounds to_peer_bounds(const GMathBbox3<float>& box) {
    RTCBounds bounds = {};
    bounds.lower_x = box.min.x;
    bounds.lower_y = box.min.y;
    bounds.lower_z = box.min.z;
    bounds.upper_x = box.max.x;
    bounds.upper_y = box.max.y;
    bounds.upper_z = box.max.z;
    return bounds;
}

} // namespace gas_peer
