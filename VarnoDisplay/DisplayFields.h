#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <vector>

// How the parts of a DisplayState name their fields. Each has a function template
//
//   template <class Visit, class... Self>
//   static void walk(Visit& visit, Self&... self) {
//     visit("isVisible", self.isVisible...);
//   }
//
// which walks one of them, or two at a time to compare them.

namespace varno {

// A visitor that does nothing, to ask whether a type has fields.
struct DisplayFieldsProbe {
  template <class... Value>
  void operator()(std::string_view /*name*/, const Value&... /*values*/) {}
};

// A part of the state that consists of named fields.
template <class Type>
concept DisplayRecord = requires(const Type& record, DisplayFieldsProbe& visit) {
  Type::walk(visit, record);
};

namespace detail {

// A visitor that compares.
struct SameDisplayFields {
  bool isSame = true;

  template <class Value>
  void operator()(std::string_view /*name*/, const Value& left, const Value& right) {
    if constexpr (std::same_as<Value, float>) {
      // By the bits: a NaN is the same as itself.
      isSame = isSame && std::bit_cast<std::uint32_t>(left) == std::bit_cast<std::uint32_t>(right);
    } else {
      isSame = isSame && left == right;
    }
  }
};

}  // namespace detail

// Whether all fields are the same, floats by their bits.
template <DisplayRecord Record>
bool operator==(const Record& left, const Record& right) {
  detail::SameDisplayFields visit;
  Record::walk(visit, left, right);
  return visit.isSame;
}

}  // namespace varno
