// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gas/gas.h>

#include <tests/app/temporary_folder.h>
#include <tests/easy/spheres.h>
#include <tests/memory/failed_allocations.h>
#include <tests/memory/tree_bytes.h>

// All that can be done with the owning interface where memory runs out.

namespace {

using easy::Sphere;
using support::Leaves;
using support::Operation;

constexpr unsigned item_count = 60;

const std::vector<Sphere>& get_spheres() {
    static const std::vector<Sphere> spheres = easy::make_spheres(item_count, 3);
    return spheres;
}
const std::vector<gas::Ray>& get_rays() {
    static const std::vector<gas::Ray> rays = easy::make_rays(12, 4);
    return rays;
}
gas::Options of_kind(gas::Kind kind) {
    gas::Options options;
    options.kind = kind;
    options.threads = 1;
    options.items_per_cell = 20;
    return options;
}
const std::vector<std::vector<gas::Box>>& get_motion(unsigned count) {
    static const std::vector<std::vector<gas::Box>> two = {easy::get_boxes(get_spheres(), 0.0),
                                                           easy::get_boxes(get_spheres(), 1.0)};
    static const std::vector<std::vector<gas::Box>> three = {two[0], two[1], two[0]};
    return count == 2 ? two : three;
}
const auto measure = [](std::uint32_t item, const gas::Ray& ray) {
    return easy::intersect(get_spheres()[item], ray);
};

void add_hits(const std::vector<gas::Hit>& hits, support::Bytes& bytes) {
    for (const gas::Hit& hit : hits) {
        bytes.add(hit.distance);
        bytes.add(hit.item);
    }
}

/// What an operation has answered, as a whole or not at all.
class Answer {
  public:
    template <typename Value> void set_answer(const Value& value) {
        support::Bytes bytes;
        bytes.add(value);
        m_answer = bytes;
    }
    void set_answer(const std::vector<gas::Hit>& hits) {
        support::Bytes bytes;
        add_hits(hits, bytes);
        m_answer = bytes;
    }
    void set_answer(const gas::Hit& hit) { set_answer(std::vector<gas::Hit>{hit}); }

  protected:
    support::Bytes m_answer;
};

/// What can be seen of a tree from without.
void add_tree(const gas::Tree& tree, support::Bytes& bytes) {
    bytes.add(tree.size());
    bytes.add(tree.kind());
    bytes.add(tree.depth());
    bytes.add(tree.bounds());
    bytes.add(tree.motion_sample_count());
    add_hits(tree.closest_hits(get_rays(), measure), bytes);
}

template <gas::Kind of> struct EasyState : Answer {
    EasyState() : tree(easy::get_boxes(get_spheres()), of_kind(of)) {
        tree.set_motion(get_motion(2));
    }

    std::string describe() const {
        support::Bytes bytes;
        add_tree(tree, bytes);
        return bytes.get() + m_answer.get();
    }
    std::string describe_empty() const { return {}; }
    std::vector<std::string> find_flaws() const { return tree.validate(); }

    gas::Tree tree;
};

/// The same without motion, which is what a failed set_motion leaves.
template <gas::Kind of> struct MovedState : EasyState<of> {
    std::string describe_empty() const {
        support::Bytes bytes;
        const gas::Tree still(easy::get_boxes(get_spheres()), of_kind(of));
        add_tree(still, bytes);
        return bytes.get();
    }
};

template <gas::Kind of> struct KindOf { static constexpr gas::Kind kind = of; };
struct KindNames {
    template <typename Of> static std::string GetName(int) {
        constexpr const char* names[] = {"plain", "compressed", "grid"};
        return names[static_cast<int>(Of::kind)];
    }
};
template <typename Of> class MemoryEasy : public testing::Test {
  protected:
    TemporaryFolder m_folder;
};
using AllKinds = testing::Types<KindOf<gas::Kind::plain>, KindOf<gas::Kind::compressed>,
                                KindOf<gas::Kind::grid>>;
TYPED_TEST_SUITE(MemoryEasy, AllKinds, KindNames);

/// A scene of two trees and of a scene of these.
struct SceneState : Answer {
    SceneState() : tree(easy::get_boxes(get_spheres()), of_kind(gas::Kind::plain)) {
        inner.add(tree);
        inner.build(of_kind(gas::Kind::plain));
        outer.add(inner);
        outer.add(tree, gas::translation({30.0, 0.0, 0.0}));
        outer.build(of_kind(gas::Kind::plain));
    }

    std::string describe() const {
        support::Bytes bytes;
        bytes.add(outer.size());
        bytes.add(is_built);
        // One that has changed since it was built answers nothing.
        if (is_built) {
            bytes.add(outer.bounds());
            add_scene_hits(bytes);
        }
        return bytes.get() + m_answer.get();
    }
    std::string describe_empty() const { return {}; }
    std::vector<std::string> find_flaws() const { return tree.validate(); }
    void add_scene_hits(support::Bytes& bytes) const {
        const auto measure_place = [](const gas::Place& place, const gas::Ray& ray) {
            return measure(place.item, ray);
        };
        for (const gas::SceneHit& hit : outer.closest_hits(get_rays(), measure_place)) {
            bytes.add(hit.distance);
            bytes.add(hit.instances.data(), hit.instances.size());
        }
    }

    gas::Tree tree;
    gas::Scene inner;
    gas::Scene outer;
    bool is_built = true;
};

} // namespace

TYPED_TEST(MemoryEasy, TreesAreMadeOrNot) {
    using State = EasyState<TypeParam::kind>;
    std::vector<Operation<State>> all;
    for (const gas::Method method :
         {gas::Method::median, gas::Method::hybrid, gas::Method::sah_fast, gas::Method::sah}) {
        all.push_back({"build", [method](State& state) {
                           gas::Options options = of_kind(TypeParam::kind);
                           options.method = method;
                           state.tree = gas::Tree(easy::get_boxes(get_spheres(), 0.5), options);
                       }});
    }
    all.push_back({"build on threads", [](State& state) {
                       gas::Options options = of_kind(TypeParam::kind);
                       options.threads = 3;
                       state.tree = gas::Tree(get_motion(2)[1], options);
                   }});
    all.push_back({"build with calls of the program", [](State& state) {
                       gas::Options options = of_kind(TypeParam::kind);
                       options.threads = 2;
                       options.progress = [](double) { return true; };
                       options.parallel_for = [](std::size_t count,
                                                 const std::function<void(std::size_t)>& call) {
                           for (std::size_t i = 0; i < count; ++i)
                               call(i);
                       };
                       state.tree = gas::Tree(get_motion(2)[1], options);
                   }});
    all.push_back({"refit", [](State& state) { state.tree.refit(get_motion(2)[1]); }});
    all.push_back({"move", [](State& state) {
                       gas::Tree moved(std::move(state.tree));
                       state.tree = std::move(moved);
                   }});
    all.push_back({"no motion", [](State& state) { state.tree.set_motion({}); }});
    all.push_back({"bad boxes", [](State& state) {
                       state.set_answer(gas::find_bad_boxes({{{2, 0, 0}, {1, 0, 0}}}).size());
                   }});
    if (TypeParam::kind == gas::Kind::grid) {
        all.push_back({"boxes that are asked for", [](State& state) {
                           const auto give = [](std::uint32_t item, double time) {
                               return easy::get_box(get_spheres()[item].at(time));
                           };
                           gas::Tree tree(item_count, give, of_kind(gas::Kind::grid));
                           tree.set_motion(4);
                           state.tree = std::move(tree);
                       }});
    }
    support::fail_each_allocation(all);
}

TYPED_TEST(MemoryEasy, MotionIsThereOrNot) {
    using State = MovedState<TypeParam::kind>;
    // A grid keeps its former motion.
    const Leaves leaves = TypeParam::kind == gas::Kind::grid ? Leaves::as_it_was : Leaves::empty;
    support::fail_each_allocation<State>(
        {{"more samples", [](State& state) { state.tree.set_motion(get_motion(3)); }, leaves}});
}

TYPED_TEST(MemoryEasy, QueriesMayBeRepeated) {
    using State = EasyState<TypeParam::kind>;
    std::vector<Operation<State>> all;
    const auto stop = [](std::uint32_t item, const gas::Ray& ray) {
        return ray.holds(measure(item, ray));
    };
    const auto pass = [](std::uint32_t, const gas::Ray&) {};
    // With a context of their own, whose memory grows.
    all.push_back({"closest hit", [](State& state) {
                       gas::Context context;
                       const gas::Hit hit = state.tree.closest_hit(context, get_rays()[0], measure);
                       state.set_answer(hit);
                   }});
    all.push_back({"any hit", [stop](State& state) {
                       gas::Context context;
                       const bool is_hit = state.tree.any_hit(context, get_rays()[1], stop);
                       state.set_answer(is_hit);
                   }});
    all.push_back({"all hits", [pass](State& state) {
                       gas::Context context;
                       state.tree.all_hits(context, get_rays()[2], pass);
                   }});
    all.push_back({"closest hits", [](State& state) {
                       gas::Context context;
                       std::vector<gas::Hit> hits(get_rays().size());
                       state.tree.closest_hits(context, get_rays().data(), hits.size(), hits.data(),
                                               measure);
                       state.set_answer(hits);
                   }});
    all.push_back(
        {"any hits", [stop](State& state) {
             gas::Context context;
             const std::unique_ptr<bool[]> hits(new bool[get_rays().size()]);
             state.tree.any_hits(context, get_rays().data(), get_rays().size(), hits.get(), stop);
             state.set_answer(std::count(hits.get(), hits.get() + get_rays().size(), true));
         }});
    all.push_back({"hits without a context", [](State& state) {
                       const std::vector<gas::Hit> hits =
                           state.tree.closest_hits(get_rays(), measure);
                       state.set_answer(hits);
                   }});
    all.push_back({"queries in queries", [](State& state) {
                       gas::Context context;
                       const auto nested = [&](std::uint32_t item, const gas::Ray& ray) {
                           state.tree.closest_hit(context, get_rays()[item % 12], measure);
                           return measure(item, ray);
                       };
                       const gas::Hit hit = state.tree.closest_hit(context, get_rays()[0], nested);
                       state.set_answer(hit);
                   }});
    all.push_back({"validate", [](State& state) { state.tree.validate(); }});
    if (TypeParam::kind == gas::Kind::plain) {
        all.push_back(
            {"items in a box", [](State& state) {
                 const std::size_t count = state.tree.items_in({{-5, -5, -5}, {5, 5, 5}}).size();
                 state.set_answer(count);
             }});
        all.push_back({"nearest boxes", [](State& state) {
                           const gas::NearItem found = state.tree.nearest_boxes({1, 2, 3}, 5)[4];
                           state.set_answer(found.item);
                       }});
    }
    if (TypeParam::kind != gas::Kind::grid) {
        all.push_back(
            {"closest point", [](State& state) {
                 gas::Context context;
                 const auto f = [](std::uint32_t item, const gas::Vector& point) {
                     return easy::length(easy::operator-(point, get_spheres()[item].center));
                 };
                 const gas::NearItem found = state.tree.closest_point(context, {1, 2, 3}, f);
                 state.set_answer(found.item);
             }});
        all.push_back({"levels", [](State& state) {
                           const std::size_t count = state.tree.boxes_at_level(2).size();
                           state.set_answer(count);
                       }});
    }
    support::fail_each_allocation(all);
}

TYPED_TEST(MemoryEasy, FilesAreSavedAndBroughtBackOrNot) {
    using State = EasyState<TypeParam::kind>;
    if (TypeParam::kind == gas::Kind::grid)
        return;
    const std::string path = this->m_folder.get_path("easy.gastree");
    gas::Tree(get_motion(2)[1], of_kind(TypeParam::kind)).save(path);
    support::fail_each_allocation<State>(
        {{"load", [path](State& state) { state.tree = gas::Tree::load(path); }},
         {"map", [path](State& state) { state.tree = gas::Tree::map(path); }},
         {"map, trusted", [path](State& state) { state.tree = gas::Tree::map_trusted(path); }},
         {"save", [path](State& state) { state.tree.save(path + "2"); }}});
    EXPECT_EQ(this->m_folder.count_files(), 2u);
}

TEST(MemoryScenes, ChangesAreMadeOrNotAndQueriesMayBeRepeated) {
    const std::vector<gas::Transform> moving = {gas::Transform(),
                                                gas::translation({1.0, 0.0, 0.0})};
    const auto measure_place = [](const gas::Place& place, const gas::Ray& ray) {
        return measure(place.item, ray);
    };
    support::fail_each_allocation<SceneState>(
        {{"add a tree",
          [](SceneState& state) {
              state.outer.add(state.tree);
              state.is_built = false;
          }},
         {"add a scene in motion",
          [moving](SceneState& state) {
              state.outer.add(state.inner, moving);
              state.is_built = false;
          }},
         {"another transform",
          [moving](SceneState& state) {
              state.outer.set_transform(1, moving);
              state.is_built = false;
          }},
         {"build", [](SceneState& state) { state.outer.build(of_kind(gas::Kind::compressed)); }},
         {"closest hit",
          [measure_place](SceneState& state) {
              gas::Context context;
              const gas::SceneHit hit =
                  state.outer.closest_hit(context, get_rays()[0], measure_place);
              state.set_answer(hit.distance);
          }},
         {"any hit",
          [measure_place](SceneState& state) {
              gas::Context context;
              const bool is_hit = state.outer.any_hit(context, get_rays()[3], measure_place);
              state.set_answer(is_hit);
          }},
         {"closest hits", [measure_place](SceneState& state) {
              gas::Context context;
              std::vector<gas::SceneHit> hits(get_rays().size());
              state.outer.closest_hits(context, get_rays().data(), hits.size(), hits.data(),
                                       measure_place);
              double sum = 0.0;
              for (const gas::SceneHit& hit : hits)
                  sum += hit ? hit.distance * (1.0 + hit.item) : 0.0;
              state.set_answer(sum);
          }}});
}
