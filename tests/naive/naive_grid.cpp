#include <tests/naive/naive_grid.h>

#include <cmath>
#include <cstdint>
#include <map>

namespace naive {

namespace {

/// The low 32 bits of the number without its fraction; 0 for a number beyond 64 bits.
unsigned low_word(double number) {
    if (!(number >= -0x1p63 && number < 0x1p63))
        return 0;
    return static_cast<unsigned>(static_cast<std::uint64_t>(static_cast<std::int64_t>(number)));
}

struct Layout {
    double origin[3] = {};
    double inverse[3] = {};
    unsigned resolution[3] = {1, 1, 1};
};

Layout lay_out(const Box& scene, unsigned target) {
    Layout layout;
    double size[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        layout.origin[axis] = static_cast<double>(scene.min[axis]);
        size[axis] = static_cast<double>(scene.max[axis]) - layout.origin[axis];
    }
    const double larger_of_two = size[1] > size[2] ? size[1] : size[2];
    const double largest = size[0] > larger_of_two ? size[0] : larger_of_two;
    const double scale = 1.0 / largest;
    double share[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double relative = size[axis] * scale;
        share[axis] = relative > 0.1 ? relative : 0.1;
    }
    // Cells of about equal sides, so many that they would be the target if all were occupied.
    const double volume = (share[0] * share[1]) * share[2];
    const double cells_per_extent = std::pow(static_cast<double>(target) / volume, 1.0 / 3.0);
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!(size[axis] > 1e-8))
            continue;
        const unsigned cells = low_word(cells_per_extent * share[axis] + 0.5);
        layout.resolution[axis] = cells == 0 ? 1 : cells;
        const double cell_size = size[axis] / static_cast<double>(layout.resolution[axis]);
        // Slightly less than its inverse, so that the far end lies in the last cell.
        layout.inverse[axis] = 0.9999 / cell_size;
    }
    return layout;
}

bool is_finite(const std::array<float, 3>& point) {
    return std::isfinite(point[0]) && std::isfinite(point[1]) && std::isfinite(point[2]);
}

/// The place of a centre among all cells, occupied or not; false beyond the grid. The number of all
/// cells wraps, and places with it.
bool find_place(const Layout& layout, const std::array<float, 3>& centre, unsigned& place) {
    unsigned coordinates[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double offset = static_cast<double>(centre[axis]) - layout.origin[axis];
        coordinates[axis] = low_word(offset * layout.inverse[axis]);
        if (coordinates[axis] >= layout.resolution[axis])
            return false;
    }
    const unsigned* resolution = layout.resolution;
    const unsigned count = resolution[0] * resolution[1] * resolution[2];
    place = (coordinates[2] * resolution[1] + coordinates[1]) * resolution[0] + coordinates[0];
    place %= count == 0 ? 1 : count;
    return true;
}

} // namespace

Buckets sort_into_cells(const std::vector<Box>& boxes, unsigned target,
                        const std::vector<unsigned>& indices) {
    Buckets buckets;
    const std::vector<std::array<float, 3>> centres = box_centres(boxes);
    bool has_scene = false;
    Box scene = {};
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        if (is_finite(centres[i])) {
            scene = has_scene ? unite(scene, boxes[i]) : boxes[i];
            has_scene = true;
        }
    }
    const Layout layout = has_scene ? lay_out(scene, target) : Layout();
    for (unsigned axis = 0; axis < 3; ++axis)
        buckets.resolution[axis] = layout.resolution[axis];

    std::map<unsigned, unsigned> occupied;
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        unsigned place = 0;
        if (!is_finite(centres[i]) || !find_place(layout, centres[i], place)) {
            buckets.cells.push_back(no_cell);
            continue;
        }
        const unsigned next = static_cast<unsigned>(occupied.size());
        const auto [entry, is_new] = occupied.insert({place, next});
        const unsigned cell = entry->second;
        buckets.cells.push_back(cell);
        if (is_new) {
            buckets.boxes.push_back(boxes[i]);
            buckets.items.emplace_back();
        } else {
            buckets.boxes[cell] = unite(buckets.boxes[cell], boxes[i]);
        }
        buckets.items[cell].push_back(indices.empty() ? static_cast<unsigned>(i) : indices[i]);
    }
    return buckets;
}

std::vector<Piece> split_request(unsigned count) {
    const std::uint64_t most_pieces = count / 256;
    if (most_pieces < 2)
        return {{0, count}};
    const std::uint64_t size = (count + most_pieces - 1) / most_pieces;
    std::vector<Piece> pieces;
    for (std::uint64_t i = 0; i < most_pieces; ++i) {
        const std::uint64_t first = i * size;
        if (first >= count)
            continue;
        const std::uint64_t rest = count - first;
        pieces.push_back(
            {static_cast<unsigned>(first), static_cast<unsigned>(rest < size ? rest : size)});
    }
    return pieces;
}

std::vector<double> sample_times(const Motion& motion) {
    std::vector<double> times;
    double time = motion.first_time;
    for (unsigned sample = 0; sample < motion.sample_count; ++sample) {
        times.push_back(time);
        time += motion.time_step;
    }
    return times;
}

void build_grid(GridTree& grid, const std::vector<Box>& boxes, unsigned target, Split split,
                const std::vector<unsigned>& indices) {
    clear(grid);
    Buckets buckets = sort_into_cells(boxes, target, indices);
    for (std::vector<unsigned>& items : buckets.items)
        grid.cells.push_back({std::move(items), nullptr});
    grid.top = build(buckets.boxes, split);
    grid.split = split;
}

void clear(GridTree& grid) {
    grid.cells.clear();
    grid.top = Tree();
    grid.built.clear();
    grid.updated.clear();
}

SubTree& get_sub_tree(GridTree& grid, unsigned cell) {
    Cell& record = grid.cells[cell];
    if (!record.sub_tree) {
        std::vector<Box> boxes;
        for (const unsigned item : record.items)
            boxes.push_back(grid.source.box(item));
        record.sub_tree = std::make_unique<SubTree>();
        record.sub_tree->tree = build_compressed(boxes, grid.split, record.items);
        grid.built.push_back(cell);
    }
    return *record.sub_tree;
}

void update_motion(GridTree& grid, const Motion& motion) {
    set_sample_count(grid.top, motion.sample_count);
    for (const Cell& cell : grid.cells) {
        if (cell.sub_tree)
            cell.sub_tree->pending = true;
    }
    unsigned sample = 0;
    for (const double time : sample_times(motion)) {
        std::vector<Box> boxes;
        for (const Cell& cell : grid.cells) {
            Box box = grid.source.box_at(time, cell.items[0]);
            for (std::size_t i = 1; i < cell.items.size(); ++i)
                box = unite(box, grid.source.box_at(time, cell.items[i]));
            boxes.push_back(box);
        }
        refit_sample(grid.top, boxes, sample);
        ++sample;
    }
}

void update_sub_tree(GridTree& grid, unsigned cell, const Motion& motion) {
    const Cell& record = grid.cells[cell];
    if (!record.sub_tree || !record.sub_tree->pending)
        return;
    set_sample_count(record.sub_tree->tree, motion.sample_count);
    unsigned sample = 0;
    for (const double time : sample_times(motion)) {
        std::vector<Box> boxes;
        for (const unsigned item : record.items)
            boxes.push_back(grid.source.box_at(time, item));
        refit_sample(record.sub_tree->tree, boxes, sample);
        ++sample;
    }
    record.sub_tree->pending = false;
    grid.updated.push_back(cell);
}

} // namespace naive
