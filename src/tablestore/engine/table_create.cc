// Making the files of a new table. Tested by create_test.cc.
#include <algorithm>

#include "base/text.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

constexpr std::size_t kMaxTags = 47;  // what one directory page of ours always holds
constexpr std::size_t kExpressionPool = 512;

Result<std::vector<TagDefinition>> DefineTags(const std::vector<TagRecord>& tags,
                                              const RecordLayout& layout) {
  std::vector<TagDefinition> out;
  if (tags.size() > kMaxTags) {
    return Status(StatusCode::kLimit,
                  "a table can have " + std::to_string(kMaxTags) + " tags, not " +
                      std::to_string(tags.size()),
                  kErrTagLimit);
  }
  for (const TagRecord& t : tags) {
    const auto limit = [&t](const std::string& what) {
      return Status(StatusCode::kLimit, "tag " + t.name + ": " + what, kErrTagLimit);
    };
    TagDefinition d;
    d.name = ToUpper(t.name);
    const auto is_name = [](char c) {
      return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
             static_cast<unsigned char>(c) >= 0x80;
    };
    if (d.name.empty() || d.name.size() > kMaxNameLength) {
      return limit("a name has 1 to " + std::to_string(kMaxNameLength) + " characters");
    }
    if (!std::all_of(d.name.begin(), d.name.end(), is_name)) {
      return limit("a name has only letters, digits and underscores");
    }
    for (const TagDefinition& other : out) {
      if (other.name == d.name) return limit("the name is taken");
    }
    d.expression = t.expression;
    d.filter = t.filter;
    if (d.expression.size() + d.filter.size() + 2 > kExpressionPool) {
      return limit("expression and filter together can have " +
                   std::to_string(kExpressionPool - 2) + " characters");
    }
    const auto invalid = [&t](const Status& s) {
      return Status(s.code() == StatusCode::kLimit ? StatusCode::kLimit : StatusCode::kInvalid,
                    "tag " + t.name + ": " + s.message(),
                    s.code() == StatusCode::kLimit ? kErrTagLimit : kErrExpression);
    };
    auto expression = Expression::Compile(d.expression, layout);
    if (!expression.ok()) return invalid(expression.status());
    auto keys = KeyMaker::Create(std::move(*expression), 0);
    if (!keys.ok()) return invalid(keys.status());
    if (!d.filter.empty()) {
      auto filter = Expression::Compile(d.filter, layout);
      if (!filter.ok()) return invalid(filter.status());
      if ((*filter)->type() != ValueType::kLogical) {
        return invalid(Status::Invalid("the filter is not a logical expression"));
      }
    }
    d.unique = t.unique != 0;
    d.descending = t.descending != 0;
    d.nullable = keys->nullable();
    d.key_length = static_cast<std::uint16_t>(keys->key_length());
    d.fill_byte = keys->fill_byte();
    out.push_back(std::move(d));
  }
  return out;
}

}  // namespace

// The data file is made under a name of its own and renamed last: there is a whole table or none.
// The name's file, held exclusively, also keeps a second creator of the same table waiting.
Status Table::Create(Session* session, const std::string& path, const std::vector<NewField>& fields,
                     const std::vector<TagRecord>& tags, bool overwrite) {
  platform::FileSystem* const files = session->files();
  PV_ASSIGN_OR_RETURN(
      const std::string header,
      BuildDataHeader(fields, !tags.empty(), session->page->number(), session->Today()));
  PV_ASSIGN_OR_RETURN(const DataHeader parsed, ParseDataHeader(header, path, session->page));
  PV_ASSIGN_OR_RETURN(const auto definitions, DefineTags(tags, parsed.layout));

  const std::string base(platform::WithoutExtension(path));
  const std::string building = path + ".making";
  platform::OpenOptions options;
  options.create = platform::CreateMode::kOpenOrCreate;
  options.share = platform::ShareMode::kDenyAll;
  PV_ASSIGN_OR_RETURN(auto data, files->Open(building, options));

  Status s = [&]() -> Status {
    auto existing = platform::FindIgnoringCase(files, path);
    if (existing.ok()) {
      if (!overwrite) {
        return {StatusCode::kExists, path + " exists already", kErrFileExists};
      }
      platform::OpenOptions alone;
      alone.share = platform::ShareMode::kDenyAll;
      auto in_use = files->Open(*existing, alone);
      if (!in_use.ok()) return in_use.status();
      in_use->reset();
      PV_RETURN_IF_ERROR(files->Remove(*existing));
    } else if (existing.status().code() != StatusCode::kNotFound) {
      return existing.status();
    }
    // Companions without a data file are left from a creation that was interrupted, unless they
    // are those of a table with the other extension.
    for (const char* other : {".dbf", ".pvg"}) {
      if (EqualsIgnoreCase(platform::ExtensionOf(path), other)) continue;
      if (!platform::FindIgnoringCase(files, base + other).ok()) continue;
      for (const char* companion : {".cdx", ".fpt"}) {
        if (platform::FindIgnoringCase(files, base + companion).ok()) {
          return {StatusCode::kExists, base + companion + " belongs to another table",
                  kErrFileExists};
        }
      }
    }
    for (const char* companion : {".cdx", ".fpt"}) {
      if (auto left = platform::FindIgnoringCase(files, base + companion); left.ok()) {
        PV_RETURN_IF_ERROR(files->Remove(*left));
      }
    }
    options.create = platform::CreateMode::kCreateNew;
    if (!definitions.empty()) {
      PV_ASSIGN_OR_RETURN(auto index, files->Open(base + ".cdx", options));
      PV_RETURN_IF_ERROR(IndexFile::Create(index.get(), definitions));
      PV_RETURN_IF_ERROR(index->Sync());
    }
    if ((parsed.flags & kFlagMemo) != 0) {
      PV_ASSIGN_OR_RETURN(auto memo, files->Open(base + ".fpt", options));
      PV_RETURN_IF_ERROR(MemoFile::Create(memo.get(), kNewMemoBlockSize));
      PV_RETURN_IF_ERROR(memo->Sync());
    }
    PV_RETURN_IF_ERROR(data->Truncate(0));
    PV_RETURN_IF_ERROR(data->Write(0, header.data(), header.size()));
    return data->Sync();
  }();
  if (s.ok()) {
    // It is held until it has its name, or a second creator would take it for one left behind.
    // Where a file that is open cannot be renamed, it is closed for it.
    s = files->Rename(building, path);
    if (s.code() == StatusCode::kBusy || s.code() == StatusCode::kDenied) {
      data.reset();
      s = files->Rename(building, path);
    }
  }
  if (!s.ok() && !files->Remove(building).ok()) {
    data.reset();
    (void)files->Remove(building).ok();
  }
  data.reset();
  if (s.ok()) (void)files->SyncFolder(std::string(platform::FolderOf(path))).ok();
  return s;
}

}  // namespace pv::engine
