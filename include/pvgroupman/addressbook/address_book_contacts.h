// The cursor over the contacts of an address book.
#ifndef PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_CONTACTS_H_
#define PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_CONTACTS_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pvgroupman/addressbook/ab_fields.h"
#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"
#include "pvgroupman/tablestore/fields.h"

namespace pv::addressbook {

class CAddressBookSource;
class ConverterLink;

// Walks and searches the contacts that a saved source selects, in the order of the address book,
// as tablestore::Recipients walks a table. It reads through the class "Cardweave.Converter" and
// changes nothing.
//
//   while (!cursor->IsEof()) { ...cursor->GetFields()->Find("Email")...; cursor->MoveNext(); }
//
// Contacts are selected once, by CreateInst: with categories or distribution lists chosen in the
// source those that have one of the categories or are members of one of the lists, else all.
// Positions count from 1; 0 is before the first contact and RecordCount + 1 behind the last.
//
// Each field is read from the address book when its value is first asked for; texts of properties
// that have several are joined with "; ". The field "Categories", the last one, holds the
// contact's categories as an array of texts. What is empty in the book is Empty.
class PV_API AddressBookContacts : public automation::Object {
 public:
  static constexpr const char* kClassName = "AddressBookContacts";

  // A cursor without contacts.
  AddressBookContacts();

  // The values of the current contact, all Empty when there is none. The object is the same all
  // the cursor's life unless the host sets another, which the cursor fills from then on.
  automation::Ref<tablestore::Fields> GetFields();
  void SetFields(const automation::Ref<tablestore::Fields>& NewValue);

  // Opens the address book of a saved source and selects its contacts; the cursor is then before
  // the first one. Returns true. A cursor can be bound once; after an error it can be bound again.
  // Errors: 1234 with a text that says what is wrong; 429 without a converter; the converter's own.
  bool CreateInst(const std::string& sId);

  // There is no table: 0.
  std::int32_t GetTableHandle() const { return 0; }

  // Address books are not written: these do nothing and return Empty, Empty and false.
  automation::Value AddNew() { return {}; }
  automation::Value Update() { return {}; }
  bool Delete() { return false; }

  // Moves to the first contact and returns true; false, staying where it was, when there is none.
  bool MoveFirst();

  // Moves to the next contact that matches "FIELD=VALUE" (any field of the record; "Email" when
  // none is named), letter case and blanks around it ignored, quotes ' and # around the value left
  // out. The search begins at the first contact, or behind the current one when `lSkipRows` is
  // not 0; with a negative `lSearchDirection` at the last, or before the current one, going back.
  // `vStart` is not used. Returns true; when nothing matches Empty, and the cursor is at the end.
  automation::Value Find(const std::string& sCriteria,
                         const std::optional<std::int32_t>& lSkipRows = std::nullopt,
                         const std::optional<std::int32_t>& lSearchDirection = std::nullopt,
                         const std::optional<automation::Value>& vStart = std::nullopt);

  // Moves to the first contact whose address is `sValue`, as Find compares; false, and the cursor
  // at the end, when there is none. `sIndex` is not used.
  bool SeekFirst(const std::string& sValue, const std::string& sIndex);

  // Moves `NumRecords` contacts on (back when negative) and returns true; false, staying where it
  // was, when there is no such contact.
  bool Move(std::int32_t& NumRecords);

  // Moves to the next contact; false, and IsEof, behind the last.
  bool MoveNext();

  // Moves to the previous contact; false, and IsBof, before the first.
  bool MovePrev();

  // Moves to the last contact and returns true; false, staying where it was, when there is none.
  automation::Value MoveLast();

  // Member BOF: true on the first contact already. Member EOF: before the first contact or behind
  // the last.
  bool IsBof() const { return current_ == 0 || current_ == 1; }
  bool IsEof() const;

  // Number of contacts.
  std::int32_t GetRecordCount() const { return count_; }

  // Position of the cursor, from 1; 0 before the first contact.
  std::int32_t GetRecordNo() const;

  // Does nothing and returns false: the address book is let go with the cursor.
  bool CloseTable() { return false; }

  // For doors, not for hosts. The columns of the record but "Categories", and the categories met
  // among the contacts that were looked at for the columns.
  const automation::Ref<ABFields>& columns() const { return columns_; }
  const std::vector<std::string>& sampled_categories() const { return sampled_categories_; }

  // Why the last move did not read its contact: the converter's words, "" when there was simply no
  // contact to read. A walk that ends with MoveNext has seen every contact only if this is "".
  const std::string& read_error() const { return read_error_; }

  // What the converter left out of the address book because it was damaged; for people.
  std::vector<std::string> Warnings() const;

  const automation::MemberTable& Members() const override;

 private:
  class Record;
  class Selection;

  ~AddressBookContacts() override;

  bool HasFormat(const std::string& code) const;
  void Bind(const std::string& id);
  void GetAddressBookCount();
  void GetAddressBookFields();
  automation::Ref<automation::Object> ContactAt(std::int32_t position) const;
  void ClearRecordBuffer();
  bool ReadRecordBuffer(std::int64_t record_no);
  // Clears the buffer, goes to a position and reads it.
  bool MoveTo(std::int64_t position);
  // The same; where the cursor was when that fails.
  bool MoveToOrStay(std::int64_t position);
  // Moves to the next contact that matches; behind the last one when none does.
  bool Search(const std::string& field, const std::string& value, bool from_current, bool back);

  std::unique_ptr<ConverterLink> converter_;
  automation::Ref<CAddressBookSource> source_;
  std::int32_t current_ = 0;
  std::int32_t count_ = 0;
  std::unique_ptr<Selection> selection_;
  automation::Ref<ABFields> columns_;  // of the address book that is open
  std::vector<std::string> sampled_categories_;
  automation::Ref<tablestore::Fields> fields_;
  std::unique_ptr<Record> record_;
  std::string read_error_;
};

}  // namespace pv::addressbook

#endif  // PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_CONTACTS_H_
