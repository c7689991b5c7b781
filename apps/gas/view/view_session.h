// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gas/isa/gas_instruction_set.h>

#include <apps/gas/page/tree_boxes.h>
#include <apps/gas/render/renderer.h>
#include <apps/gas/scene/stage.h>
#include <apps/gas/view/http_server.h>
#include <apps/gas/view/record_queue.h>

namespace gas_app {

/// What a picture shows.
enum class ViewKind {
    picture, ///< light
    heatmap, ///< nodes and leaves that camera rays visit
    leaves,  ///< the leaves alone
    time     ///< how long camera rays take
};

/// Their names, in the order of their values.
inline constexpr std::array<std::string_view, 4> view_kind_names = {"picture", "heatmap", "leaves",
                                                                    "time"};

/// A picture that is asked for.
struct ViewRequest {
    /// The page that asks: its next request stops this one. Empty: none.
    std::string page;
    TreeSettings trees;
    unsigned build_method = 2;
    GasInstructionSet instruction_set = GasInstructionSet::baseline;
    RenderSettings render;
    ViewKind kind = ViewKind::picture;
    /// Whose boxes are sent with the picture, from 0; none: no boxes.
    std::optional<unsigned> level;
    /// How camera rays go, for the legend of a heat map.
    std::string walk_name;
    ViewPoint view;
    Vec3 target;
    double distance = 1.0;
};

/// A scene whose pictures are drawn as they are asked for, by any number of threads at once: pass
/// by pass they take turns. The scene has one kind of trees at a time, which are built anew where a
/// picture wants others.
class ViewSession {
  public:
    /// The trees are not built yet. Boxes are those of the first shape's tree where `has_mesh`,
    /// which then lies in the scene as it is, and otherwise those of the tree over the instances.
    ViewSession(Stage stage, bool has_mesh);
    ViewSession(const ViewSession&) = delete;
    ViewSession& operator=(const ViewSession&) = delete;

    /// Coordinates of cameras lie between this and its negative.
    double get_reach() const { return m_reach; }
    const Stage& get_stage() const { return m_stage; }

    /// A stream of records of the picture; null where too many are drawn already. Throws a
    /// UserError where the camera is too far away. The session outlives the stream.
    std::unique_ptr<HttpStream> open(const ViewRequest& request);
    /// Stops all pictures.
    void stop();

    /// Draws the picture into the queue and closes it.
    void draw(const ViewRequest& request, RecordQueue& records);

  private:
    static constexpr std::size_t most_streams = 16;
    /// That are sent of a level, and the items of a tree whose boxes are listed.
    static constexpr std::size_t most_boxes = 3000;
    static constexpr unsigned most_boxed_items = 1'000'000;

    /// The trees that the scene has.
    struct Built {
        TreeSettings trees;
        unsigned build_method;
        /// A record's head.
        std::string figures;
    };

    void take_turns(const ViewRequest& request, RecordQueue& records);
    void draw_light(const Stage& stage, const ViewRequest& request, RecordQueue& records);
    void draw_costs(const Stage& stage, const ViewRequest& request, RecordQueue& records);
    void count_walks(const Stage& stage, const ViewRequest& request, RecordQueue& records);
    void prepare(const ViewRequest& request, RecordQueue& records);
    void send_boxes(const ViewRequest& request, RecordQueue& records);
    void build(const ViewRequest& request, RecordQueue& records);

    Stage m_stage;
    bool m_has_mesh;
    double m_reach;
    Turns m_turns;
    // What follows belongs to the one whose turn it is.
    std::unique_ptr<AppBase> m_application;
    std::optional<Built> m_built;
    /// Of the trees; empty until boxes are asked for.
    std::vector<ShownLevel> m_levels;

    /// A stream that may have ended.
    struct Open {
        std::string page;
        std::weak_ptr<RecordQueue> records;
    };

    std::mutex m_stream_mutex;
    std::vector<Open> m_streams;
};

} // namespace gas_app
