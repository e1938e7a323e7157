// The engine's current record as a cursor's Fields object shows it.
//
// The engine's record buffer is the snapshot: it changes only when the cursor moves or writes.
#ifndef PV_TABLESTORE_TABLE_RECORD_VIEW_H_
#define PV_TABLESTORE_TABLE_RECORD_VIEW_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/code_page.h"
#include "tablestore/engine/operations.h"
#include "tablestore/record_view.h"

namespace pv::tablestore {

class TableRecordView : public RecordView {
 public:
  // One field of the table.
  struct Column {
    engine::Handle field = 0;
    char letter = 0;
    std::int32_t width = 0;  // bytes
    bool nullable = true;
    std::string name;
  };

  TableRecordView(engine::Handle session, engine::Handle table, automation::Ref<Fields> fields);
  ~TableRecordView() override;

  const std::vector<Column>& columns() const { return columns_; }
  const CodePage& page() const { return *page_; }

  // As for every view; other views of the same table keep what they show.
  void Clear();

  // Error kErrUnknownType, showing nothing, when the table has a field of an unknown type and a
  // record is to be shown.
  void Show(Shows what);

  // Makes every view of the same table keep what it shows, without leaving it.
  void KeepOthers();

  // The value to be written into a column: null when Update is to leave the column alone. Error 91
  // when the host has taken the field out of Fields.
  const automation::Value* Pending(std::int32_t ordinal, bool adding) const {
    return Assigned(ordinal, adding);
  }

  // What was pending is written: from now on only new assignments are.
  void MarkWritten() { ForgetAssignments(); }

  // Every Fields object over a session, or over a table, keeps its values and is no longer
  // connected; to be called before the session ends, or the table is closed.
  static void DetachSession(engine::Handle session);
  static void DetachTable(engine::Handle table);

 private:
  void Read(std::int32_t ordinal, automation::Value* value) const override;

  engine::Handle session_;
  engine::Handle table_;
  std::shared_ptr<const CodePage> page_;
  std::vector<Column> columns_;
  char unknown_letter_ = 0;

  bool shares_table_ = false;        // another view has the same table
  TableRecordView* next_ = nullptr;  // of all views on this thread
  TableRecordView* previous_ = nullptr;
};

// Reads the value of a field of the current record into `value`, whose memory is used again; error
// kErrUnknownType for an unknown letter.
void ReadField(engine::Handle session, const TableRecordView::Column& column, const CodePage& page,
               automation::Value* value);

// Stores a value in a field of the record buffer. One that the field cannot hold leaves its code
// pending in the session; one that has no such conversion is an error 13 or 6.
void StoreField(const TableRecordView::Column& column, const automation::Value& value,
                const CodePage& page);

// Throws error kErrUnknownType for a letter that cannot be read.
[[noreturn]] void RaiseUnknownLetter(char letter);

// True for the letters that ReadField knows; StoreField knows the same.
bool IsKnownLetter(char letter);

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_TABLE_RECORD_VIEW_H_
