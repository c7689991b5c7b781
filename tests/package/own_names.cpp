// SPDX-License-Identifier: Apache-2.0
/// A program with names of its own that are also those of the reference host and of the plain
/// interface, for other things, and all of them in use. The owning interface is beside them in one
/// file and in one program, linked to its libraries in any way.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <gas/gas.h>

/// On a board of squares.
struct GMathVec3 {
    int column;
    int row;
    char piece;
};

/// A running mean.
struct SimdF {
    void add(double number);

    double sum = 0.0;
    unsigned count = 0;
};

class CoreString {
  public:
    explicit CoreString(const char* text);
    CoreString(const CoreString&) = delete;
    CoreString& operator=(const CoreString&) = delete;
    ~CoreString();

    bool is(const char* text) const { return std::strcmp(m_text, text) == 0; }

  private:
    char* m_text;
};

/// How a piece looks.
struct CtxShader {
    CoreString name;
    const char* color;
};

/// A game.
class AppBase {
  public:
    virtual ~AppBase();
    virtual const char* get_title() const;

    std::vector<GMathVec3> pieces;
};

/// A square.
struct GeometryRay {
    int column;
};

struct GasTree {
    const char* species;
};

int sys_free_count = 0;

void sys_free(void* memory);

void SimdF::add(double number) {
    sum += number;
    ++count;
}

CoreString::CoreString(const char* text)
    : m_text(static_cast<char*>(std::malloc(std::strlen(text) + 1))) {
    std::strcpy(m_text, text);
}

CoreString::~CoreString() { sys_free(m_text); }

AppBase::~AppBase() = default;

const char* AppBase::get_title() const { return "chess"; }

void sys_free(void* memory) {
    ++sys_free_count;
    std::free(memory);
}

namespace {

bool is_good = true;

void expect(bool holds, const char* what) {
    if (!holds)
        std::printf("not so: %s\n", what);
    is_good &= holds;
}

gas::Box get_box(const GMathVec3& square) {
    return {{static_cast<double>(square.column), static_cast<double>(square.row), 0.0},
            {square.column + 1.0, square.row + 1.0, 1.0}};
}

/// Looks down on the board; the pieces are as high as their boxes.
void find_pieces(const AppBase& game, gas::Kind kind) {
    std::vector<gas::Box> boxes;
    for (const GMathVec3& piece : game.pieces)
        boxes.push_back(get_box(piece));
    gas::Options options;
    options.kind = kind;
    const gas::Tree tree(boxes, options);
    gas::Context context;
    SimdF distances;
    unsigned lost_count = 0;
    const auto meet = [&](std::uint32_t item, const gas::Ray& ray) {
        const bool is_above =
            ray.origin.x >= boxes[item].min.x && ray.origin.x <= boxes[item].max.x &&
            ray.origin.y >= boxes[item].min.y && ray.origin.y <= boxes[item].max.y;
        return is_above ? ray.origin.z - boxes[item].max.z : gas::miss;
    };
    for (std::uint32_t item = 0; item < boxes.size(); ++item) {
        const GMathVec3& piece = game.pieces[item];
        const gas::Ray ray = {{piece.column + 0.5, piece.row + 0.5, 5.0}, {0.0, 0.0, -1.0}};
        const gas::Hit hit = tree.closest_hit(context, ray, meet);
        lost_count += hit.item != item;
        distances.add(hit.distance);
    }
    expect(lost_count == 0, "every piece is found");
    expect(distances.sum == 4.0 * distances.count, "pieces are 4 below the eye");
    expect(!tree.any_hit(gas::Ray{{-3.5, 0.5, 5.0}, {0.0, 0.0, -1.0}}, meet),
           "beside the board is nothing");
}

} // namespace

int main() {
    AppBase game;
    for (int i = 0; i < 300; ++i)
        game.pieces.push_back({3 * (i % 17), 2 * (i / 17), 'p'});
    find_pieces(game, gas::Kind::plain);
    find_pieces(game, gas::Kind::compressed);
    find_pieces(game, gas::Kind::grid);
    expect(sys_free_count == 0, "nobody else calls the program's sys_free");
    {
        const CtxShader shader = {CoreString("pawn"), "ivory"};
        expect(shader.name.is("pawn"), "strings are the program's");
    }
    expect(sys_free_count == 1, "the program's strings call the program's sys_free");
    expect(std::strcmp(game.get_title(), "chess") == 0, "the application is the program's");
    const GeometryRay file = {4};
    const GasTree oak = {"oak"};
    expect(file.column == 4 && std::strcmp(oak.species, "oak") == 0, "types are the program's");
    std::printf("%s\n", is_good ? "names do not collide" : "names collide");
    return is_good ? 0 : 1;
}
