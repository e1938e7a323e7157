// The cursor over one open table.
#ifndef PVGROUPMAN_TABLESTORE_RECIPIENTS_H_
#define PVGROUPMAN_TABLESTORE_RECIPIENTS_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"
#include "pvgroupman/tablestore/fields.h"
#include "pvgroupman/tablestore/types.h"

namespace pv::tablestore {

// Walks, searches and edits the records of a table that a Database opened, in the order of the
// tag that was named then or in natural order. The table closes with CloseTable or with its
// Database, which must outlive the cursor's use; releasing the cursor alone does not close it.
//
//   while (!cursor->IsEof()) { ...cursor->GetFields()->Find("EMAIL")...; cursor->MoveNext(); }
//
// Every member but State and TableHandle fails with 2400, "The table is not open.", before
// CreateInst and after CloseTable. Failures of the table engine carry its own negative code, a
// key that a unique tag has already the number 20, a lock that was not obtained 50. The source of
// an error is the member's name.
//
// A positioning member (Move..., Find, SeekFirst) gives up a record that AddNew began and that
// was not written, and leaves Fields empty unless it lands on a record.
class PV_API Recipients : public automation::Object {
 public:
  static constexpr const char* kClassName = "Recipients";

  // A cursor without a table.
  Recipients();

  // The values of the current record. The object is the same all the cursor's life unless the
  // host sets another, which the cursor fills from then on.
  automation::Ref<Fields> GetFields();
  void SetFields(const automation::Ref<Fields>& NewValue);

  // Binds the cursor to a session and a table of the engine; Database does this. Returns true.
  bool CreateInst(std::int32_t pSession, std::int32_t pTable);

  // Whether the cursor has a table.
  StateConstants GetState() const;

  // The engine's handle of the table, 0 when there is none.
  std::int32_t GetTableHandle() const;

  // Begins a new record: Fields then holds every field of the table, each Empty. Nothing is
  // written before Update. Returns Empty.
  automation::Value AddNew();

  // Writes the current record: a new one after AddNew, else the fields whose value was set since
  // the record was read. A record that was marked deleted is unmarked. Returns Empty.
  //
  // Text is cut to the field's width and, outside Unicode fields, to the table's code page. Null
  // makes a field null where it accepts nulls; Null and Empty else write 0, blanks or false.
  // Errors: 20, 50; 13 and 6 for a value that cannot become the field's type; a negative code for
  // one that the field cannot hold; 91 when Fields lacks a field. Nothing is written then.
  automation::Value Update();

  // Marks the current record deleted and returns true. It stays in the file, and is still counted
  // and visited in natural order, until the table is compacted.
  bool Delete();

  // Moves to the first record and returns true; error 3, "No records found.", when there is none.
  bool MoveFirst();

  // Moves to the first record whose key in the selected tag is the value searched for, which is
  // what follows the first "=" of `sCriteria` (all of it without one), without blanks, "#" or "'"
  // around it. A nonzero `lSkipRows` looks only behind the current record. The other arguments
  // are not used. Returns true; when nothing matches, Empty, and the cursor is at the end.
  automation::Value Find(const std::string& sCriteria,
                         const std::optional<std::int32_t>& lSkipRows = std::nullopt,
                         const std::optional<std::int32_t>& lSearchDirection = std::nullopt,
                         const std::optional<automation::Value>& vStart = std::nullopt);

  // Moves to the first record whose key in the selected tag is `sValue`; false when none is.
  // `sIndex` is not used.
  bool SeekFirst(const std::string& sValue, const std::string& sIndex);

  // Moves to the record `NumRecords` places after the first (0 is the first) and returns true;
  // errors 3 "Moved past EOF", 4 "Moved before BOF.".
  bool Move(std::int32_t& NumRecords);

  // Moves to the next record; false, and IsEof, behind the last.
  bool MoveNext();

  // Moves to the previous record; false, and IsBof, before the first.
  bool MovePrev();

  // Moves to the last record and returns true; error 3, "No records found.", when there is none.
  automation::Value MoveLast();

  // Members BOF and EOF: before the first record, and behind the last. Both are true of an empty
  // table.
  bool IsBof() const;
  bool IsEof() const;

  // Number of records, those marked deleted included.
  std::int32_t GetRecordCount() const;

  // Number of the current record in the file, from 1; error -1, "No current record.".
  std::int32_t GetRecordNo() const;

  // Closes the table and returns true. Fields keeps its values.
  bool CloseTable();

  const automation::MemberTable& Members() const override;

 private:
  ~Recipients() override;

  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace pv::tablestore

#endif  // PVGROUPMAN_TABLESTORE_RECIPIENTS_H_
