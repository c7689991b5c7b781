// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/owning_trees.h>

namespace gas_app {

namespace {

enum OwningKind : unsigned { plain, compressed, grid, loaded, mapped, instances };

gas::Vector to_owning(const Vec3& vector) { return {vector.x, vector.y, vector.z}; }

gas::Box to_owning(const Box& box) { return {to_owning(box.min), to_owning(box.max)}; }

std::vector<gas::Box> to_owning(const std::vector<Box>& boxes) {
    std::vector<gas::Box> owning;
    owning.reserve(boxes.size());
    for (const Box& box : boxes)
        owning.push_back(to_owning(box));
    return owning;
}

Vec3 from_owning(const gas::Vector& vector) { return {vector.x, vector.y, vector.z}; }

} // namespace

OwningTree::OwningTree(const VerifiedScene& scene, unsigned method, unsigned kind)
    : m_trees{make(scene, method, kind, false), make(scene, method, kind, true)} {}

gas::Tree OwningTree::make(const VerifiedScene& scene, unsigned method, unsigned kind,
                           bool is_moving) {
    gas::Options options;
    // Those that come from files are of one kind each.
    options.kind = kind == compressed || kind == mapped ? gas::Kind::compressed : gas::Kind::plain;
    options.method = static_cast<gas::Method>(method);
    options.threads = 1;
    options.items_per_cell = 40;
    if (kind == grid) {
        const gas::BoxFunction get_box = [&scene, is_moving](std::uint32_t item, double time) {
            return to_owning(scene.get_boxes(is_moving && time < 0.5 ? 0 : 1)[item]);
        };
        gas::Tree tree(scene.get_item_count(), get_box, options);
        if (is_moving)
            tree.set_motion(2);
        return tree;
    }
    const std::vector<gas::Box> boxes = to_owning(scene.get_boxes(1));
    gas::Tree tree(boxes, options);
    if (is_moving)
        tree.set_motion({to_owning(scene.get_boxes(0)), boxes});
    if (kind != loaded && kind != mapped)
        return tree;
    const TemporaryFile file;
    tree.save(file.get_path());
    return kind == loaded ? gas::Tree::load(file.get_path()) : gas::Tree::map(file.get_path());
}

OwningScene::OwningScene(const OwningTree& tree, const Box& bounds) {
    const Vec3 size = bounds.max - bounds.min;
    const double step = 0.3 * std::max({size.x, size.y, size.z});
    const gas::Transform turned = gas::rotation({1.0, 2.0, -1.0}, 0.7);
    const gas::Transform flat = gas::scaling({0.5, 1.5, 1.0});
    const gas::Transform moved = gas::translation({step, -0.5 * step, 0.25 * step});
    const gas::Transform more = gas::translation({-step, 0.0, step});
    for (const bool is_moving : {false, true}) {
        Motion* const inner = m_inner_places[is_moving];
        inner[0] = {gas::Transform()};
        inner[1] = {moved * turned * flat};
        Motion* const outer = m_outer_places[is_moving];
        outer[0] = {gas::Transform()};
        outer[1] = {more * turned};
        outer[2] = {moved * more * flat};
        if (is_moving) {
            inner[1].push_back(more * turned);
            outer[1].push_back(moved);
        }
        for (const Motion& place : m_inner_places[is_moving])
            m_inner[is_moving].add(tree.get(is_moving), place);
        m_inner[is_moving].build();
        m_outer[is_moving].add(m_inner[is_moving], outer[0]);
        m_outer[is_moving].add(m_inner[is_moving], outer[1]);
        m_outer[is_moving].add(tree.get(is_moving), outer[2]);
        m_outer[is_moving].build();
    }
}

VerifiedScene::Ray OwningScene::get_local_ray(const VerifiedScene::Ray& ray, unsigned way,
                                              bool is_moving) const {
    VerifiedScene::Ray local = ray;
    const auto enter = [&](const Motion& place) {
        const gas::Transform inverse = gas::invert(
            place.size() == 1 ? place[0]
                              : gas::blend(place[0], place[1], static_cast<double>(ray.time)));
        local.origin = from_owning(gas::transform_point(inverse, to_owning(local.origin)));
        local.direction =
            from_owning(gas::transform_direction(inverse, to_owning(local.direction)));
    };
    enter(m_outer_places[is_moving][way / 2]);
    if (way < 4)
        enter(m_inner_places[is_moving][way % 2]);
    return local;
}

const OwningTree& OwningVerification::get_tree(unsigned method, unsigned kind) {
    Place& place = m_places[method][kind];
    std::call_once(place.once, [&] {
        place.tree = std::make_unique<OwningTree>(m_scene, method, kind);
        if (kind == instances)
            place.scene = std::make_unique<OwningScene>(*place.tree, m_scene.get_bounds());
    });
    return *place.tree;
}

const OwningScene& OwningVerification::get_scene(unsigned method) {
    get_tree(method, instances);
    return *m_places[method][instances].scene;
}

/// Rays as a program of the owning interface has them, and what it makes of its answers.
struct OwningVerification::Asked {
    const VerifiedScene& scene;
    const VerifiedRays& rays;
    const Question& question;
    std::vector<gas::Ray> own_rays = {};
    std::vector<RayRecord> records = {};

    void reset() {
        records.assign(rays.get_count(), {});
        own_rays.clear();
        for (unsigned ray = 0; ray < rays.get_count(); ++ray) {
            const VerifiedScene::Ray& source = rays.get_ray(ray);
            own_rays.push_back({to_owning(source.origin), to_owning(source.direction),
                                source.near_distance, source.far_distance,
                                static_cast<double>(source.time)});
            records[ray].bound = source.far_distance;
        }
    }

    /// Where a ray enters an item, or an item at the end of a way through instances.
    double enter(std::uint32_t item, const gas::Ray& ray, std::size_t index) const {
        return scene.find_entry(item, rays.get_ray(static_cast<unsigned>(index)), ray.far,
                                question.is_moving);
    }
    double enter(const gas::Place& place, const gas::Ray& ray, std::size_t) const {
        const VerifiedScene::PreparedRay local(
            VerifiedScene::Ray{from_owning(ray.origin), from_owning(ray.direction), ray.near,
                               ray.far, static_cast<float>(ray.time)});
        return scene.find_entry(place.item, local, ray.far, question.is_moving);
    }
    static std::uint64_t collect(std::uint32_t item) { return get_collected(item); }
    static std::uint64_t collect(const gas::Place& place) {
        return get_collected(place.item) * OwningScene::get_weight(OwningScene::get_way(place));
    }

    template <typename Found> void record(std::size_t ray, const Found& hit) {
        if (!hit)
            return;
        records[ray].is_hit = true;
        records[ray].bound = hit.distance;
        records[ray].item = hit.item;
    }

    /// `Where`: std::uint32_t or const gas::Place&, what the functions of `Tree` are called for.
    template <typename Where, typename Tree> void ask_one_by_one(const Tree& tree) {
        reset();
        gas::Context context;
        for (std::size_t i = 0; i < own_rays.size(); ++i) {
            const auto entry = [&](Where where, const gas::Ray& ray) {
                return enter(where, ray, i);
            };
            const auto note = [&](Where where, const gas::Ray& ray) {
                if (enter(where, ray, i) != VerifiedScene::no_entry)
                    records[i].collected += collect(where);
            };
            if (question.behaviour == Behaviour::collect)
                tree.all_hits(own_rays[i], note);
            else if (!question.is_nearest)
                records[i].is_hit = tree.any_hit(own_rays[i], entry);
            else if (i % 2 == 0) // with a context and without
                record(i, tree.closest_hit(context, own_rays[i], entry));
            else
                record(i, tree.closest_hit(own_rays[i], entry));
        }
    }

    template <typename Where, typename Tree> void ask_together(const Tree& tree) {
        reset();
        const auto entry = [&](Where where, const gas::Ray& ray, std::size_t index) {
            return enter(where, ray, index);
        };
        if (question.behaviour == Behaviour::collect) {
            const auto note = [&](Where where, const gas::Ray& ray, std::size_t index) {
                if (enter(where, ray, index) != VerifiedScene::no_entry)
                    records[index].collected += collect(where);
            };
            if constexpr (std::is_same_v<Tree, gas::Tree>)
                tree.all_hits(own_rays, note);
        } else if (question.is_nearest) {
            const auto hits = tree.closest_hits(own_rays, entry);
            for (std::size_t i = 0; i < hits.size(); ++i)
                record(i, hits[i]);
        } else {
            const std::vector<bool> hits = tree.any_hits(own_rays, entry);
            for (std::size_t i = 0; i < hits.size(); ++i)
                records[i].is_hit = hits[i];
        }
    }
};

std::vector<RayRecord> OwningVerification::find_in_instances(const OwningScene& scene,
                                                             const VerifiedRays& rays,
                                                             const Question& question,
                                                             unsigned method) const {
    std::vector<RayRecord> all(rays.get_count());
    for (unsigned way = 0; way < OwningScene::way_count; ++way) {
        std::vector<VerifiedScene::Ray> local;
        for (unsigned ray = 0; ray < rays.get_count(); ++ray)
            local.push_back(scene.get_local_ray(rays.get_ray(ray), way, question.is_moving));
        VerifiedRays local_rays(m_scene, local);
        const std::vector<RayRecord> found = m_reference.find(local_rays, question, method);
        for (unsigned ray = 0; ray < rays.get_count(); ++ray) {
            RayRecord& record = all[ray];
            if (way == 0 || found[ray].bound < record.bound) {
                record.bound = found[ray].bound;
                record.item = found[ray].item;
            }
            record.is_hit = record.is_hit || found[ray].is_hit;
            record.collected += found[ray].collected * OwningScene::get_weight(way);
        }
    }
    return all;
}

void OwningVerification::check(unsigned method, unsigned kind, VerifiedRays& rays,
                               const Question& question, const std::vector<RayRecord>& expected,
                               const std::string& where, Comparison& comparison) {
    Asked asked = {m_scene, rays, question};
    const auto compare = [&](const char* way, const std::vector<RayRecord>& right) {
        comparison.compare_rays({owning_names[kind], way, m_reference.get_name()}, where, right,
                                asked.records, Agreement::results, &rays);
    };
    if (kind != instances) {
        const gas::Tree& tree = get_tree(method, kind).get(question.is_moving);
        asked.ask_one_by_one<std::uint32_t>(tree);
        compare("one by one", expected);
        asked.ask_together<std::uint32_t>(tree);
        compare("batch", expected);
        return;
    }
    const OwningScene& scene = get_scene(method);
    const std::vector<RayRecord> right = find_in_instances(scene, rays, question, method);
    asked.ask_one_by_one<const gas::Place&>(scene.get(question.is_moving));
    compare("one by one", right);
    if (question.behaviour != Behaviour::collect) { // of which there is no batch
        asked.ask_together<const gas::Place&>(scene.get(question.is_moving));
        compare("batch", right);
    }
}

} // namespace gas_app
