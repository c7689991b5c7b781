// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/page/byte_pack.h>

#include <bit>
#include <new>

#include <zlib.h>

#include <apps/gas/page/page_text.h>

namespace gas_app {

static_assert(std::endian::native == std::endian::little, "pages read the lowest byte first");

std::string BytePack::encode() const {
    uLongf size = compressBound(static_cast<uLong>(m_bytes.size()));
    std::vector<unsigned char> deflated(size);
    const int result = compress2(deflated.data(), &size, m_bytes.data(),
                                 static_cast<uLong>(m_bytes.size()), Z_BEST_COMPRESSION);
    if (result != Z_OK)
        throw std::bad_alloc();
    deflated.resize(size);
    return encode_base64(deflated);
}

} // namespace gas_app
