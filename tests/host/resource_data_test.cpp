// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include <gas/host/host.h>

namespace {

// Overrides every operation and notes which one was called.
class Recorder : public ResourceData {
  public:
    explicit Recorder(std::string& calls) : m_calls(&calls) {}
    ~Recorder() override { *m_calls += "destroy "; }

    std::size_t get_memory_size() const override {
        *m_calls += "size ";
        return 1;
    }
    const CoreClassInfo& get_class_info() const override {
        *m_calls += "class ";
        return ResourceData::get_class_info();
    }
    Core128BitHashKey get_hash_key() const override {
        *m_calls += "key ";
        return {1, 2};
    }
    bool is_serializable() const override {
        *m_calls += "serializable ";
        return true;
    }
    void* serialize(std::size_t& size) const override {
        *m_calls += "serialize ";
        size = 3;
        return nullptr;
    }
    bool deserialize(void*, const std::size_t& size) override {
        *m_calls += "deserialize ";
        return size == 3;
    }

  private:
    std::string* m_calls;
};

void count_call(void* user, EventObject& sender) {
    EXPECT_NE(sender.get_custom_data(), user);
    ++*static_cast<int*>(user);
}

} // namespace

TEST(ResourceData, ABareResourceHasNothingToTell) {
    ResourceData data;
    EXPECT_EQ(data.get_memory_size(), sizeof(ResourceData));
    EXPECT_STREQ(data.get_class_info().get_name(), "ResourceData");
    EXPECT_TRUE(data.get_hash_key().is_null());
    EXPECT_FALSE(data.is_serializable());
    std::size_t size = 5;
    EXPECT_EQ(data.serialize(size), nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_FALSE(data.deserialize(nullptr, size));
}

TEST(ResourceData, OperationsAreVirtualThroughTheBase) {
    std::string calls;
    CoreBaseType* root = nullptr;
    {
        auto* recorder = new Recorder(calls);
        ResourceData& data = *recorder;
        root = recorder;
        std::size_t size = 0;
        data.get_memory_size();
        data.get_class_info();
        data.get_hash_key();
        data.is_serializable();
        data.serialize(size);
        EXPECT_TRUE(data.deserialize(nullptr, size));
    }
    delete root;
    EXPECT_EQ(calls, "size class key serializable serialize deserialize destroy ");
}

TEST(CoreBaseObject, CopiesAreOtherObjects) {
    ResourceData data;
    data.set_object_id(7);
    const ResourceData copy(data);
    EXPECT_EQ(copy.get_object_id(), 0u);

    ResourceData assigned;
    assigned.set_object_id(3);
    assigned = data;
    EXPECT_EQ(assigned.get_object_id(), 3u);
}

TEST(CoreCustomData, ThePointerTravelsWithCopies) {
    int value = 0;
    ResourceData data;
    EXPECT_EQ(data.get_custom_data(), nullptr);
    data.set_custom_data(&value);
    const ResourceData copy(data);
    EXPECT_EQ(copy.get_custom_data(), &value);
    ResourceData assigned;
    assigned = data;
    EXPECT_EQ(assigned.get_custom_data(), &value);
}

TEST(EventObject, TellsItsListenerAndCopiesDoNot) {
    int calls = 0;
    ResourceData data;
    data.notify_changed();
    data.set_listener(count_call, &calls);
    data.notify_changed();
    EXPECT_EQ(calls, 1);

    ResourceData copy(data);
    copy.notify_changed();
    EXPECT_EQ(calls, 1);

    ResourceData listening;
    int others = 0;
    listening.set_listener(count_call, &others);
    listening = data;
    listening.notify_changed();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(others, 1);

    data.set_listener(nullptr, nullptr);
    data.notify_changed();
    EXPECT_EQ(calls, 1);
}

TEST(CoreClassInfo, ClassesAreComparedByIdentity) {
    const CoreClassInfo one("Same");
    const CoreClassInfo other("Same");
    EXPECT_TRUE(one == one);
    EXPECT_TRUE(one != other);
    EXPECT_TRUE(ResourceData().get_class_info() == ResourceData().get_class_info());
}

TEST(Core128BitHashKey, ComparesBothHalves) {
    const Core128BitHashKey key = {1, 2};
    EXPECT_TRUE(key == (Core128BitHashKey{1, 2}));
    EXPECT_TRUE(key != (Core128BitHashKey{1, 3}));
    EXPECT_TRUE(key != (Core128BitHashKey{2, 2}));
    EXPECT_FALSE(key.is_null());
    EXPECT_FALSE((Core128BitHashKey{0, 1}).is_null());
    EXPECT_TRUE(Core128BitHashKey().is_null());
}
