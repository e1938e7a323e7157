// ADODB.Recordset: the rows of a query or table.
//
// A recordset walks its rows forwards in blocks, in constant memory. Two cursors can be had:
// forward-only, and static for every other type that is asked for. A static one on the server side
// begins as a walk too, and takes all rows into memory only when the host moves backwards or by
// position; on the client side it does so at once.
#ifndef PV_PROVIDERS_ADODB_RECORDSET_H_
#define PV_PROVIDERS_ADODB_RECORDSET_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "providers/adodb/block_reader.h"
#include "providers/adodb/connection.h"
#include "providers/adodb/criteria.h"
#include "providers/adodb/fields.h"
#include "providers/adodb/table_editor.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

class Recordset : public automation::Object, public FieldSource, public SessionUser {
 public:
  static constexpr const char* kClassName = "Recordset";
  Recordset();
  ~Recordset() override;

  // Opening and closing (recordset.cc).
  void Open(const std::optional<automation::Value>& Source,
            const std::optional<automation::Value>& ActiveConnection,
            const std::optional<std::int32_t>& CursorType,
            const std::optional<std::int32_t>& LockType,
            const std::optional<std::int32_t>& Options);
  void Close();
  void Requery(const std::optional<std::int32_t>& Options);
  // Opens it on a connection; gives the number of rows that a statement without a result changed.
  std::int64_t OpenOn(const automation::Ref<Connection>& connection, const std::string& source,
                      std::int32_t cursor_type, std::int32_t lock_type, std::int32_t options,
                      const char* label);
  std::int32_t GetState() const { return open_ ? kStateOpen : kStateClosed; }
  automation::Value GetSource() const { return source_; }
  void SetSource(const automation::Value& value);
  automation::Value GetActiveConnection() const { return automation::Value(connection_); }
  void SetActiveConnection(const automation::Value& value);
  void SetActiveConnectionObject(const automation::Ref<automation::Object>& value);
  // What was asked for while it is closed, what was obtained while it is open.
  std::int32_t GetCursorType() const { return open_ ? cursor_obtained_ : cursor_type_; }
  void SetCursorType(std::int32_t value);
  std::int32_t GetLockType() const { return open_ ? lock_obtained_ : lock_type_; }
  void SetLockType(std::int32_t value);
  std::int32_t GetCursorLocation() const { return cursor_location_; }
  void SetCursorLocation(std::int32_t value);
  automation::Ref<Fields> GetFields() { return fields_; }

  // Moving (recordset_moves.cc).
  bool GetBof() const;
  bool GetEof() const;
  void MoveFirst();
  void MoveLast();
  void MoveNext();
  void MovePrevious();
  void Move(std::int32_t NumRecords, const std::optional<automation::Value>& Start);
  std::int32_t GetRecordCount() const;
  std::int32_t GetAbsolutePosition() const;
  void SetAbsolutePosition(std::int32_t value);
  automation::Value GetBookmark();
  void SetBookmark(const automation::Value& value);
  void Find(const std::string& Criteria, const std::optional<std::int32_t>& SkipRecords,
            const std::optional<std::int32_t>& SearchDirection,
            const std::optional<automation::Value>& Start);
  automation::Value GetFilter() const { return filter_text_; }
  void SetFilter(const automation::Value& value);
  std::string GetSort() const { return sort_text_; }
  void SetSort(const std::string& value);
  // An array of records, one a row.
  automation::Value GetRows(const std::optional<std::int32_t>& Rows,
                            const std::optional<automation::Value>& Start,
                            const std::optional<automation::Value>& Fields);

  // Editing (recordset_edit.cc).
  // With fields and values the row is written at once, as ADO does; lists are arrays of texts, or a
  // single name or position with its value.
  void AddNew(const std::optional<automation::Value>& FieldList = std::nullopt,
              const std::optional<automation::Value>& Values = std::nullopt);
  void Update();
  void CancelUpdate();
  void Delete(const std::optional<std::int32_t>& AffectRecords);
  void UpdateBatch(const std::optional<std::int32_t>& AffectRecords);
  void CancelBatch(const std::optional<std::int32_t>& AffectRecords);
  std::int32_t GetEditMode() const { return edit_mode_; }

  const automation::MemberTable& Members() const override;

  // FieldSource and SessionUser.
  automation::Value FieldValue(std::size_t column) override;
  void SetFieldValue(std::size_t column, const automation::Value& value) override;
  void OnSessionClosing() override;

 private:
  enum class Place : std::uint8_t { kBof, kRow, kEof };
  enum : std::int32_t { kEditNone = 0, kEditInProgress = 1, kEditAdd = 2 };

  void RequireOpen(const char* source) const;
  void RequireClosed(const char* source) const;
  void RequireRow(const char* source) const;
  void CheckStatus(const Status& status, const char* source);
  void LetGo();

  // Runs the query again and stands on its first row.
  void Start(const char* source);
  Result<std::unique_ptr<BlockReader>> Execute(bool describe);
  // Reads on to the next row that the filter admits.
  void Advance(const char* source);
  bool Admitted();
  // Takes every row into memory; the current row stays the same.
  void Materialise(const char* source);
  void RequireScrolling(const char* source);
  void TakeAllRows(const char* source);
  void ArrangeRows();
  void FinishEdit(const char* source);
  void LeaveRow();
  automation::Value Underlying(std::size_t column);
  Row CurrentRow();
  void KeepWritten(const Change& change);
  void RequireEditor(const char* source) const;

  // What the host set.
  automation::Value source_{""};
  automation::Ref<Connection> connection_;
  std::int32_t cursor_type_ = kForwardOnly;
  std::int32_t lock_type_ = kReadOnly;
  std::int32_t cursor_location_ = kUseServer;
  bool own_location_ = false;

  // While it is open.
  bool open_ = false;
  std::shared_ptr<Session> session_;
  std::string sql_;
  std::string table_;  // quoted; empty when a statement was opened
  std::int32_t cursor_obtained_ = kForwardOnly;
  std::int32_t lock_obtained_ = kReadOnly;
  std::vector<Column> columns_;
  automation::Ref<Fields> fields_;
  std::unique_ptr<TableEditor> editor_;

  Place place_ = Place::kEof;
  bool empty_ = true;     // no row was found from the first on
  bool deleted_ = false;  // the current row
  automation::Value filter_text_{0};
  std::optional<Criteria> filter_;
  std::string sort_text_;
  std::vector<SortKey> sort_;

  // As a walk.
  std::unique_ptr<BlockReader> reader_;
  bool at_first_ = false;     // nothing was read behind the first row
  std::int64_t ordinal_ = 0;  // of the current row, from 1
  std::int64_t count_ = -1;   // once the end was seen
  Change written_;            // values of the current row that were written since it was read
  bool added_ = false;        // the current row is a new one, all of it in `written_`
  Place before_added_ = Place::kEof;

  // In memory.
  bool in_memory_ = false;
  std::vector<Row> rows_;
  std::vector<std::size_t> shown_;  // rows in the order in which they are walked
  std::size_t position_ = 0;        // in `shown_`

  std::int32_t edit_mode_ = kEditNone;
  Change change_;
  std::vector<Change> batch_;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_RECORDSET_H_
