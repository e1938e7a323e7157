// Data sources. Tested by tests/cli.
#include "cli/groups/data_sources.h"

#include <algorithm>
#include <array>

#include "ado/secrets.h"
#include "base/text.h"
#include "cli/failure.h"
#include "cli/output/terminal.h"
#include "platform/system.h"

namespace pv::cli {

using ado::CDataSource;
using automation::Ref;

namespace {

constexpr std::uint64_t kLargestPasswordFile = 64 * 1024;

std::string FirstLineOf(const std::string& file) {
  std::string text =
      Take(platform::ReadWholeFile(platform::CurrentSystem().files, file, kLargestPasswordFile));
  text.resize(std::min(text.find_first_of("\r\n"), text.size()));
  return text;
}

}  // namespace

DataSources::DataSources() {
  try {
    auto list = automation::MakeObject<ado::CDataSources>();
    automation::MakeObject<CDataSource>()->GetDataSources(list);
    for (std::int32_t i = 1; i <= list->Count(); ++i) entries_.push_back(list->Item(i));
  } catch (const automation::Error& error) {
    throw Failure(ExitCodeOf(error.number()), error.description());
  }
  std::stable_sort(entries_.begin(), entries_.end(), [](const auto& a, const auto& b) {
    return ToLower(a->GetName()) < ToLower(b->GetName());
  });
}

Ref<CDataSource> DataSources::Find(std::string_view source) const {
  for (const auto& entry : entries_) {
    if (entry->GetName() == source || EqualsIgnoreCase(entry->GetId(), source)) return entry;
  }
  Ref<CDataSource> found;
  for (const auto& entry : entries_) {
    if (!EqualsIgnoreCase(entry->GetName(), source)) continue;
    if (found) {
      throw Failure(kUsage, "both \"" + found->GetName() + "\" and \"" + entry->GetName() +
                                "\" may be meant by \"" + std::string(source) + "\"");
    }
    found = entry;
  }
  return found;
}

Ref<CDataSource> DataSources::Get(std::string_view source) const {
  const Ref<CDataSource> found = Find(source);
  if (!found) {
    throw Failure(kUnavailable, "there is no data source \"" + std::string(source) + "\"");
  }
  return found;
}

Ref<CDataSource> DataSources::WithConnection(std::string_view connection) const {
  for (const auto& entry : entries_) {
    if (entry->GetConnectionString() == connection) return entry;
  }
  return {};
}

std::string DataSources::FreeName(const std::string& wanted) const {
  std::string name = wanted;
  const auto taken = [&] {
    return std::any_of(entries_.begin(), entries_.end(),
                       [&](const auto& entry) { return EqualsIgnoreCase(entry->GetName(), name); });
  };
  for (int n = 2; taken(); ++n) name = wanted + " " + std::to_string(n);
  return name;
}

bool IsConnectionString(std::string_view text) { return text.find('=') != text.npos; }

void RefusePassword(std::string_view connection) {
  for (const ado::ConnectionPart& part : ado::ConnectionParts(connection)) {
    if (!ado::IsPasswordKey(part.key) || part.value.empty()) continue;
    throw Failure(kUsage,
                  "a password on the command line can be seen by every user of this machine: "
                  "give it with --password-from");
  }
}

std::string PasswordFrom(const std::string& where) {
  constexpr std::string_view kVariable = "env:";
  if (where == "prompt") {
    if (!InputIsTerminal() || !ErrorsAreTerminal()) {
      throw Failure(kUsage, "there is no terminal to ask for a password on");
    }
    return AskSecret("Password: ");
  }
  if (where.compare(0, kVariable.size(), kVariable) == 0) {
    const std::string name = where.substr(kVariable.size());
    const auto value = platform::CurrentSystem().process->Environment(name);
    if (!value) throw Failure(kUsage, "the environment has no variable " + name);
    return *value;
  }
  return FirstLineOf(where);
}

std::string ConnectionToOpen(const CDataSource& source) {
  std::string connection = source.GetConnectionString();
  for (const ado::ConnectionPart& part : ado::ConnectionParts(connection)) {
    if (ado::IsPasswordKey(part.key) && !part.value.empty()) return connection;
  }
  platform::Process* process = platform::CurrentSystem().process;
  if (const auto password = process->Environment("PVGROUP_PASSWORD")) {
    return ado::WithPassword(connection, *password);
  }
  if (const auto file = process->Environment("PVGROUP_PASSWORD_FILE")) {
    return ado::WithPassword(connection, FirstLineOf(*file));
  }
  return connection;
}

void FailWithoutSecrets(const automation::Error& error, const std::string& connection) {
  throw Failure(kUnavailable, ado::WithoutSecrets(error.description(), connection));
}

}  // namespace pv::cli
