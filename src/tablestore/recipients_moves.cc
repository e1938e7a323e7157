// The cursor's moving and searching. Tested by recipients_move_test.cc.
#include "base/text.h"
#include "pvgroupman/tablestore/recipients.h"
#include "tablestore/recipients_impl.h"
#include "tablestore/traced.h"

namespace pv::tablestore {
namespace {

using automation::Error;
using automation::Value;

// The codes that every positioning member raises alike.
void RaiseCommon(std::int32_t code) {
  if (code == engine::kUniqueKey) throw Error(code, {}, Text(kTextDuplicateKey));
  if (code == engine::kLocked) throw Error(code, {}, Text(kTextRecordLocked));
}

// Takes one character off each end where it stands there.
std::string_view WithoutQuote(std::string_view text, char quote) {
  if (!text.empty() && text.front() == quote) text.remove_prefix(1);
  if (!text.empty() && text.back() == quote) text.remove_suffix(1);
  return text;
}

std::string_view SearchValue(std::string_view criteria) {
  if (const std::size_t at = criteria.find('='); at != std::string_view::npos) {
    criteria = TrimBlanks(criteria.substr(at + 1));
  }
  return WithoutQuote(WithoutQuote(criteria, '#'), '\'');
}

}  // namespace

bool Recipients::MoveFirst() {
  return Traced("MoveFirst", [&] {
    impl_->BeginMove();
    const std::int32_t code = engine::d4top(impl_->table);
    impl_->LogNotices("MoveFirst");
    if (code == engine::kEndOfFile) throw Error(code, {}, Text(kTextNoRecords));
    RaiseCommon(code);
    if (code != engine::kSuccess) impl_->RaiseOther(code, kTextMoveFirstFailed, false);
    impl_->ReadRecordBuffer(true);
    return true;
  });
}

bool Recipients::Move(std::int32_t& NumRecords) {
  return Traced("Move", [&] {
    impl_->BeginMove();
    std::int32_t code = engine::d4top(impl_->table);
    if (code == engine::kEndOfFile) throw Error(code, {}, Text(kTextNoRecords));
    RaiseCommon(code);
    if (code != engine::kSuccess) impl_->RaiseOther(code, kTextMoveFailed, false);
    code = engine::d4skip(impl_->table, NumRecords);
    impl_->LogNotices("Move");
    if (code == engine::kEndOfFile) throw Error(code, {}, Text(kTextPastEof));
    if (code == engine::kBeginOfFile) throw Error(code, {}, Text(kTextBeforeBof));
    RaiseCommon(code);
    if (code != engine::kSuccess) impl_->RaiseOther(code, kTextMoveFailed, false);
    impl_->ReadRecordBuffer(true);
    return true;
  });
}

bool Recipients::MoveNext() {
  return Traced("MoveNext", [&] {
    impl_->BeginMove();
    const std::int32_t code = engine::d4skip(impl_->table, 1);
    impl_->LogNotices("MoveNext");
    if (code == engine::kSuccess) {
      impl_->ReadRecordBuffer(true);
      return true;
    }
    if (code == engine::kEndOfFile) return false;
    if (code == engine::kBeginOfFile) throw Error(code, {}, Text(kTextBeforeBof));
    RaiseCommon(code);
    impl_->RaiseOther(code, kTextMoveNextFailed, true);
  });
}

bool Recipients::MovePrev() {
  return Traced("MovePrev", [&] {
    impl_->BeginMove();
    const std::int32_t code = engine::d4skip(impl_->table, -1);
    impl_->LogNotices("MovePrev");
    if (code == engine::kSuccess) {
      impl_->ReadRecordBuffer(true);
      return true;
    }
    if (code == engine::kBeginOfFile) return false;
    if (code == engine::kEndOfFile) throw Error(code, {}, Text(kTextPastEof));
    RaiseCommon(code);
    impl_->RaiseOther(code, kTextMovePrevFailed, true);
  });
}

Value Recipients::MoveLast() {
  return Traced("MoveLast", [&] {
    impl_->BeginMove();
    const std::int32_t code = engine::d4bottom(impl_->table);
    impl_->LogNotices("MoveLast");
    if (code == engine::kEndOfFile) throw Error(code, {}, Text(kTextNoRecords));
    RaiseCommon(code);
    if (code != engine::kSuccess) impl_->RaiseOther(code, kTextMoveLastFailed, false);
    impl_->ReadRecordBuffer(true);
    return Value(true);
  });
}

Value Recipients::Find(const std::string& sCriteria, const std::optional<std::int32_t>& lSkipRows,
                       const std::optional<std::int32_t>&, const std::optional<Value>&) {
  return Traced("Find", [&] {
    impl_->BeginMove();
    const std::string key = impl_->view->page().Encode(SearchValue(sCriteria));
    const bool again = lSkipRows.value_or(0) != 0;
    const std::int32_t code =
        again ? engine::d4seekNext(impl_->table, key) : engine::d4seek(impl_->table, key);
    impl_->LogNotices("Find");
    if (code == engine::kSuccess) {
      impl_->ReadRecordBuffer(true);
      return Value(true);
    }
    RaiseCommon(code);
    if (code < 0) impl_->RaiseOther(code, kTextFindFailed, false);
    engine::d4goEof(impl_->table);
    return Value();
  });
}

bool Recipients::SeekFirst(const std::string& sValue, const std::string&) {
  return Traced("SeekFirst", [&] {
    impl_->BeginMove();
    // Every page is ASCII in its lower half.
    const std::int32_t code =
        IsAscii(sValue) ? engine::d4seek(impl_->table, sValue)
                        : engine::d4seek(impl_->table, impl_->view->page().Encode(sValue));
    impl_->LogNotices("SeekFirst");
    if (code == engine::kSuccess) {
      impl_->ReadRecordBuffer(true);
      return true;
    }
    if (code == engine::kLocked) throw Error(code, {}, Text(kTextRecordLocked));
    if (code < 0) impl_->RaiseOther(code, kTextSeekFirstFailed, false);
    return false;
  });
}

bool Recipients::IsBof() const {
  return Traced("BOF", [&] {
    impl_->RequireOpen();
    return engine::d4bof(impl_->table) != 0;
  });
}

bool Recipients::IsEof() const {
  return Traced("EOF", [&] {
    impl_->RequireOpen();
    const std::int32_t code = engine::d4eof(impl_->table);
    if (code < 0) impl_->RaiseOther(code, kTextMoveFailed, true);
    return code > 0;
  });
}

std::int32_t Recipients::GetRecordCount() const {
  return Traced("RecordCount", [&] {
    impl_->RequireOpen();
    const std::int32_t count = engine::d4recCountDo(impl_->table);
    if (count < 0) impl_->RaiseOther(count, kTextMoveFailed, true);
    return count;
  });
}

std::int32_t Recipients::GetRecordNo() const {
  return Traced("RecordNo", [&] {
    impl_->RequireOpen();
    const std::int32_t number = engine::d4recNoLow(impl_->table);
    if (number == -1) throw Error(kErrNoCurrentRecord, {}, Text(kTextNoCurrentRecord));
    if (number < 0) impl_->RaiseOther(number, kTextMoveFailed, true);
    return number;
  });
}

}  // namespace pv::tablestore
