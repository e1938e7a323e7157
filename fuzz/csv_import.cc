// The input is a file to import: looked at, planned, and put into a new group twice, first without
// writing. Every row must be accounted for, the dry run must foresee the real one, the table must
// be sound, and a second import must add nothing.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/failure.h"
#include "cli/groups/address_tag.h"
#include "cli/import/import_rows.h"
#include "fuzz/require.h"
#include "platform/memory/memory_system.h"

namespace {

using namespace pv::cli;  // NOLINT

struct Looked {
  std::vector<std::string> headings;
  std::vector<ColumnStats> stats;
  std::uint64_t rows = 0;
};

// The rows lie behind each other in the source.
Looked LookAt(const ImportSource& source, const PageEncoder& encoder) {
  RowReader rows(source);
  Looked looked{rows.headings(), std::vector<ColumnStats>(rows.headings().size()), 0};
  std::uint64_t end = source.mark_size() + rows.header_bytes().size();
  std::uint64_t line = 0;
  while (rows.Next()) {
    ++looked.rows;
    PV_REQUIRE(rows.offset() >= end && rows.size() > 0);
    PV_REQUIRE(rows.line() > line);
    end = rows.offset() + rows.size();
    line = rows.line();
    PV_REQUIRE(end <= source.size());
    if (!rows.fault().empty()) continue;
    PV_REQUIRE(rows.fields().size() == looked.headings.size());
    for (std::size_t i = 0; i < looked.stats.size(); ++i) {
      looked.stats[i].Add(rows.fields()[i], encoder);
    }
  }
  return looked;
}

ImportCounts Put(const Session& session, const ImportSource& source, const ImportPlan& plan,
                 ImportOptions options, bool bulk) {
  Table table(session, "/t/g.pvg", bulk ? Access::kExclusive : Access::kShared);
  RowImporter importer(session, &table, plan, options, bulk);
  importer.LoadAddresses();
  RowReader rows(source, plan.address_column);
  while (rows.Next()) importer.Take(rows, nullptr);
  importer.Finish();
  return importer.counts();
}

void Import(const std::string& bytes) {
  pv::platform::MemorySystem memory;
  memory.files.StopRecording();
  const pv::platform::ScopedSystem scope(memory.system());
  memory.files.Put("/in.csv", bytes);
  PV_REQUIRE(memory.files.CreateFolders("/t").ok());
  ImportOptions options;
  options.file = "/in.csv";
  const Session session;
  const PageEncoder encoder(session.page());
  const ImportSource source(options);
  Looked looked;
  ImportPlan plan;
  try {
    looked = LookAt(source, encoder);
    if (looked.headings.empty()) return;
    plan = MakePlan(looked.headings, looked.stats, options, GroupShape{});
  } catch (const Failure& failure) {
    // Headings that cannot be read, no column of addresses, dates of two meanings.
    PV_REQUIRE(*failure.what() != 0);
    return;
  }
  const std::string address = plan.columns[plan.address_column].field;
  Table::Create(session, "/t/g.pvg", plan.NewFields(), AddressTag(address))->Close();
  options.dry_run = true;
  const ImportCounts dry = Put(session, source, plan, options, false);
  options.dry_run = false;
  const ImportCounts real = Put(session, source, plan, options, bytes.size() % 2 == 0);
  PV_REQUIRE(real.read == looked.rows && real.AddUp());
  PV_REQUIRE(dry.read == real.read && dry.added == real.added && dry.skipped == real.skipped &&
             dry.rejected == real.rejected);
  const ImportCounts again = Put(session, source, plan, options, false);
  PV_REQUIRE(again.added == 0 && again.read == real.read);

  const Table table(session, "/t/g.pvg", Access::kShared);
  const pv::engine::TableCheck check = pv::engine::d4check(table.handle());
  PV_REQUIRE(check.findings.empty());
  PV_REQUIRE(static_cast<std::uint64_t>(check.live_records) == real.added);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Import(std::string(data, data + size));
  return 0;
}
