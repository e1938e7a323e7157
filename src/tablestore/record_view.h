// The record that a cursor stands on, as its Fields object shows it.
//
// The engine's record buffer is the snapshot: it changes only when the cursor moves or writes, and
// the view takes away what the host still holds just before that. Until then a value is decoded
// when somebody reads it, and the Field objects are used again from record to record.
#ifndef PV_TABLESTORE_RECORD_VIEW_H_
#define PV_TABLESTORE_RECORD_VIEW_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/code_page.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/text_key.h"
#include "pvgroupman/automation/value.h"
#include "pvgroupman/tablestore/fields.h"
#include "tablestore/engine/operations.h"

namespace pv::tablestore {

class RecordView {
 public:
  // One field of the table.
  struct Column {
    engine::Handle field = 0;
    char letter = 0;
    std::int32_t width = 0;  // bytes
    std::string name;
  };

  // What Fields shows.
  enum class Shows : std::uint8_t {
    kNothing,    // Count is 0
    kRecord,     // the engine's current record
    kNewRecord,  // every field, each Empty until it is set
  };

  RecordView(engine::Handle session, engine::Handle table, automation::Ref<Fields> fields);
  ~RecordView();
  RecordView(const RecordView&) = delete;
  RecordView& operator=(const RecordView&) = delete;

  const std::vector<Column>& columns() const { return columns_; }
  const CodePage& page() const { return *page_; }
  Shows shows() const { return shows_; }

  // Empties Fields; to be called before the engine's record buffer changes. Fields that the host
  // holds go on their own with the values they have.
  void Clear();

  // Shows the record that the engine landed on, or a new one. Error kErrUnknownType, showing
  // nothing, when the table has a field of an unknown type and a record is to be shown.
  void Show(Shows what);

  // Makes every view of the same table keep what it shows, without leaving it.
  void KeepOthers();

  // Fields keeps the values of this moment and is no longer connected.
  void Detach();

  // Another Fields object shows the record from the next Clear or Show on; until then it holds
  // what its maker put in.
  void SetFields(automation::Ref<Fields> fields);

  // The value to be written into a column: null when Update is to leave the column alone. Error 91
  // when the host has taken the field out of Fields.
  const automation::Value* Pending(std::int32_t ordinal, bool adding) const;

  // What was pending is written: from now on only new assignments are.
  void MarkWritten();

  // Every Fields object over a session, or over a table, keeps its values and is no longer
  // connected; to be called before the session ends, or the table is closed.
  static void DetachSession(engine::Handle session);
  static void DetachTable(engine::Handle table);

 private:
  friend class Field;
  friend class Fields;

  // For Fields and Field while they are connected.
  std::int32_t Count() const {
    return shows_ == Shows::kNothing ? 0 : static_cast<std::int32_t>(columns_.size());
  }
  std::int32_t OrdinalOf(std::string_view name) const;  // -1 when there is none
  const automation::Ref<Field>& FieldAt(std::int32_t ordinal);
  const automation::Value& ValueOf(const Field& field) const;
  void Assign(Field& field, const automation::Value& value);

  void LetGo(Field& field);
  void Keep();
  void Connect();
  void ReleaseHeld();

  engine::Handle session_;
  engine::Handle table_;
  automation::Ref<Fields> fields_;
  std::shared_ptr<const CodePage> page_;
  std::vector<Column> columns_;
  automation::TextKeyMap<std::int32_t> ordinals_;
  mutable std::size_t last_found_ = 0;  // ordinal; hosts read the same few fields again and again
  char unknown_letter_ = 0;
  Shows shows_ = Shows::kNothing;
  std::uint64_t epoch_ = 1;  // grows with each record: what was decoded or set before is void

  std::vector<automation::Ref<Field>> cache_;  // by ordinal; empty until asked for
  std::vector<std::int32_t> handed_out_;       // ordinals that the host may hold
  std::vector<bool> is_handed_out_;

  bool shares_table_ = false;   // another view has the same table
  RecordView* next_ = nullptr;  // of all views on this thread
  RecordView* previous_ = nullptr;
};

// Reads the value of a field of the current record into `value`, whose memory is used again; error
// kErrUnknownType for an unknown letter.
void ReadField(engine::Handle session, const RecordView::Column& column, const CodePage& page,
               automation::Value* value);

// Stores a value in a field of the record buffer. One that the field cannot hold leaves its code
// pending in the session; one that has no such conversion is an error 13 or 6.
void StoreField(const RecordView::Column& column, const automation::Value& value,
                const CodePage& page);

// Throws error kErrUnknownType for a letter that cannot be read.
[[noreturn]] void RaiseUnknownLetter(char letter);

// True for the letters that ReadField knows; StoreField knows the same.
bool IsKnownLetter(char letter);

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_RECORD_VIEW_H_
