#pragma once

#include <tests/naive/naive_compressed.h>
#include <tests/naive/naive_tree.h>

namespace naive {

/// The plain tree of the same topology over the decoded boxes, static and of all filled samples.
Tree expand(const CompressedTree& tree);

} // namespace naive
