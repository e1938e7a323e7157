// Entries that refer to one another by nickname, as Pine and Eudora keep them.
#ifndef PV_PROVIDERS_CONVERTER_READERS_NICKNAMES_H_
#define PV_PROVIDERS_CONVERTER_READERS_NICKNAMES_H_

#include <string_view>

#include "providers/converter/model/book.h"
#include "pvgroupman/automation/text_key.h"

namespace pv::converter {

// What the nicknames of a book stand for. The first entry with a nickname has it.
class Nicknames {
 public:
  void Add(std::string_view nickname, Member target) {
    if (!nickname.empty()) targets_.emplace(nickname, std::move(target));
  }

  // The entry of that nickname, letter case ignored; null when there is none.
  const Member* Find(std::string_view nickname) const {
    const auto found = targets_.find(nickname);
    return found != targets_.end() ? &found->second : nullptr;
  }

 private:
  automation::TextKeyMap<Member> targets_;
};

// The member that an item of a list stands for: a nickname, else an address with or without a name.
Member MemberFromItem(std::string_view item, const Nicknames& nicknames);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_NICKNAMES_H_
