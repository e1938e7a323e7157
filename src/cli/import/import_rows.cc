// Adds, updates, skips or rejects each row. Tested by import_rows_test.cc and tests/cli.
#include "cli/import/import_rows.h"

#include <stdexcept>

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/address.h"
#include "cli/groups/address_tag.h"

namespace pv::cli {
namespace {

// A dry run has no record to point to. It notes this bit and 31 more bits of the address instead,
// so that 95 bits tell addresses apart.
constexpr std::uint32_t kUnwritten = 0x80000000U;

std::uint32_t UnwrittenMark(std::string_view lower) {
  return kUnwritten | static_cast<std::uint32_t>(HashOf(std::string(lower) + "\n") & 0x7FFFFFFF);
}

}  // namespace

RowImporter::RowImporter(const Session& session, Table* table, const ImportPlan& plan,
                         const ImportOptions& options, bool bulk)
    : session_(session),
      table_(table),
      plan_(plan),
      options_(options),
      bulk_(bulk),
      reader_(table->handle()),
      address_field_(FindField(reader_.fields(), plan.columns[plan.address_column].field)) {
  const auto encoder = std::make_shared<const PageEncoder>(engine::d4codePage(table->handle()));
  const auto add = [&](std::size_t column) {
    const PlannedColumn& planned = plan_.columns[column];
    const RecordField* field = FindField(reader_.fields(), planned.field);
    if (field == nullptr) {
      throw Failure(kUnavailable, table_->path() + " has lost its field " + planned.field);
    }
    targets_.push_back({column, FieldWriter(*field, planned.reading, encoder)});
  };
  add(plan_.address_column);
  for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
    if (i != plan_.address_column && !plan_.columns[i].field.empty()) add(i);
  }
  if (bulk_) table_->Checked(engine::d4bulkStart(table_->handle()));
}

void RowImporter::LoadAddresses() {
  const engine::Handle handle = table_->handle();
  addresses_.Reserve(static_cast<std::uint64_t>(table_->Checked(engine::d4recCountDo(handle))));
  table_->SelectTag("");
  std::string scratch;
  for (std::int32_t code = table_->Checked(engine::d4top(handle)); code == engine::kSuccess;
       code = table_->Checked(engine::d4skip(handle, 1))) {
    if (engine::d4deleted(handle) != 0) continue;
    const std::string_view address = TrimBlanks(reader_.ReadText(*address_field_, &scratch));
    if (address.empty()) continue;
    addresses_.Add(HashOf(Lower(address)), static_cast<std::uint32_t>(engine::d4recNoLow(handle)));
  }
}

void RowImporter::Take(const RowReader& row, Rejects* rejects) {
  Outcome outcome = Outcome::kRejected;
  addresses_.Prefetch(row.KeyHashAhead());
  if (!row.fault().empty()) {
    reason_ = row.fault();
  } else {
    outcome = Process(row);
  }
  if (outcome == Outcome::kRejected && rejects != nullptr) rejects->Add(row, reason_);
  ++counts_.read;
  switch (outcome) {
    case Outcome::kAdded:
      ++counts_.added;
      break;
    case Outcome::kUpdated:
      ++counts_.updated;
      break;
    case Outcome::kSkipped:
      ++counts_.skipped;
      break;
    case Outcome::kRejected:
      ++counts_.rejected;
      break;
  }
  if (!counts_.AddUp()) throw std::logic_error("the rows of the import do not add up");
}

RowImporter::Outcome RowImporter::Process(const RowReader& row) {
  if (row.key_fault() != nullptr) {
    reason_ = row.key_fault();
    return Outcome::kRejected;
  }
  const std::string_view address = TrimBlanks(row.fields()[plan_.address_column]);
  const std::uint64_t hash = row.key_hash();
  const std::uint32_t record = FindRecord(hash, address);
  if (record != RecordSet::kNotFound) return ProcessDuplicate(row, record);

  engine::d4appendStart(table_->handle(), 0);
  if (!WriteColumns(row, true)) return Outcome::kRejected;
  if (options_.dry_run) {
    addresses_.Add(hash, UnwrittenMark(Lower(address)));
    return Outcome::kAdded;
  }
  const Outcome outcome = Append(row, address);
  if (outcome == Outcome::kAdded) {
    addresses_.Add(hash, static_cast<std::uint32_t>(engine::d4recNoLow(table_->handle())));
  }
  return outcome;
}

RowImporter::Outcome RowImporter::Append(const RowReader& row, std::string_view address) {
  const std::int32_t code = table_->Checked(engine::d4append(table_->handle()));
  if (code != engine::kUniqueKey) return Outcome::kAdded;
  // Somebody else added the address a moment ago.
  std::string scratch;
  std::string_view key;
  const PageEncoder encoder(engine::d4codePage(table_->handle()));
  encoder.Encode(address, &scratch, &key);
  table_->SelectTag(kAddressTag);
  const bool found = table_->Checked(engine::d4seek(table_->handle(), key)) == engine::kSuccess;
  return ProcessDuplicate(
      row, found ? static_cast<std::uint32_t>(engine::d4recNoLow(table_->handle())) : 0);
}

RowImporter::Outcome RowImporter::ProcessDuplicate(const RowReader& row, std::uint32_t record) {
  switch (options_.on_duplicate) {
    case OnDuplicate::kSkip:
      return Outcome::kSkipped;
    case OnDuplicate::kReject:
      reason_ = "the address is there already";
      if (record != 0 && (record & kUnwritten) == 0) {
        reason_ += ", in record " + std::to_string(record);
      }
      return Outcome::kRejected;
    case OnDuplicate::kUpdate:
      break;
  }
  if ((record & kUnwritten) != 0) {
    // The record that a real run would update: the row's values are checked all the same.
    engine::d4appendStart(table_->handle(), 0);
    return WriteColumns(row, false) ? Outcome::kUpdated : Outcome::kRejected;
  }
  if (record == 0) {
    reason_ = "the address is there already, but its record cannot be found";
    return Outcome::kRejected;
  }
  if (!WriteColumns(row, false)) return Outcome::kRejected;
  if (!options_.dry_run) {
    table_->Checked(engine::d4writeVB(table_->handle(), static_cast<std::int32_t>(record)));
  }
  return Outcome::kUpdated;
}

std::string_view RowImporter::Lower(std::string_view address) {
  return LowerAddress(address, lower_buffer_, sizeof lower_buffer_, &lower_scratch_);
}

std::uint32_t RowImporter::FindRecord(std::uint64_t hash, std::string_view address) {
  return addresses_.Find(hash, [&](std::uint32_t record) {
    const std::string_view lower = Lower(address);
    if ((record & kUnwritten) != 0) return record == UnwrittenMark(lower);
    const engine::Handle handle = table_->handle();
    if (table_->Checked(engine::d4go(handle, static_cast<std::int32_t>(record))) != 0) {
      return false;
    }
    if (engine::d4deleted(handle) != 0) return false;
    std::string scratch;
    char buffer[256];
    std::string lower_scratch;
    return LowerAddress(TrimBlanks(reader_.ReadText(*address_field_, &scratch)), buffer,
                        sizeof buffer, &lower_scratch) == lower;
  });
}

bool RowImporter::WriteColumns(const RowReader& row, bool address_too) {
  for (std::size_t i = address_too ? 0 : 1; i < targets_.size(); ++i) {
    std::string_view text = row.fields()[targets_[i].column];
    if (i == 0) text = TrimBlanks(text);
    // A new record is blank already.
    if (address_too && text.empty()) continue;
    if (!targets_[i].writer.Write(text, &reason_)) return false;
  }
  return !AssignmentsFailed();
}

bool RowImporter::AssignmentsFailed() {
  const std::int32_t code = engine::code4errorCode(session_.handle(), 0);
  if (code >= 0) return false;
  const char* text = engine::error4text(session_.handle(), code);
  reason_ = text != nullptr ? text : "the record cannot hold the row";
  return true;
}

void RowImporter::Finish() {
  if (bulk_) {
    bulk_ = false;
    table_->Checked(engine::d4bulkEnd(table_->handle()));
  }
  table_->Close();
}

}  // namespace pv::cli
