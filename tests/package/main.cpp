#include <cstdio>

#include <gas/object/gas_object.h>
#include <gas/tree/gas_tree.h>

namespace {

// Calls the front of item i's box a hit: the boxes below start at z = i.
void hit_front(void*, const unsigned& item, const CtxEval&, CtxShader&, GeometryRaytraceCtx& ctx) {
    for (int ray = ctx.get_first_ray(); ray <= ctx.get_last_ray(); ++ray)
        ctx.record_nearest_hit(static_cast<unsigned>(ray), 10.0 + item, item);
}

void ignore(void*, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {}

} // namespace

// Succeeds when a ray towards three boxes in a row finds the first of them.
int main() {
    const GMathBbox3<float> bboxes[] = {
        {{-1.0f, -1.0f, 0.0f}, {1.0f, 1.0f, 0.5f}},
        {{-1.0f, -1.0f, 1.0f}, {1.0f, 1.0f, 1.5f}},
        {{-1.0f, -1.0f, 2.0f}, {1.0f, 1.0f, 2.5f}},
    };
    GasTree tree;
    tree.set_leaf_raytrace_callbacks(ignore, hit_front, nullptr);
    tree.create(bboxes, 3, nullptr, nullptr, 1.0f);

    GeometryRayBatch batch(1);
    batch.set_ray(0, {0.0, 0.0, -10.0}, {0.0, 0.0, 1.0}, 0.0, 100.0);
    CtxEval eval;
    CtxShader shader;
    GasObject::create_ctx(shader);
    tree.ray_hit_nearest_static(eval, shader, batch.get_ctx(), false);
    GasObject::destroy_ctx(shader);

    std::printf("hit item %u at %g\n", batch.get_item(0), batch.get_hit_distance(0));
    return batch.is_hit(0) && batch.get_item(0) == 0 && batch.get_hit_distance(0) == 10.0 ? 0 : 1;
}
