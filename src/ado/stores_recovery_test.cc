// What is left of a definition when its writer dies or a call fails at any point.
#include "ado/ado_fixture_test.h"
#include "platform/memory/crash_replay.h"

namespace pv::ado {
namespace {

using platform::Call;
using platform::CrashReplay;
using platform::Fault;
using platform::MemoryImage;
using platform::MemorySystem;
using platform::ScopedSystem;

class StoresRecoveryTest : public AdoStoresTest {
 protected:
  // "table: values|", or the number of the error of opening it.
  static std::string Seen(const std::string& id) {
    try {
      const auto definition = MakeObject<CADOGroupProperties>();
      definition->OpenADOGroupProperties(id);
      std::string seen = definition->GetTable() + ": ";
      for (std::int32_t i = 1; i <= definition->GetFilters()->Count(); ++i) {
        seen += definition->GetFilters()->Item(i)->GetValue() + "|";
      }
      return seen;
    } catch (const Error& e) {
      return std::to_string(e.number());
    }
  }
  static std::string SeenSource(const std::string& id) {
    try {
      const auto source = MakeObject<CDataSource>();
      source->OpenDataSource(id, std::nullopt);
      return source->GetName();
    } catch (const Error& e) {
      return std::to_string(e.number());
    }
  }

  // Runs `work` on `start`, and again with its writer dead after each of its changes and within
  // each of its writes; `check` looks at what is left, in a machine of its own.
  template <typename Work, typename Check>
  void AtEveryDeath(const Work& work, const Check& check) {
    machine_.files.StartRecording();
    work();
    const CrashReplay whole(machine_.files);
    ASSERT_GT(whole.size(), 3u);
    CrashReplay replay(machine_.files);
    for (std::size_t n = 0; n <= replay.size(); ++n) {
      replay.StepTo(n);
      for (const std::size_t torn : {std::size_t{0}, std::size_t{1}, std::size_t{20}}) {
        MemorySystem crashed(torn == 0 ? replay.Image() : replay.TornImage(torn));
        crashed.process.environment["PVGROUP_DATA"] = "/data";
        const ScopedSystem scope(crashed.system());
        check("after " + std::to_string(n) + " of " + std::to_string(replay.size()) + ", torn " +
              std::to_string(torn));
      }
    }
  }

  // Runs `work` on the files as they are now, with each of its calls failing once.
  template <typename Work, typename Check>
  void AtEveryFailure(const Work& work, const Check& check) {
    const MemoryImage start = machine_.files.Snapshot();
    for (const Fault fault : {Fault::kIoError, Fault::kNoSpace, Fault::kDenied}) {
      int failures = 0;
      for (std::uint64_t n = 1;; ++n) {
        machine_.files.Restore(start);
        machine_.files.FailCall(n, Call::kAny, fault);
        bool failed = false;
        try {
          work();
        } catch (const Error&) {
          failed = true;
        }
        const bool hit = machine_.files.FaultHit();
        machine_.files.ClearFault();
        EXPECT_EQ(machine_.files.OpenFileCount(), 0);
        check(failed, "call " + std::to_string(n));
        if (!hit) break;
        failures += failed ? 1 : 0;
      }
      EXPECT_GT(failures, 5);
    }
  }
};

TEST_F(StoresRecoveryTest, ADefinitionThatIsSavedAnewIsOldOrNew) {
  Definition("P0", {"0"})->SaveADOGroupProperties();
  AtEveryDeath(
      [] {
        Definition("P1", {"1", "2"})->SaveADOGroupProperties();
      },
      [](const std::string& where) {
        const std::string seen = Seen("P1");
        EXPECT_TRUE(seen == "2306" || seen == "customers: 1|2|") << where << ": " << seen;
        EXPECT_EQ(Seen("P0"), "customers: 0|") << where;
      });
}

TEST_F(StoresRecoveryTest, ADefinitionThatIsChangedHasOneListOfConditionsOrTheOther) {
  Definition("P1", {"1"})->SaveADOGroupProperties();
  AtEveryDeath(
      [] {
        Definition("P1", {"2", "3"})->SaveADOGroupProperties();
      },
      [](const std::string& where) {
        const std::string seen = Seen("P1");
        EXPECT_TRUE(seen == "customers: 1|" || seen == "customers: 2|3|") << where << ": " << seen;
      });
}

// Without its conditions a definition would choose every row of its table.
TEST_F(StoresRecoveryTest, ADefinitionThatIsDeletedNeverStandsWithoutItsConditions) {
  Definition("P0", {"0"})->SaveADOGroupProperties();
  Definition("P1", {"1"})->SaveADOGroupProperties();
  AtEveryDeath([] { MakeObject<CADOGroupProperties>()->DeleteADOGroupProperties("P1"); },
               [](const std::string& where) {
                 const std::string seen = Seen("P1");
                 EXPECT_TRUE(seen == "2306" || seen == "customers: 1|") << where << ": " << seen;
                 EXPECT_EQ(Seen("P0"), "customers: 0|") << where;
                 // What was left can be deleted and saved again.
                 MakeObject<CADOGroupProperties>()->DeleteADOGroupProperties("P1");
                 Definition("P1", {"5"})->SaveADOGroupProperties();
                 EXPECT_EQ(Seen("P1"), "customers: 5|") << where;
               });
}

TEST_F(StoresRecoveryTest, ADataSourceIsOldOrNewAtEveryDeath) {
  SaveSource("DS0", "Zero");
  AtEveryDeath([] { SaveSource("DS1", "One"); },
               [](const std::string& where) {
                 const std::string seen = SeenSource("DS1");
                 EXPECT_TRUE(seen == "2306" || seen == "One") << where << ": " << seen;
                 EXPECT_EQ(SeenSource("DS0"), "Zero") << where;
               });
  AtEveryDeath([] { SaveSource("DS1", "Uno"); },
               [](const std::string& where) {
                 const std::string seen = SeenSource("DS1");
                 EXPECT_TRUE(seen == "One" || seen == "Uno") << where << ": " << seen;
               });
  AtEveryDeath([] { MakeObject<CDataSource>()->DeleteDataSource("DS1"); },
               [](const std::string& where) {
                 const std::string seen = SeenSource("DS1");
                 EXPECT_TRUE(seen == "2306" || seen == "Uno") << where << ": " << seen;
                 EXPECT_EQ(SeenSource("DS0"), "Zero") << where;
               });
}

TEST_F(StoresRecoveryTest, EveryFailureOfASaveIsToldAndHarmless) {
  Definition("P0", {"0"})->SaveADOGroupProperties();
  AtEveryFailure(
      [] {
        Definition("P1", {"1", "2"})->SaveADOGroupProperties();
      },
      [](bool failed, const std::string& where) {
        const std::string seen = Seen("P1");
        if (!failed) {
          EXPECT_EQ(seen, "customers: 1|2|") << where;
        }
        EXPECT_TRUE(seen == "2306" || seen == "customers: 1|2|") << where << ": " << seen;
        EXPECT_EQ(Seen("P0"), "customers: 0|") << where;
      });
}

TEST_F(StoresRecoveryTest, EveryFailureOfADeletionIsToldAndHarmless) {
  Definition("P0", {"0"})->SaveADOGroupProperties();
  Definition("P1", {"1"})->SaveADOGroupProperties();
  AtEveryFailure([] { MakeObject<CADOGroupProperties>()->DeleteADOGroupProperties("P1"); },
                 [](bool failed, const std::string& where) {
                   const std::string seen = Seen("P1");
                   if (!failed) {
                     EXPECT_EQ(seen, "2306") << where;
                   }
                   EXPECT_TRUE(seen == "2306" || seen == "customers: 1|") << where << ": " << seen;
                   EXPECT_EQ(Seen("P0"), "customers: 0|") << where;
                 });
}

TEST_F(StoresRecoveryTest, NoFailureOfAnOpeningTakesTheConditionsAway) {
  Definition("P1", {"1", "2"})->SaveADOGroupProperties();
  std::string seen;
  AtEveryFailure(
      [&] {
        seen = "error";
        const auto definition = MakeObject<CADOGroupProperties>();
        definition->OpenADOGroupProperties("P1");
        seen = std::to_string(definition->GetFilters()->Count());
      },
      [&](bool failed, const std::string& where) {
        EXPECT_EQ(seen, failed ? "error" : "2") << where;
      });
}

TEST_F(StoresRecoveryTest, NoFailureOfADeletionDeletesASourceThatIsUsed) {
  SaveSource("DS1", "One");
  {
    using tablestore::FieldType;
    const auto database = MakeObject<Database>();
    const auto rows = database->CreateTable("/data", "groups.pvg",
                                            {{"ID", FieldType::kCharacter, 32, 0, false},
                                             {"DSNID", FieldType::kCharacter, 32, 0, false}},
                                            {{"ID", "ID", ".NOT. DELETED()", true, false}});
    rows->AddNew();
    rows->GetFields()->Find("DSNID")->SetValue("DS1");
    rows->Update();
    rows->CloseTable();
  }
  AtEveryFailure(
      [] { MakeObject<CDataSource>()->DeleteDataSource("DS1"); },
      [](bool, const std::string& where) { EXPECT_EQ(SeenSource("DS1"), "One") << where; });
}

TEST_F(StoresRecoveryTest, EveryFailureOfADataSourceIsToldAndHarmless) {
  SaveSource("DS0", "Zero");
  AtEveryFailure([] { SaveSource("DS1", "One"); },
                 [](bool failed, const std::string& where) {
                   const std::string seen = SeenSource("DS1");
                   if (!failed) {
                     EXPECT_EQ(seen, "One") << where;
                   }
                   EXPECT_TRUE(seen == "2306" || seen == "One") << where << ": " << seen;
                   EXPECT_EQ(SeenSource("DS0"), "Zero") << where;
                 });
}

}  // namespace
}  // namespace pv::ado
