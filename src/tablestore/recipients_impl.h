// What a cursor holds; shared by recipients.cc (binding, buffer, editing) and
// recipients_moves.cc (moving and searching).
#ifndef PV_TABLESTORE_RECIPIENTS_IMPL_H_
#define PV_TABLESTORE_RECIPIENTS_IMPL_H_

#include <cstdint>
#include <memory>
#include <string>

#include "pvgroupman/tablestore/recipients.h"
#include "tablestore/engine/operations.h"
#include "tablestore/resource_strings.h"
#include "tablestore/table_record_view.h"

namespace pv::tablestore {

// Throws a session's pending error, if it is a negative code.
void RaisePendingError(engine::Handle session);

// Writes the notices of a session to the log.
void LogSessionNotices(engine::Handle session, const char* label);

class Recipients::Impl {
 public:
  // Error 2400 unless there is a session and a table.
  void RequireOpen() const;

  // What each positioning member does first.
  void BeginMove();

  // Fills Fields from the record that the engine landed on.
  void ReadRecordBuffer(bool with_values);

  // Empties Fields.
  void ClearRecordBuffer();

  // Throws the error of an engine code that no table of codes names: the engine's pending negative
  // code when there is one, else `code` itself. The description is `text`, or the engine's own
  // message when the code is negative and `engine_text` says so.
  [[noreturn]] void RaiseOther(std::int32_t code, ResourceString text, bool engine_text) const;

  // As the function below, for the cursor's session.
  void RaisePending() const { RaisePendingError(session); }

  // Writes what happened inside the engine to the log, where there is one.
  void LogNotices(const char* label) const;

  engine::Handle session = 0;
  engine::Handle table = 0;
  bool adding = false;
  automation::Ref<Fields> fields;  // made when first asked for
  std::unique_ptr<TableRecordView> view;
};

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_RECIPIENTS_IMPL_H_
