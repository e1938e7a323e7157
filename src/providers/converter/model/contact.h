// One contact of an address book, as every reader gives it.
#ifndef PV_PROVIDERS_CONVERTER_MODEL_CONTACT_H_
#define PV_PROVIDERS_CONVERTER_MODEL_CONTACT_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/date.h"
#include "providers/converter/model/property_tags.h"
#include "pvgroupman/automation/text_key.h"
#include "pvgroupman/automation/value.h"

namespace pv::converter {

// Properties in the order in which they were added, each once, none empty: text (UTF-8), several
// texts, moments, bytes or numbers as the type in the tag says. Categories stand beside them.
//
// A walk reads every property of every contact and asks for few, so texts stand one behind the
// other in memory that the next contact uses again, and become values when they are asked for.
class Contact {
 public:
  std::size_t property_count() const { return properties_.size(); }
  PropertyTag TagAt(std::size_t i) const { return properties_[i].tag; }
  const std::vector<std::string>& categories() const { return categories_; }
  bool empty() const { return properties_.empty() && addresses_.empty(); }

  bool Has(PropertyTag tag) const { return Slot(tag) != nullptr; }
  // The value, or none.
  std::optional<automation::Value> Find(PropertyTag tag) const;
  // The value when it is text, else "". Valid until the contact changes.
  std::string_view Text(PropertyTag tag) const;

  void Clear();

  // Adds the property unless the contact has it or the text is empty (blanks alone count as that).
  void AddText(PropertyTag tag, std::string_view text);
  // Sets the property whether the contact has it or not.
  void PutText(PropertyTag tag, std::string_view text);
  // Adds the text as a further line of the property.
  void AddLine(PropertyTag tag, std::string_view text);
  void Add(PropertyTag tag, automation::Value value);
  // Adds the day when it is one.
  void AddDate(PropertyTag tag, const CivilDate& date);
  // Adds the moment, counted in seconds from 1970-01-01 in universal time, when it is in range.
  void AddUnixTime(PropertyTag tag, std::int64_t seconds);
  void AddCategory(std::string_view name);
  // Adds one address; the first is the contact's own, repetitions are left out.
  void AddAddress(std::string_view address);
  // Every address that was added.
  std::size_t address_count() const { return addresses_.size(); }
  std::string_view AddressAt(std::size_t i) const { return At(addresses_[i]); }
  std::vector<std::string> addresses() const;

  // Settles what follows from the rest: the addresses, their type, and the name to display when
  // only its parts are there. Every reader ends with it.
  void Finish();

 private:
  struct Place {
    std::size_t offset;
    std::size_t size;
  };
  struct Property {
    enum class Kept : std::uint8_t { kText, kLines, kValue };
    PropertyTag tag;
    Kept kept;
    Place place;  // in texts_; otherwise the offset is a position in lines_ or values_
  };
  // How contacts find what they have of very many: never more work than in proportion.
  struct Index {
    std::unordered_map<PropertyTag, std::size_t> properties;
    automation::TextKeyMap<bool> addresses;
    std::unordered_map<std::string, bool> categories;
  };

  std::string_view At(Place place) const {
    return std::string_view(texts_).substr(place.offset, place.size);
  }
  std::string_view TextOf(const Property& property) const;
  Place Keep(std::string_view text);
  const Property* Slot(PropertyTag tag) const;
  void Append(PropertyTag tag, Property::Kept kept, Place place);
  Index& Large();

  // An index where there is need of one; a copy has one of its own.
  class IndexSlot {
   public:
    IndexSlot() = default;
    IndexSlot(const IndexSlot& other)
        : index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr) {}
    IndexSlot(IndexSlot&&) noexcept = default;
    IndexSlot& operator=(IndexSlot other) noexcept {
      index_ = std::move(other.index_);
      return *this;
    }
    ~IndexSlot() = default;
    std::unique_ptr<Index>& operator*() { return index_; }
    const std::unique_ptr<Index>& operator*() const { return index_; }

   private:
    std::unique_ptr<Index> index_;
  };

  std::vector<Property> properties_;
  std::string texts_;
  std::vector<std::string> lines_;
  std::vector<automation::Value> values_;
  std::vector<std::string> categories_;
  std::vector<Place> addresses_;
  IndexSlot index_;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_MODEL_CONTACT_H_
