#include "providers/converter/model/roster.h"

#include <gtest/gtest.h>

#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;
using Positions = std::vector<std::uint32_t>;

class MadeBook : public LoadedBook {
 public:
  explicit MadeBook(const Texts& addresses) {
    for (const std::string& address : addresses) {
      Contact contact;
      contact.AddAddress(address);
      contact.Finish();
      contacts_.push_back(contact);
    }
  }
  MadeBook& List(std::string name, std::vector<Member> members) {
    lists_.push_back({std::move(name), {}, {}, std::move(members)});
    return *this;
  }
};

std::unique_ptr<Roster> MakeRoster(MadeBook book) {
  return std::move(*Roster::Make(std::make_unique<MadeBook>(std::move(book))));
}

TEST(Roster, MembersWithoutAContactComeAfterTheContactsEachOnce) {
  auto roster =
      MakeRoster(MadeBook({"a@x", "b@x"})
                     .List("L", {Member::OfAddress("c@x", "Carl"), Member::OfAddress("A@X", "Ann"),
                                 Member::OfAddress("", "Nobody"), Member::OfAddress("", " ")})
                     .List("M", {Member::OfAddress("C@x", "Other"), Member::OfAddress("", "nobody"),
                                 Member::OfContact(1)}));
  EXPECT_EQ(roster->own_count(), 2U);
  EXPECT_EQ(Everybody(roster.get()), (Texts{"a@x", "b@x", "c@x", "Nobody"}));
  EXPECT_EQ(ReadContact(roster.get(), 2).Text(kDisplayName), "Carl");
  EXPECT_EQ(roster->ContactsOf(0), (Positions{0, 2, 3}));
  EXPECT_EQ(roster->ContactsOf(1), (Positions{1, 2, 3}));
  EXPECT_EQ(roster->ListsOf(2), (Positions{0, 1}));
  EXPECT_EQ(roster->ListsOf(0), Positions{0});
}

TEST(Roster, NestedListsAreFollowedOnceWhateverTheyLeadTo) {
  auto roster =
      MakeRoster(MadeBook({"a@x", "b@x"})
                     .List("ring 1", {Member::OfList(1), Member::OfContact(0), Member::OfList(0)})
                     .List("ring 2", {Member::OfList(2), Member::OfContact(0)})
                     .List("ring 3", {Member::OfList(0), Member::OfContact(1), Member::OfList(9),
                                      Member::OfContact(9)})
                     .List("outside", {Member::OfList(0)}));
  for (std::uint32_t list = 0; list < 4; ++list) {
    EXPECT_EQ(roster->ContactsOf(list), (Positions{0, 1})) << list;
  }
  EXPECT_EQ(roster->ListsOf(1), (Positions{0, 1, 2, 3}));
}

TEST(Roster, NestingIsFollowedToItsBound) {
  MadeBook book({"a@x"});
  for (std::uint32_t i = 0; i < 10'000; ++i) book.List("l", {Member::OfList(i + 1)});
  book.List("last", {Member::OfContact(0)});
  auto roster = MakeRoster(std::move(book));
  EXPECT_EQ(roster->ListsOf(0).size(), static_cast<std::size_t>(Roster::kDeepest) + 1);
  EXPECT_TRUE(roster->ContactsOf(0).empty());
  EXPECT_EQ(roster->ContactsOf(10'000 - Roster::kDeepest), Positions{0});
}

}  // namespace
}  // namespace pv::converter
