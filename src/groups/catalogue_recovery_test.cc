// The death of a process, and the failure of any call, within the operations that change the
// catalogue and make or delete groups.
#include <algorithm>
#include <functional>
#include <map>

#include "groups/groups_fixture_test.h"
#include "platform/memory/every_death_test.h"
#include "tablestore/engine/operations.h"

namespace pv::groups {
namespace {

// Name and folder of each group by ID.
using Catalogue = std::map<std::string, std::string>;

class CatalogueRecoveryTest : public GroupsTest {
 protected:
  CatalogueRecoveryTest() { EXPECT_TRUE(machine_.files.CreateFolders("/lists").ok()); }

  void Fill() {
    const auto groups = Make();
    for (const char* name : {"B", "C", "D"}) {
      groups->AddGroup(std::string("ID") + name, name, GroupType::kPvFormat, "", "", "/lists");
    }
  }
  static Catalogue Filled() { return {{"IDB", "B"}, {"IDC", "C"}, {"IDD", "D"}}; }

  static std::string Findings(const std::string& path) {
    const auto database = MakeObject<Database>();
    const auto rows =
        database->OpenTable(path.substr(0, path.rfind('/')), path.substr(path.rfind('/') + 1));
    std::string all;
    for (const auto& f : engine::d4check(rows->GetTableHandle()).findings) all += f + "\n";
    rows->CloseTable();
    return all;
  }

  // The catalogue of an image, which must be sound.
  static Catalogue Look(const platform::MemoryImage& image, const std::string& where) {
    return Read(image, where, false);
  }
  // The same, and it must go on working.
  static Catalogue LookAndWork(const platform::MemoryImage& image, const std::string& where) {
    return Read(image, where, true);
  }
  static Catalogue Read(const platform::MemoryImage& image, const std::string& where, bool work) {
    platform::MemorySystem machine(image);
    machine.process.environment["PVGROUP_DATA"] = "/data";
    const platform::ScopedSystem scope(machine.system());
    Catalogue found;
    try {
      const auto groups = MakeObject<Groups>();
      const auto links = groups->GetGroups();
      for (std::int32_t i = 1; i <= links->Count(); ++i) {
        found[links->Item(i)->GetId()] = links->Item(i)->GetName();
      }
      EXPECT_EQ(static_cast<std::size_t>(links->Count()), found.size()) << where;
      if (work) {
        groups->AddGroup("LATER", "Later", GroupType::kPvFormat, "", "", "");
        groups->RenameGroup("LATER", "Even later");
        groups->RemoveGroup("LATER");
        groups->Refresh();
      }
      EXPECT_EQ(static_cast<std::size_t>(links->Count()), found.size()) << where;
      if (machine.files.Has("/data/groups.pvg")) {
        EXPECT_EQ(Findings("/data/groups.pvg"), "") << where;
      }
    } catch (const Error& e) {
      ADD_FAILURE() << where << ": " << e.source() << ": " << e.description();
    }
    return found;
  }

  struct Case {
    const char* name;
    std::function<void(Groups*)> work;
    std::function<void(Catalogue&)> effect;
  };
  static std::vector<Case> Cases() {
    return {
        {"add", [](Groups* g) { g->AddGroup("IDA", "A", GroupType::kPvFormat, "", "", "/lists"); },
         [](Catalogue& c) { c["IDA"] = "A"; }},
        {"rename", [](Groups* g) { g->RenameGroup("IDC", "Z"); },
         [](Catalogue& c) { c["IDC"] = "Z"; }},
        {"remove", [](Groups* g) { g->RemoveGroup("IDC"); }, [](Catalogue& c) { c.erase("IDC"); }},
        {"delete", [](Groups* g) { g->DeleteGroup("IDB"); }, [](Catalogue& c) { c.erase("IDB"); }},
    };
  }
};

TEST_F(CatalogueRecoveryTest, EveryDeathLeavesARowWholeOrNotAtAll) {
  Fill();
  const platform::MemoryImage start = machine_.files.Snapshot();
  for (const Case& c : Cases()) {
    machine_.files.Restore(start);
    Catalogue after = Filled();
    c.effect(after);
    platform::ExpectEveryDeathHarmless(
        &machine_.files, c.name, Filled(), after, [&] { c.work(Make().get()); }, LookAndWork);
    if (HasFailure()) return;
  }
}

TEST_F(CatalogueRecoveryTest, EveryDeathWhileTheCatalogueIsMade) {
  platform::ExpectEveryDeathHarmless(
      &machine_.files, "first group", Catalogue(), Catalogue{{"IDA", "A"}},
      [&] { Make()->AddGroup("IDA", "A", GroupType::kPvFormat, "", "", ""); }, LookAndWork);
}

TEST_F(CatalogueRecoveryTest, EveryFaultIsAnErrorAndHarmsNothing) {
  Fill();
  for (const Case& c : Cases()) {
    Catalogue after = Filled();
    c.effect(after);
    platform::ExpectEveryFaultHarmless(
        &machine_.files, c.name, Filled(), after,
        [&](const std::string& where) {
          try {
            c.work(Make().get());
            return true;
          } catch (const Error& e) {
            EXPECT_NE(e.number(), 0) << where;
            EXPECT_NE(e.description(), "") << where;
            EXPECT_EQ(e.source().rfind("Groups::", 0), 0U) << where << ": " << e.source();
            return false;
          }
        },
        Look);
    if (HasFailure()) return;
  }
}

// A group that is being made is no group yet; its table is whole or not there.
TEST_F(CatalogueRecoveryTest, EveryDeathWhileAGroupIsMade) {
  std::string id;
  int whole = 0;
  platform::ForEveryDeath(
      &machine_.files, "create", [&] { id = Make()->CreateGroup("G", Fields(), Indexes(), ""); },
      [&](const platform::MemoryImage& image, const std::string& where) {
        platform::MemorySystem machine(image);
        machine.process.environment["PVGROUP_DATA"] = "/data";
        const platform::ScopedSystem scope(machine.system());
        EXPECT_EQ(MakeObject<Groups>()->GetGroups()->Count(), 0) << where;
        if (!machine.files.Has("/data/" + id + ".pvg")) return;
        ++whole;
        EXPECT_EQ(Findings("/data/" + id + ".pvg"), "") << where;
        const auto database = MakeObject<Database>();
        const auto rows = database->OpenTable("/data", id + ".pvg", std::nullopt, "Email");
        rows->AddNew();
        rows->GetFields()->Find("EMAIL")->SetValue("a@x.org");
        rows->Update();
        EXPECT_TRUE(rows->SeekFirst("a@x.org", "Email")) << where;
      });
  EXPECT_GT(whole, 0);
}

}  // namespace
}  // namespace pv::groups
