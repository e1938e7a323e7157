// Texts in the order in which they were added, as a host's own collections hold them.
#ifndef PV_ADDRESSBOOK_TEXT_COLLECTION_H_
#define PV_ADDRESSBOOK_TEXT_COLLECTION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::addressbook {

// Positions count from 1; error 9 for one that is not there. Texts have no keys.
class TextCollection : public automation::Object {
 public:
  static constexpr const char* kClassName = "Collection";

  void Add(const std::string& Item) { texts_.push_back(Item); }
  std::int32_t Count() const { return static_cast<std::int32_t>(texts_.size()); }
  std::string Item(std::int32_t Index) const { return texts_[Checked(Index)]; }
  void Remove(std::int32_t Index);
  automation::Ref<automation::Enumerator> NewEnum() const;

  const automation::MemberTable& Members() const override;

 private:
  std::size_t Checked(std::int32_t index) const;

  std::vector<std::string> texts_;
};

// The texts of any collection that has Count and Item, ours or a host's.
std::vector<std::string> TextsOf(const automation::Ref<automation::Object>& collection);

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_TEXT_COLLECTION_H_
