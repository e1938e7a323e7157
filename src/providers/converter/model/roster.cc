// Members of distribution lists. Tested by roster_test.cc.
//
// Only the members as they are written are kept, never the sums of nested lists: those may be
// much larger than the book. Who is in what is found by walking the nesting, each list once.
#include "providers/converter/model/roster.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

#include "base/text.h"
#include "pvgroupman/automation/text_key.h"

namespace pv::converter {
namespace {

constexpr std::uint32_t kUnknown = UINT32_MAX;

}  // namespace

Result<std::unique_ptr<Roster>> Roster::Make(std::unique_ptr<Book> book) {
  std::unique_ptr<Roster> roster(new Roster(std::move(book)));
  PV_RETURN_IF_ERROR(roster->Connect());
  return roster;
}

void Roster::SortOut(std::vector<Pair>* pairs) {
  std::sort(pairs->begin(), pairs->end());
  pairs->erase(std::unique(pairs->begin(), pairs->end()), pairs->end());
}

Status Roster::Connect() {
  // Addresses that lists name, and the contacts that have them.
  automation::TextKeyMap<std::uint32_t> wanted;
  for (const DistributionList& list : lists()) {
    for (const Member& member : list.members) {
      if (member.kind == Member::Kind::kAddress && !member.address.empty()) {
        wanted.emplace(member.address, kUnknown);
      }
    }
  }
  if (!wanted.empty()) {
    std::size_t open = wanted.size();
    Contact contact;
    Wanted addresses;
    addresses.Add(kEmail);
    for (std::uint32_t position = 0; position < own_count() && open > 0; ++position) {
      PV_RETURN_IF_ERROR(book_->ReadSome(position, addresses, &contact));
      for (std::size_t i = 0; i < contact.address_count(); ++i) {
        const auto found = wanted.find(contact.AddressAt(i));
        if (found == wanted.end() || found->second != kUnknown) continue;
        found->second = position;
        --open;
      }
    }
  }
  // Members without an address are told apart by their names.
  automation::TextKeyMap<std::uint32_t> by_name;
  for (std::uint32_t number = 0; number < lists().size(); ++number) {
    for (const Member& member : lists()[number].members) {
      std::uint32_t position = member.position;
      if (member.kind == Member::Kind::kList) {
        if (position < lists().size() && position != number) {
          inner_lists_.push_back({number, position});
        }
        continue;
      }
      if (member.kind == Member::Kind::kContact) {
        if (position >= own_count()) continue;
      } else {
        if (member.address.empty() && TrimBlanks(member.name).empty()) continue;
        std::uint32_t& place = member.address.empty()
                                   ? by_name.emplace(member.name, kUnknown).first->second
                                   : wanted.find(member.address)->second;
        if (place == kUnknown) {
          place = count();
          loose_.push_back({member.address, member.name});
        }
        position = place;
      }
      contacts_of_list_.push_back({number, position});
    }
  }
  SortOut(&contacts_of_list_);
  SortOut(&inner_lists_);
  const auto turned = [](const std::vector<Pair>& pairs) {
    std::vector<Pair> result;
    result.reserve(pairs.size());
    for (const Pair& pair : pairs) result.push_back({pair.to, pair.from});
    std::sort(result.begin(), result.end());
    return result;
  };
  lists_of_contact_ = turned(contacts_of_list_);
  outer_lists_ = turned(inner_lists_);
  return Status::Ok();
}

Status Roster::ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) {
  if (position < own_count()) return book_->ReadSome(position, wanted, contact);
  const Loose& loose = loose_[position - own_count()];
  contact->Clear();
  contact->AddText(kDisplayName, loose.name.empty() ? loose.address : loose.name);
  contact->AddAddress(loose.address);
  contact->Finish();
  return Status::Ok();
}

namespace {

template <typename Pair>
std::span<const Pair> From(const std::vector<Pair>& pairs, std::uint32_t from) {
  const auto first = std::lower_bound(pairs.begin(), pairs.end(), Pair{from, 0});
  auto last = first;
  while (last != pairs.end() && last->from == from) ++last;
  return {first, last};
}

}  // namespace

std::vector<std::uint32_t> Roster::Reach(const std::vector<Pair>& pairs,
                                         std::vector<std::uint32_t> level) {
  std::vector<std::uint32_t> reached = level;
  for (int depth = 0; depth < kDeepest && !level.empty(); ++depth) {
    std::vector<std::uint32_t> next;
    for (const std::uint32_t from : level) {
      for (const Pair& pair : From(pairs, from)) next.push_back(pair.to);
    }
    std::sort(next.begin(), next.end());
    next.erase(std::unique(next.begin(), next.end()), next.end());
    std::vector<std::uint32_t> fresh;
    std::set_difference(next.begin(), next.end(), reached.begin(), reached.end(),
                        std::back_inserter(fresh));
    std::vector<std::uint32_t> all;
    std::merge(reached.begin(), reached.end(), fresh.begin(), fresh.end(), std::back_inserter(all));
    reached = std::move(all);
    level = std::move(fresh);
  }
  return reached;
}

std::vector<std::uint32_t> Roster::ListsOf(std::uint32_t position) const {
  std::vector<std::uint32_t> direct;
  for (const Pair& pair : From(lists_of_contact_, position)) direct.push_back(pair.to);
  return Reach(outer_lists_, std::move(direct));
}

std::vector<std::uint32_t> Roster::ContactsOf(std::uint32_t list) const {
  std::vector<std::uint32_t> result;
  for (const std::uint32_t reached : Reach(inner_lists_, {list})) {
    for (const Pair& pair : From(contacts_of_list_, reached)) result.push_back(pair.to);
  }
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

}  // namespace pv::converter
