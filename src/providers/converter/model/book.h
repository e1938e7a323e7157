// An address book that has been opened: what every reader of a format implements.
#ifndef PV_PROVIDERS_CONVERTER_MODEL_BOOK_H_
#define PV_PROVIDERS_CONVERTER_MODEL_BOOK_H_

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/status.h"
#include "providers/converter/model/contact.h"
#include "providers/converter/model/wanted.h"

namespace pv::converter {

// A member of a distribution list.
struct Member {
  enum class Kind : std::uint8_t {
    kContact,  // the contact at `position`
    kList,     // the list at `position`
    kAddress,  // whoever has the address, or else the address itself
  };
  Kind kind = Kind::kAddress;
  std::uint32_t position = 0;
  std::string address;
  std::string name;

  static Member OfContact(std::uint32_t position) { return {Kind::kContact, position, {}, {}}; }
  static Member OfList(std::uint32_t position) { return {Kind::kList, position, {}, {}}; }
  static Member OfAddress(std::string address, std::string name) {
    return {Kind::kAddress, 0, std::move(address), std::move(name)};
  }
};

struct DistributionList {
  std::string name;
  std::string nickname;
  std::string description;
  std::vector<Member> members;
};

// What was wrong with parts of an address book that could be read all the same. Bounded, however
// damaged the book is; for people.
class Notes {
 public:
  static constexpr std::size_t kMost = 100;

  // A note that is there already is not added again: contacts may be read more than once.
  void Add(std::string note) {
    if (std::find(texts_.begin(), texts_.end(), note) != texts_.end()) return;
    ++count_;
    if (texts_.size() < kMost) texts_.push_back(std::move(note));
  }
  void Append(const Notes& other) {
    for (const std::string& text : other.texts_) Add(text);
    count_ += other.count_ - other.texts_.size();
  }

  // The first notes, and a last one that counts those left out.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts = texts_;
    if (count_ > texts_.size()) {
      texts.push_back("and " + std::to_string(count_ - texts_.size()) + " more");
    }
    return texts;
  }
  bool empty() const { return count_ == 0; }

 private:
  std::vector<std::string> texts_;
  std::size_t count_ = 0;
};

// One address book, read in place. Contacts have positions from 0 in the order of the book; they
// stay the same as long as the book is open. Memory is bounded by the size of what is read, for
// books of many contacts by a few bytes a contact.
class Book {
 public:
  virtual ~Book() = default;

  // Number of contacts that the book itself holds.
  virtual std::uint32_t count() const = 0;

  // Reads the contact at a position below count() into `contact`, which is cleared first. Reading
  // the positions in order is linear. Fails when the file cannot be read any more, or was changed
  // so that the contact is not where it was.
  Status Read(std::uint32_t position, Contact* contact) {
    return ReadSome(position, Wanted::Everything(), contact);
  }

  // The same; what is not wanted may be left out, and what that leads to be wrong.
  virtual Status ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) = 0;

  // The distribution lists, in the order of the book. Members may lead anywhere: back to their own
  // list, too.
  const std::vector<DistributionList>& lists() const { return lists_; }

  const Notes& notes() const { return notes_; }

 protected:
  std::vector<DistributionList> lists_;
  Notes notes_;
};

// A book whose contacts were all read when it was opened: the formats of which a book is a small
// file.
class LoadedBook : public Book {
 public:
  std::uint32_t count() const override { return static_cast<std::uint32_t>(contacts_.size()); }
  Status ReadSome(std::uint32_t position, const Wanted&, Contact* contact) override {
    *contact = contacts_[position];
    return Status::Ok();
  }

 protected:
  std::vector<Contact> contacts_;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_MODEL_BOOK_H_
