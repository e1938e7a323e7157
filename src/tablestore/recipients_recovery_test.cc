// The death of a host, and the failure of any call, within what its cursor does to a table.
#include <functional>
#include <map>

#include "base/text.h"
#include "platform/memory/every_death_test.h"
#include "tablestore/table_fixture_test.h"

namespace pv::tablestore {
namespace {

// Note of each live recipient by address.
using People = std::map<std::string, std::string>;

// A session and a cursor over the table in the order of addresses. Only `work` is done under it:
// what closing does to the files is another operation.
struct Host {
  Ref<Database> database = automation::MakeObject<Database>();
  Ref<Recipients> cursor =
      database->OpenTable("/data", "people.pvg", AccessModeType::kShared, "Email");
};

class RecipientsRecoveryTest : public TableTest {
 protected:
  void Fill() {
    const auto cursor = database_->CreateTable(
        "/data", "people.pvg",
        {{"EMAIL", FieldType::kCharacter, 30, 0, false}, {"NOTE", FieldType::kMemo, 4, 0, false}},
        {{"Email", "EMAIL", ".NOT. DELETED()", true, false},
         {"Note", "UPPER(EMAIL)", "", false, true}},
        std::nullopt, "Email");
    for (const auto& [email, note] : Filled()) Add(cursor, email, note);
    Add(cursor, "gone@x", "was here");
    cursor->Delete();
    cursor->CloseTable();
  }
  static People Filled() {
    return {{"amy@x", "short"}, {"bob@x", std::string(150, 'b')}, {"cyd@x", ""}};
  }

  static void Add(const Ref<Recipients>& cursor, const std::string& email,
                  const std::string& note) {
    cursor->AddNew();
    Set(cursor, "Email", email);
    Set(cursor, "Note", note);
    cursor->Update();
  }

  // The live records, in the order of addresses; the table must be sound and take another record.
  static People Read(const platform::MemoryImage& image, const std::string& where) {
    platform::MemorySystem machine(image);
    const platform::ScopedSystem scope(machine.system());
    People found;
    try {
      const Host host;
      std::string last;
      const auto& cursor = host.cursor;
      for (cursor->MoveFirst(); !cursor->IsEof(); cursor->MoveNext()) {
        const std::string email = Get(cursor, "Email").ToText();
        EXPECT_LT(last, email) << where;
        last = email;
        found[std::string(TrimBlanks(email))] = Get(cursor, "Note").ToText();
      }
      std::string findings;
      for (const auto& f : engine::d4check(cursor->GetTableHandle()).findings) findings += f;
      EXPECT_EQ(findings, "") << where;
      Add(cursor, "zoe@x", "later");
      EXPECT_TRUE(cursor->SeekFirst("zoe@x", "Email")) << where;
    } catch (const Error& e) {
      ADD_FAILURE() << where << ": " << e.source() << ": " << e.description();
    }
    return found;
  }

  struct Case {
    const char* name;
    std::function<void(const Host&)> work;
    std::function<void(People&)> effect;
  };
  static std::vector<Case> Cases() {
    const std::string grown(700, 'g');
    return {
        {"append", [](const Host& h) { Add(h.cursor, "new@x", "new note"); },
         [](People& p) { p["new@x"] = "new note"; }},
        {"update of a key",
         [](const Host& h) {
           h.cursor->SeekFirst("amy@x", "");
           Set(h.cursor, "Email", "yes@x");
           h.cursor->Update();
         },
         [](People& p) {
           p["yes@x"] = p["amy@x"];
           p.erase("amy@x");
         }},
        {"memo that grows",
         [=](const Host& h) {
           h.cursor->SeekFirst("bob@x", "");
           Set(h.cursor, "Note", grown);
           h.cursor->Update();
         },
         [=](People& p) { p["bob@x"] = grown; }},
        {"delete",
         [](const Host& h) {
           h.cursor->SeekFirst("bob@x", "");
           h.cursor->Delete();
         },
         [](People& p) { p.erase("bob@x"); }},
        {"recall",
         [](const Host& h) {
           // In natural order deleted records are visited too.
           const auto all = h.database->OpenTable("/data", "people.pvg");
           all->MoveLast();
           all->Update();
           all->CloseTable();
         },
         [](People& p) { p["gone@x"] = "was here"; }},
        {"compaction",
         [](const Host& h) {
           h.cursor->CloseTable();
           h.database->CompactTable("/data", "people.pvg");
         },
         [](People&) {}},
    };
  }
};

TEST_F(RecipientsRecoveryTest, EveryDeathLeavesAChangeWholeOrNotAtAll) {
  Fill();
  const platform::MemoryImage start = machine_.files.Snapshot();
  for (const Case& c : Cases()) {
    machine_.files.Restore(start);
    People after = Filled();
    c.effect(after);
    const Host host;
    platform::ExpectEveryDeathHarmless(
        &machine_.files, c.name, Filled(), after, [&] { c.work(host); }, Read);
    if (HasFailure()) return;
  }
}

TEST_F(RecipientsRecoveryTest, EveryFaultIsAnErrorAndHarmsNothing) {
  Fill();
  for (const Case& c : Cases()) {
    People after = Filled();
    c.effect(after);
    platform::ExpectEveryFaultHarmless(
        &machine_.files, c.name, Filled(), after,
        [&](const std::string& where) {
          try {
            c.work(Host());
            return true;
          } catch (const Error& e) {
            EXPECT_NE(e.number(), 0) << where;
            EXPECT_NE(e.description(), "") << where;
            return false;
          }
        },
        Read);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace pv::tablestore
