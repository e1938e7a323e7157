// Collections of texts. Tested by address_book_source_test.cc.
#include "addressbook/text_collection.h"

#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::addressbook {

std::size_t TextCollection::Checked(std::int32_t index) const {
  if (index < 1 || index > Count()) automation::Raise(automation::kErrSubscript);
  return static_cast<std::size_t>(index) - 1;
}

void TextCollection::Remove(std::int32_t Index) {
  texts_.erase(texts_.begin() + static_cast<std::ptrdiff_t>(Checked(Index)));
}

automation::Ref<automation::Enumerator> TextCollection::NewEnum() const {
  return automation::MakeObject<automation::Enumerator>(
      std::vector<automation::Value>(texts_.begin(), texts_.end()));
}

const automation::MemberTable& TextCollection::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("Add", &TextCollection::Add, {"Item"})
          .Get("Count", &TextCollection::Count)
          .Method("Remove", &TextCollection::Remove, {"Index"})
          .Default("Item", &TextCollection::Item, {"Index"})
          .Enumerator("NewEnum", &TextCollection::NewEnum);
  return table;
}

std::vector<std::string> TextsOf(const automation::Ref<automation::Object>& collection) {
  std::vector<std::string> texts;
  const std::int32_t count = automation::GetProperty(collection, "Count").ToI4();
  for (std::int32_t i = 1; i <= count; ++i) {
    texts.push_back(automation::CallMember(collection, "Item", {automation::Value(i)}).ToText());
  }
  return texts;
}

}  // namespace pv::addressbook
