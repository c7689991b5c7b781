// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/diagnostics/gas_validate.h>
#include <gas/files/gas_files_export.h>
#include <gas/gas_forward.h>
#include <gas/host/host.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// Saved trees: a tree with its index array, its motion-blur samples and its wide nodes in a file
/// (docs/file_format.md). Leaf callbacks are not saved.

/// How a call on a file ended. Tests as true where it was done.
struct GasFileResult {
    bool is_done = false;
    /// Where it was not done, one sentence on what was wrong, which begins with the file's name.
    /// Otherwise empty, or a sentence on what the tree has other than the file.
    std::string text;

    explicit operator bool() const { return is_done; }
};

/// A number that tells boxes apart, for a tree to be saved with and asked for again: equal for
/// equal bytes of `count` boxes, and never 0.
GAS_FILES_EXPORT std::uint64_t gas_hash_boxes(const GMathBbox3<float>* bboxes, unsigned count);

/// Numbers of the caller's own that are kept with a tree, such as how its space relates to the
/// caller's.
struct GasFileNotes {
    double numbers[3] = {};
};

/// Saves the tree, which is not empty, to a new file beside `path` and renames it to `path`: where
/// that fails a file that was there stays as it was, and no other remains. `boxes_hash` is
/// gas_hash_boxes of the boxes that the tree was built over, or 0 to save none. The tree is only
/// read, and may be traced meanwhile. A failed allocation throws std::bad_alloc, here and below.
GAS_FILES_EXPORT GasFileResult gas_save_tree(const GasTree& tree, const char* path,
                                             std::uint64_t boxes_hash = 0,
                                             const GasFileNotes& notes = {});
GAS_FILES_EXPORT GasFileResult gas_save_tree(const GasCompressedTree& tree, const char* path,
                                             std::uint64_t boxes_hash = 0,
                                             const GasFileNotes& notes = {});

/// What a tree is asked for with.
struct GasFileSettings {
    /// Of the boxes; a tree that was saved with another hash, or none, is refused. 0 takes any.
    std::uint64_t boxes_hash = 0;
    /// The threads that check the file; 0: as many as the machine has.
    unsigned thread_count = 0;
};

/// Puts the tree of a file in place of what `tree` held, as an assignment of a temporary would.
/// Callbacks stay. Wide nodes of the file come with it; a tree that wants wide nodes has some made
/// where the file has none. A refusal or an exception leaves the tree as it was.
///
/// Both check everything before they return, on several threads: whatever stands in the file, no
/// query leaves the arrays of a tree that was taken. What they cannot know is whether the boxes are
/// those of the items.
///
/// Loading reads the file into memory, which is released as a whole with the tree's nodes.
GAS_FILES_EXPORT GasFileResult gas_load_tree(const char* path, GasTree& tree,
                                             const GasFileSettings& settings = {});
GAS_FILES_EXPORT GasFileResult gas_load_tree(const char* path, GasCompressedTree& tree,
                                             const GasFileSettings& settings = {});
/// Mapping uses the file where it is: several processes share its pages. The tree owns the mapping;
/// what changes the tree, `refit` too, changes copies of the pages and never the file. While a tree
/// is mapped the file must not change or become shorter, which breaks the contract; a file that is
/// renamed over it, as saving does, is another file. Windows lets no file take a mapped one's
/// place.
GAS_FILES_EXPORT GasFileResult gas_map_tree(const char* path, GasTree& tree,
                                            const GasFileSettings& settings = {});
GAS_FILES_EXPORT GasFileResult gas_map_tree(const char* path, GasCompressedTree& tree,
                                            const GasFileSettings& settings = {});
/// Mapping that checks the header and sizes alone and reads nothing else: for a file that this
/// machine has written. A file that was damaged since then breaks the contract.
GAS_FILES_EXPORT GasFileResult gas_map_tree_trusted(const char* path, GasTree& tree,
                                                    const GasFileSettings& settings = {});
GAS_FILES_EXPORT GasFileResult gas_map_tree_trusted(const char* path, GasCompressedTree& tree,
                                                    const GasFileSettings& settings = {});

/// What the header of a file says.
struct GasTreeFileInfo {
    bool is_compressed = false;
    unsigned leaf_count = 0;
    unsigned node_count = 0;
    unsigned depth = 0;
    unsigned sample_count = 0;
    bool has_items = false;
    /// Boxes of a wide node; 0 where there are none.
    unsigned wide_width = 0;
    unsigned wide_count = 0;
    /// 0 where the tree was saved without one.
    std::uint64_t boxes_hash = 0;
    std::uint64_t file_size = 0;
    GMathBbox3<float> bbox = {};
    GasFileNotes notes;
};

/// Reads the header, and checks it as map_trusted does.
GAS_FILES_EXPORT GasFileResult gas_read_tree_info(const char* path, GasTreeFileInfo& info);

/// What is wrong with a saved tree, a sentence each, of which a call that loads it gives but one:
/// with the file, its sections, and the tree as gas_validate tells it. Nothing, where it is whole.
/// Not all that is told makes it refused: order codes, and notes of which boxes are ordered, may be
/// wrong without harm to memory. Wide nodes of another width than this library's are not looked at.
GAS_FILES_EXPORT std::vector<std::string>
gas_validate_tree_file(const char* path, const GasValidateSettings& settings = {});

} // namespace gas_abi1
