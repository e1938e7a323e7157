// Fetches and decodes blocks of rows. Tested by recordset_test.cc and database_walk_test.cc.
#include "providers/adodb/block_reader.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "providers/adodb/error_numbers.h"
#include "providers/adodb/moments.h"

namespace pv::adodb {
namespace {

using automation::Value;

// The longest text, in bytes of UTF-16, that is bound whole because the column bounds it.
constexpr std::size_t kBoundBytes = 8192;
constexpr std::size_t kDecimalBytes = 64;

// The column that numbers the rows of a temporary table.
constexpr const char* kPageNumber = "pv_row_number";

template <typename T>
T Load(const std::uint8_t* from) {
  T value;
  std::memcpy(&value, from, sizeof(T));
  return value;
}

Value IntegerValue(std::int64_t number) {
  if (number >= INT32_MIN && number <= INT32_MAX) return Value(static_cast<std::int32_t>(number));
  constexpr std::int64_t kExact = std::int64_t{1} << 53;
  if (number >= -kExact && number <= kExact) return Value(static_cast<double>(number));
  return Value(std::to_string(number));
}

Value IntegerOfDigits(std::string_view digits) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error == std::errc() && end == digits.data() + digits.size()) return IntegerValue(number);
  return Value(std::string(digits));
}

// Bytes of the zero that a driver writes behind text.
std::size_t EndBytes(SQLSMALLINT c_type) {
  return c_type == SQL_C_WCHAR ? sizeof(SQLWCHAR) : c_type == SQL_C_CHAR ? 1 : 0;
}

// Bytes of a value whose length the column bounds; 0 when it does not.
std::size_t BoundOf(const Column& column, Dialect dialect) {
  if (column.is_long || column.size == 0 || dialect == Dialect::kSqlite) return 0;
  // A character may take two units, and text ends in a zero.
  const SQLULEN bytes = column.kind == Kind::kText ? column.size * 4 + 2 : column.size;
  return bytes <= kBoundBytes ? static_cast<std::size_t>(bytes) : 0;
}

}  // namespace

Result<std::unique_ptr<BlockReader>> BlockReader::Make(Statement statement,
                                                       const std::vector<Column>* columns,
                                                       std::unique_ptr<ServerCursor> cursor) {
  std::unique_ptr<BlockReader> reader(new BlockReader(std::move(statement), columns));
  reader->cursor_ = std::move(cursor);
  reader->Arrange();
  PV_RETURN_IF_ERROR(reader->Bind());
  return reader;
}

Result<std::unique_ptr<BlockReader>> BlockReader::MakePaged(const std::shared_ptr<Session>& session,
                                                            std::string_view query,
                                                            const std::vector<Column>* columns) {
  PV_ASSIGN_OR_RETURN(Statement statement, Statement::Make(session));
  const std::string table = session->NewTemporaryName();
  // Rows are numbered in the order in which the query gives them.
  PV_RETURN_IF_ERROR(statement.ExecuteDirect(
      "CREATE TEMPORARY TABLE " + table + " (" + kPageNumber +
      " BIGINT NOT NULL AUTO_INCREMENT PRIMARY KEY) " + std::string(query)));
  std::unique_ptr<BlockReader> reader(new BlockReader(std::move(statement), columns));
  reader->page_table_ = table;
  reader->Arrange();
  PV_RETURN_IF_ERROR(reader->OpenPage());
  return reader;
}

BlockReader::~BlockReader() {
  if (!is_paged() || !statement_) return;
  const std::shared_ptr<Session> session = statement_.session();
  statement_.Free();
  Result<Statement> drop = Statement::Make(session);
  // A table that cannot be dropped goes with the connection.
  if (drop.ok()) (void)drop->ExecuteDirect("DROP TEMPORARY TABLE " + page_table_).ok();
}

Status BlockReader::OpenPage() {
  if (cursor_) return cursor_->OpenPage(&statement_);
  const std::shared_ptr<Session> session = statement_.session();
  PV_ASSIGN_OR_RETURN(statement_, Statement::Make(session));
  PV_RETURN_IF_ERROR(statement_.ExecuteDirect("SELECT * FROM " + page_table_ + " WHERE " +
                                              kPageNumber + " > " + std::to_string(last_number_) +
                                              " ORDER BY " + kPageNumber + " LIMIT " +
                                              std::to_string(Session::kServerRows)));
  return Bind();
}

// Decides how each column is fetched, and how many rows a block has.
void BlockReader::Arrange() {
  const Session& session = *statement_.session();
  bool one_by_one = session.dialect() == Dialect::kSqlite;
  std::size_t row_bytes = 0;
  for (const Column& column : *columns_) {
    Buffer buffer;
    switch (column.kind) {
      case Kind::kInteger: {
        const bool wide = column.sql_type == SQL_BIGINT || column.ado_type == 19 ||
                          session.dialect() == Dialect::kSqlite;
        const bool digits = column.ado_type == 21;  // unsigned, 64 bits
        buffer.c_type = digits ? SQL_C_CHAR : wide ? SQL_C_SBIGINT : SQL_C_SLONG;
        buffer.width = digits ? 32 : wide ? 8 : 4;
        break;
      }
      case Kind::kDouble:
        buffer.c_type = SQL_C_DOUBLE;
        buffer.width = 8;
        break;
      case Kind::kDecimal:
        buffer.c_type = SQL_C_CHAR;
        buffer.width = kDecimalBytes;
        break;
      case Kind::kBoolean:
        buffer.c_type = SQL_C_BIT;
        buffer.width = 1;
        break;
      case Kind::kDate:
      case Kind::kDateTime:
        buffer.c_type = SQL_C_TYPE_TIMESTAMP;
        buffer.width = sizeof(SQL_TIMESTAMP_STRUCT);
        break;
      case Kind::kTime:
        buffer.c_type = SQL_C_TYPE_TIME;
        buffer.width = sizeof(SQL_TIME_STRUCT);
        break;
      case Kind::kText:
      case Kind::kBytes: {
        const std::size_t bound = BoundOf(column, session.dialect());
        buffer.c_type = column.kind == Kind::kBytes ? SQL_C_BINARY
                        : session.gives_utf8()      ? SQL_C_CHAR
                                                    : SQL_C_WCHAR;
        buffer.width = bound != 0 && (bound <= kShortBytes || !session.can_reread_blocks())
                           ? bound
                           : kShortBytes;
        if (bound == 0 && !session.can_reread_blocks()) {
          one_by_one = true;
          // Of values cut at their buffer's end other drivers need not tell the length.
          if (!session.can_bind_late()) buffer.bound = false;
        }
        break;
      }
    }
    if (session.can_bind_late()) buffer.bound = false;
    row_bytes += buffer.width + sizeof(SQLLEN);
    buffers_.push_back(std::move(buffer));
  }
  if (!one_by_one) {
    block_rows_ =
        std::clamp<std::size_t>(kMostBytes / std::max<std::size_t>(row_bytes, 1), 1, kMostRows);
  }
  row_status_.resize(block_rows_);
  page_numbers_.resize(is_paged() ? block_rows_ : 0);
}

Status BlockReader::Bind() {
  if (block_rows_ > 1) {
    PV_RETURN_IF_ERROR(statement_.SetAttribute(SQL_ATTR_ROW_ARRAY_SIZE, AsPointer(block_rows_)));
  }
  PV_RETURN_IF_ERROR(statement_.SetAttribute(SQL_ATTR_ROWS_FETCHED_PTR, &fetched_));
  PV_RETURN_IF_ERROR(statement_.SetAttribute(SQL_ATTR_ROW_STATUS_PTR, row_status_.data()));
  if (is_paged()) {
    PV_RETURN_IF_ERROR(statement_.Check(
        ::SQLBindCol(statement_.handle(), 1, SQL_C_SBIGINT, page_numbers_.data(), 0, nullptr)));
  }
  for (std::size_t i = 0; i < buffers_.size(); ++i) {
    if (buffers_[i].bound) PV_RETURN_IF_ERROR(BindColumn(i));
  }
  return Status::Ok();
}

Status BlockReader::BindColumn(std::size_t column) {
  Buffer& buffer = buffers_[column];
  buffer.data.resize(buffer.width * block_rows_);
  buffer.sizes.resize(block_rows_);
  return statement_.Check(::SQLBindCol(statement_.handle(), NumberOf(column), buffer.c_type,
                                       buffer.data.data(), static_cast<SQLLEN>(buffer.width),
                                       buffer.sizes.data()));
}

Status BlockReader::Fetch() {
  fetched_ = 0;
  row_ = 0;
  if (bind_more_) {
    bind_more_ = false;
    for (std::size_t i = 0; i < buffers_.size(); ++i) {
      if (!buffers_[i].bind_next) continue;
      buffers_[i].bind_next = false;
      buffers_[i].bound = true;
      PV_RETURN_IF_ERROR(BindColumn(i));
    }
  }
  if (statement_.session()->dialect() == Dialect::kMariaDb) {
    // Its driver leaves the sizes of some types alone where there is a value.
    for (Buffer& buffer : buffers_) std::fill(buffer.sizes.begin(), buffer.sizes.end(), 0);
  }
  SQLRETURN code = ::SQLFetchScroll(statement_.handle(), SQL_FETCH_NEXT, 0);
  if (code == SQL_NO_DATA && has_pages()) {
    PV_RETURN_IF_ERROR(OpenPage());
    code = ::SQLFetchScroll(statement_.handle(), SQL_FETCH_NEXT, 0);
  }
  if (code == SQL_NO_DATA) {
    at_end_ = true;
    cursor_.reset();
    return Status::Ok();
  }
  // Drivers that fetch one row need not say so.
  if (block_rows_ == 1 && SQL_SUCCEEDED(code)) fetched_ = 1;
  if (fetched_ > block_rows_) fetched_ = block_rows_;
  if (is_paged() && SQL_SUCCEEDED(code) && fetched_ > 0) {
    last_number_ = page_numbers_[fetched_ - 1];
  }
  if (code == SQL_SUCCESS_WITH_INFO) {
    // Cut values are no matter; a row that could not be read is.
    const auto end = row_status_.begin() + static_cast<std::ptrdiff_t>(fetched_);
    with_reports_ = block_rows_ > 1 && std::find(row_status_.begin(), end, SQL_ROW_ERROR) != end;
    if (with_reports_)
      row_failure_ = statement_.session()->Fail(SQL_HANDLE_STMT, statement_.handle());
  } else {
    with_reports_ = false;
  }
  return statement_.Check(code);
}

Result<bool> BlockReader::Next() {
  if (!failure_.ok()) return failure_;
  if (at_end_) return false;
  if (row_ >= fetched_) {
    failure_ = Fetch();
    if (!failure_.ok()) return failure_;
    if (at_end_ || fetched_ == 0) {
      at_end_ = true;
      return false;
    }
  }
  ++row_;
  ++rows_read_;
  if (with_reports_ && row_status_[row_ - 1] == SQL_ROW_ERROR) {
    failure_ = row_failure_;
    return failure_;
  }
  return true;
}

Result<Value> BlockReader::Get(std::size_t column) {
  Buffer& buffer = buffers_[column];
  SQLLEN size = 0;
  if (buffer.bound) {
    size = buffer.sizes[row_ - 1];
    if (size == SQL_NULL_DATA) return Value::Null();
    const bool fixed = EndBytes(buffer.c_type) == 0 && buffer.c_type != SQL_C_BINARY;
    const auto bytes = static_cast<std::size_t>(size);
    if (fixed || (size != SQL_NO_TOTAL && bytes + EndBytes(buffer.c_type) <= buffer.width)) {
      return Decoded(column, buffer.data.data() + buffer.width * (row_ - 1), bytes);
    }
  } else if (statement_.session()->can_bind_late()) {
    buffer.bind_next = true;
    bind_more_ = true;
  }
  PV_RETURN_IF_ERROR(FetchWhole(column, size));
  if (buffer.whole_is_null) return Value::Null();
  return Decoded(column, buffer.whole.data(), buffer.whole.size());
}

Result<Value> BlockReader::Decoded(std::size_t column, const std::uint8_t* data,
                                   std::size_t bytes) const {
  const Column& described = (*columns_)[column];
  switch (buffers_[column].c_type) {
    case SQL_C_SLONG:
      return Value(Load<std::int32_t>(data));
    case SQL_C_SBIGINT:
      return IntegerValue(Load<std::int64_t>(data));
    case SQL_C_DOUBLE:
      return Value(Load<double>(data));
    case SQL_C_BIT:
      return Value(*data != 0);
    case SQL_C_TYPE_TIMESTAMP: {
      const auto date = DateFromOdbc(Load<SQL_TIMESTAMP_STRUCT>(data));
      if (!date) {
        return Status(StatusCode::kInvalid,
                      described.name + " holds no date of the years 100 to 9999", kErrConversion);
      }
      return Value(*date);
    }
    case SQL_C_TYPE_TIME: {
      const auto time = Load<SQL_TIME_STRUCT>(data);
      const auto date = DateFromOdbc({1899, 12, 30, time.hour, time.minute, time.second, 0});
      if (!date) {
        return Status(StatusCode::kInvalid, described.name + " holds no time of a day",
                      kErrConversion);
      }
      return Value(*date);
    }
    case SQL_C_BINARY:
      return Value(automation::Bytes(data, data + bytes));
    case SQL_C_WCHAR:
      return Value(FromWide(reinterpret_cast<const SQLWCHAR*>(data), bytes / sizeof(SQLWCHAR)));
    default:
      break;
  }
  const std::string_view text(reinterpret_cast<const char*>(data), bytes);
  if (described.kind == Kind::kText) {
    // What is not UTF-8 can be stored, but nobody could take it.
    if (!IsValidUtf8(text)) return Value(Utf8FromUtf16(Utf16FromUtf8(text)));
    return Value(text);
  }
  if (described.ado_type == kAdoCurrency) return DecimalValue(DigitsOfMoney(text));
  return described.kind == Kind::kInteger ? IntegerOfDigits(text) : DecimalValue(text);
}

Status BlockReader::FetchWhole(std::size_t column, SQLLEN known_size) {
  Buffer& buffer = buffers_[column];
  if (buffer.whole_row == rows_read_) return Status::Ok();
  const auto number = NumberOf(column);
  if (block_rows_ > 1) {
    if (!statement_.session()->can_reread_blocks()) {
      return Status(StatusCode::kInvalid,
                    (*columns_)[column].name + " is longer than its description says",
                    kErrConversion);
    }
    PV_RETURN_IF_ERROR(
        statement_.Check(::SQLSetPos(statement_.handle(), row_, SQL_POSITION, SQL_LOCK_NO_CHANGE)));
  }
  const std::size_t end = EndBytes(buffer.c_type);
  const std::size_t known = known_size > 0 ? static_cast<std::size_t>(known_size) : 0;
  std::vector<std::uint8_t>& whole = buffer.whole;
  whole.resize(std::max(known + end, std::size_t{4096}));
  buffer.whole_is_null = false;
  std::size_t have = 0;
  for (;;) {
    SQLLEN size = 0;
    const SQLRETURN code =
        ::SQLGetData(statement_.handle(), number, buffer.c_type, whole.data() + have,
                     static_cast<SQLLEN>(whole.size() - have), &size);
    if (code == SQL_NO_DATA) break;
    PV_RETURN_IF_ERROR(statement_.Check(code));
    if (size == SQL_NULL_DATA) {
      buffer.whole_is_null = true;
      break;
    }
    const std::size_t room = whole.size() - have - end;
    if (size != SQL_NO_TOTAL && static_cast<std::size_t>(size) <= room) {
      have += static_cast<std::size_t>(size);
      break;
    }
    // The rest comes with the next call.
    have += room;
    whole.resize(size == SQL_NO_TOTAL ? whole.size() * 2
                                      : have + static_cast<std::size_t>(size) - room + end);
  }
  whole.resize(have);
  buffer.whole_row = rows_read_;
  return Status::Ok();
}

}  // namespace pv::adodb
