// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/host/core_object.h>
#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// Base of everything in the host's resource system. The order of the virtual operations
/// is part of the interface: destructor, then as declared.
class GAS_HOST_EXPORT ResourceData : public EventObject {
  public:
    ResourceData();
    ResourceData(const ResourceData&);
    ResourceData& operator=(const ResourceData&);
    ~ResourceData() override;

    /// Bytes held; here those of a bare ResourceData.
    virtual std::size_t get_memory_size() const;
    virtual const CoreClassInfo& get_class_info() const;
    /// Key of the content; here none.
    virtual Core128BitHashKey get_hash_key() const;
    virtual bool is_serializable() const;
    /// A block of `size` bytes that holds the content, owned by the caller (released with `free`);
    /// here null with `size` 0.
    virtual void* serialize(std::size_t& size) const;
    /// Reads the content from a block; false, with nothing changed, when it cannot.
    virtual bool deserialize(void* data, const std::size_t& size);
};

} // namespace gas_abi1
