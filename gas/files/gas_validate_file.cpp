// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>

#include <gas/diagnostics/gas_validate_arrays.h>
#include <gas/files/gas_file_check.h>
#include <gas/files/gas_tree_file.h>

inline namespace gas_abi1 {

namespace {

const char* get_name(GasFileSectionType type) {
    constexpr const char* names[] = {"nodes",        "items",      "sample",
                                     "sample boxes", "wide nodes", "samples of wide nodes"};
    return names[static_cast<unsigned>(type) - 1];
}

void validate_sums(const GasTreeFile& file, GasFlawList& flaws) {
    SysThreadTaskManager manager(nullptr);
    GasBuildTeam team(manager, file.get_thread_count());
    for (const GasFileSection* const section :
         gas_find_wrong_sections(file.get_table(), file.get_bytes(), team)) {
        if (section->type == GasFileSectionType::sample)
            flaws.add("sample ", section->sample, ": the section does not match its checksum");
        else
            flaws.add(get_name(section->type), ": the section does not match its checksum");
    }
}

void validate_plain(const GasTreeFile& file, const GasValidateSettings& settings,
                    GasFlawList& flaws) {
    GasTreeArrays arrays;
    std::vector<GMathBbox3<float>*> samples;
    file.find_arrays(arrays, samples);
    const std::unique_ptr<bool[]> are_ordered(new bool[samples.size() + 1]());
    for (unsigned sample = 0; sample < samples.size(); ++sample)
        are_ordered[sample] = file.is_sample_ordered(sample);
    arrays.are_samples_ordered = are_ordered.get();
    gas_validate(arrays, settings, flaws);
    const GasLaneBox root = gas_load_box(arrays.nodes[0]);
    GMathBbox3<float> box;
    std::memcpy(&box, file.get_table().header.bbox, sizeof box);
    if (!gas_is_same_box(root, GasLaneBox::load(box)))
        flaws.add("header: the box is not that of the tree");
}

void validate_compressed(const GasTreeFile& file, const GasValidateSettings& settings,
                         GasFlawList& flaws) {
    GasCompressedTreeArrays arrays;
    std::vector<unsigned char*> samples;
    file.find_arrays(arrays, samples);
    gas_validate(arrays, settings, flaws);
}

} // namespace

std::vector<std::string> gas_validate_tree_file(const char* path,
                                                const GasValidateSettings& settings) {
    const GasFileSettings file_settings;
    GasTreeFile file(path, file_settings);
    if (const GasFileResult result = file.bring(GasFileMemory::Way::read, nullptr); !result)
        return {result.text.substr(std::strlen(path) + 2)};
    GasFlawList flaws(settings.max_count);
    validate_sums(file, flaws);
    if (file.get_table().header.kind == GasFileKind::plain)
        validate_plain(file, settings, flaws);
    else
        validate_compressed(file, settings, flaws);
    return flaws.take();
}

} // namespace gas_abi1
