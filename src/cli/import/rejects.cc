// Writes rejected rows and reasons. Tested end to end by tests/cli.
#include "cli/import/rejects.h"

#include <algorithm>

#include "cli/failure.h"
#include "cli/output/listing.h"

namespace pv::cli {
namespace {

// What rejected files are named after: the source, or its source where it is such a file itself.
std::string StemOf(const std::string& source) {
  constexpr std::string_view kMiddle = ".rejected.";
  constexpr std::string_view kEnd = "csv";
  const std::size_t at = source.rfind(kMiddle);
  if (at == source.npos || at == 0) return source;
  std::string_view rest = std::string_view(source).substr(at + kMiddle.size());
  while (!rest.empty() && rest.front() >= '0' && rest.front() <= '9') rest.remove_prefix(1);
  if (!rest.empty() && rest.front() == '.') rest.remove_prefix(1);
  return rest == kEnd ? source.substr(0, at) : source;
}

}  // namespace

std::string ReasonsPathFor(const std::string& rows_path) {
  return std::string(platform::WithoutExtension(rows_path)) + ".reasons.csv";
}

std::string FreeRejectsPath(const std::string& stem) {
  for (int n = 1;; ++n) {
    const std::string path = stem + ".rejected" + (n == 1 ? "" : "." + std::to_string(n)) + ".csv";
    if (!PathExists(path) && !PathExists(ReasonsPathFor(path))) return path;
  }
}

Rejects::Rejects(const ImportSource& source, std::string path, bool replace)
    : source_(source), replace_(replace && !path.empty()) {
  if (path.empty()) {
    path = FreeRejectsPath(StemOf(source.stem()));
  } else if (source.is_file() && path == source.name()) {
    throw Failure(kUsage, "--rejects names the source itself");
  } else if (!replace && (PathExists(path) || PathExists(ReasonsPathFor(path)))) {
    throw Failure(kUsage, path + " or its reasons exist already; --yes replaces them");
  }
  rows_path_ = std::move(path);
  reasons_path_ = ReasonsPathFor(rows_path_);
}

void Rejects::Start(const RowReader& row) {
  rows_ = OutputStream::ToFile(rows_path_, replace_);
  reasons_ = OutputStream::ToFile(reasons_path_, replace_);
  if (source_.mark_size() > 0) rows_->Write(Take(source_.ReadOriginal(0, source_.mark_size())));
  rows_->Write(row.header_bytes());
  reasons_->Write("line,offset,reason\n");
}

void Rejects::Add(const RowReader& row, std::string_view reason) {
  if (rows_ == nullptr) Start(row);
  constexpr std::uint64_t kPiece = 1 << 20;
  for (std::uint64_t done = 0; done < row.size();) {
    const auto piece = static_cast<std::size_t>(std::min(kPiece, row.size() - done));
    const std::string bytes = Take(source_.ReadOriginal(row.offset() + done, piece));
    if (bytes.empty()) break;
    rows_->Write(bytes);
    done += bytes.size();
  }
  Cell cell;
  cell.text = reason;
  std::string line = std::to_string(row.line()) + "," + std::to_string(row.offset()) + ",";
  AppendCsvField(&line, cell, false);
  line += '\n';
  reasons_->Write(line);
}

void Rejects::Finish() {
  if (rows_ == nullptr) return;
  rows_->Finish();
  reasons_->Finish();
  rows_.reset();
  reasons_.reset();
}

}  // namespace pv::cli
