// The example of docs/library.md: makes a group, fills it, finds a recipient and walks the group.
#include <pvgroupman/automation/error.h>
#include <pvgroupman/groups/groups.h>
#include <pvgroupman/support/settings.h>
#include <pvgroupman/tablestore/recipients.h>
#include <stdlib.h>

#include <cstdio>

using namespace pv;

int main() {
  char folder[] = "/tmp/pvgroupman-example-XXXXXX";
  if (mkdtemp(folder) == nullptr || setenv("PVGROUP_DATA", folder, 1) != 0) return 1;
  try {
    auto groups = automation::MakeObject<groups::Groups>();

    auto fields = automation::MakeObject<tablestore::FieldDefs>();
    fields->Add("Email", tablestore::PVFieldType::kText, 100, 0, false);
    fields->Add("Joined", tablestore::PVFieldType::kDate, 8, 0, false);
    auto indexes = automation::MakeObject<tablestore::IndexDefs>();
    indexes->Add("Email", "EMAIL", ".NOT. DELETED()", true, false);

    const std::string id = groups->CreateGroup("Customers", fields, indexes, "");
    groups->AddGroup(id, "Customers", groups::GroupType::kPvFormat, "", "", "");

    auto cursor = groups->OpenGroup(id);
    auto& recipients = static_cast<tablestore::Recipients&>(*cursor);
    for (const char* address : {"bert@example.org", "anna@example.org"}) {
      recipients.AddNew();
      recipients.GetFields()->Item("Email")->SetValue(address);
      recipients.GetFields()->Item("Joined")->SetValue(automation::Date{45351});
      recipients.Update();
    }
    if (recipients.SeekFirst("bert@example.org", "Email")) std::puts("found");
    for (bool more = recipients.MoveFirst(); more; more = recipients.MoveNext()) {
      std::puts(recipients.GetFields()->Item("Email")->GetValue().ToText().c_str());
    }
    const int count = groups->RecipientCount();
    groups->CloseGroup();
    std::printf("%d recipients\n", count);
    return count == 2 ? 0 : 1;
  } catch (const automation::Error& e) {
    std::fprintf(stderr, "%s: %s (%d)\n", e.source().c_str(), e.description().c_str(), e.number());
    return 1;
  }
}
