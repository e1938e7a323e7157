// The keyed collection that stands behind every public collection class.
#ifndef PVGROUPMAN_AUTOMATION_COLLECTION_H_
#define PVGROUPMAN_AUTOMATION_COLLECTION_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/text_key.h"
#include "pvgroupman/automation/value.h"

namespace pv::automation {

// Objects in the order in which they were added, each under a key of its own; keys that differ in
// letter case only are the same key. Finding by key or position takes constant time.
//
// An index is a Value: text is a key, any number a 1-based position (fractions rounded). Errors:
// 5 no item with the key, 9 no item at the position, 13 any other subtype.
class PV_API KeyedCollection {
 public:
  KeyedCollection();
  ~KeyedCollection();
  KeyedCollection(KeyedCollection&&) noexcept;
  KeyedCollection& operator=(KeyedCollection&&) noexcept;

  // Appends `item`; error 457, changing nothing, when the key is taken.
  void Add(std::string_view key, Ref<Object> item);

  // Number of items.
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(order_.size()); }

  // The item at an index.
  const Ref<Object>& Item(const Value& index) const;

  // The item at an index, or null where Item would throw.
  const Ref<Object>* TryItem(const Value& index) const noexcept;

  // The item at a 0-based position, which must be below Count().
  const Ref<Object>& At(std::int32_t position) const {
    return order_[static_cast<std::size_t>(position)]->item;
  }

  // The item with a key, or null. Allocates nothing.
  const Ref<Object>* Find(std::string_view key) const noexcept;

  // Removes the item at an index; the positions after it move down by one.
  void Delete(const Value& index);

  // Removes every item.
  void Clear() noexcept;

  // An enumerator over the items as they are now.
  Ref<Enumerator> NewEnum() const;

 private:
  struct Entry {
    Ref<Object> item;
    const std::string* key = nullptr;  // owned by by_key_
  };
  std::size_t PositionOf(const Value& index) const;

  std::vector<std::unique_ptr<Entry>> order_;
  TextKeyMap<Entry*> by_key_;
};

// Base of a public collection of T that follows the common pattern: Count, Delete, Item and
// NewEnum here, Add in the class itself.
template <typename T>
class CollectionOf : public Object {
 public:
  // Number of items.
  std::int32_t Count() const { return items_.Count(); }

  // Removes one item, by 1-based position or by key; errors 5, 9 and 13 of KeyedCollection.
  void Delete(const Value& Index) { items_.Delete(Index); }

  // One item, by 1-based position or by key; errors 5, 9 and 13 of KeyedCollection.
  Ref<T> Item(const Value& Index) const { return Typed(items_.Item(Index)); }

  // The items in the order in which they were added.
  Ref<Enumerator> NewEnum() const { return items_.NewEnum(); }

 protected:
  // Like Item, but an empty reference for a key or position that is not there.
  Ref<T> ItemOrNone(const Value& index) const {
    const Ref<Object>* item = items_.TryItem(index);
    return item != nullptr ? Typed(*item) : Ref<T>();
  }

  static Ref<T> Typed(const Ref<Object>& item) { return Ref<T>(static_cast<T*>(item.get())); }

  KeyedCollection items_;
};

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_COLLECTION_H_
