// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/object/gas_object.h>

inline namespace gas_abi1 {

/// The object with nothing in it: its box is all zeros and no ray hits it.
class GAS_EXPORT GasObjectEmpty : public GasObject {
  public:
    GasObjectEmpty();
    GasObjectEmpty(const GasObjectEmpty& other);
    GasObjectEmpty& operator=(const GasObjectEmpty& other);
    ~GasObjectEmpty() override;

    GMathBbox3<double> get_bbox() const override;

    /// The one shared empty object, made by the first call.
    static const GasObjectEmpty& get_gas();
};

} // namespace gas_abi1
