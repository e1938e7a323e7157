// A walk over a result, block by block, into buffers that are used again: so a result of any size
// is read in constant memory.
#ifndef PV_PROVIDERS_ADODB_BLOCK_READER_H_
#define PV_PROVIDERS_ADODB_BLOCK_READER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "providers/adodb/columns.h"
#include "providers/adodb/server_cursor.h"
#include "providers/adodb/session.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

// Begins before the first row. What a value holds is decoded when it is asked for, and drivers that
// can give any value of a block by itself are asked for no column before somebody reads it: the
// first value of a column is fetched by itself, later blocks then have them all.
//
// Text and bytes of a length that no column description bounds are fetched up to kShortBytes; what
// is longer is asked for again by itself. Drivers that can do so for the last row that they
// fetched only (SQLite's), or do it wrongly for others (MariaDB's), give such results one row at a
// time.
class BlockReader {
 public:
  static constexpr std::size_t kMostRows = 256;
  static constexpr std::size_t kMostBytes = std::size_t{1} << 20;
  static constexpr std::size_t kShortBytes = 1024;

  // Takes over a statement that was executed and gives rows; of a cursor, those of its first page.
  static Result<std::unique_ptr<BlockReader>> Make(Statement statement,
                                                   const std::vector<Column>* columns,
                                                   std::unique_ptr<ServerCursor> cursor = nullptr);

  // For drivers that read whole results, however they are asked (MariaDB's): keeps the result of a
  // query in a temporary table of the server, from which it is read page by page. Fails when such
  // a table cannot be made.
  static Result<std::unique_ptr<BlockReader>> MakePaged(const std::shared_ptr<Session>& session,
                                                        std::string_view query,
                                                        const std::vector<Column>* columns);
  ~BlockReader();
  BlockReader(const BlockReader&) = delete;
  BlockReader& operator=(const BlockReader&) = delete;

  // Moves to the next row; false behind the last. A failure is answered again and again: a walk
  // that broke never looks like one that ended.
  Result<bool> Next();

  // A value of the current row.
  Result<automation::Value> Get(std::size_t column);

  // How many rows a block has.
  std::size_t block_rows() const { return block_rows_; }
  const Statement& statement() const { return statement_; }

 private:
  struct Buffer {
    SQLSMALLINT c_type = SQL_C_DEFAULT;
    std::size_t width = 0;  // bytes of one value
    std::vector<std::uint8_t> data;
    std::vector<SQLLEN> sizes;  // or SQL_NULL_DATA
    bool bound = true;
    bool bind_next = false;  // it was read: the next block has it
    std::vector<std::uint8_t> whole;
    bool whole_is_null = false;
    std::uint64_t whole_row = 0;  // of `rows_read_`
  };
  BlockReader(Statement statement, const std::vector<Column>* columns)
      : statement_(std::move(statement)), columns_(columns) {}
  void Arrange();
  Status Bind();
  Status BindColumn(std::size_t column);
  bool has_pages() const { return is_paged() || cursor_ != nullptr; }
  Status OpenPage();
  // The number of a column in the driver's result.
  SQLUSMALLINT NumberOf(std::size_t column) const {
    return static_cast<SQLUSMALLINT>(column + (is_paged() ? 2 : 1));
  }
  bool is_paged() const { return !page_table_.empty(); }
  Status Fetch();
  // A value by its bytes as the driver gave them.
  Result<automation::Value> Decoded(std::size_t column, const std::uint8_t* data,
                                    std::size_t bytes) const;
  // Fetches the whole of a value that is longer than its buffer or has none, once for each row:
  // drivers need not give it again.
  Status FetchWhole(std::size_t column, SQLLEN known_size);

  Statement statement_;
  const std::vector<Column>* columns_;
  std::vector<Buffer> buffers_;
  std::size_t block_rows_ = 1;
  SQLULEN fetched_ = 0;
  std::vector<SQLUSMALLINT> row_status_;
  std::size_t row_ = 0;  // in the block, from 1; 0 before the first
  std::uint64_t rows_read_ = 0;
  bool at_end_ = false;
  bool with_reports_ = false;
  bool bind_more_ = false;  // some column is to be bound before the next block
  Status failure_;
  Status row_failure_;
  std::unique_ptr<ServerCursor> cursor_;

  // Of a result in a temporary table, whose first column numbers its rows.
  std::string page_table_;
  std::vector<std::int64_t> page_numbers_;
  std::int64_t last_number_ = 0;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_BLOCK_READER_H_
