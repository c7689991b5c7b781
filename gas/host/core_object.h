// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

inline namespace gas_abi1 {

/// Names a class at run time.
class CoreClassInfo {
  public:
    constexpr explicit CoreClassInfo(const char* name) : m_name(name) {}

    constexpr const char* get_name() const { return m_name; }
    bool operator==(const CoreClassInfo& other) const { return this == &other; }
    bool operator!=(const CoreClassInfo& other) const { return this != &other; }

  private:
    const char* m_name;
};

/// A 128-bit key that stands for a resource's content; all zero: no key.
struct Core128BitHashKey {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    bool is_null() const { return low == 0 && high == 0; }
    bool operator==(const Core128BitHashKey& other) const {
        return low == other.low && high == other.high;
    }
    bool operator!=(const Core128BitHashKey& other) const { return !(*this == other); }
};

/// Root of the host's class chain; its virtual destructor is the chain's first virtual slot.
class CoreBaseType {
  public:
    virtual ~CoreBaseType() = default;

  protected:
    CoreBaseType() = default;
    CoreBaseType(const CoreBaseType&) = default;
    CoreBaseType& operator=(const CoreBaseType&) = default;
};

/// An object with an identity: a number that its owner may set. A copy is another object and
/// starts without one.
class CoreBaseObject : public CoreBaseType {
  public:
    unsigned get_object_id() const { return m_object_id; }
    void set_object_id(unsigned id) { m_object_id = id; }

  protected:
    CoreBaseObject() = default;
    CoreBaseObject(const CoreBaseObject& other) : CoreBaseType(other) {}
    CoreBaseObject& operator=(const CoreBaseObject&) { return *this; }

  private:
    unsigned m_object_id = 0;
};

/// Carries one pointer for its owner's use; the pointer is copied with it and never followed.
class CoreCustomData : public CoreBaseObject {
  public:
    void* get_custom_data() const { return m_custom_data; }
    void set_custom_data(void* data) { m_custom_data = data; }

  protected:
    CoreCustomData() = default;
    CoreCustomData(const CoreCustomData&) = default;
    CoreCustomData& operator=(const CoreCustomData&) = default;

  private:
    void* m_custom_data = nullptr;
};

/// Calls one listener when its owner reports a change. Listeners belong to the object and are not
/// copied with it.
class EventObject : public CoreCustomData {
  public:
    using Listener = void (*)(void* user, EventObject& sender);

    /// Replaces the listener; null removes it.
    void set_listener(Listener listener, void* user) {
        m_listener = listener;
        m_listener_user = user;
    }

    void notify_changed() {
        if (m_listener)
            m_listener(m_listener_user, *this);
    }

  protected:
    EventObject() = default;
    EventObject(const EventObject& other) : CoreCustomData(other) {}
    EventObject& operator=(const EventObject& other) {
        CoreCustomData::operator=(other);
        return *this;
    }

  private:
    Listener m_listener = nullptr;
    void* m_listener_user = nullptr;
};

} // namespace gas_abi1
