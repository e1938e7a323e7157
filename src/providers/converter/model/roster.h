// The contacts of a book together with those that only its distribution lists name, and who is a
// member of which list.
#ifndef PV_PROVIDERS_CONVERTER_MODEL_ROSTER_H_
#define PV_PROVIDERS_CONVERTER_MODEL_ROSTER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/status.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

// Positions below own_count() are the book's own contacts; from there on to count() come the
// members of lists that have no contact of their own, each address once, in the order of the
// lists.
class Roster {
 public:
  // Lists that contain lists are followed this deep.
  static constexpr int kDeepest = 100;

  static Result<std::unique_ptr<Roster>> Make(std::unique_ptr<Book> book);

  std::uint32_t own_count() const { return book_->count(); }
  std::uint32_t count() const { return book_->count() + static_cast<std::uint32_t>(loose_.size()); }

  // As those of Book, for positions below count().
  Status Read(std::uint32_t position, Contact* contact) {
    return ReadSome(position, Wanted::Everything(), contact);
  }
  Status ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact);

  const std::vector<DistributionList>& lists() const { return book_->lists(); }

  // The lists, by position, that have the contact among their members or among those of a list
  // that they contain, however deep; in their own order.
  std::vector<std::uint32_t> ListsOf(std::uint32_t position) const;

  // The contacts of a list and of the lists that it contains, in order.
  std::vector<std::uint32_t> ContactsOf(std::uint32_t list) const;

  const Notes& notes() const { return book_->notes(); }

  // The properties that hosts have asked for so far, and one that they ask for now.
  const Wanted& asked() const { return asked_; }
  void Ask(PropertyTag tag) {
    if (!asked_.Has(tag)) asked_.Add(tag);
  }

  // A contact to read into; one that is given back when it is done with need not be made anew.
  std::unique_ptr<Contact> TakeContact() {
    return spare_ != nullptr ? std::move(spare_) : std::make_unique<Contact>();
  }
  void GiveBack(std::unique_ptr<Contact> contact) { spare_ = std::move(contact); }

 private:
  struct Pair {
    std::uint32_t from;
    std::uint32_t to;
    auto operator<=>(const Pair&) const = default;
  };
  struct Loose {
    std::string address;
    std::string name;
  };

  explicit Roster(std::unique_ptr<Book> book) : book_(std::move(book)) {}
  Status Connect();
  static void SortOut(std::vector<Pair>* pairs);
  // The lists of `level` (in order, each once) and all that the pairs lead to from there.
  static std::vector<std::uint32_t> Reach(const std::vector<Pair>& pairs,
                                          std::vector<std::uint32_t> level);

  std::unique_ptr<Book> book_;
  std::vector<Loose> loose_;
  std::vector<Pair> lists_of_contact_;  // from a contact to a list that names it
  std::vector<Pair> contacts_of_list_;
  std::vector<Pair> outer_lists_;  // from a list to one that contains it
  std::vector<Pair> inner_lists_;
  Wanted asked_;
  std::unique_ptr<Contact> spare_;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_MODEL_ROSTER_H_
