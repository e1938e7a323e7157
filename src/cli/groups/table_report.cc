// Reports on tables. Tested by tests/cli.
#include "cli/groups/table_report.h"

#include <rapidjson/prettywriter.h>

#include <cstdio>

#include "cli/fields/record.h"
#include "cli/groups/walk.h"
#include "cli/output/json_text.h"
#include "cli/output/output_stream.h"
#include "cli/output/terminal.h"

namespace pv::cli {
namespace {

// A table's data file may have this many bytes: locks lie beyond.
constexpr std::uint64_t kLargestDataFile = 0x77FFFFFE;

std::string PageText(int code_page) {
  return code_page == 0 ? "not marked" : std::to_string(code_page);
}

std::string TagText(const engine::TagInfo& tag) {
  std::string text = tag.expression;
  if (!tag.filter.empty()) text += "  for " + tag.filter;
  if (tag.unique) text += "  unique";
  if (tag.descending) text += "  descending";
  if (!tag.unusable.empty()) text += "  (" + tag.unusable + ")";
  return text;
}

void PrintLine(const std::string& name, const std::string& value) {
  std::printf("%-12s %s\n", name.c_str(), Harmless(value).c_str());
}

void PrintFile(const char* name, const std::string& path, std::uint64_t size) {
  if (!path.empty()) PrintLine(name, path + "  " + std::to_string(size) + " bytes");
}

void PrintForPeople(const engine::TableInfo& info,
                    const std::vector<std::pair<std::string, std::string>>& about,
                    const std::vector<RecordField>& fields, std::int64_t live) {
  for (const auto& [name, value] : about) PrintLine(name, value);
  PrintFile("data", info.data_file, info.data_size);
  PrintFile("index", info.index_file, info.index_size);
  PrintFile("memo", info.memo_file, info.memo_size);
  char version[8];
  std::snprintf(version, sizeof version, "0x%02X", info.version);
  PrintLine("version", version);
  PrintLine("code page", PageText(info.code_page));
  PrintLine("records", std::to_string(live) + " live, " + std::to_string(info.records - live) +
                           " deleted, " + std::to_string(info.record_length) + " bytes each");
  if (NearlyFull(info)) {
    PrintLine("warning", "the data file is over 90% of the largest size that it can have");
  }
  for (const RecordField& field : fields) {
    PrintLine(&field == fields.data() ? "fields" : "",
              field.name + "  " + DescribeShape(field.shape));
  }
  for (const engine::TagInfo& tag : info.tags) {
    PrintLine(&tag == info.tags.data() ? "tags" : "", tag.name + "  " + TagText(tag));
  }
}

template <typename Json>
void NamedText(Json* json, const char* name, const std::string& value) {
  JsonKey(json, name);
  JsonText(json, value);
}

template <typename Json>
void JsonFile(Json* json, const char* name, const std::string& path, std::uint64_t size) {
  if (path.empty()) return;
  JsonKey(json, name);
  json->StartObject();
  NamedText(json, "path", path);
  JsonKey(json, "size");
  json->Uint64(size);
  json->EndObject();
}

void PrintJson(const engine::TableInfo& info,
               const std::vector<std::pair<std::string, std::string>>& about,
               const std::vector<RecordField>& fields, std::int64_t live) {
  OutputStream out;
  rapidjson::PrettyWriter<OutputStream> json(out);
  json.SetIndent(' ', 2);
  json.StartObject();
  for (const auto& [name, value] : about) NamedText(&json, name.c_str(), value);
  JsonFile(&json, "data", info.data_file, info.data_size);
  JsonFile(&json, "index", info.index_file, info.index_size);
  JsonFile(&json, "memo", info.memo_file, info.memo_size);
  JsonKey(&json, "version");
  json.Int(info.version);
  JsonKey(&json, "code_page");
  json.Int(info.code_page);
  JsonKey(&json, "records");
  json.Int(info.records);
  JsonKey(&json, "live");
  json.Int64(live);
  JsonKey(&json, "record_length");
  json.Int(info.record_length);
  JsonKey(&json, "nearly_full");
  json.Bool(NearlyFull(info));
  JsonKey(&json, "fields");
  json.StartArray();
  for (const RecordField& field : fields) {
    json.StartObject();
    NamedText(&json, "name", field.name);
    NamedText(&json, "type", std::string(1, field.shape.type));
    JsonKey(&json, "length");
    json.Uint64(field.shape.length);
    JsonKey(&json, "decimals");
    json.Uint64(field.shape.decimals);
    json.EndObject();
  }
  json.EndArray();
  JsonKey(&json, "tags");
  json.StartArray();
  for (const engine::TagInfo& tag : info.tags) {
    json.StartObject();
    NamedText(&json, "name", tag.name);
    NamedText(&json, "expression", tag.expression);
    NamedText(&json, "filter", tag.filter);
    JsonKey(&json, "unique");
    json.Bool(tag.unique);
    JsonKey(&json, "descending");
    json.Bool(tag.descending);
    if (!tag.unusable.empty()) NamedText(&json, "unusable", tag.unusable);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  out.Put('\n');
  out.Finish();
}

}  // namespace

bool NearlyFull(const engine::TableInfo& info) {
  const auto records = static_cast<std::uint64_t>(info.records);
  const auto length = static_cast<std::uint64_t>(info.record_length);
  return records * length >= kLargestDataFile / 10 * 9;
}

ExitCode ReportTable(Table* table, const std::vector<std::pair<std::string, std::string>>& about,
                     bool json) {
  const engine::TableInfo info = engine::d4info(table->handle());
  const std::vector<RecordField> fields = FieldsOf(table->handle());
  const std::int64_t live = CountLive(table);
  if (json) {
    PrintJson(info, about, fields, live);
  } else {
    PrintForPeople(info, about, fields, live);
  }
  return kDone;
}

ExitCode VerifyTable(const Table& table, const std::string& name, bool json) {
  const engine::TableCheck check = engine::d4check(table.handle());
  if (json) {
    OutputStream out;
    rapidjson::PrettyWriter<OutputStream> writer(out);
    writer.SetIndent(' ', 2);
    writer.StartObject();
    NamedText(&writer, "name", name);
    JsonKey(&writer, "live");
    writer.Int64(check.live_records);
    JsonKey(&writer, "deleted");
    writer.Int64(check.deleted_records);
    JsonKey(&writer, "memo_bytes_used");
    writer.Uint64(check.memo_bytes_used);
    JsonKey(&writer, "memo_bytes_wasted");
    writer.Uint64(check.memo_bytes_wasted);
    JsonKey(&writer, "findings");
    writer.StartArray();
    for (const std::string& finding : check.findings) JsonText(&writer, finding);
    writer.EndArray();
    writer.EndObject();
    out.Put('\n');
    out.Finish();
  } else {
    for (const std::string& finding : check.findings) {
      std::printf("%s\n", Harmless(finding).c_str());
    }
    std::printf("%s: %s; %lld live and %lld deleted records", Harmless(name).c_str(),
                check.findings.empty() ? "sound" : "faults were found",
                static_cast<long long>(check.live_records),
                static_cast<long long>(check.deleted_records));
    if (check.memo_bytes_used + check.memo_bytes_wasted > 0) {
      std::printf("; %llu bytes of memos, %llu wasted",
                  static_cast<unsigned long long>(check.memo_bytes_used),
                  static_cast<unsigned long long>(check.memo_bytes_wasted));
    }
    std::printf("\n");
  }
  return check.findings.empty() ? kDone : kFindings;
}

}  // namespace pv::cli
