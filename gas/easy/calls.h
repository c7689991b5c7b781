// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include <gas/easy/values.h>

// How a query, which is compiled once, calls the function that a program gives it.

namespace gas {
inline namespace gas_abi1 {
namespace detail {

/// A function of the program's, by its address, that is called for items or places. It outlives the
/// query.
template <typename Where, typename Result> struct RayCall {
    void* function;
    Result (*call)(void* function, Where where, const Ray& ray, std::size_t index);
};

using DistanceCall = RayCall<std::uint32_t, double>;
using StopCall = RayCall<std::uint32_t, bool>;
using PlaceDistanceCall = RayCall<const Place&, double>;
using PlaceStopCall = RayCall<const Place&, bool>;

struct PointCall {
    void* function;
    double (*call)(void* function, std::uint32_t item, const Vector& point, double bound);
};

/// A function is no object, and its address another kind of pointer.
template <typename Function> void* get_address(Function& function) {
    if constexpr (std::is_function_v<Function>)
        return reinterpret_cast<void*>(&function);
    else
        return const_cast<void*>(static_cast<const void*>(&function));
}
template <typename Function> Function& get_function(void* address) {
    if constexpr (std::is_function_v<Function>)
        return *reinterpret_cast<Function*>(address);
    else
        return *static_cast<Function*>(address);
}

/// With the ray's number in its batch, where the function takes one.
template <typename Where, typename Function>
decltype(auto) call_for_ray(void* address, Where where, const Ray& ray, std::size_t index) {
    Function& function = get_function<Function>(address);
    constexpr bool takes_index = std::is_invocable_v<Function&, Where, const Ray&, std::size_t>;
    static_assert(takes_index || std::is_invocable_v<Function&, Where, const Ray&>,
                  "the function takes (std::uint32_t item, const gas::Ray& ray), of a scene (const "
                  "gas::Place& place, const gas::Ray& ray), and if it likes std::size_t index");
    if constexpr (takes_index)
        return function(where, ray, index);
    else
        return function(where, ray);
}

template <typename Where, typename Function>
using Answer = decltype(call_for_ray<Where, Function>(nullptr, std::declval<Where>(),
                                                      std::declval<const Ray&>(), 0));

template <typename Where, typename Function>
RayCall<Where, double> make_distance_call(Function& function) {
    static_assert(std::is_floating_point_v<Answer<Where, Function>>,
                  "the function of a closest hit answers a distance, a double, or gas::miss");
    return {
        get_address(function), [](void* address, Where where, const Ray& ray, std::size_t index) {
            return static_cast<double>(call_for_ray<Where, Function>(address, where, ray, index));
        }};
}

/// A distance stops the ray if it counts, true always, and nothing never.
template <typename Where, typename Function>
RayCall<Where, bool> make_stop_call(Function& function) {
    return {
        get_address(function), [](void* address, Where where, const Ray& ray, std::size_t index) {
            using Result = Answer<Where, Function>;
            if constexpr (std::is_floating_point_v<Result>) {
                return ray.holds(
                    static_cast<double>(call_for_ray<Where, Function>(address, where, ray, index)));
            } else if constexpr (std::is_void_v<Result>) {
                call_for_ray<Where, Function>(address, where, ray, index);
                return false;
            } else {
                static_assert(std::is_same_v<Result, bool>,
                              "the function answers a distance, whether it is a hit, or void");
                return call_for_ray<Where, Function>(address, where, ray, index);
            }
        }};
}

template <typename Where, typename F> void expect_no_answer() {
    static_assert(std::is_void_v<Answer<Where, std::remove_reference_t<F>>>,
                  "the function of all hits answers nothing; any_hit stops at a hit");
}

template <typename Function> DistanceCall get_distance_call(Function& function) {
    return make_distance_call<std::uint32_t>(function);
}
template <typename Function> StopCall get_stop_call(Function& function) {
    return make_stop_call<std::uint32_t>(function);
}
template <typename Function> PlaceDistanceCall get_place_distance_call(Function& function) {
    return make_distance_call<const Place&>(function);
}
template <typename Function> PlaceStopCall get_place_stop_call(Function& function) {
    return make_stop_call<const Place&>(function);
}

template <typename Function> PointCall get_point_call(Function& function) {
    constexpr bool takes_bound =
        std::is_invocable_v<Function&, std::uint32_t, const Vector&, double>;
    static_assert(takes_bound || std::is_invocable_v<Function&, std::uint32_t, const Vector&>,
                  "the function takes (std::uint32_t item, const gas::Vector& point), and if it "
                  "likes double bound");
    return {get_address(function),
            [](void* address, std::uint32_t item, const Vector& point, double bound) {
                Function& called = get_function<Function>(address);
                const auto measure = [&] {
                    if constexpr (takes_bound)
                        return called(item, point, bound);
                    else
                        return called(item, point);
                };
                static_assert(std::is_floating_point_v<decltype(measure())>,
                              "the function of a closest point answers a distance, a double");
                return static_cast<double>(measure());
            }};
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
