#pragma once

#include <VarnoNetwork/Network/FieldVisitor.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

// The types that a field may have.

namespace varno {

// A type with a `visit` of its own in BasicFieldVisitor.
template <class Type>
concept FieldLeaf = std::same_as<Type, bool> || std::same_as<Type, std::uint8_t> ||
    std::same_as<Type, std::int16_t> || std::same_as<Type, std::int32_t> ||
    std::same_as<Type, std::int64_t> || std::same_as<Type, std::uint16_t> ||
    std::same_as<Type, std::uint32_t> || std::same_as<Type, std::uint64_t> ||
    std::same_as<Type, float> || std::same_as<Type, double> || std::same_as<Type, HudString> ||
    std::same_as<Type, StringSet>;

// An enumeration with a fixed underlying type, so that it can hold any number that a peer sends.
template <class Type>
concept FieldEnumeration = std::is_enum_v<Type> && requires {
  Type{std::underlying_type_t<Type>{}};
} && FieldLeaf<std::underlying_type_t<Type>>;

struct FieldListProbe;

// A record: a class with a type name and a list of fields.
template <class Type>
concept FieldRecord = std::default_initializable<Type> &&
    requires(Type& record, FieldListProbe& visit) {
  { Type::kTypeName } -> std::convertible_to<std::string_view>;
  Type::fields(record, visit);
};

// What a field may hold by shared pointer.
template <class Type>
concept FieldPointee = FieldRecord<Type> || std::same_as<Type, StringSet>;

namespace detail {

template <class Type>
inline constexpr bool kIsFieldType = FieldLeaf<Type> || FieldEnumeration<Type> || FieldRecord<Type>;
template <class Pointee>
inline constexpr bool kIsFieldType<std::shared_ptr<Pointee>> = FieldPointee<Pointee>;
template <class Element>
inline constexpr bool kIsFieldType<std::vector<Element>> = kIsFieldType<Element>;

}  // namespace detail

template <class Type>
concept FieldType = detail::kIsFieldType<Type>;

// Stops the compilation with the list of allowed types, once for each type that is not allowed.
template <class Type>
struct RefusedFieldType {
  static_assert(FieldType<Type>,
                "a field is a bool, std::uint8_t, std::int16_t, std::int32_t, std::int64_t, "
                "std::uint16_t, std::uint32_t, std::uint64_t, float, double, HudString, StringSet, "
                "an enumeration with one of these integers as its fixed underlying type, a record "
                "(kTypeName and fields), a shared_ptr of a record or StringSet, or a vector of any "
                "of these");
};

}  // namespace varno
