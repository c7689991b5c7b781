// SPDX-License-Identifier: Apache-2.0
/// What does the owning interface cost beside the calls of the tree classes? Both sides trace the
/// same rays in turn, and the least time of each piece counts, so that other programs on the
/// machine disturb the ratio little.

#include <algorithm>
#include <array>
#include <limits>

#include <benchmark/benchmark.h>

#include <bench/bench_register.h>
#include <bench/bench_sides.h>
#include <bench/processor_clock.h>

namespace gas_bench {

namespace {

constexpr SidesQuestion sides_questions[] = {
    {"owning_single/nearest/camera", true, RayKind::camera, false, false},
    {"owning_single/nearest/bounce", true, RayKind::bounce, false, false},
    {"owning_single/any/shadow", false, RayKind::shadow, false, false},
    {"owning_single/nearest_motion/camera", true, RayKind::camera, true, false},
    {"owning_single/nearest_motion/bounce", true, RayKind::bounce, true, false},
    {"owning_single/any_motion/shadow", false, RayKind::shadow, true, false},
    {"owning_batch/nearest/camera", true, RayKind::camera, false, true},
    {"owning_batch/nearest/bounce", true, RayKind::bounce, false, true},
    {"owning_batch/any/shadow", false, RayKind::shadow, false, true},
    {"owning_batch/nearest_motion/camera", true, RayKind::camera, true, true},
    {"owning_batch/nearest_motion/bounce", true, RayKind::bounce, true, true},
    {"owning_batch/any_motion/shadow", false, RayKind::shadow, true, true},
};

template <typename Tree>
constexpr gas::Kind kind_of = std::is_same_v<Tree, GasTree>             ? gas::Kind::plain
                              : std::is_same_v<Tree, GasCompressedTree> ? gas::Kind::compressed
                                                                        : gas::Kind::grid;

enum Side : unsigned {
    plain_calls,
    owning,
    owning_without_context, ///< single rays only
    side_count
};

/// What the rays of a side have found.
struct Finds {
    explicit Finds(std::size_t ray_count)
        : closest(ray_count), any(new bool[ray_count]), count(ray_count) {
        std::fill_n(any.get(), count, false);
    }

    bool operator==(const Finds& other) const {
        return std::equal(any.get(), any.get() + count, other.any.get()) &&
               std::equal(closest.begin(), closest.end(), other.closest.begin(),
                          [](const gas::Hit& hit, const gas::Hit& same) {
                              return hit.distance == same.distance && hit.item == same.item;
                          });
    }

    std::vector<gas::Hit> closest;
    std::unique_ptr<bool[]> any;
    std::size_t count;
};

/// Traces all rays of a question by each side in turn, piece by piece.
template <typename Tree> class Race {
  public:
    Race(Workload& workload, const SidesQuestion& question)
        : m_question(question), m_scene(workload, question), m_plain(m_scene, question),
          m_owning(m_scene, question, kind_of<Tree>) {
        if (!question.in_batches)
            m_without_context = std::make_unique<OwningSide>(m_scene, question, kind_of<Tree>);
        const std::size_t ray_count = m_scene.rays.size();
        for (unsigned side = 0; side < side_count; ++side)
            m_finds.emplace_back(ray_count);
        std::array<double, side_count> never;
        never.fill(std::numeric_limits<double>::infinity());
        m_least.assign((ray_count + side_batch_size - 1) / side_batch_size, never);
    }

    unsigned get_side_count() const {
        return m_question.in_batches ? unsigned{owning} + 1 : unsigned{side_count};
    }

    /// Some rounds of all pieces by all sides, each of which begins as often.
    void run() {
        for (unsigned round = 0; round < 2 * get_side_count(); ++round)
            run_round(round);
    }

    bool do_sides_agree() const {
        return std::all_of(m_finds.begin(), m_finds.begin() + get_side_count(),
                           [&](const Finds& finds) { return finds == m_finds[plain_calls]; });
    }

    /// Seconds of a ray.
    double get_seconds(Side side) const {
        double sum = 0.0;
        for (const auto& least : m_least)
            sum += least[side];
        return sum / static_cast<double>(m_scene.rays.size());
    }

  private:
    void run_round(unsigned round) {
        for (std::size_t piece = 0; piece < m_least.size(); ++piece) {
            for (unsigned turn = 0; turn < get_side_count(); ++turn) {
                const auto side = static_cast<Side>((round + turn) % get_side_count());
                const double start = get_thread_seconds();
                trace(side, piece);
                double& least = m_least[piece][side];
                least = std::min(least, get_thread_seconds() - start);
            }
        }
    }

    void trace(Side side, std::size_t piece) {
        const std::size_t first = piece * side_batch_size;
        const auto count = static_cast<unsigned>(
            std::min<std::size_t>(side_batch_size, m_scene.rays.size() - first));
        const gas::Ray* const rays = m_scene.rays.data() + first;
        const SideHits hits = {m_finds[side].closest.data() + first,
                               m_finds[side].any.get() + first};
        if (m_question.in_batches)
            side == plain_calls ? m_plain.trace_batch(rays, count, hits)
                                : m_owning.trace_batch(rays, count, hits);
        else if (side == plain_calls)
            m_plain.trace_single(rays, count, hits);
        else if (side == owning)
            m_owning.trace_single<true>(rays, count, hits);
        else
            m_without_context->trace_single<false>(rays, count, hits);
    }

    const SidesQuestion& m_question;
    SideScene m_scene;
    PlainSide<Tree> m_plain;
    OwningSide m_owning;
    /// With a tree of its own, which is as cold as the others when its turn comes.
    std::unique_ptr<OwningSide> m_without_context;
    std::vector<Finds> m_finds;
    /// Seconds of each piece by each side.
    std::vector<std::array<double, side_count>> m_least;
};

template <typename Tree>
void run_race(benchmark::State& state, Workload& workload, const SidesQuestion& question) {
    Race<Tree> race(workload, question);
    for (auto _ : state)
        race.run();
    if (!race.do_sides_agree())
        state.SkipWithError("the sides find different hits");
    const double plain = race.get_seconds(plain_calls);
    state.counters["plain_ns/ray"] = 1e9 * plain;
    state.counters["owning_ns/ray"] = 1e9 * race.get_seconds(owning);
    state.counters["ratio"] = race.get_seconds(owning) / plain;
    if (!question.in_batches)
        state.counters["ratio_without_context"] = race.get_seconds(owning_without_context) / plain;
}

} // namespace

void register_owning(const Workloads& workloads) {
    register_questions<GasTree>(workloads, sides_questions, run_race<GasTree>);
    register_questions<GasCompressedTree>(workloads, sides_questions, run_race<GasCompressedTree>);
    register_questions<GasGridTree>(workloads, sides_questions, run_race<GasGridTree>);
}

} // namespace gas_bench
