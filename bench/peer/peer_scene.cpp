#include <bench/peer/peer_scene.h>

#include <stdexcept>

#include <bench/peer/peer_callbacks.h>

namespace gas_peer {

PeerDevice::PeerDevice(std::string name, RTCDevice device)
    : m_name(std::move(name)), m_device(device) {
    rtcSetDeviceMemoryMonitorFunction(m_device, count_bytes, this);
}

PeerDevice::~PeerDevice() { rtcReleaseDevice(m_device); }

std::unique_ptr<PeerDevice> PeerDevice::create(const std::string& name,
                                               const std::string& configuration) {
    RTCDevice device = rtcNewDevice(configuration.c_str());
    if (!device)
        return nullptr;
    return std::unique_ptr<PeerDevice>(new PeerDevice(name, device));
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
    for (const auto& [name, configuration] :
         {std::pair("default", "threads=1"), std::pair("avx2", "threads=1,isa=avx2")}) {
        if (std::unique_ptr<PeerDevice> device = PeerDevice::create(name, configuration))
            devices.push_back(std::move(device));
    }
    if (devices.empty())
        throw std::runtime_error("the peer finds no instruction set that it knows");
    return devices;
}

PeerScene::PeerScene(const PeerDevice& device, const Scene& scene, bool may_move, Kind kind)
    : m_target{scene, false}, m_device(device), m_rtc_scene(rtcNewScene(device.get())),
      m_geometry(rtcNewGeometry(device.get(), RTC_GEOMETRY_TYPE_USER)) {
    rtcSetGeometryUserPrimitiveCount(m_geometry, scene.boxes.get_count());
    rtcSetGeometryUserData(m_geometry, &m_target);
    rtcSetGeometryTimeStepCount(m_geometry, may_move ? 2 : 1);
    rtcSetGeometryBoundsFunction(m_geometry, get_bounds, nullptr);
    rtcSetGeometryIntersectFunction(m_geometry, get_nearest_callback(may_move));
    rtcSetGeometryOccludedFunction(m_geometry, get_any_callback(may_move));
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
