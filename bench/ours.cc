// Our side: through the public classes, as a host would do it.
#include <filesystem>
#include <stdexcept>

#include "pvgroupman/automation/error.h"
#include "pvgroupman/tablestore/database.h"
#include "sides.h"

namespace pv::bench {
namespace {

using automation::MakeObject;
using automation::Ref;
using automation::Value;
using tablestore::AccessModeType;
using tablestore::Database;
using tablestore::Field;
using tablestore::Recipients;

constexpr const char* kName = "bench.pvg";

void Require(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(std::string("ours: ") + what);
}

class Ours : public Side {
 public:
  explicit Ours(std::string folder) : folder_(std::move(folder)) {}
  const char* name() const override { return "ours"; }

  double AppendAll(const Rows& rows) override {
    using tablestore::FieldType;
    const std::vector<tablestore::FieldStruct> fields = {
        {"Email", FieldType::kCharacter, 100}, {"First", FieldType::kCharacter, 40},
        {"Last", FieldType::kCharacter, 40},   {"Company", FieldType::kCharacter, 60},
        {"City", FieldType::kCharacter, 40},   {"Joined", FieldType::kDate, 8},
        {"Score", FieldType::kNumeric, 10, 2}, {"Active", FieldType::kLogical, 1}};
    const std::vector<tablestore::IndexStruct> tags = {
        {"Email", "EMAIL", ".NOT. DELETED()", true, false}};
    auto database = MakeObject<Database>();
    database->CreateTable(folder_, kName, fields, tags, AccessModeType::kExclusive)->CloseTable();
    auto cursor = database->OpenTable(folder_, kName, AccessModeType::kExclusive, "Email");
    const double spent = TimedRows(
        rows, rows.size(), "", [&](const Row& row) { Append(*cursor, row); },
        [&] {
          // The engine may keep entries back until somebody asks for the tag.
          Require(cursor->SeekFirst(rows.Email(rows.size() - 1), "Email"), "the last row is lost");
        });
    cursor->CloseTable();
    return spent;
  }

  double SeekShared(const Rows& rows, std::uint32_t count) override {
    return Seek(rows, count, AccessModeType::kShared);
  }
  double SeekExclusive(const Rows& rows, std::uint32_t count) override {
    return Seek(rows, count, AccessModeType::kExclusive);
  }

  double WalkByEmail(const Rows& rows) override { return Walk(rows, "Email"); }
  double WalkNaturally(const Rows& rows) override { return Walk(rows, ""); }

  double AppendShared(const Rows& rows, std::uint32_t count) override {
    auto database = MakeObject<Database>();
    auto cursor = database->OpenTable(folder_, kName, AccessModeType::kShared, "Email");
    const double spent = TimedRows(
        rows, count, "new-", [&](const Row& row) { Append(*cursor, row); }, nullptr);
    cursor->CloseTable();
    return spent;
  }

  double Compact(const Rows& rows) override {
    {
      auto database = MakeObject<Database>();
      auto cursor = database->OpenTable(folder_, kName, AccessModeType::kExclusive, "Email");
      for (std::uint32_t i = 0; i < rows.size(); i += 10) {
        Require(cursor->SeekFirst(rows.Email(i), "Email"), "a row to be deleted is not there");
        cursor->Delete();
      }
      cursor->CloseTable();
    }
    auto database = MakeObject<Database>();
    return Timed([&] { Require(database->CompactTable(folder_, kName), "compaction failed"); });
  }

  std::uint64_t BytesOnDisk() const override {
    std::uint64_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      if (entry.path().stem() == "bench") bytes += entry.file_size();
    }
    return bytes;
  }

 private:
  static void Append(Recipients& cursor, const Row& row) {
    cursor.AddNew();
    auto fields = cursor.GetFields();
    fields->Find("Email")->SetValue(row.email);
    fields->Find("First")->SetValue(row.first);
    fields->Find("Last")->SetValue(row.last);
    fields->Find("Company")->SetValue(row.company);
    fields->Find("City")->SetValue(row.city);
    fields->Find("Joined")->SetValue(automation::Date{row.joined});
    fields->Find("Score")->SetValue(row.score);
    fields->Find("Active")->SetValue(row.active);
    cursor.Update();
  }

  double Seek(const Rows& rows, std::uint32_t count, AccessModeType mode) {
    auto database = MakeObject<Database>();
    auto cursor = database->OpenTable(folder_, kName, mode, "Email");
    auto fields = cursor->GetFields();
    const std::vector<std::string> emails = RandomEmails(rows, count);
    std::size_t bytes = 0;
    const double spent = Timed([&] {
      for (const std::string& email : emails) {
        Require(cursor->SeekFirst(email, "Email"), "an address is not found");
        bytes += fields->Find("First")->Current().TryGet<std::string>()->size();
      }
    });
    Require(bytes > count, "nothing was read");
    cursor->CloseTable();
    return spent;
  }

  double Walk(const Rows& rows, const char* tag) {
    auto database = MakeObject<Database>();
    auto cursor = database->OpenTable(folder_, kName, AccessModeType::kShared, std::string(tag));
    auto fields = cursor->GetFields();
    std::size_t bytes = 0;
    std::uint32_t seen = 0;
    const double spent = Timed([&] {
      for (bool more = cursor->MoveFirst(); more; more = cursor->MoveNext()) {
        bytes += fields->Find("First")->Current().TryGet<std::string>()->size();
        ++seen;
      }
    });
    Require(seen == rows.size() && bytes > seen, "the walk missed rows");
    cursor->CloseTable();
    return spent;
  }

  std::string folder_;
};

}  // namespace

std::unique_ptr<Side> MakeOurs(const std::string& folder) { return std::make_unique<Ours>(folder); }

}  // namespace pv::bench
