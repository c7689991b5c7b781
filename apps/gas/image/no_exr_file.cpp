// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include <apps/gas/image/light_picture.h>

/// Built where OpenEXR is not found, in place of `exr_file.cpp`.

namespace gas_app {

bool can_encode_exr() { return false; }

std::vector<unsigned char> encode_exr(const LightPicture&) {
    throw std::logic_error("this program was built without OpenEXR");
}

} // namespace gas_app
