// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <gas/object/gas_object.h>

// The order of the virtual operations is part of the interface. Objects here are used the way a
// renderer built separately uses them: through the table of their operations, by slot number, under
// the common C++ ABI, which gives a destructor two slots.
#ifdef __GXX_ABI_VERSION

namespace {

std::vector<std::string> called;

const CoreClassInfo slotted_info("SlottedObject");

class SlottedObject : public GasObject {
  public:
    ~SlottedObject() override { called.push_back("destructor"); }

    std::size_t get_memory_size() const override {
        called.push_back("get_memory_size");
        return 123;
    }
    const CoreClassInfo& get_class_info() const override {
        called.push_back("get_class_info");
        return slotted_info;
    }
    Core128BitHashKey get_hash_key() const override {
        called.push_back("get_hash_key");
        return {11, 22};
    }
    bool is_serializable() const override {
        called.push_back("is_serializable");
        return true;
    }
    void* serialize(std::size_t& size) const override {
        called.push_back("serialize");
        size = 45;
        return nullptr;
    }
    bool deserialize(void*, const std::size_t& size) override {
        called.push_back("deserialize");
        return size == 45;
    }
    GMathBbox3<double> get_bbox() const override {
        called.push_back("get_bbox");
        return {{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}};
    }
};

/// The operation in slot `slot` of the object's table, as a function of the object.
template <typename Function> Function get_slot(const GasObject& object, unsigned slot) {
    const Function* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    return table[slot];
}

using Names = std::vector<std::string>;

TEST(GasObjectSlots, OperationsStandInTheirOrder) {
    called.clear();
    SlottedObject object;
    GasObject* base = &object;
    std::size_t size = 0;

    EXPECT_EQ(get_slot<std::size_t (*)(const GasObject*)>(object, 2)(base), 123u);
    EXPECT_EQ(&get_slot<const CoreClassInfo& (*)(const GasObject*)>(object, 3)(base),
              &slotted_info);
    EXPECT_EQ(get_slot<Core128BitHashKey (*)(const GasObject*)>(object, 4)(base),
              (Core128BitHashKey{11, 22}));
    EXPECT_TRUE(get_slot<bool (*)(const GasObject*)>(object, 5)(base));
    EXPECT_EQ(get_slot<void* (*)(const GasObject*, std::size_t&)>(object, 6)(base, size), nullptr);
    EXPECT_EQ(size, 45u);
    EXPECT_TRUE(
        (get_slot<bool (*)(GasObject*, void*, const std::size_t&)>(object, 7)(base, &size, size)));
    EXPECT_EQ(get_slot<GMathBbox3<double> (*)(const GasObject*)>(object, 8)(base),
              (GMathBbox3<double>{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}));
    EXPECT_EQ(called, (Names{"get_memory_size", "get_class_info", "get_hash_key", "is_serializable",
                             "serialize", "deserialize", "get_bbox"}));
}

TEST(GasObjectSlots, TheDestructorComesFirst) {
    called.clear();
    alignas(SlottedObject) unsigned char room[sizeof(SlottedObject)];
    GasObject* in_place = new (room) SlottedObject;
    get_slot<void (*)(GasObject*)>(*in_place, 0)(in_place);
    EXPECT_EQ(called, Names{"destructor"});

    called.clear();
    GasObject* on_the_heap = new SlottedObject;
    get_slot<void (*)(GasObject*)>(*on_the_heap, 1)(on_the_heap);
    EXPECT_EQ(called, Names{"destructor"});
}

TEST(GasObjectSlots, TheBasesShareTheAddressOfTheObject) {
    SlottedObject object;
    const void* address = &object;
    EXPECT_EQ(static_cast<GasObject*>(&object), address);
    EXPECT_EQ(static_cast<ResourceData*>(&object), address);
    EXPECT_EQ(static_cast<EventObject*>(&object), address);
    EXPECT_EQ(static_cast<CoreCustomData*>(&object), address);
    EXPECT_EQ(static_cast<CoreBaseObject*>(&object), address);
    EXPECT_EQ(static_cast<CoreBaseType*>(&object), address);
}

} // namespace

#endif
