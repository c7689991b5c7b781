// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/view/view_session.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include <apps/common/user_error.h>
#include <apps/gas/image/heat_map.h>
#include <apps/gas/view/view_records.h>
#include <gas/scene/gas_box_padding.h>

namespace gas_app {

namespace {

/// Sends each tile of a picture when it is done.
class SendingWatch : public TileWatch {
  public:
    SendingWatch(RecordQueue& records, const Picture& picture, unsigned divisor)
        : m_records(records), m_picture(picture), m_divisor(divisor) {}
    bool is_stopped() const override { return m_records.is_stopped(); }
    void finish_tile(const Tile& tile) override {
        push_pixels(m_records, m_picture, tile, m_divisor);
    }

  private:
    RecordQueue& m_records;
    const Picture& m_picture;
    unsigned m_divisor;
};

/// Sends nothing but how far the pixels are.
class CountingWatch : public TileWatch {
  public:
    CountingWatch(RecordQueue& records, const char* doing, const RenderSettings& settings)
        : m_records(records), m_doing(doing),
          m_count(std::size_t{settings.width} * settings.height) {}
    bool is_stopped() const override { return m_records.is_stopped(); }
    void finish_tile(const Tile& tile) override {
        const std::size_t before = 100 * m_done / m_count;
        m_done += tile.get_pixel_count();
        const std::size_t percent = 100 * m_done / m_count;
        if (percent != before)
            push_state(m_records, m_doing, 0.01 * static_cast<double>(percent));
    }

  private:
    RecordQueue& m_records;
    const char* m_doing;
    std::size_t m_count;
    std::size_t m_done = 0;
};

double get_value(const PixelCost& cost, ViewKind kind) {
    if (kind == ViewKind::time)
        return 1e9 * cost.seconds;
    return kind == ViewKind::leaves ? cost.leaf_calls : cost.visits;
}

HeatCaption get_caption(ViewKind kind) {
    if (kind == ViewKind::time)
        return {"nanoseconds per camera ray", "ns per ray"};
    return kind == ViewKind::leaves ? HeatCaption{"leaf calls per camera ray", "leaf calls"}
                                    : HeatCaption();
}

/// The value of each cost for the square of pixels that it was computed for.
std::vector<double> spread(const std::vector<PixelCost>& costs, ViewKind kind, unsigned divisor,
                           unsigned width, unsigned height) {
    const std::size_t coarse_width = (width + divisor - 1) / divisor;
    std::vector<double> spread_costs;
    spread_costs.reserve(std::size_t{width} * height);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x)
            spread_costs.push_back(
                get_value(costs[y / divisor * coarse_width + x / divisor], kind));
    return spread_costs;
}

/// A stream of a picture that is drawn by a thread of its own.
class PictureStream : public HttpStream {
  public:
    PictureStream(ViewSession& session, const ViewRequest& request,
                  std::shared_ptr<RecordQueue> records)
        : m_records(std::move(records)),
          m_thread([&session, request, queue = m_records] { session.draw(request, *queue); }) {}
    ~PictureStream() override { m_records->stop(); }

    std::optional<std::size_t> read(char* bytes, std::size_t size) override {
        return m_records->read(bytes, size);
    }

  private:
    std::shared_ptr<RecordQueue> m_records;
    std::jthread m_thread;
};

/// Sends how far a build is, and ends it where nobody waits for it.
class BuildWatch {
  public:
    BuildWatch(AppBase& application, RecordQueue& records)
        : m_application(application), m_records(records) {
        application.set_progress_callback(tell, this);
    }
    BuildWatch(const BuildWatch&) = delete;
    BuildWatch& operator=(const BuildWatch&) = delete;
    ~BuildWatch() { m_application.set_progress_callback(nullptr, nullptr); }

  private:
    static void tell(void* user, const AppProgressBar&, float value) {
        auto& watch = *static_cast<BuildWatch*>(user);
        watch.m_records.throw_if_stopped();
        const auto percent = static_cast<unsigned>(100.0f * value);
        if (percent == watch.m_percent)
            return;
        watch.m_percent = percent;
        push_state(watch.m_records, "Building trees", 0.01 * percent);
    }

    AppBase& m_application;
    RecordQueue& m_records;
    unsigned m_percent = 0;
};

bool are_equal(const TreeSettings& a, const TreeSettings& b) {
    return a.kind == b.kind && a.has_wide_nodes == b.has_wide_nodes &&
           a.cell_count == b.cell_count && a.has_cell_bars == b.has_cell_bars;
}

} // namespace

ViewSession::ViewSession(Stage stage, bool has_mesh)
    : m_stage(std::move(stage)), m_has_mesh(has_mesh) {
    // From farther away a picture shows little.
    constexpr double margin = 4.0;
    const double reach = gas_get_reach(m_stage.scene->get_bbox());
    m_reach = margin * std::max(reach, gas_get_reach(m_stage.camera.get_position()));
}

std::unique_ptr<HttpStream> ViewSession::open(const ViewRequest& request) {
    const Camera camera = m_stage.camera.move(request.view, request.target, request.distance, 1, 1);
    if (gas_get_reach(camera.get_position()) > m_reach)
        throw UserError("the camera is too far away");
    const std::size_t item_count = m_has_mesh
                                       ? m_stage.scene->get_shapes().front()->get_item_count()
                                       : m_stage.scene->get_instances().size();
    if (request.level && item_count > most_boxed_items)
        throw UserError("level: boxes are shown of trees of up to a million items");
    const std::lock_guard lock(m_stream_mutex);
    std::erase_if(m_streams, [](const Open& stream) { return stream.records.expired(); });
    for (const Open& stream : m_streams)
        if (const auto records = stream.records.lock())
            if (!request.page.empty() && stream.page == request.page)
                records->stop();
    if (m_streams.size() >= most_streams)
        return nullptr;
    const auto records = std::make_shared<RecordQueue>();
    m_streams.push_back({request.page, records});
    return std::make_unique<PictureStream>(*this, request, records);
}

void ViewSession::stop() {
    const std::lock_guard lock(m_stream_mutex);
    for (const Open& stream : m_streams)
        if (const auto records = stream.records.lock())
            records->stop();
}

void ViewSession::draw(const ViewRequest& request, RecordQueue& records) {
    try {
        take_turns(request, records);
        push_end(records);
    } catch (const Stopped&) {
    } catch (const std::exception& error) {
        push_error(records, error.what());
    }
    records.close();
}

void ViewSession::take_turns(const ViewRequest& request, RecordQueue& records) {
    if (m_turns.are_taken())
        push_state(records, "Waiting for another picture", 0.0);
    Stage stage = m_stage;
    stage.camera = m_stage.camera.move(request.view, request.target, request.distance,
                                       request.render.width, request.render.height);
    if (request.level)
        send_boxes(request, records);
    if (request.kind != ViewKind::picture)
        draw_costs(stage, request, records);
    else
        draw_light(stage, request, records);
}

void ViewSession::draw_light(const Stage& stage, const ViewRequest& request, RecordQueue& records) {
    ProgressivePicture picture(stage, request.render);
    for (const RenderPass& pass : plan_passes(request.render)) {
        const Turns::Turn turn(m_turns, records);
        prepare(request, records);
        SendingWatch watch(records, picture.get_picture(), pass.divisor);
        const RenderResult result = picture.draw(pass, watch);
        records.throw_if_stopped();
        push_pass(records, pass, result);
    }
    const Turns::Turn turn(m_turns, records);
    prepare(request, records);
    count_walks(stage, request, records);
}

/// Of one sample for each pixel.
void ViewSession::count_walks(const Stage& stage, const ViewRequest& request,
                              RecordQueue& records) {
    RenderSettings settings = request.render;
    settings.samples = 1;
    settings.counts_walks = true;
    CountingWatch watch(records, "Counting visits", settings);
    std::vector<PixelCost> costs;
    const RenderResult result = render_costs(stage, settings, watch, costs);
    records.throw_if_stopped();
    push_counts(records, result);
}

void ViewSession::draw_costs(const Stage& stage, const ViewRequest& request, RecordQueue& records) {
    const unsigned width = request.render.width;
    const unsigned height = request.render.height;
    std::vector<RenderPass> passes = {{4, 0, 1, true}, {1, 0, request.render.samples, false}};
    for (const RenderPass& pass : passes) {
        const Turns::Turn turn(m_turns, records);
        prepare(request, records);
        RenderSettings settings = request.render;
        settings.width = (width + pass.divisor - 1) / pass.divisor;
        settings.height = (height + pass.divisor - 1) / pass.divisor;
        settings.samples = pass.sample_count;
        settings.counts_walks = request.kind != ViewKind::time;
        settings.timed =
            settings.counts_walks ? RenderSettings::Timed::nothing : RenderSettings::Timed::batches;
        Stage coarse = stage;
        coarse.camera = stage.camera.coarsen(pass.divisor);
        CountingWatch watch(records, settings.counts_walks ? "Counting visits" : "Timing rays",
                            settings);
        std::vector<PixelCost> costs;
        const RenderResult result = render_costs(coarse, settings, watch, costs);
        records.throw_if_stopped();
        Picture picture(width, height);
        draw_heat_map(picture, spread(costs, request.kind, pass.divisor, width, height),
                      request.walk_name, get_caption(request.kind));
        push_pixels(records, picture, {0, 0, width, height}, 1);
        push_pass(records, pass, result);
        if (!pass.is_preview && settings.counts_walks)
            push_counts(records, result);
    }
    if (request.kind == ViewKind::time) {
        const Turns::Turn turn(m_turns, records);
        prepare(request, records);
        count_walks(stage, request, records);
    }
}

/// Sees to it that the scene has the trees of the request, and rays its instruction set.
void ViewSession::prepare(const ViewRequest& request, RecordQueue& records) {
    gas_set_instruction_set(request.instruction_set);
    if (m_built && m_built->build_method == request.build_method &&
        are_equal(m_built->trees, request.trees)) {
        records.push(m_built->figures);
        return;
    }
    m_built.reset();
    m_levels.clear();
    build(request, records);
    records.push(m_built->figures);
}

void ViewSession::send_boxes(const ViewRequest& request, RecordQueue& records) {
    const Turns::Turn turn(m_turns, records);
    prepare(request, records);
    const Scene& scene = *m_stage.scene;
    if (m_levels.empty())
        m_levels = choose_boxes(
            list_tree_boxes(m_has_mesh ? scene.get_shapes().front()->get_tree() : scene.get_tree()),
            most_boxes);
    push_boxes(records, m_levels, *request.level);
}

void ViewSession::build(const ViewRequest& request, RecordQueue& records) {
    // The trees of a grid's cells are built under it later.
    const std::unique_ptr<AppBase> earlier = std::exchange(m_application, nullptr);
    m_application = std::make_unique<AppBase>(nullptr);
    m_application->set_build_method(request.build_method);
    AppProgressBar& bar = *m_application->create_progress_bar("Building trees", false);
    const auto start = std::chrono::steady_clock::now();
    {
        const BuildWatch watch(*m_application, records);
        m_stage.scene->build({m_reach, m_reach, m_reach}, bar, request.trees);
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    m_built = {request.trees, request.build_method,
               describe_trees(*m_stage.scene, seconds.count())};
}

} // namespace gas_app
