// Walks tables. Tested by walk_test.cc and tests/cli.
#include "cli/groups/walk.h"

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/address.h"
#include "cli/fields/record.h"
#include "cli/groups/address_tag.h"

namespace pv::cli {
namespace {

// Turns records into rows of a listing.
class RecordPrinter {
 public:
  RecordPrinter(GroupCursor* cursor, const WalkOptions& options, OutputStream* out)
      : cursor_(cursor), deleted_column_(options.deleted) {
    std::vector<Column> columns;
    if (deleted_column_) columns.push_back({"deleted"});
    for (const std::string& name : options.fields) fields_.push_back(cursor->Get(name));
    if (options.fields.empty()) {
      for (std::size_t i = 0; i < cursor->fields().size(); ++i) fields_.push_back(i);
    }
    for (const std::size_t i : fields_) {
      columns.push_back({cursor->fields()[i].name, cursor->fields()[i].numeric()});
    }
    cells_.resize(columns.size());
    listing_ = Listing::Make(out, std::move(columns), options.list);
  }

  void Print() {
    std::size_t at = 0;
    if (deleted_column_) {
      cells_[at++].Set(CellKind::kBoolean, cursor_->deleted() ? "true" : "false");
    }
    for (const std::size_t field : fields_) cursor_->Read(field, &cells_[at++]);
    listing_->Row(cells_);
  }

  void End() { listing_->End(); }

 private:
  GroupCursor* cursor_;
  bool deleted_column_;
  std::vector<std::size_t> fields_;
  std::vector<Cell> cells_;
  std::unique_ptr<Listing> listing_;
};

bool SameAddress(std::string_view a, std::string_view b) { return EqualsIgnoreCase(a, b); }

}  // namespace

void ForEachRecord(const Table& table, const std::function<bool()>& visit) {
  const engine::Handle handle = table.handle();
  std::int32_t code = table.Checked(engine::d4top(handle));
  while (code == engine::kSuccess && visit()) code = table.Checked(engine::d4skip(handle, 1));
}

std::uint64_t PrintRecords(GroupCursor* cursor, const WalkOptions& options, OutputStream* out,
                           const std::function<bool()>& wanted) {
  RecordPrinter printer(cursor, options, out);
  std::int64_t to_pass = options.offset;
  std::uint64_t printed = 0;
  while (options.limit < 0 || printed < static_cast<std::uint64_t>(options.limit)) {
    if (!cursor->Next()) break;
    if (!options.deleted && cursor->deleted()) continue;
    if (wanted && !wanted()) continue;
    if (to_pass > 0) {
      --to_pass;
      continue;
    }
    printer.Print();
    ++printed;
  }
  printer.End();
  return printed;
}

void PrintCurrentRecord(GroupCursor* cursor, const WalkOptions& options, OutputStream* out) {
  RecordPrinter printer(cursor, options, out);
  printer.Print();
  printer.End();
}

std::int32_t FindAddress(Table* table, std::string_view address) {
  address = TrimBlanks(address);
  const engine::Handle handle = table->handle();
  const RecordReader reader(handle);
  const RecordField* field = FindField(reader.fields(), AddressFieldOf(handle));
  if (field == nullptr) throw Failure(kUsage, table->path() + " has no address field");
  std::string scratch;
  const auto stands_on_it = [&] {
    return engine::d4deleted(handle) == 0 &&
           SameAddress(TrimBlanks(reader.ReadText(*field, &scratch)), address);
  };
  const PageEncoder encoder(engine::d4codePage(handle));
  if (table->SelectTag(kAddressTag)) {
    for (const std::string& spelling : {std::string(address), ToLower(address)}) {
      std::string key_scratch;
      std::string_view key;
      if (!encoder.Encode(spelling, &key_scratch, &key)) return 0;
      if (table->Checked(engine::d4seek(handle, key)) == engine::kSuccess && stands_on_it()) {
        return engine::d4recNoLow(handle);
      }
    }
  }
  table->SelectTag("");
  std::int32_t record = 0;
  ForEachRecord(*table, [&] {
    if (stands_on_it()) record = engine::d4recNoLow(handle);
    return record == 0;
  });
  return record;
}

std::int64_t CountLive(Table* table) {
  table->SelectTag("");
  std::int64_t live = 0;
  ForEachRecord(*table, [&] {
    if (engine::d4deleted(table->handle()) == 0) ++live;
    return true;
  });
  return live;
}

}  // namespace pv::cli
