// Finds, makes and removes groups. Tested end to end by tests/cli.
#include "cli/groups/catalogue.h"

#include <algorithm>
#include <optional>

#include "base/text.h"
#include "cli/failure.h"
#include "cli/groups/address_books.h"
#include "cli/groups/address_tag.h"
#include "cli/paths.h"
#include "groups/catalogue.h"
#include "groups/group_id.h"
#include "platform/system.h"
#include "pvgroupman/ado/ado_group_properties.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/support/settings.h"
#include "support/application.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/settings_table.h"

namespace pv::cli {
namespace {

constexpr std::size_t kMaxGroupName = 240;  // of the catalogue's field

std::string WithSeparator(std::string folder) {
  if (!folder.empty() && folder.back() != '/' && folder.back() != '\\') folder += '/';
  return SystemPath(std::move(folder));
}

// Runs `work`, turning an error of the classes into a Failure.
template <typename Work>
void Guarded(const Work& work) {
  try {
    work();
  } catch (const automation::Error& error) {
    throw Failure(ExitCodeOf(error.number()), error.description());
  }
}

}  // namespace

Catalogue::Catalogue() { Load(); }

void Catalogue::Load() {
  Guarded([this] {
    data_folder_ = WithSeparator(automation::MakeObject<support::Settings>()->GetGroupDataFolder());
    groups_ = automation::MakeObject<groups::Groups>();
    const auto links = groups_->GetGroups();
    entries_.clear();
    for (std::int32_t i = 1; i <= links->Count(); ++i) {
      const auto link = links->Item(automation::Value(i));
      GroupEntry entry;
      entry.id = link->GetId();
      entry.name = link->GetName();
      entry.type = link->GetPvGroupType();
      entry.data_source_id = link->GetDataSourceId();
      entry.properties_id = link->GetPropertiesId();
      const std::string path(TrimBlanks(link->GetPath()));
      entry.own_folder = !path.empty();
      entry.folder = entry.own_folder ? WithSeparator(path) : data_folder_;
      entries_.push_back(std::move(entry));
    }
  });
}

const GroupEntry* Catalogue::Find(std::string_view group) const {
  const GroupEntry* found = nullptr;
  for (const GroupEntry& entry : entries_) {
    if (entry.name == group || EqualsIgnoreCase(entry.id, group)) return &entry;
  }
  for (const GroupEntry& entry : entries_) {
    if (!EqualsIgnoreCase(entry.name, group)) continue;
    if (found != nullptr) {
      throw Failure(kUsage, "both \"" + found->name + "\" and \"" + entry.name +
                                "\" may be meant by \"" + std::string(group) + "\"");
    }
    found = &entry;
  }
  return found;
}

const GroupEntry& Catalogue::Get(std::string_view group) const {
  const GroupEntry* entry = Find(group);
  if (entry == nullptr) {
    throw Failure(kUnavailable,
                  "there is no group \"" + std::string(group) + "\" in " + data_folder_);
  }
  return *entry;
}

const GroupEntry& Catalogue::GetNative(std::string_view group) const {
  const GroupEntry& entry = Get(group);
  if (entry.type != groups::GroupType::kPvFormat) {
    throw Failure(kUnavailable,
                  "group \"" + entry.name + "\" is kept elsewhere, not in a table of its own");
  }
  // A catalogue may come from anywhere: its IDs name files only when they cannot lead elsewhere.
  const std::string fault = groups::WhyNotInFileNames(entry.id);
  if (!fault.empty()) {
    throw Failure(kDamaged, "group \"" + entry.name + "\": the group ID " + fault);
  }
  return entry;
}

void Catalogue::CheckName(const std::string& name, const GroupEntry* except) const {
  if (TrimBlanks(name).empty()) throw Failure(kUsage, "a group's name cannot be blank");
  if (!IsValidUtf8(name)) throw Failure(kUsage, "the group's name is not valid UTF-8");
  for (const char c : name) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      throw Failure(kUsage, "a group's name cannot hold control characters");
    }
  }
  const Session session;
  if (!session.page()->CanEncode(name)) {
    throw Failure(kUsage, "the name \"" + name + "\" has characters that code page " +
                              std::to_string(session.page()->number()) + " lacks");
  }
  if (session.page()->Encode(name).size() > kMaxGroupName) {
    throw Failure(kUsage,
                  "a group's name can have " + std::to_string(kMaxGroupName) + " characters");
  }
  for (const GroupEntry& entry : entries_) {
    if (&entry != except && EqualsIgnoreCase(entry.name, name)) {
      throw Failure(kUsage, "there is a group \"" + entry.name + "\" already");
    }
  }
}

GroupEntry Catalogue::Create(const Session& session, const std::string& name,
                             const std::string& folder,
                             const std::vector<engine::FieldRecord>& fields,
                             const std::string& address_field) {
  CheckName(name, nullptr);
  GroupEntry entry;
  entry.name = name;
  entry.own_folder = !folder.empty();
  entry.folder = entry.own_folder ? WithSeparator(folder) : data_folder_;
  platform::FileSystem* files = platform::CurrentSystem().files;
  if (entry.own_folder) {
    const platform::FileInfo info = Take(files->Stat(folder));
    if (!info.is_directory) throw Failure(kUnavailable, folder + " is not a folder");
  }
  Guarded([&] {
    support::EnsureFolder(entry.folder);
    entry.id = support::NewIdentifier();
    if (entry.id.empty()) throw Failure(kUnavailable, "no new identifier can be made");
    Table::Create(session, entry.table_path(), fields, AddressTag(address_field))->Close();
    try {
      groups::WriteGroupName(entry.folder + entry.id, name);
      groups_->AddGroup(entry.id, name, groups::GroupType::kPvFormat, "", "",
                        entry.own_folder ? entry.folder : "");
    } catch (...) {
      for (const char* extension : {".pvg", ".cdx", ".fpt", ".dat"}) {
        (void)files->Remove(entry.folder + entry.id + extension).ok();
      }
      throw;
    }
  });
  entries_.push_back(entry);
  return entry;
}

void Catalogue::Rename(const GroupEntry& entry, const std::string& new_name) {
  CheckName(new_name, &entry);
  Guarded([&] { groups_->RenameGroup(entry.id, new_name); });
}

void Catalogue::Delete(const GroupEntry& entry) {
  Guarded([&] {
    // Only who has the table alone may delete it under everybody's feet.
    if (entry.type == groups::GroupType::kPvFormat && groups::WhyNotInFileNames(entry.id).empty() &&
        platform::CurrentSystem().files->Stat(entry.table_path()).ok()) {
      const Session session;
      session.IgnoreIndexes();
      try {
        Table(session, entry.table_path(), Access::kLocked).Close();
      } catch (const Failure& failure) {
        if (failure.code() != kDamaged) throw;
      }
    }
    groups_->DeleteGroup(entry.id);
    if (entry.type == groups::GroupType::kAddressBook) RemoveSettings(*this, entry);
    if (entry.type != groups::GroupType::kAdoRecordset || entry.properties_id.empty()) return;
    const bool shared = std::any_of(entries_.begin(), entries_.end(), [&](const auto& other) {
      return other.id != entry.id && other.type == entry.type &&
             other.properties_id == entry.properties_id;
    });
    if (shared) return;
    automation::MakeObject<ado::CADOGroupProperties>()->DeleteADOGroupProperties(
        entry.properties_id);
  });
}

void Catalogue::AddSql(const std::string& id, const std::string& name, const std::string& source_id,
                       const std::string& definition_id) {
  CheckName(name, nullptr);
  Guarded([&] {
    groups_->AddGroup(id, name, groups::GroupType::kAdoRecordset, source_id, definition_id, "");
  });
}

void Catalogue::SetSource(const GroupEntry& entry, const std::string& source_id) {
  Guarded([&] {
    const auto database = automation::MakeObject<tablestore::Database>();
    const auto rows =
        database->OpenTable(data_folder_, "groups.pvg", std::nullopt, std::string("ID"));
    if (!rows->SeekFirst(entry.id, "ID")) {
      throw Failure(kUnavailable, "group \"" + entry.name + "\" is gone");
    }
    tablestore::SetField(rows, "DSNID", source_id);
    rows->Update();
    rows->CloseTable();
  });
}

void Catalogue::Compact(const GroupEntry& entry) {
  Guarded([&] {
    std::optional<automation::Error> busy;
    WaitingForOthers([&]() -> std::int32_t {
      try {
        busy.reset();
        groups_->CompactGroup(entry.id);
        return engine::kSuccess;
      } catch (const automation::Error& error) {
        if (error.number() != engine::kErrFileBusy) throw;
        busy = error;
        return engine::kErrFileBusy;
      }
    });
    if (busy) throw *busy;
  });
}

}  // namespace pv::cli
