// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <gas/host/host_contract.h>

// The header's own checks hold the host that is present; here its concepts refuse what falls short.

namespace {

struct PaddedVec3 {
    float x, y, z, unused;
};
struct SwappedVec3 {
    float x, z, y;
    float& operator[](unsigned) { return x; }
    const float& operator[](unsigned) const { return x; }
};
struct TextOnlyStream {
    TextOnlyStream& operator<<(const char*) { return *this; }
};
struct MapWithoutPaths {
    void init(const unsigned&, const double*) {}
};
struct ResourceWithShortSize {
    virtual ~ResourceWithShortSize() = default;
    virtual unsigned short get_memory_size() const { return 0; }
};

} // namespace

TEST(HostContract, RefusesRecordsOfAnotherLayout) {
    EXPECT_FALSE((gas_host_contract::Vec3Record<PaddedVec3, float>));
    EXPECT_FALSE((gas_host_contract::Vec3Record<SwappedVec3, float>));
    EXPECT_FALSE((gas_host_contract::Vec3Record<GMathVec3<double>, float>));
    EXPECT_FALSE((gas_host_contract::Bbox3Record<GMathBbox3<double>, float>));
    EXPECT_FALSE(gas_host_contract::LanesRecord<GMathVec3<float>>);
}

TEST(HostContract, RefusesRecordsThatLackAnOperation) {
    EXPECT_FALSE(gas_host_contract::LogStream<TextOnlyStream>);
    EXPECT_FALSE(gas_host_contract::IntersectionMap<MapWithoutPaths>);
    EXPECT_FALSE(gas_host_contract::ResourceBase<ResourceWithShortSize>);
    EXPECT_FALSE(gas_host_contract::ProgressBar<CoreString>);
    EXPECT_FALSE(gas_host_contract::RayBatch<CtxShader>);
    EXPECT_FALSE((gas_host_contract::ItemContainer<CoreArray<int>, float>));
    EXPECT_FALSE((gas_host_contract::ItemCollector<CoreArray<unsigned>, unsigned>));
    EXPECT_FALSE((gas_host_contract::ItemCollector<CoreVector<unsigned>, float>));
    EXPECT_FALSE(gas_host_contract::FrustumRecord<GMathBbox3<double>>);
}
