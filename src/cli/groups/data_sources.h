// Saved data sources by name or ID, and the passwords that stand outside of them.
#ifndef PV_CLI_GROUPS_DATA_SOURCES_H_
#define PV_CLI_GROUPS_DATA_SOURCES_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pvgroupman/ado/data_source.h"
#include "pvgroupman/automation/error.h"

namespace pv::cli {

// Reads the store when it is made. Every failure is a Failure.
class DataSources {
 public:
  DataSources();

  // In the order of their names.
  const std::vector<automation::Ref<ado::CDataSource>>& entries() const { return entries_; }

  // The source with this ID or name (an exact name counts before one in other letter case); an
  // empty reference when there is none.
  automation::Ref<ado::CDataSource> Find(std::string_view source) const;

  // The same, kUnavailable when there is none.
  automation::Ref<ado::CDataSource> Get(std::string_view source) const;

  // The source that has this connection string, or none.
  automation::Ref<ado::CDataSource> WithConnection(std::string_view connection) const;

  // A name that no source has: `wanted`, or that with a number behind it.
  std::string FreeName(const std::string& wanted) const;

 private:
  std::vector<automation::Ref<ado::CDataSource>> entries_;
};

// Whether a text is a connection string rather than the name of a source.
bool IsConnectionString(std::string_view text);

// kUsage for a connection string from the command line with a password in it: other users of the
// machine can see it there.
void RefusePassword(std::string_view connection);

// The password that WHERE names: "prompt" (asked for on the terminal), "env:NAME", or a file, of
// which the first line counts.
std::string PasswordFrom(const std::string& where);

// The connection string of a source, completed with the password that the user gives in
// PVGROUP_PASSWORD or the file of PVGROUP_PASSWORD_FILE when it has none.
std::string ConnectionToOpen(const ado::CDataSource& source);

// Throws the Failure for an error of a database.
[[noreturn]] void FailWithoutSecrets(const automation::Error& error, const std::string& connection);

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_DATA_SOURCES_H_
