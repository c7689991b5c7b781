// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/math/sample_hash.h>
#include <apps/gas/mesh/procedural_mesh.h>
#include <apps/gas/scene/garden_parts.h>
#include <apps/gas/scene/mesh_shape.h>
#include <apps/gas/scene/stage.h>

namespace gas_app {

namespace {

constexpr Vec3 upward{0.0, 1.0, 0.0};
constexpr double pond_radius = 3.3;
constexpr double tile_spacing = 0.48;

/// Builds the garden: a pond with a knot in its middle and a swarm around it, a ring of sculptures,
/// spiral arms of stones, conifers, and tiles over the ground.
class Garden {
  public:
    using Mover = std::function<void(const ShutterTime& shutter)>;

    Garden(double detail, bool motion)
        : m_detail(detail), m_sample_count(motion ? motion_sample_count : 1),
          m_scene(std::make_unique<Scene>(m_sample_count)) {}

    /// What moves is listed in `movers`, to which the scene's parts are known.
    std::unique_ptr<Scene> make(std::vector<Mover>& movers) {
        add_ground();
        add_pond();
        add_center();
        add_ring();
        add_spirals();
        add_conifers();
        movers = std::move(m_movers);
        return std::move(m_scene);
    }

  private:
    /// A number of items, scaled by the detail.
    unsigned get_count(unsigned usual) const {
        return std::max(2u, static_cast<unsigned>(std::lround(usual * m_detail)));
    }
    /// A number of steps along one of two directions.
    unsigned get_steps(unsigned usual, unsigned least) const {
        return std::max(least, static_cast<unsigned>(std::lround(usual * std::sqrt(m_detail))));
    }
    /// How often the triangles of a ball are subdivided.
    unsigned get_levels(unsigned usual) const {
        const double levels = usual + 0.5 * std::log2(m_detail);
        return static_cast<unsigned>(std::clamp(levels + 0.5, 1.0, usual + 1.0));
    }

    const Shape& add_mesh(const char* name, const TriangleMesh& mesh) {
        return m_scene->add_shape(std::make_unique<MeshShape>(name, mesh));
    }
    void place(const Shape& shape, const Transform& placement, const Material& material) {
        m_scene->add_instance({&shape, {placement}, material});
    }
    /// Turns around `axis`, in the shape's own space, by `angle` while the shutter is open.
    void place_turning(const Shape& shape, const Transform& placement, const Vec3& axis,
                       double angle, const Material& material) {
        const auto get_placements = [=, count = m_sample_count](const ShutterTime& shutter) {
            std::vector<Transform> placements;
            for (unsigned sample = 0; sample < count; ++sample)
                placements.push_back(placement * rotate(axis, angle * shutter.get(sample, count)));
            return placements;
        };
        const auto number = static_cast<unsigned>(m_scene->get_instances().size());
        m_scene->add_instance({&shape, get_placements(ShutterTime()), material});
        m_movers.push_back([=, scene = m_scene.get()](const ShutterTime& shutter) {
            scene->set_placements(number, get_placements(shutter));
        });
    }

    void add_ground() {
        const Shape& floor = add_mesh("floor", make_disc(6, 48));
        place(floor, scale(60.0), {{0.27, 0.23, 0.18}, 0.0, false});
        const Shape& tiles =
            add_mesh("tiles", make_tiles(get_count(9000), pond_radius + 0.75, tile_spacing));
        place(tiles, {}, {{1.0, 1.0, 1.0}, 0.0, false});
    }

    void add_pond() {
        const TriangleMesh disc = make_disc(get_steps(64, 4), get_steps(200, 12));
        TriangleMesh water = disc;
        water.crease_cosine = -1.0;
        const auto get_samples = [water, count = m_sample_count](const ShutterTime& shutter) {
            std::vector<std::vector<Vec3>> samples;
            for (unsigned sample = 0; sample < count; ++sample)
                samples.push_back(make_ripples(water.vertices, shutter.get(sample, count)));
            return samples;
        };
        auto shape = std::make_unique<MeshShape>("water", water, get_samples(ShutterTime()));
        m_movers.push_back([=, &moving = *shape](const ShutterTime& shutter) {
            moving.set_samples(water, get_samples(shutter));
        });
        const Shape& pond = m_scene->add_shape(std::move(shape));
        place(pond, translate({0.0, 0.10, 0.0}) * scale(pond_radius),
              {{0.035, 0.105, 0.115}, 0.09, false});

        const Shape& stone = add_mesh("rim stone", make_column(8, 0.12));
        constexpr unsigned count = 40;
        for (unsigned index = 0; index < count; ++index) {
            const double light = 0.85 + 0.3 * hash_unit(8, index);
            const double height = 0.24 + 0.07 * hash_unit(9, index);
            place(stone,
                  rotate(upward, 2.0 * pi * index / count) *
                      translate({pond_radius + 0.22, 0.0, 0.0}) * scale(0.27, height, 0.27),
                  {Vec3{0.46, 0.41, 0.36} * light, 0.0, false});
        }
    }

    void add_center() {
        m_column = &add_mesh("column", make_column(12, 0.06));
        place(*m_column, scale(0.85, 0.75, 0.85), {{0.44, 0.40, 0.36}, 0.0, false});
        const Shape& knot =
            add_mesh("knot", make_torus_knot(2, 3, 0.17, get_steps(640, 48), get_steps(40, 8)));
        place_turning(knot,
                      translate({0.0, 2.55, 0.0}) * rotate({1.0, 0.0, 0.0}, 0.5 * pi) * scale(1.62),
                      {0.0, 0.0, 1.0}, 0.16, {{0.98, 0.60, 0.16}, 0.75, true});

        const auto get_samples = [spheres = get_count(16000),
                                  count = m_sample_count](const ShutterTime& shutter) {
            std::vector<std::vector<Sphere>> samples;
            for (unsigned sample = 0; sample < count; ++sample)
                samples.push_back(make_swarm(spheres, shutter.get(sample, count)));
            return samples;
        };
        auto shape = std::make_unique<SphereShape>("swarm", get_samples(ShutterTime()));
        m_movers.push_back([=, &moving = *shape](const ShutterTime& shutter) {
            moving.set_samples(get_samples(shutter));
        });
        const Shape& swarm = m_scene->add_shape(std::move(shape));
        place(swarm, {}, {{1.0, 1.0, 1.0}, 0.0, false});
    }

    /// Pedestals with four kinds of sculptures in turn.
    void add_ring() {
        const Shape& gear = add_mesh("gear", make_gear(14, 0.34));
        const Shape& knot = add_mesh(
            "small knot", make_torus_knot(3, 5, 0.10, get_steps(400, 60), get_steps(20, 6)));
        m_ball = &add_mesh("ball", make_ball(get_levels(5)));
        m_rock = &add_mesh("rock", make_rock(get_levels(4), 5));
        constexpr unsigned count = 16;
        for (unsigned index = 0; index < count; ++index) {
            const double angle = 2.0 * pi * (index + 0.5) / count;
            const double height = 0.75 + 0.35 * (index % 2);
            const Transform foot = rotate(upward, angle) * translate({6.1, 0.0, 0.0});
            place(*m_column, foot * scale(0.5, height, 0.5), {{0.44, 0.39, 0.34}, 0.0, false});
            const Transform top = foot * translate({0.0, height + 0.58, 0.0});
            if (index % 4 == 0)
                place_turning(gear, top * rotate(upward, 0.5 * pi) * scale(0.58), {0.0, 0.0, 1.0},
                              0.22, {{0.76, 0.36, 0.22}, 0.35, true});
            else if (index % 4 == 1)
                place(*m_ball, top * scale(0.56), {{0.90, 0.92, 0.95}, 0.85, true});
            else if (index % 4 == 2)
                place_turning(knot, top * rotate({1.0, 0.0, 0.0}, 0.4) * scale(0.62), upward, 0.35,
                              {{0.16, 0.46, 0.50}, 0.06, false});
            else
                place(*m_rock, top * rotate(upward, angle) * scale(0.58),
                      {{0.36, 0.33, 0.31}, 0.0, false});
        }
    }

    /// Arms on which stones and balls grow from the size of a nut to that of a boulder.
    void add_spirals() {
        constexpr unsigned arms = 5;
        const unsigned stones = get_count(44);
        static const Vec3 colors[] = {{0.36, 0.33, 0.30}, {0.46, 0.31, 0.21}, {0.26, 0.29, 0.31}};
        for (unsigned arm = 0; arm < arms; ++arm)
            for (unsigned step = 0; step < stones; ++step) {
                const std::uint64_t key = hash_pair(arm + 100, step);
                const double t = static_cast<double>(step) / stones;
                const double radius = 7.6 * std::pow(3.6, t);
                const double angle = 2.0 * pi * arm / arms + 2.3 * t;
                const double size = 0.07 * std::pow(12.0, t) * (0.7 + 0.6 * hash_unit(key, 0));
                const Transform place_at = rotate(upward, angle) *
                                           translate({radius, 0.75 * size, 0.0}) *
                                           rotate(upward, 2.0 * pi * hash_unit(key, 1)) *
                                           rotate({1.0, 0.0, 0.0}, 2.0 * pi * hash_unit(key, 2));
                if (step % 6 == 3)
                    place(*m_ball, place_at * scale(size), {{0.62, 0.12, 0.10}, 0.05, false});
                else
                    place(*m_rock,
                          place_at * scale(size, size * (0.7 + 0.3 * hash_unit(key, 3)), size),
                          {colors[key % 3] * (0.8 + 0.4 * hash_unit(key, 4)), 0.0, false});
            }
    }

    void add_conifers() {
        const Shape* kinds[] = {
            &add_mesh("conifer", make_conifer(get_steps(42, 6), get_steps(18, 5), 1)),
            &add_mesh("tall conifer", make_conifer(get_steps(60, 6), get_steps(14, 5), 2))};
        const unsigned count = get_count(170);
        for (unsigned index = 0; index < count; ++index) {
            const std::uint64_t key = hash_pair(31, index);
            const double radius = 15.0 + 24.0 * hash_unit(key, 0);
            // A wide gap towards the usual camera.
            const double angle = -0.55 * pi + 1.42 * pi * (hash_unit(key, 1) - 0.5);
            const double size = 2.2 + 3.6 * std::pow(hash_unit(key, 2), 2.0);
            const Vec3 foot{radius * std::cos(angle), 0.0, radius * std::sin(angle)};
            place(*kinds[index % 2],
                  translate(foot) * rotate(upward, 2.0 * pi * hash_unit(key, 3)) *
                      scale(size * 0.9, size, size * 0.9),
                  {Vec3{1.0, 1.0, 1.0} * (0.75 + 0.5 * hash_unit(key, 4)), 0.0, false});
        }
    }

    double m_detail;
    unsigned m_sample_count;
    std::unique_ptr<Scene> m_scene;
    std::vector<Mover> m_movers;
    const Shape* m_column = nullptr;
    const Shape* m_ball = nullptr;
    const Shape* m_rock = nullptr;
};

} // namespace

Stage make_default_stage(const StageSettings& settings) {
    constexpr Vec3 target{0.0, 2.35, 0.0};
    constexpr double distance = 17.4;
    constexpr double field_of_view = 0.56;
    const ViewPoint view = settings.has_view ? settings.view : ViewPoint{22.0, 9.5, 1.0};
    // A tall picture steps back, until it is as wide as the usual one is high.
    const double narrowness = std::max(1.0, 1.0 * settings.height / settings.width);
    std::vector<Garden::Mover> movers;
    Stage stage{
        Garden(settings.detail, settings.motion).make(movers),
        Camera(view, target, distance * narrowness, field_of_view, settings.width, settings.height),
        Sky(),
        5.0,
        24.0,
        74.0,
        nullptr};
    stage.set_shutter = [movers = std::move(movers)](const ShutterTime& shutter) {
        for (const Garden::Mover& mover : movers)
            mover(shutter);
    };
    return stage;
}

} // namespace gas_app
