// Objects and references to them: what every public class is.
//
// An object lives in the apartment (the thread) that made it. Its reference count is a plain
// integer, so neither the object nor a Ref to it may be used by two threads.
#ifndef PVGROUPMAN_AUTOMATION_OBJECT_H_
#define PVGROUPMAN_AUTOMATION_OBJECT_H_

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/error.h"

namespace pv::automation {

class MemberTable;
class Value;
struct Call;

// Throws error 91, "Object variable or With block variable not set".
[[noreturn]] PV_API void RaiseObjectNotSet();

// Base of all automation objects. Made with MakeObject, which holds the first reference; the
// object dies with its last one.
class PV_API Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  // Counts one more holder. Ref does this; only the doors call it by hand.
  void AddRef() const noexcept { ++references_; }

  // Counts one holder less and deletes the object after the last.
  void Release() const noexcept {
    if (--references_ == 0) delete this;
  }

  // How many hold the object.
  std::int32_t reference_count() const noexcept { return references_; }

  // The members of the object's class, in interface order.
  virtual const MemberTable& Members() const = 0;

  // Late-bound access. The default looks in Members(); an object that stands for a foreign one
  // forwards both. The dispatch id of a member, letter case ignored; kNoSuchId when there is none.
  virtual std::int32_t IdOfName(std::string_view name) const;

  // Carries out one late-bound call (call.h); throws Error only.
  virtual Value Dispatch(std::int32_t id, Call& call);

  // What a door has made for its callers to hold this object by, or null: so that they are given
  // the same again. The door takes it away when they are done.
  void* door() const noexcept { return door_; }
  void set_door(void* made) const noexcept { door_ = made; }

  // What IdOfName answers for an unknown name.
  static constexpr std::int32_t kNoSuchId = -1;

 protected:
  Object() = default;
  virtual ~Object() = default;

 private:
  mutable std::int32_t references_ = 1;
  mutable void* door_ = nullptr;
};

// A counted reference, or none. Using an empty one throws error 91 as automation does.
template <typename T>
class Ref {
 public:
  // No object.
  Ref() noexcept = default;
  Ref(std::nullptr_t) noexcept {}  // NOLINT: implicit

  // One more holder of `object`, which may be null.
  explicit Ref(T* object) noexcept : object_(object) {
    if (object_ != nullptr) object_->AddRef();
  }

  // Takes over a reference that the caller holds already.
  static Ref Adopt(T* object) noexcept {
    Ref ref;
    ref.object_ = object;
    return ref;
  }

  Ref(const Ref& other) noexcept : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

  // A reference to a derived class is one to its base.
  template <typename U>
  requires std::derived_from<U, T> Ref(const Ref<U>& other)
  noexcept : Ref(static_cast<T*>(other.get())) {}  // NOLINT: implicit

  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  ~Ref() {
    if (object_ != nullptr) object_->Release();
  }

  // The object, or null; the reference keeps holding it.
  T* get() const noexcept { return object_; }

  // The object; error 91 when there is none.
  T* operator->() const { return Checked(); }
  T& operator*() const { return *Checked(); }

  // True when there is an object.
  explicit operator bool() const noexcept { return object_ != nullptr; }

  // True when both lead to the same object, or neither to any.
  bool operator==(const Ref& other) const noexcept { return object_ == other.object_; }
  bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }

 private:
  T* Checked() const {
    if (object_ == nullptr) RaiseObjectNotSet();
    return object_;
  }

  T* object_ = nullptr;
};

// Makes an object of class T and its first reference.
template <typename T, typename... Arguments>
Ref<T> MakeObject(Arguments&&... arguments) {
  return Ref<T>::Adopt(new T(std::forward<Arguments>(arguments)...));
}

// The object as one of class T; empty when it is none.
template <typename T, typename U>
Ref<T> Cast(const Ref<U>& object) {
  return Ref<T>(dynamic_cast<T*>(object.get()));
}

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_OBJECT_H_
