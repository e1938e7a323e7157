// Sniffs delimiter, quote character, line ends and header row. Tested by sniff_test.cc.
#include "cli/import/sniff.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "base/text.h"
#include "cli/fields/address.h"
#include "cli/fields/values.h"

namespace pv::cli {
namespace {

constexpr std::size_t kSampleRows = 200;

std::vector<std::vector<std::string>> SampleRows(std::string_view sample,
                                                 const CsvDialect& dialect) {
  MemorySource source(sample);
  CsvReader reader(&source, dialect);
  std::vector<std::vector<std::string>> rows;
  while (rows.size() < kSampleRows) {
    const Result<bool> more = reader.Next();
    if (!more.ok() || !*more) break;
    if (reader.fault() != RowFault::kNone) continue;
    rows.emplace_back(reader.fields().begin(), reader.fields().end());
  }
  return rows;
}

// How evenly and how far a delimiter cuts the rows: 0 when it cuts nothing.
double Score(const std::vector<std::vector<std::string>>& rows) {
  std::map<std::size_t, std::size_t> counts;
  for (const auto& row : rows) ++counts[row.size()];
  const auto most =
      std::max_element(counts.begin(), counts.end(),
                       [](const auto& a, const auto& b) { return a.second < b.second; });
  if (most == counts.end() || most->first < 2) return 0;
  const double share = static_cast<double>(most->second) / static_cast<double>(rows.size());
  return share * share * std::log2(static_cast<double>(most->first));
}

// Single quotes are taken for quotes only where there are no double ones and most fields that
// begin with one also end with one.
char SniffQuote(std::string_view sample, CsvDialect dialect) {
  if (sample.find('"') != sample.npos) return '"';
  dialect.quote = 0;
  std::size_t opened = 0, enclosed = 0;
  for (const auto& row : SampleRows(sample, dialect)) {
    for (const std::string& field : row) {
      if (field.empty() || field.front() != '\'') continue;
      ++opened;
      if (field.size() > 1 && field.back() == '\'') ++enclosed;
    }
  }
  return enclosed > 1 && enclosed * 2 > opened ? '\'' : '"';
}

// True when quotes stand behind a delimiter and blanks, and nowhere directly behind a delimiter.
// A doubled quote is text of a quoted field.
bool BlanksBeforeQuotes(std::string_view sample, const CsvDialect& dialect) {
  bool spaced = false;
  for (std::size_t at = sample.find(dialect.quote); at != sample.npos;
       at = sample.find(dialect.quote, at + 1)) {
    if (at + 1 < sample.size() && sample[at + 1] == dialect.quote) {
      ++at;
      continue;
    }
    std::size_t before = at;
    while (before > 0 && sample[before - 1] == ' ') --before;
    if (before == 0 || sample[before - 1] != dialect.delimiter) continue;
    if (before == at) return false;
    spaced = true;
  }
  return spaced;
}

bool LooksLikeData(std::string_view text) {
  text = TrimBlanks(text);
  if (text.find('@') != text.npos) return AddressFault(text) == nullptr;
  NumberShape number;
  return ReadNumber(text, '.', &number) || ReadNumber(text, ',', &number) ||
         ReadDateShape(text).orders != kNoOrder;
}

bool HasHeader(const std::vector<std::vector<std::string>>& rows) {
  if (rows.empty()) return true;
  const auto& first = rows.front();
  if (std::any_of(first.begin(), first.end(), LooksLikeData)) return false;
  return std::any_of(first.begin(), first.end(),
                     [](const std::string& f) { return !TrimBlanks(f).empty(); });
}

}  // namespace

SniffedDialect SniffDialect(std::string_view sample, const DialectHints& hints) {
  SniffedDialect found;
  CsvDialect& dialect = found.dialect;
  dialect.cr_only = sample.find('\n') == sample.npos && sample.find('\r') != sample.npos;
  if (hints.quote) dialect.quote = *hints.quote;
  if (hints.delimiter) {
    dialect.delimiter = *hints.delimiter;
  } else {
    double best = 0;
    CsvDialect trial = dialect;
    for (const char delimiter : {',', ';', '\t', '|'}) {
      trial.delimiter = delimiter;
      const double score = Score(SampleRows(sample, trial));
      if (score <= best) continue;
      best = score;
      dialect.delimiter = delimiter;
    }
  }
  if (!hints.quote) dialect.quote = SniffQuote(sample, dialect);
  dialect.trim_blanks = dialect.quote != 0 && BlanksBeforeQuotes(sample, dialect);
  found.has_header = hints.header ? *hints.header : HasHeader(SampleRows(sample, dialect));
  return found;
}

}  // namespace pv::cli
