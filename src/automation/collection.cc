// Keyed collections. Tested by collection_test.cc.
#include "pvgroupman/automation/collection.h"

#include <algorithm>
#include <cmath>

#include "pvgroupman/automation/error.h"

namespace pv::automation {
namespace {

constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

// The 0-based position that a number means in a collection of `count`, or kNowhere.
std::size_t PositionOfNumber(double number, std::size_t count) {
  const double position = std::nearbyint(number);
  if (!(position >= 1) || position > static_cast<double>(count)) return kNowhere;
  return static_cast<std::size_t>(position) - 1;
}

// The number that an index holds; false for text and everything else.
bool NumberOf(const Value& index, double* number) {
  if (const auto* i4 = index.TryGet<std::int32_t>()) {
    *number = *i4;
  } else if (const auto* i2 = index.TryGet<std::int16_t>()) {
    *number = *i2;
  } else if (index.IsNumeric() || index.type() == ValueType::kDate) {
    *number = index.ToR8();
  } else {
    return false;
  }
  return true;
}

}  // namespace

KeyedCollection::KeyedCollection() = default;
KeyedCollection::~KeyedCollection() = default;
KeyedCollection::KeyedCollection(KeyedCollection&&) noexcept = default;
KeyedCollection& KeyedCollection::operator=(KeyedCollection&&) noexcept = default;

void KeyedCollection::Add(std::string_view key, Ref<Object> item) {
  if (Find(key) != nullptr) Raise(kErrDuplicateKey);
  order_.reserve(order_.size() + 1);
  auto entry = std::make_unique<Entry>();
  entry->item = std::move(item);
  const auto at = by_key_.emplace(std::string(key), entry.get()).first;
  entry->key = &at->first;  // stays where it is when the table grows
  order_.push_back(std::move(entry));
}

const Ref<Object>* KeyedCollection::Find(std::string_view key) const noexcept {
  const auto at = by_key_.find(key);
  return at == by_key_.end() ? nullptr : &at->second->item;
}

const Ref<Object>* KeyedCollection::TryItem(const Value& index) const noexcept {
  if (const auto* key = index.TryGet<std::string>()) return Find(*key);
  double number = 0;
  if (!NumberOf(index, &number)) return nullptr;
  const std::size_t position = PositionOfNumber(number, order_.size());
  return position == kNowhere ? nullptr : &order_[position]->item;
}

const Ref<Object>& KeyedCollection::Item(const Value& index) const {
  if (const Ref<Object>* item = TryItem(index)) return *item;
  if (index.IsText()) Raise(kErrInvalidCall);
  double number = 0;
  Raise(NumberOf(index, &number) ? kErrSubscript : kErrTypeMismatch);
}

std::size_t KeyedCollection::PositionOf(const Value& index) const {
  const Ref<Object>* item = &Item(index);
  double number = 0;
  if (NumberOf(index, &number)) return PositionOfNumber(number, order_.size());
  const auto at = std::find_if(order_.begin(), order_.end(),
                               [item](const auto& entry) { return &entry->item == item; });
  return static_cast<std::size_t>(at - order_.begin());
}

void KeyedCollection::Delete(const Value& index) {
  const std::size_t position = PositionOf(index);
  // The item goes last: its destructor may lead back into this collection.
  const std::unique_ptr<Entry> entry = std::move(order_[position]);
  order_.erase(order_.begin() + static_cast<std::ptrdiff_t>(position));
  by_key_.erase(by_key_.find(std::string_view(*entry->key)));
}

void KeyedCollection::Clear() noexcept {
  by_key_.clear();
  const auto entries = std::move(order_);
  order_.clear();
}

Ref<Enumerator> KeyedCollection::NewEnum() const {
  std::vector<Value> items;
  items.reserve(order_.size());
  for (const auto& entry : order_) items.emplace_back(entry->item);
  return MakeObject<Enumerator>(std::move(items));
}

}  // namespace pv::automation
