#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <gas/tree/gas_tree.h>

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// `gas query`: the leaves of a mesh's tree in a box or near a point. A leaf is a triangle: its
/// number is the triangle's, its box the exact one.
class QueryCommand {
  public:
    explicit QueryCommand(CLI::App& app);

    bool is_chosen() const { return m_command->parsed(); }
    void run() const;

  private:
    using Boxes = CoreArray<GMathBbox3<float>>;
    /// A leaf that was found; the distance is that of its box's centre from the point.
    struct Found {
        unsigned leaf;
        float distance;
    };

    /// The query, which is read before the mesh.
    struct Question {
        GMathBbox3<float> box;
        Vec3f point;
        float max_distance;
    };

    Question read_question() const;
    std::vector<Found> find_in_box(const GasTree& tree, const Question& question) const;
    std::vector<Found> find_nearest(const GasTree& tree, const Question& question) const;
    void print_json(const Boxes& boxes, const Question& question,
                    const std::vector<Found>& found) const;
    void print_text(const Boxes& boxes, const std::vector<Found>& found) const;

    CLI::App* m_command;
    std::string m_mesh_path;
    std::string m_build_method = "sah-fast";
    std::string m_box;
    std::string m_point;
    std::string m_max_distance;
    std::string m_tree_kind = "plain";
    unsigned m_count = 1;
    bool m_json = false;
};

} // namespace gas_app
