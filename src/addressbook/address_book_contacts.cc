// Binding the contacts cursor, and its moves. Tested by address_book_contacts_test.cc.
#include "pvgroupman/addressbook/address_book_contacts.h"

#include <algorithm>
#include <set>

#include "addressbook/contact_cursor.h"
#include "addressbook/errors.h"
#include "addressbook/labelled.h"
#include "addressbook/text_collection.h"
#include "base/text.h"
#include "pvgroupman/addressbook/address_book_source.h"
#include "pvgroupman/automation/member_table.h"
#include "support/trace.h"

namespace pv::addressbook {

using automation::Error;
using automation::MakeObject;
using automation::Object;
using automation::Ref;
using automation::Value;
using support::PokeTrace;
using tablestore::Fields;
using tablestore::Traced;

namespace {

constexpr const char* kCreateInst = "AddressBookContacts::CreateInst";

// The columns are those of the contacts up to the one with which this many are exceeded.
constexpr std::int32_t kSampled = 20;

void TraceNumber(const char* text, std::int32_t number) {
  PokeTrace(text + std::to_string(number));
}

// Names as they come back from a table: without the blanks that fill its fields.
std::set<std::string, std::less<>> NameSet(const std::vector<std::string>& names) {
  std::set<std::string, std::less<>> set;
  for (const std::string& name : names) set.emplace(TrimRight(name));
  return set;
}

bool AnyOf(const std::vector<std::string>& names, const std::set<std::string, std::less<>>& set) {
  return std::any_of(names.begin(), names.end(),
                     [&set](const std::string& name) { return set.contains(TrimRight(name)); });
}

}  // namespace

AddressBookContacts::AddressBookContacts()
    : source_(MakeObject<CAddressBookSource>()),
      selection_(std::make_unique<Selection>()),
      columns_(MakeObject<ABFields>()) {}

AddressBookContacts::~AddressBookContacts() = default;

Ref<Fields> AddressBookContacts::GetFields() {
  if (!fields_) fields_ = MakeObject<Fields>();
  return fields_;
}

void AddressBookContacts::SetFields(const Ref<Fields>& NewValue) {
  fields_ = NewValue;
  if (record_) record_->SetFields(GetFields());
}

bool AddressBookContacts::CreateInst(const std::string& sId) {
  return Labelled(kCreateInst, [&] {
    PokeTrace("CreateInst Start");
    if (converter_) throw Error(kErrCursor, kCreateInst, kTextInstanceExists);
    try {
      Bind(sId);
    } catch (...) {
      // The cursor can be bound again.
      converter_ = nullptr;
      selection_ = std::make_unique<Selection>();
      count_ = 0;
      throw;
    }
    return true;
  });
}

void AddressBookContacts::Bind(const std::string& id) {
  try {
    source_->OpenAddressBookSource(id);
  } catch (const Error& error) {
    // Failures of the table store keep their number and text.
    if (error.number() != kErrNoSuchSource && error.number() != kErrBlankId &&
        error.number() != kErrBadFormat) {
      throw;
    }
    throw Error(kErrCursor, kCreateInst, kTextNoSettings + id);
  }
  const std::string code = source_->GetSourceFormat();
  converter_ = std::make_unique<ConverterLink>();
  if (!HasFormat(code)) {
    PokeTrace("INVALID Format Selected: " + code);
    throw Error(kErrCursor, kCreateInst, kTextNotReadable);
  }
  PokeTrace("Valid Format Selected: " + code);
  const bool silent = source_->GetSilentMode();
  converter_->SetSource(code, source_->GetSourceLocation(), silent);
  PokeTrace(std::string("SilentMode: ") + (silent ? "On" : "Off"));
  const auto lists = static_cast<std::int32_t>(TextsOf(source_->GetDistributionLists()).size());
  TraceNumber("Distribution Lists: ", lists);
  converter_->IncludeDistributionLists(lists >= 1);
  GetAddressBookCount();
  TraceNumber("AddressBook contact count:", count_);
  GetAddressBookFields();
  record_ = std::make_unique<Record>(GetFields(), columns_);
  current_ = 0;
  read_error_.clear();
  record_->Empty();
}

bool AddressBookContacts::HasFormat(const std::string& code) const {
  const std::int32_t count = converter_->FormatCount();
  for (std::int32_t i = 0; i < count; ++i) {
    const ConverterFormat format = converter_->FormatAt(i);
    if (format.code == code && format.readable && format.installed) return true;
  }
  return false;
}

void AddressBookContacts::GetAddressBookCount() {
  Labelled("AddressBookContacts::GetAddressBookCount", [&] {
    const auto categories = NameSet(TextsOf(source_->GetCategories()));
    const auto lists = NameSet(TextsOf(source_->GetDistributionLists()));
    const std::int32_t all = converter_->Count();
    if (categories.empty() && lists.empty()) {
      selection_ = std::make_unique<Selection>(all);
    } else {
      auto chosen = std::make_unique<Selection>();
      for (std::int32_t i = 1; i <= all; ++i) {
        const Ref<Object> contact = converter_->ContactAt(i);
        if ((!categories.empty() && AnyOf(CategoriesOf(contact), categories)) ||
            (!lists.empty() && AnyOf(DistributionListsOf(contact), lists))) {
          chosen->Add(IdOf(contact));
        }
      }
      selection_ = std::move(chosen);
    }
    count_ = selection_->count();
    TraceNumber("GetAddressBookCount=", count_);
  });
}

void AddressBookContacts::GetAddressBookFields() {
  Labelled("AddressBookContacts::GetAddressBookFields", [&] {
    for (std::int32_t n = columns_->Count(); n > 0; --n) columns_->Delete(Value(n));
    sampled_categories_.clear();
    const std::int32_t sample = std::min(converter_->Count(), kSampled + 1);
    for (std::int32_t i = 1; i <= sample; ++i) {
      const Ref<Object> contact = converter_->ContactAt(i);
      for (const std::int32_t tag : TagsOf(contact)) columns_->Add(tag);
      for (const std::string& name : CategoriesOf(contact)) {
        if (std::find(sampled_categories_.begin(), sampled_categories_.end(), name) ==
            sampled_categories_.end()) {
          sampled_categories_.push_back(name);
        }
      }
    }
  });
}

std::vector<std::string> AddressBookContacts::Warnings() const {
  return converter_ ? converter_->Warnings() : std::vector<std::string>();
}

Ref<Object> AddressBookContacts::ContactAt(std::int32_t position) const {
  const Value* id = selection_->IdAt(position);
  return id != nullptr ? converter_->ContactFromId(*id) : converter_->ContactAt(position);
}

void AddressBookContacts::ClearRecordBuffer() {
  if (record_) record_->Empty();
}

bool AddressBookContacts::ReadRecordBuffer(std::int64_t record_no) {
  read_error_.clear();
  try {
    if (record_no >= 1 && record_no <= count_) {
      record_->ShowContact(ContactAt(static_cast<std::int32_t>(record_no)));
      return true;
    }
  } catch (...) {
    const Error error = automation::CurrentError();
    read_error_ = error.description();
    tablestore::LogError("ReadRecordBuffer", error);
  }
  PokeTrace("ReadRecordBuffer error: lRecordNo=" + std::to_string(record_no) +
            " mlCurrentContact=" + std::to_string(current_));
  return false;
}

bool AddressBookContacts::MoveTo(std::int64_t position) {
  ClearRecordBuffer();
  // Behind either end there is one place only.
  current_ = static_cast<std::int32_t>(
      std::clamp<std::int64_t>(position, 0, static_cast<std::int64_t>(count_) + 1));
  return ReadRecordBuffer(position);
}

bool AddressBookContacts::MoveToOrStay(std::int64_t position) {
  const std::int32_t before = current_;
  if (MoveTo(position)) return true;
  current_ = before;
  return false;
}

bool AddressBookContacts::MoveFirst() { return MoveToOrStay(1); }

bool AddressBookContacts::Move(std::int32_t& NumRecords) {
  return MoveToOrStay(std::int64_t{current_} + NumRecords);
}

bool AddressBookContacts::MoveNext() { return MoveTo(std::int64_t{current_} + 1); }

bool AddressBookContacts::MovePrev() { return MoveTo(std::int64_t{current_} - 1); }

Value AddressBookContacts::MoveLast() { return MoveToOrStay(count_); }

bool AddressBookContacts::IsEof() const {
  TraceNumber("EOF: CurrentContact = ", current_);
  TraceNumber("EOF: RecordCount = ", count_);
  return current_ == 0 || current_ > count_;
}

std::int32_t AddressBookContacts::GetRecordNo() const {
  return Traced("RecordNo", [&] { return current_; });
}

const automation::MemberTable& AddressBookContacts::Members() const {
  using Self = AddressBookContacts;
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Fields", &Self::GetFields, &Self::SetFields)
          .Method("CreateInst", &Self::CreateInst, {"sId"})
          .Get("TableHandle", &Self::GetTableHandle)
          .Method("AddNew", &Self::AddNew)
          .Method("Update", &Self::Update)
          .Method("Delete", &Self::Delete)
          .Method("MoveFirst", &Self::MoveFirst)
          .Method("Find", &Self::Find, {"sCriteria", "lSkipRows", "lSearchDirection", "vStart"})
          .Method("SeekFirst", &Self::SeekFirst, {"sValue", "sIndex"})
          .Method("Move", &Self::Move, {"NumRecords"})
          .Method("MoveNext", &Self::MoveNext)
          .Method("MovePrev", &Self::MovePrev)
          .Method("MoveLast", &Self::MoveLast)
          .Get("BOF", &Self::IsBof)
          .Get("EOF", &Self::IsEof)
          .Get("RecordCount", &Self::GetRecordCount)
          .Get("RecordNo", &Self::GetRecordNo)
          .Method("CloseTable", &Self::CloseTable);
  return table;
}

}  // namespace pv::addressbook
