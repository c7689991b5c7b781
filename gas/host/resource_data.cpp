// SPDX-License-Identifier: Apache-2.0
#include <gas/host/resource_data.h>

inline namespace gas_abi1 {

ResourceData::ResourceData() = default;
ResourceData::ResourceData(const ResourceData&) = default;
ResourceData& ResourceData::operator=(const ResourceData&) = default;
ResourceData::~ResourceData() = default;

std::size_t ResourceData::get_memory_size() const { return sizeof(ResourceData); }

const CoreClassInfo& ResourceData::get_class_info() const {
    static constexpr CoreClassInfo info("ResourceData");
    return info;
}

Core128BitHashKey ResourceData::get_hash_key() const { return {}; }

bool ResourceData::is_serializable() const { return false; }

void* ResourceData::serialize(std::size_t& size) const {
    size = 0;
    return nullptr;
}

bool ResourceData::deserialize(void*, const std::size_t&) { return false; }

} // namespace gas_abi1
