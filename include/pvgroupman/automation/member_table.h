// Member tables: a public class says its members once, and late-bound calls, dispatch interfaces,
// the type library and reference pages are all made from that.
//
//   const MemberTable& Groups::Members() const {
//     static const MemberTable table =
//         Class("Groups")
//             .Property("Groups", &Groups::GetGroups, &Groups::SetGroups)
//             .Method("OpenGroup", &Groups::OpenGroup, {"ID"});
//     return table;
//   }
//
// Argument and result types are deduced from the C++ member: std::optional<T> is an optional
// argument, T& one by reference, Ref<T> an object of class T (T::kClassName), an enumeration or a
// vector of records whatever EnumerationOf or RecordOf describes.
#ifndef PVGROUPMAN_AUTOMATION_MEMBER_TABLE_H_
#define PVGROUPMAN_AUTOMATION_MEMBER_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/type_description.h"
#include "pvgroupman/automation/value.h"

namespace pv::automation {

// How a member is reached; the values are those of CallKind.
enum class MemberKind : std::uint16_t { kMethod = 1, kGet = 2, kLet = 4, kSet = 8 };

// One argument of a member.
struct ArgumentDescription {
  std::string name;
  Type type;
  bool optional = false;
  bool by_reference = false;
};

// One member. A property that can be read and written is two of them under one name and id.
struct Member {
  std::string name;
  MemberKind kind = MemberKind::kMethod;
  std::int32_t id = 0;
  std::vector<ArgumentDescription> arguments;  // of a let or set, the last is the new value
  Type result;
  // Calls the C++ member. `arguments` has one Value per declared argument, Missing where an
  // optional one was left out; by-reference arguments are written back into it.
  std::function<Value(Object& object, Value* arguments)> call;
};

namespace internal {

// Throws error 13 naming what was expected.
[[noreturn]] PV_API void RaiseNotA(const char* expected);

template <typename T>
struct IsOptional : std::false_type {};
template <typename T>
struct IsOptional<std::optional<T>> : std::true_type {};
template <typename T>
struct IsRef : std::false_type {};
template <typename T>
struct IsRef<Ref<T>> : std::true_type {
  using Class = T;
};
template <typename T>
struct IsVector : std::false_type {};
template <typename T>
struct IsVector<std::vector<T>> : std::true_type {
  using Element = T;
};

// The description of C++ type T.
template <typename T>
Type TypeOf() {
  if constexpr (std::is_void_v<T>) {
    return {};
  } else if constexpr (IsOptional<T>::value) {
    return TypeOf<typename T::value_type>();
  } else if constexpr (std::is_same_v<T, Value>) {
    return {.kind = TypeKind::kVariant};
  } else if constexpr (std::is_same_v<T, bool>) {
    return {.kind = TypeKind::kBoolean};
  } else if constexpr (std::is_same_v<T, std::int16_t>) {
    return {.kind = TypeKind::kI2};
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return {.kind = TypeKind::kI4};
  } else if constexpr (std::is_same_v<T, double>) {
    return {.kind = TypeKind::kR8};
  } else if constexpr (std::is_same_v<T, Currency>) {
    return {.kind = TypeKind::kCurrency};
  } else if constexpr (std::is_same_v<T, Date>) {
    return {.kind = TypeKind::kDate};
  } else if constexpr (std::is_same_v<T, std::string>) {
    return {.kind = TypeKind::kText};
  } else if constexpr (std::is_same_v<T, Bytes>) {
    return {.kind = TypeKind::kBytes};
  } else if constexpr (std::is_enum_v<T>) {
    return {.kind = TypeKind::kEnumeration, .enumeration = &EnumerationOf<T>::Describe()};
  } else if constexpr (IsRef<T>::value) {
    using Class = typename IsRef<T>::Class;
    if constexpr (std::is_same_v<Class, Object>) {
      return {.kind = TypeKind::kObject};
    } else {
      return {.kind = TypeKind::kObject, .class_name = Class::kClassName};
    }
  } else {
    static_assert(IsVector<T>::value, "a member's type must be one that automation knows");
    using Element = typename IsVector<T>::Element;
    return {.kind = TypeKind::kRecords, .record = &RecordOf<Element>::Describe()};
  }
}

// A Value as C++ type T; throws Error.
template <typename T>
T FromValue(const Value& v) {
  if constexpr (IsOptional<T>::value) {
    if (v.IsMissing()) return std::nullopt;
    return FromValue<typename T::value_type>(v);
  } else if constexpr (std::is_same_v<T, Value>) {
    return v;
  } else if constexpr (std::is_same_v<T, bool>) {
    return v.ToBoolean();
  } else if constexpr (std::is_same_v<T, std::int16_t>) {
    return v.ToI2();
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return v.ToI4();
  } else if constexpr (std::is_same_v<T, double>) {
    return v.ToR8();
  } else if constexpr (std::is_same_v<T, Currency>) {
    return v.ToCurrency();
  } else if constexpr (std::is_same_v<T, Date>) {
    return v.ToDate();
  } else if constexpr (std::is_same_v<T, std::string>) {
    return v.ToText();
  } else if constexpr (std::is_same_v<T, Bytes>) {
    const Bytes* bytes = v.TryGet<Bytes>();
    if (bytes == nullptr) RaiseNotA("an array of bytes");
    return *bytes;
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<T>(v.ToI4());
  } else if constexpr (IsRef<T>::value) {
    using Class = typename IsRef<T>::Class;
    const Ref<Object> object = v.ToObject();
    if constexpr (std::is_same_v<Class, Object>) {
      return object;
    } else {
      Ref<Class> typed = Cast<Class>(object);
      if (object && !typed) RaiseNotA(Class::kClassName);
      return typed;
    }
  } else {
    using Element = typename IsVector<T>::Element;
    T result;
    if (v.IsEmpty()) return result;  // an array that was never given a size
    const auto* records = v.TryGet<std::shared_ptr<const Records>>();
    const RecordType& type = RecordOf<Element>::Describe();
    if (records == nullptr || *records == nullptr || (*records)->type == nullptr ||
        std::string_view((*records)->type->name) != type.name) {
      RaiseNotA(type.name);
    }
    for (const std::vector<Value>& row : (*records)->rows) {
      if (row.size() != type.fields.size()) RaiseNotA(type.name);
      result.push_back(RecordOf<Element>::FromRow(row));
    }
    return result;
  }
}

// A C++ result as a Value.
template <typename T>
Value ToValue(T&& v) {
  using Plain = std::remove_cvref_t<T>;
  if constexpr (IsOptional<Plain>::value) {
    return v ? ToValue(*std::forward<T>(v)) : Value::Missing();
  } else if constexpr (std::is_enum_v<Plain>) {
    return Value(static_cast<std::int32_t>(v));
  } else if constexpr (IsVector<Plain>::value && !std::is_same_v<Plain, Bytes>) {
    using Element = typename IsVector<Plain>::Element;
    auto records = std::make_shared<Records>();
    records->type = &RecordOf<Element>::Describe();
    for (const Element& e : v) records->rows.push_back(RecordOf<Element>::ToRow(e));
    return Value(std::shared_ptr<const Records>(std::move(records)));
  } else {
    return Value(std::forward<T>(v));
  }
}

// The parts of a pointer to member function.
template <typename F>
struct MemberFunction;
template <typename C, typename R, typename... A>
struct MemberFunction<R (C::*)(A...)> {
  using Class = C;
  using Result = std::remove_cvref_t<R>;
  using Arguments = std::tuple<A...>;
};
template <typename C, typename R, typename... A>
struct MemberFunction<R (C::*)(A...) const> : MemberFunction<R (C::*)(A...)> {};

template <typename A>
inline constexpr bool kByReference =
    std::is_lvalue_reference_v<A> && !std::is_const_v<std::remove_reference_t<A>>;

template <typename A>
ArgumentDescription DescribeArgument(const char* name) {
  using Plain = std::remove_cvref_t<A>;
  return {name, TypeOf<Plain>(), IsOptional<Plain>::value, kByReference<A>};
}

// Converts, calls and converts back.
template <typename F, std::size_t... I>
Value CallMemberFunction(F function, Object& object, Value* arguments, std::index_sequence<I...>) {
  using Parts = MemberFunction<F>;
  using Arguments = typename Parts::Arguments;
  auto& self = static_cast<typename Parts::Class&>(object);
  // Braces fix the order of evaluation: the first bad argument is the one that is reported.
  std::tuple<std::remove_cvref_t<std::tuple_element_t<I, Arguments>>...> held{
      FromValue<std::remove_cvref_t<std::tuple_element_t<I, Arguments>>>(arguments[I])...};
  const auto write_back = [&] {
    (
        [&] {
          if constexpr (kByReference<std::tuple_element_t<I, Arguments>>) {
            arguments[I] = ToValue(std::get<I>(held));
          }
        }(),
        ...);
  };
  if constexpr (std::is_void_v<typename Parts::Result>) {
    (self.*function)(static_cast<std::tuple_element_t<I, Arguments>>(std::get<I>(held))...);
    write_back();
    return {};
  } else {
    Value result = ToValue(
        (self.*function)(static_cast<std::tuple_element_t<I, Arguments>>(std::get<I>(held))...));
    write_back();
    return result;
  }
}

}  // namespace internal

// The members of one class, in interface order. Dispatch ids: 0 for the default member, -4 for
// the enumerator, and for all others 1, 2, 3... in interface order; the get, let and set of a
// property share theirs.
class PV_API MemberTable {
 public:
  explicit MemberTable(std::string class_name) : class_name_(std::move(class_name)) {}

  // A method. `names` are those of its arguments, one for each.
  template <typename F>
  MemberTable& Method(const char* name, F function, std::initializer_list<const char*> names = {}) {
    return Add<F>(name, MemberKind::kMethod, function, names);
  }

  // A property that can be read; `names` are those of its arguments, usually none.
  template <typename F>
  MemberTable& Get(const char* name, F function, std::initializer_list<const char*> names = {}) {
    return Add<F>(name, MemberKind::kGet, function, names);
  }

  // A property that can be written: by reference when the new value is an object. `names` are
  // those of the arguments before the new value, usually none.
  template <typename F>
  MemberTable& Put(const char* name, F function, std::initializer_list<const char*> names = {}) {
    using Arguments = typename internal::MemberFunction<F>::Arguments;
    constexpr std::size_t kCount = std::tuple_size_v<Arguments>;
    static_assert(kCount > 0, "a property takes its new value");
    using Plain = std::remove_cvref_t<std::tuple_element_t<kCount - 1, Arguments>>;
    std::vector<const char*> all(names);
    all.push_back("NewValue");
    return Add<F>(name, internal::IsRef<Plain>::value ? MemberKind::kSet : MemberKind::kLet,
                  function, all);
  }

  // A property that can be read and written.
  template <typename G, typename P>
  MemberTable& Property(const char* name, G get, P put,
                        std::initializer_list<const char*> names = {}) {
    return Get(name, get, names).Put(name, put, names);
  }

  // The method that is the class's default member (dispatch id 0).
  template <typename F>
  MemberTable& Default(const char* name, F function,
                       std::initializer_list<const char*> names = {}) {
    return Add<F>(name, MemberKind::kMethod, function, names, kDefaultId);
  }

  // The method that returns the enumerator (dispatch id -4).
  template <typename F>
  MemberTable& Enumerator(const char* name, F function) {
    return Add<F>(name, MemberKind::kMethod, function, {}, kEnumeratorId);
  }

  // The class's name in the type library.
  const std::string& class_name() const { return class_name_; }

  // Every member, in interface order.
  const std::vector<Member>& members() const { return members_; }

  // The dispatch id of a name, letter case ignored; Object::kNoSuchId when there is none.
  std::int32_t IdOfName(std::string_view name) const;

  // The member with an id that a caller of this kind reaches; null when there is none.
  const Member* Find(std::int32_t id, CallKind kind) const;

  // Arranges the arguments and calls the member; see call.h for the errors.
  Value Dispatch(Object& object, std::int32_t id, Call& call) const;

 private:
  template <typename F>
  MemberTable& Add(const char* name, MemberKind kind, F function,
                   const std::vector<const char*>& names,
                   std::optional<std::int32_t> id = std::nullopt) {
    using Parts = internal::MemberFunction<F>;
    constexpr std::size_t kCount = std::tuple_size_v<typename Parts::Arguments>;
    Member member;
    member.name = name;
    member.kind = kind;
    member.result = internal::TypeOf<typename Parts::Result>();
    Describe<typename Parts::Arguments>(&member, names, std::make_index_sequence<kCount>());
    member.call = [function](Object& object, Value* arguments) {
      return internal::CallMemberFunction(function, object, arguments,
                                          std::make_index_sequence<kCount>());
    };
    return Append(std::move(member), id);
  }

  template <typename Arguments, std::size_t... I>
  static void Describe(Member* member, const std::vector<const char*>& names,
                       std::index_sequence<I...>) {
    CheckNames(names.size(), sizeof...(I));
    (member->arguments.push_back(
         internal::DescribeArgument<std::tuple_element_t<I, Arguments>>(names[I])),
     ...);
  }

  // Ends the program when a table names another number of arguments than its member has.
  static void CheckNames(std::size_t named, std::size_t declared);

  MemberTable& Append(Member member, std::optional<std::int32_t> id);

  std::string class_name_;
  std::vector<Member> members_;
  std::int32_t next_id_ = 1;
};

// Begins the table of a class.
inline MemberTable Class(const char* name) { return MemberTable(name); }

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_MEMBER_TABLE_H_
