// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <charconv>
#include <cstdio>
#include <limits>

#include <gas/traversal/frame/gas_tree_ctx.h>
#include <nlohmann/json.hpp>

#include <apps/common/user_error.h>
#include <apps/common/whole_number.h>
#include <apps/gas/cli/help_text.h>
#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/shown_progress.h>
#include <apps/gas/mesh/mesh_file.h>

namespace gas_app {

namespace {

constexpr float unlimited = std::numeric_limits<float>::infinity();

CoreArray<GMathBbox3<float>> get_triangle_boxes(const TriangleMesh& mesh) {
    CoreArray<GMathBbox3<float>> boxes(static_cast<unsigned>(mesh.triangles.size()));
    for (unsigned index = 0; index < boxes.get_count(); ++index) {
        const Box box = mesh.get_box(mesh.triangles[index]);
        boxes[index] = {to_float(box.min), to_float(box.max)};
    }
    return boxes;
}

/// The fewest digits that read back as the same float.
std::string format(float number) {
    char digits[32];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
    return {digits, end.ptr};
}

std::string format(const Vec3f& point) {
    return format(point.x) + " " + format(point.y) + " " + format(point.z);
}

nlohmann::ordered_json as_array(const Vec3f& point) { return {point.x, point.y, point.z}; }

} // namespace

QueryCommand::QueryCommand(CLI::App& app)
    : Command(app, "query", "Find the triangles of a mesh in a box or near a point",
              "Those whose boxes overlap or touch the box, or whose boxes' centres are nearest to "
              "the point. --box or --nearest is required.") {
    m_command->add_option("mesh", m_mesh_path, "A Wavefront OBJ, PLY or STL file")
        ->type_name("FILE")
        ->required();
    m_command->add_option("--build", m_build_method, "How the tree is built")
        ->type_name(list_choices(build_method_names))
        ->capture_default_str();
    CLI::Option* box =
        m_command->add_option("--box", m_box, "Leaves whose boxes overlap this one or touch it")
            ->type_name("X0,Y0,Z0,X1,Y1,Z1");
    CLI::Option* nearest =
        m_command
            ->add_option("--nearest", m_point,
                         "Leaves by the distance of their boxes' centres from this point")
            ->type_name("X,Y,Z")
            ->excludes(box);
    m_command->add_option("--count", m_count, "How many leaves at most")
        ->check(whole_number(1, std::numeric_limits<unsigned>::max()))
        ->needs(nearest)
        ->capture_default_str();
    m_command
        ->add_option("--max-distance", m_max_distance,
                     "Looks at boxes that reach into the cube of this half side around the point; "
                     "without it at all")
        ->type_name("LENGTH")
        ->needs(nearest);
    // A hidden option, which exists for its error message.
    m_command->add_option("--tree", m_tree_kind)->group("");
    m_command->add_flag("--json", m_json, "Write the answer as JSON, not as a line per leaf");
    m_command->final_callback([this] {
        if (m_box.empty() && m_point.empty())
            throw CLI::RequiredError("--box or --nearest");
    });
}

QueryCommand::Question QueryCommand::read_question() const {
    Question question = {};
    question.max_distance = unlimited;
    if (m_point.empty())
        question.box = parse_box(m_box, "--box");
    else
        question.point = parse_point(m_point, "--nearest");
    if (!m_max_distance.empty()) {
        constexpr double largest = static_cast<double>(std::numeric_limits<float>::max());
        question.max_distance =
            static_cast<float>(parse_number(m_max_distance, "--max-distance", 0.0, largest));
    }
    return question;
}

void QueryCommand::run() const {
    if (parse_tree_kind(m_tree_kind) != TreeKind::plain)
        throw OptionError("--tree: only plain trees answer spatial queries");
    AppBase application(stderr);
    application.set_build_method(parse_build_method(m_build_method));
    const Question question = read_question();

    const Boxes boxes = get_triangle_boxes(read_mesh(m_mesh_path, application));
    GasTree tree;
    {
        ShownProgress progress(application, "Building the tree", true);
        tree.create(boxes, nullptr, &progress.get_bar(), 1.0f);
    }

    const std::vector<Found> found =
        m_point.empty() ? find_in_box(tree, question) : find_nearest(tree, question);
    if (m_json)
        print_json(boxes, question, found);
    else
        print_text(boxes, found);
}

std::vector<QueryCommand::Found> QueryCommand::find_in_box(const GasTree& tree,
                                                           const Question& question) const {
    GasTreeCtx ctx;
    CoreVector<unsigned> leaves;
    tree.get_leaves_in_bbox(ctx, question.box, leaves);
    std::vector<Found> found;
    for (const unsigned leaf : leaves)
        found.push_back({leaf, 0.0f});
    return found;
}

std::vector<QueryCommand::Found> QueryCommand::find_nearest(const GasTree& tree,
                                                            const Question& question) const {
    const unsigned room = std::min(m_count, tree.get_leaf_count());
    std::vector<unsigned> leaves(room);
    std::vector<float> distances(room);
    GasTreeCtx ctx;
    const unsigned count = tree.get_nearest_leaves(ctx, question.point, question.max_distance, room,
                                                   leaves.data(), distances.data());
    std::vector<Found> found;
    for (unsigned index = 0; index < count; ++index)
        found.push_back({leaves[index], distances[index]});
    return found;
}

void QueryCommand::print_json(const Boxes& boxes, const Question& question,
                              const std::vector<Found>& found) const {
    const bool nearest = !m_point.empty();
    nlohmann::ordered_json query;
    if (nearest) {
        query = {{"nearest", as_array(question.point)}, {"count", m_count}};
        query["max_distance"] = nullptr;
        if (question.max_distance < unlimited)
            query["max_distance"] = question.max_distance;
    } else {
        query["box"] = {{"min", as_array(question.box.min)}, {"max", as_array(question.box.max)}};
    }
    nlohmann::ordered_json leaves = nlohmann::ordered_json::array();
    for (const Found& one : found) {
        nlohmann::ordered_json leaf = {{"leaf", one.leaf},
                                       {"min", as_array(boxes[one.leaf].min)},
                                       {"max", as_array(boxes[one.leaf].max)}};
        if (nearest)
            leaf["distance"] = one.distance;
        leaves.push_back(std::move(leaf));
    }
    const nlohmann::ordered_json report = {{"mesh", m_mesh_path},
                                           {"build_method", m_build_method},
                                           {"leaf_count", boxes.get_count()},
                                           {"query", std::move(query)},
                                           {"leaves", std::move(leaves)}};
    std::puts(report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

void QueryCommand::print_text(const Boxes& boxes, const std::vector<Found>& found) const {
    for (const Found& one : found) {
        std::string line = "leaf " + std::to_string(one.leaf) + "  box " +
                           format(boxes[one.leaf].min) + "  " + format(boxes[one.leaf].max);
        if (!m_point.empty())
            line += "  distance " + format(one.distance);
        std::puts(line.c_str());
    }
}

} // namespace gas_app
