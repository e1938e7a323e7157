// Which properties of a contact somebody wants to see: readers may leave out the others.
#ifndef PV_PROVIDERS_CONVERTER_MODEL_WANTED_H_
#define PV_PROVIDERS_CONVERTER_MODEL_WANTED_H_

#include <array>
#include <cstddef>

#include "providers/converter/model/property_tags.h"

namespace pv::converter {

class Wanted {
 public:
  // None yet.
  Wanted() = default;

  static Wanted Everything() {
    Wanted wanted;
    wanted.everything_ = true;
    return wanted;
  }

  // Adds a property, with those that it is made of where a reader has no other. Beyond some
  // properties everything is wanted.
  void Add(PropertyTag tag) {
    AddOne(tag);
    if (tag == kDisplayName) {
      for (const PropertyTag part : {kGivenName, kMiddleName, kSurname}) AddOne(part);
    }
    // The attributes that hold addresses are known by this one.
    if (tag == kAddressType || tag == kAllAddresses) AddOne(kEmail);
  }

  bool everything() const { return everything_; }
  bool Has(PropertyTag tag) const {
    if (everything_) return true;
    for (std::size_t i = 0; i < size_; ++i) {
      if (tags_[i] == tag) return true;
    }
    return false;
  }

  bool operator==(const Wanted&) const = default;

 private:
  void AddOne(PropertyTag tag) {
    if (Has(tag)) return;
    if (size_ == tags_.size()) {
      everything_ = true;
    } else {
      tags_[size_++] = tag;
    }
  }

  bool everything_ = false;
  std::size_t size_ = 0;
  std::array<PropertyTag, 12> tags_{};
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_MODEL_WANTED_H_
