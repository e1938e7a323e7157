// Rows into a table of a database. Tested by tests/cli/test_database_copies.py.
#include <optional>
#include <unordered_set>

#include "base/record_set.h"
#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/address.h"
#include "cli/groups/data_sources.h"
#include "cli/groups/recordset_cursor.h"
#include "cli/import/row_sink.h"
#include "cli/import/target_table.h"
#include "groups/ado_group.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/progid.h"

namespace pv::cli {

using automation::CallMember;
using automation::Error;
using automation::GetProperty;
using automation::Object;
using automation::Ref;
using automation::Value;

namespace {

// Rows of one transaction.
constexpr std::size_t kBatchRows = 4000;

// Whether an error is about the values of a row rather than about the table or the database.
bool IsAboutValues(const Error& error) {
  return error.number() == groups::kAdoIntegrityViolation ||
         error.number() == groups::kAdoBadValue || error.number() == automation::kErrTypeMismatch ||
         error.number() == automation::kErrOverflow;
}

// The addresses that a table has, in lower case. They are told apart by 128 bits.
class KnownAddresses {
 public:
  bool Has(std::string_view lower) const {
    const std::uint64_t check = CheckOf(lower);
    return set_.Find(HashOf(lower), [&](std::uint32_t number) {
      return checks_[number - 1] == check;
    }) != RecordSet::kNotFound;
  }
  void Add(std::string_view lower) {
    checks_.push_back(CheckOf(lower));
    set_.Add(HashOf(lower), static_cast<std::uint32_t>(checks_.size()));
  }

 private:
  static std::uint64_t CheckOf(std::string_view lower) { return HashOf("\n" + std::string(lower)); }
  RecordSet set_;
  std::vector<std::uint64_t> checks_;
};

class DatabaseSink : public RowSink {
 public:
  explicit DatabaseSink(const DatabaseTarget& target) : target_(target), table_(target_) {}

  void Begin(const std::vector<CursorField>& fields, OnRejected on_rejected) override {
    on_rejected_ = std::move(on_rejected);
    table_.Open(fields, &notes_);
    LoadAddresses();
    std::string columns;
    for (std::size_t i = 0; i < table_.columns().size(); ++i) {
      columns += (columns.empty() ? "" : ", ") + table_.Quoted(i);
    }
    select_ = "select " + columns + " from " + table_.reference();
    rows_ = table_.Open(select_ + " where 1 = 0", groups::kAdoBatchOptimistic);
    if (GetProperty(rows_, "LockType").ToI4() != groups::kAdoBatchOptimistic) {
      throw Failure(kUnavailable, table_.reference() + " can be read only");
    }
    writer_ = RowWriter(rows_);
  }

  void Put(const std::vector<Cell>& cells) override {
    if (broken_) throw Failure(kUnavailable, "the copy has ended");
    std::string lower;
    std::string address;
    if (table_.address_column()) {
      address = TrimBlanks(cells[table_.sources()[*table_.address_column()]].text);
      if (const char* fault = AddressFault(address)) {
        Reject(cells, fault);
        return;
      }
      lower = ToLower(address);
      if (pending_addresses_.count(lower) != 0) Flush();
      if (known_.Has(lower)) {
        TakeDuplicate(cells, address);
        return;
      }
    }
    std::vector<Value> values;
    if (!Convert(cells, &values)) return;
    pending_.push_back({cells, std::move(values), lower});
    if (!lower.empty()) pending_addresses_.insert(std::move(lower));
    if (pending_.size() == kBatchRows) Flush();
  }

  void Finish() override {
    if (broken_ || !rows_) return;
    Flush();
    try {
      groups::CloseAdo(rows_);
    } catch (const Error& error) {
      table_.Fail(error);
    }
  }

  const ImportCounts& counts() const override { return counts_; }
  const std::vector<std::string>& notes() const override { return notes_; }

 private:
  struct Pending {
    std::vector<Cell> cells;
    std::vector<Value> values;
    std::string lower;  // the address in lower case
  };

  // Adds rows to a recordset and sets their fields; members are looked up by name once.
  class RowWriter {
   public:
    RowWriter() = default;
    explicit RowWriter(const Ref<Object>& rows)
        : rows_(rows),
          add_id_(automation::GetIdOfName(rows, "AddNew")),
          update_id_(automation::GetIdOfName(rows, "Update")) {
      const Ref<Object> fields = GetProperty(rows, "Fields").ToObject();
      const std::int32_t count = GetProperty(fields, "Count").ToI4();
      for (std::int32_t i = 0; i < count; ++i) {
        fields_.push_back(CallMember(fields, "Item", {i}).ToObject());
        ids_.push_back(automation::GetIdOfName(fields_.back(), "Value"));
      }
    }
    void Set(std::size_t field, const Value& value) const {
      automation::Call call{automation::kCallLet, {value}, {}};
      automation::Invoke(fields_[field], ids_[field], call);
    }
    void Add() const { Do(add_id_); }
    void Update() const { Do(update_id_); }

   private:
    void Do(std::int32_t id) const {
      automation::Call call{automation::kCallMethod, {}, {}};
      automation::Invoke(rows_, id, call);
    }

    Ref<Object> rows_;
    std::int32_t add_id_ = 0;
    std::int32_t update_id_ = 0;
    std::vector<Ref<Object>> fields_;
    std::vector<std::int32_t> ids_;
  };

  void LoadAddresses() {
    if (!table_.address_column()) return;
    const Ref<Object> rows = table_.Open(
        "select " + table_.Quoted(*table_.address_column()) + " from " + table_.reference(),
        groups::kAdoReadOnly);
    try {
      RecordsetCursor cursor(rows);
      Cell cell;
      while (cursor.Next()) {
        cursor.Read(0, &cell);
        const std::string_view address = TrimBlanks(cell.text);
        if (!address.empty()) known_.Add(ToLower(address));
      }
      groups::CloseAdo(rows);
    } catch (const Error& error) {
      table_.Fail(error);
    }
  }

  bool Convert(const std::vector<Cell>& cells, std::vector<Value>* values) {
    values->resize(table_.columns().size());
    std::string reason;
    for (std::size_t i = 0; i < values->size(); ++i) {
      if (!ValueForColumn(cells[table_.sources()[i]], table_.columns()[i], &(*values)[i],
                          &reason)) {
        Reject(cells, reason);
        return false;
      }
    }
    return true;
  }

  void Reject(const std::vector<Cell>& cells, const std::string& reason) {
    ++counts_.read;
    ++counts_.rejected;
    on_rejected_(cells, reason);
  }

  void TakeDuplicate(const std::vector<Cell>& cells, const std::string& address) {
    switch (target_.on_duplicate) {
      case OnDuplicate::kSkip:
        ++counts_.read;
        ++counts_.skipped;
        return;
      case OnDuplicate::kReject:
        Reject(cells, "the address is there already");
        return;
      case OnDuplicate::kUpdate:
        break;
    }
    std::vector<Value> values;
    if (!Convert(cells, &values)) return;
    try {
      for (const bool ignore_case : {false, true}) {
        const Ref<Object> row = table_.TryOpen(select_ + table_.WhereAddress(address, ignore_case),
                                               groups::kAdoOptimistic);
        if (GetProperty(row, "EOF").ToBoolean()) continue;
        const RowWriter writer(row);
        for (std::size_t i = 0; i < values.size(); ++i) {
          if (i != *table_.address_column()) writer.Set(i, values[i]);
        }
        writer.Update();
        groups::CloseAdo(row);
        ++counts_.read;
        ++counts_.updated;
        return;
      }
    } catch (const Error& error) {
      if (!IsAlive()) Lose(error, 0, 0);
      if (!IsAboutValues(error)) End(error);
      Reject(cells, Text(error));
      return;
    }
    Reject(cells, "the address is there already, but its row cannot be found");
  }

  std::string Text(const Error& error) const {
    try {
      table_.Fail(error);
    } catch (const Failure& failure) {
      return failure.what();
    }
  }

  void Flush() {
    if (pending_.empty()) return;
    broken_ = true;  // whatever stops it midway, no row is written twice
    Write(0, pending_.size());
    broken_ = false;
    pending_.clear();
    pending_addresses_.clear();
  }

  // Writes some of the pending rows in one transaction. Where one is refused all are, and each half
  // is written by itself, down to the row that is to blame.
  void Write(std::size_t first, std::size_t last) {
    std::optional<Error> refused;
    try {
      for (std::size_t i = first; i < last; ++i) {
        writer_.Add();
        for (std::size_t j = 0; j < pending_[i].values.size(); ++j) {
          writer_.Set(j, pending_[i].values[j]);
        }
        writer_.Update();
      }
      CallMember(rows_, "UpdateBatch");
    } catch (const Error& error) {
      refused = error;
    }
    if (!refused) {
      for (std::size_t i = first; i < last; ++i) {
        if (!pending_[i].lower.empty()) known_.Add(pending_[i].lower);
      }
      counts_.read += last - first;
      counts_.added += last - first;
      return;
    }
    try {
      CallMember(rows_, "CancelBatch");
    } catch (const Error&) {
      // Of a connection that broke, which is found out now.
    }
    if (!IsAlive()) Lose(*refused, first, last);
    if (last - first > 1) {
      const std::size_t middle = first + (last - first) / 2;
      Write(first, middle);
      Write(middle, last);
      return;
    }
    if (!IsAboutValues(*refused)) End(*refused);
    Reject(pending_[first].cells, Text(*refused));
  }

  bool IsAlive() const { return TargetTable::Ask(target_.connection, "select 1").has_value(); }

  // Ends the copy because of the table or the database.
  [[noreturn]] void End(const Error& error) {
    broken_ = true;
    throw Failure(kUnavailable, Text(error) + AddedSoFar());
  }

  // Ends the copy because the connection broke while some of the pending rows were written: all of
  // them are in, or none.
  [[noreturn]] void Lose(const Error& error, std::size_t first, std::size_t last) {
    broken_ = true;
    const std::size_t count = last - first;
    std::string doubt;
    if (count > 0) {
      const std::optional<bool> in = AreIn(pending_[first]);
      if (in && *in) {
        counts_.read += count;
        counts_.added += count;
      } else if (!in) {
        doubt = "; whether the " + std::to_string(count) +
                " rows that were being written are in cannot be told";
      }
    }
    throw Failure(kUnavailable, "the connection broke: " + Text(error) + AddedSoFar() + doubt);
  }

  // Whether a row is in the table, asked over a new connection.
  std::optional<bool> AreIn(const Pending& row) const {
    if (row.lower.empty() || !target_.reconnect) return std::nullopt;
    try {
      const std::string& address = row.cells[table_.sources()[*table_.address_column()]].text;
      const auto count = TargetTable::Ask(
          target_.reconnect(), "select count(*) from " + table_.reference() +
                                   table_.WhereAddress(std::string(TrimBlanks(address)), false));
      if (!count) return std::nullopt;
      return *count != "0";
    } catch (const Failure&) {
      return std::nullopt;
    }
  }

  std::string AddedSoFar() const {
    return "; " + std::to_string(counts_.added) + " rows were added and are in";
  }

  const DatabaseTarget target_;
  TargetTable table_;
  OnRejected on_rejected_;
  std::string select_;
  Ref<Object> rows_;
  RowWriter writer_;
  KnownAddresses known_;
  std::vector<Pending> pending_;
  std::unordered_set<std::string> pending_addresses_;
  ImportCounts counts_;
  std::vector<std::string> notes_;
  bool broken_ = false;
};

}  // namespace

std::unique_ptr<RowSink> MakeDatabaseSink(const DatabaseTarget& target) {
  return std::make_unique<DatabaseSink>(target);
}

}  // namespace pv::cli
