// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace gas_app {

/// Types of numbers in a PLY file.
enum class PlyType { int8, uint8, int16, uint16, int32, uint32, float32, float64 };

/// Their size in bytes.
unsigned get_size(PlyType type);

struct PlyProperty {
    std::string name;
    PlyType type = PlyType::int8;
    /// A count of this type, and as many numbers; otherwise one number.
    bool is_list = false;
    PlyType count_type = PlyType::int8;
};

/// Items of one kind: each has a value of every property.
struct PlyElement {
    std::string name;
    std::uint64_t count = 0;
    std::vector<PlyProperty> properties;
};

enum class PlyFormat { ascii, little_endian, big_endian };

/// What a PLY file says of itself.
struct PlyHeader {
    PlyFormat format = PlyFormat::ascii;
    std::vector<PlyElement> elements;
    /// Where the data begin: the byte, and the line, the first of which is 1.
    std::size_t size = 0;
    std::size_t line = 1;
};

/// Whether a text begins as a PLY file does.
bool is_ply(const std::string& text);

/// The header of a PLY file; throws a UserError that names `path` and the line.
PlyHeader parse_ply_header(const std::string& text, const std::string& path);

} // namespace gas_app
