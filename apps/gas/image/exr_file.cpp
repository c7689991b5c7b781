// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfOutputFile.h>

#include <apps/gas/image/light_picture.h>

/// Built where OpenEXR is found; `no_exr_file.cpp` elsewhere.

namespace gas_app {

namespace {

/// Collects the bytes of a file.
class ByteStream : public Imf::OStream {
  public:
    explicit ByteStream(std::vector<unsigned char>& bytes) : OStream("picture"), m_bytes(bytes) {}

    void write(const char* bytes, int count) override {
        const auto size = static_cast<std::size_t>(count);
        if (m_bytes.size() < m_place + size)
            m_bytes.resize(m_place + size);
        std::memcpy(m_bytes.data() + m_place, bytes, size);
        m_place += size;
    }
    std::uint64_t tellp() override { return m_place; }
    void seekp(std::uint64_t place) override { m_place = place; }

  private:
    std::vector<unsigned char>& m_bytes;
    std::uint64_t m_place = 0;
};

} // namespace

bool can_encode_exr() { return true; }

std::vector<unsigned char> encode_exr(const LightPicture& picture) {
    Imf::Header header(static_cast<int>(picture.width), static_cast<int>(picture.height));
    header.compression() = Imf::ZIP_COMPRESSION;
    Imf::FrameBuffer channels;
    const auto add = [&](const char* name, const float& first) {
        header.channels().insert(name, Imf::Channel(Imf::FLOAT));
        // Only read from.
        char* const base = const_cast<char*>(reinterpret_cast<const char*>(&first));
        channels.insert(name,
                        Imf::Slice(Imf::FLOAT, base, sizeof(Vec3f), sizeof(Vec3f) * picture.width));
    };
    const Vec3f& first = picture.pixels.front();
    add("R", first.x);
    add("G", first.y);
    add("B", first.z);

    std::vector<unsigned char> bytes;
    ByteStream stream(bytes);
    {
        // Its end completes the stream.
        Imf::OutputFile file(stream, header);
        file.setFrameBuffer(channels);
        file.writePixels(static_cast<int>(picture.height));
    }
    return bytes;
}

} // namespace gas_app
