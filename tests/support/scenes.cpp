// SPDX-License-Identifier: Apache-2.0
#include <tests/support/scenes.h>

#include <utility>

#include <tests/support/seeded_random.h>

namespace scenes {

namespace {

using naive::Box;
using support::SeededRandom;

constexpr float chain_start = 0x1p126f;
constexpr float sheet_reach = 3e38f;

struct Point {
    float at[3];
};

Point random_point(SeededRandom& random, float low, float high) {
    Point point;
    for (float& coordinate : point.at) {
        coordinate = random.between(low, high);
    }
    return point;
}

Box around(const Point& centre, const Point& half_size) {
    Box box;
    for (unsigned axis = 0; axis < 3; ++axis) {
        box.min[axis] = centre.at[axis] - half_size.at[axis];
        box.max[axis] = centre.at[axis] + half_size.at[axis];
    }
    return box;
}

void shuffle(std::vector<Box>& boxes, SeededRandom& random) {
    for (unsigned i = static_cast<unsigned>(boxes.size()); i > 1; --i) {
        std::swap(boxes[i - 1], boxes[random.below(i)]);
    }
}

/// Mixed sizes: most boxes are much smaller than the largest.
std::vector<Box> spread(unsigned count, SeededRandom& random, float reach, float largest) {
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        const Point centre = random_point(random, -reach, reach);
        const float share = random.uniform();
        boxes.push_back(around(centre, random_point(random, 0.0f, largest * share * share)));
    }
    return boxes;
}

std::vector<Box> clustered(unsigned count, SeededRandom& random) {
    std::vector<Point> middles;
    for (unsigned i = 0; i < 1 + count / 20; ++i) {
        middles.push_back(random_point(random, -1000.0f, 1000.0f));
    }
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        Point centre = middles[random.below(static_cast<unsigned>(middles.size()))];
        const Point offset = random_point(random, -1.0f, 1.0f);
        for (unsigned axis = 0; axis < 3; ++axis) {
            centre.at[axis] += offset.at[axis];
        }
        boxes.push_back(around(centre, random_point(random, 0.0f, 0.125f)));
    }
    return boxes;
}

std::vector<Box> flat(unsigned count, SeededRandom& random) {
    const unsigned axis = random.below(3);
    std::vector<Box> boxes = spread(count, random, 50.0f, 4.0f);
    for (Box& box : boxes) {
        box.min[axis] = 3.5f;
        box.max[axis] = 3.5f;
    }
    return boxes;
}

std::vector<Box> collinear(unsigned count, SeededRandom& random) {
    const unsigned axis = random.below(3);
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        Point centre = {{2.0f, -1.0f, 0.5f}};
        centre.at[axis] = static_cast<float>(random.below(count));
        const float half_size = 0.25f * static_cast<float>(1 + random.below(4));
        boxes.push_back(around(centre, {{half_size, half_size, half_size}}));
    }
    return boxes;
}

std::vector<Box> coincident(unsigned count, SeededRandom& random) {
    const bool concentric = random.below(2) == 1;
    const Point centre = concentric ? Point{{0.0f, 0.0f, 0.0f}} : random_point(random, -9.0f, 9.0f);
    Point half_size = random_point(random, 0.5f, 2.0f);
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        if (concentric) {
            half_size = random_point(random, 0.5f, 2.0f);
        }
        boxes.push_back(around(centre, half_size));
    }
    return boxes;
}

std::vector<Box> grid(unsigned count, SeededRandom& random) {
    unsigned side = 1;
    while (side * side * side < count) {
        ++side;
    }
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        const float x = static_cast<float>(i % side);
        const float y = static_cast<float>(i / side % side);
        const float z = static_cast<float>(i / side / side);
        boxes.push_back({{x, y, z}, {x + 1.0f, y + 1.0f, z + 1.0f}});
    }
    shuffle(boxes, random);
    return boxes;
}

std::vector<Box> nested(unsigned count, SeededRandom& random) {
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        const float size = static_cast<float>(i + 1);
        boxes.push_back({{0.0f, 0.0f, 0.0f}, {size, 2.0f * size, 0.5f * size}});
    }
    shuffle(boxes, random);
    return boxes;
}

std::vector<Box> diagonal(unsigned count, SeededRandom& random) {
    float sign[3];
    for (float& axis_sign : sign) {
        axis_sign = random.below(2) == 1 ? -1.0f : 1.0f;
    }
    const float half_size = 0.25f * static_cast<float>(1 + random.below(4));
    std::vector<Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        const float step = static_cast<float>(i);
        const Point centre = {{sign[0] * step, sign[1] * step, sign[2] * step}};
        boxes.push_back(around(centre, {{half_size, half_size, half_size}}));
    }
    shuffle(boxes, random);
    return boxes;
}

float random_ratio(SeededRandom& random) { return random.below(2) == 1 ? 0.5f : 0.9375f; }

} // namespace

const char* name(Kind kind) {
    switch (kind) {
    case Kind::random:
        return "random";
    case Kind::clustered:
        return "clustered";
    case Kind::flat:
        return "flat";
    case Kind::collinear:
        return "collinear";
    case Kind::coincident:
        return "coincident";
    case Kind::huge:
        return "huge";
    case Kind::tiny:
        return "tiny";
    case Kind::grid:
        return "grid";
    case Kind::nested:
        return "nested";
    case Kind::diagonal:
        return "diagonal";
    case Kind::geometric_chain:
        return "geometric_chain";
    case Kind::sheet:
        return "sheet";
    }
    return "";
}

const std::vector<Kind>& all_kinds() {
    static const std::vector<Kind> kinds = {
        Kind::random,
        Kind::clustered,
        Kind::flat,
        Kind::collinear,
        Kind::coincident,
        Kind::huge,
        Kind::tiny,
        Kind::grid,
        Kind::nested,
        Kind::diagonal,
        Kind::geometric_chain,
        Kind::sheet,
    };
    return kinds;
}

std::vector<naive::Box> make(Kind kind, unsigned count, std::uint64_t seed) {
    SeededRandom random(seed);
    switch (kind) {
    case Kind::random:
        return spread(count, random, 50.0f, 8.0f);
    case Kind::clustered:
        return clustered(count, random);
    case Kind::flat:
        return flat(count, random);
    case Kind::collinear:
        return collinear(count, random);
    case Kind::coincident:
        return coincident(count, random);
    case Kind::huge:
        return spread(count, random, 1e30f, 1e29f);
    case Kind::tiny:
        return spread(count, random, 1e-12f, 1e-13f);
    case Kind::grid:
        return grid(count, random);
    case Kind::nested:
        return nested(count, random);
    case Kind::diagonal:
        return diagonal(count, random);
    case Kind::geometric_chain: {
        const float ratio = random_ratio(random);
        const unsigned axis = random.below(3);
        std::vector<Box> boxes = geometric_chain(count, ratio, axis);
        shuffle(boxes, random);
        return boxes;
    }
    case Kind::sheet: {
        std::vector<Box> boxes = sheet(count, random_ratio(random));
        shuffle(boxes, random);
        return boxes;
    }
    }
    return {};
}

std::vector<naive::Box> geometric_chain(unsigned count, float ratio, unsigned axis) {
    std::vector<Box> boxes;
    float high = chain_start;
    for (unsigned i = 0; i < count; ++i) {
        const float low = high * ratio;
        Box box = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
        box.min[axis] = low;
        box.max[axis] = high;
        boxes.push_back(box);
        high = low;
    }
    return boxes;
}

std::vector<naive::Box> sheet(unsigned count, float ratio) {
    std::vector<Box> boxes;
    float y = chain_start;
    for (unsigned i = 0; i < count; ++i) {
        boxes.push_back({{-sheet_reach, y, 0.0f}, {sheet_reach, y, 0.0f}});
        y = y * ratio;
    }
    return boxes;
}

} // namespace scenes
