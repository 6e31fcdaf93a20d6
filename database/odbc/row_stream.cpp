#include "database/odbc/row_stream.h"

#include <algorithm>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "values/value_format.h"

namespace kelvorin::database::odbc {
namespace {

using values::TypeCode;
using values::Value;

constexpr std::size_t kBlockBytes = 256 * 1024;  // of all bound cells together
constexpr std::size_t kMostBlockRows = 500;
constexpr std::size_t kFewestPageRows = 200;
constexpr std::size_t kMostPageRows = 4000;
constexpr std::size_t kFirstMemoPageRows = 32;  // until the length of the memos is known
constexpr std::size_t kPageBytes = 2 * 1024 * 1024;

// Bytes of a cell that holds any ordinary value of the field, or 0 when there is no such limit.
std::size_t CellBytes(const database::FieldDef& field) {
  switch (field.Type) {
    case TypeCode::kText:
    case TypeCode::kChar:
      return static_cast<std::size_t>(field.Size) * 4 + 1;  // UTF-8 needs at most four per letter
    case TypeCode::kMemo:
      return 0;
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
      if (field.Size < 1) return 0;
      return static_cast<std::size_t>(field.Size) + 40;
    default:
      return 64;
  }
}

// Types of PostgreSQL that its driver hands out as the server writes them.
constexpr std::string_view kPlainTypes[] = {"int2",    "int4", "int8", "float4",  "float8",
                                            "numeric", "bool", "text", "varchar", "bpchar",
                                            "name",    "uuid", "xml",  "bytea",   "citext"};

// U+FDD0, which is no character and so begins no text.
constexpr std::string_view kHexMark = "\xEF\xB7\x90";

// What stands behind the mark, two digits a byte.
void DecodeHex(std::string_view digits, std::string& out) {
  const auto value = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
  out.clear();
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    out += static_cast<char>(value(digits[i]) << 4 | value(digits[i + 1]));
}

SQLPOINTER Number(std::size_t value) noexcept {
  return reinterpret_cast<SQLPOINTER>(value);
}

}  // namespace

RowStream::RowStream(Session& session, TableEntry table,
                     const std::vector<database::FieldDef>& fields)
    : session_(session),
      table_(std::move(table)),
      fields_(fields),
      what_("cannot read table '" + table_.shown + "'") {
  columns_.resize(fields_.size());
  PlanColumns(true);
}

void RowStream::PlanColumns(bool bind) {
  has_unbound_ = false;
  std::size_t row_bytes = 64;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    column.skipped = values::IsBinary(fields_[i].Type);
    column.cell_bytes = column.skipped ? 0 : CellBytes(fields_[i]);
    column.bound = bind && column.cell_bytes != 0 && KeepsLengths();
    has_unbound_ |= !column.bound && !column.skipped;
    if (column.bound) row_bytes += column.cell_bytes + sizeof(SQLLEN);
  }
  key_columns_.resize(key_.parts.size());
  for (std::size_t i = 0; i < key_columns_.size(); ++i) {
    key_columns_[i].bound = bind;
    key_columns_[i].cell_bytes = key_.parts[i].cell_bytes;
    row_bytes += key_columns_[i].cell_bytes + sizeof(SQLLEN);
  }
  // A column that is not bound can be read of the last row of a block only.
  block_rows_ =
      has_unbound_ ? 1 : std::clamp<std::size_t>(kBlockBytes / row_bytes, 1, kMostBlockRows);
  page_rows_ = has_unbound_ ? kFirstMemoPageRows
                            : std::clamp(kPageBytes / row_bytes, kFewestPageRows, kMostPageRows);
}

// Whether no value can be longer than its cell, or a row with one can be asked for again.
bool RowStream::KeepsLengths() const noexcept {
  const Server server = session_.facts().server;
  return server == Server::kPostgres || server == Server::kMariaDb || !key_.empty();
}

// SQLite writes a number's text with fewer digits than the number has, and its driver ends a text
// at its first character of code 0: such a text comes in hexadecimal digits behind a mark.
std::string RowStream::SqliteColumn(const database::FieldDef& field,
                                    const std::string& name) const {
  if (values::IsNumber(field.Type))
    // as few digits as bring the same number back: 15 by itself, else 16 or 17
    return "CASE WHEN typeof(" + name + ")<>'real' OR CAST(CAST(" + name +
           " AS TEXT) AS REAL)=" + name + " THEN " + name + " WHEN CAST(printf('%!.16g'," + name +
           ") AS REAL)=" + name + " THEN printf('%!.16g'," + name + ") ELSE printf('%!.17g'," +
           name + ") END";
  if (!values::IsText(field.Type)) return name;
  return "CASE WHEN typeof(" + name + ")='text' AND (instr(" + name + ",char(0))>0 OR substr(" +
         name + ",1,1)=char(64976)) THEN char(64976)||hex(" + name + ") ELSE " + name + " END";
}

std::vector<std::string> RowStream::TypesOf() const {
  std::vector<std::string> types;
  if (table_.query.empty()) {
    for (CatalogType& type : CatalogTypes(session_, table_)) types.push_back(std::move(type.name));
    return types;
  }
  // in the catalog's words, as far as the columns are asked for by them
  for (const std::string& type : QueryTypes(session_, table_, fields_.size()))
    types.push_back(type == "timestamp with time zone" ? "timestamptz"
                    : type == "character varying"      ? "varchar"
                    : type == "boolean"                ? "bool"
                    : type == "double precision"       ? "float8"
                                                       : type);
  return types;
}

std::vector<std::string> RowStream::BitColumns() const {
  std::vector<std::string> names;
  for (const auto& row : QueryRows(connection(),
                                   "SELECT COLUMN_NAME FROM information_schema.COLUMNS WHERE "
                                   "DATA_TYPE='bit' AND TABLE_SCHEMA=" +
                                       Literal(session_, session_.facts().current_catalog) +
                                       " AND TABLE_NAME=" + Literal(session_, table_.name),
                                   what_))
    names.push_back(row.front());
  return names;
}

// PostgreSQL's driver reads dates before the year 1 and endless ones as others, and a zone of the
// session's into what has one: their texts are the server's own. MariaDB's bit comes as a raw byte.
void RowStream::LearnColumns() {
  const Server server = session_.facts().server;
  std::vector<std::string> types;
  if (server == Server::kPostgres) types = TypesOf();
  std::vector<std::string> bits;
  if (server == Server::kMariaDb && table_.query.empty()) bits = BitColumns();
  selected_.clear();
  const std::string prefix = ColumnPrefix(session_, table_);
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    std::string& sql = selected_.emplace_back();
    if (columns_[i].skipped) continue;
    std::string name = prefix;
    AppendName(fields_[i].Name, session_.facts().dialect, name);
    sql = name;
    if (server == Server::kSqlite) {
      sql = SqliteColumn(fields_[i], name);
    } else if (server == Server::kMariaDb &&
               (fields_[i].Type == TypeCode::kBoolean ||
                std::find(bits.begin(), bits.end(), fields_[i].Name) != bits.end())) {
      sql = name + "+0";
    } else if (server == Server::kMariaDb && fields_[i].Type == TypeCode::kSingle) {
      sql = name + "+0e0";
    } else if (types.size() == fields_.size()) {
      const std::string& type = types[i];
      if (type == "money") {
        sql = name + "::numeric";
      } else if (type == "timestamptz") {
        sql = "(" + name + " AT TIME ZONE 'UTC')::text";
      } else if (std::find(std::begin(kPlainTypes), std::end(kPlainTypes), type) ==
                 std::end(kPlainTypes)) {
        sql = name + "::text";
      }
    }
  }
}

std::string RowStream::SelectText() const {
  std::string sql = "SELECT ";
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (i != 0) sql += ',';
    sql += selected_[i].empty() ? "NULL" : selected_[i];
  }
  sql += key_.Selected() + " FROM " + SqlName(session_, table_) + key_.hint;
  return key_.empty() ? sql : sql + key_.PageText(last_key_, page_rows_);
}

// Rows are read on a connection of their own, so that all of them are those of one moment, also
// when they are asked for again.
void RowStream::Connect() {
  const Server server = session_.facts().server;
  statement_ = Statement();
  if (server == Server::kPostgres && !own_connection_.open()) {
    own_connection_ = session_.OpenStream();
    own_connection_.SetAutocommit(false);
    Statement(own_connection_)
        .Execute("SET TRANSACTION ISOLATION LEVEL REPEATABLE READ READ ONLY", what_);
  }
  if (server == Server::kSqlite && !own_connection_.open() && !session_.Identity().empty()) {
    own_connection_ = session_.OpenStream();
    if (!table_.query.empty()) Statement(own_connection_).Execute("PRAGMA query_only=ON", what_);
    reads_.emplace(own_connection_, session_.Identity());
  }
  if (server == Server::kMariaDb && !own_connection_.open()) {
    own_connection_ = session_.OpenStream();
    Statement(own_connection_)
        .Execute("SET SESSION TRANSACTION ISOLATION LEVEL REPEATABLE READ", what_);
    Statement(own_connection_)
        .Execute("START TRANSACTION WITH CONSISTENT SNAPSHOT, READ ONLY", what_);
  }
  statement_ = Statement(connection());
}

void RowStream::Restart() {
  session_.RequireConnection();
  Connect();
  if (selected_.empty()) LearnColumns();
  key_ = FindPageKey(session_, connection(), table_, fields_);
  PlanColumns(true);
  last_key_.clear();
  rows_passed_ = 0;
  ended_ = false;
  Declare();
  Send();
}

// A cursor of our own: the driver's way of asking for a window crashes when the server goes away.
void RowStream::Declare() {
  if (session_.facts().server != Server::kPostgres) return;
  if (has_cursor_) statement_.Execute("CLOSE kelvorin_rows", what_);
  statement_.Execute("DECLARE kelvorin_rows NO SCROLL CURSOR FOR " + SelectText(), what_);
  has_cursor_ = true;
}

void RowStream::Bind(Column& column, SQLUSMALLINT place) {
  if (!column.bound) return;
  column.cells.resize(column.cell_bytes * block_rows_);
  column.sizes.resize(block_rows_);
  statement_.Check(SQLBindCol(statement_.get(), place, SQL_C_CHAR, column.cells.data(),
                              static_cast<SQLLEN>(column.cell_bytes), column.sizes.data()),
                   what_);
}

void RowStream::Send() {
  statement_.CloseCursor();
  SQLFreeStmt(statement_.get(), SQL_UNBIND);
  statement_.Check(
      SQLSetStmtAttr(statement_.get(), SQL_ATTR_ROW_ARRAY_SIZE, Number(block_rows_), 0), what_);
  statement_.Check(SQLSetStmtAttr(statement_.get(), SQL_ATTR_ROWS_FETCHED_PTR, &rows_in_block_, 0),
                   what_);
  statement_.Execute(
      has_cursor_ ? "FETCH " + std::to_string(page_rows_) + " FROM kelvorin_rows" : SelectText(),
      what_);
  for (std::size_t i = 0; i < columns_.size(); ++i)
    Bind(columns_[i], static_cast<SQLUSMALLINT>(i + 1));
  for (std::size_t i = 0; i < key_columns_.size(); ++i)
    Bind(key_columns_[i], static_cast<SQLUSMALLINT>(columns_.size() + i + 1));
  rows_in_block_ = 0;
  row_in_block_ = 0;
  rows_in_page_ = bytes_in_page_ = 0;
  unbound_loaded_ = false;
}

bool RowStream::FetchBlock() {
  row_in_block_ = 0;
  rows_in_block_ = 0;
  const auto waiting = statement_.Waits();
  const SQLRETURN result = SQLFetch(statement_.get());
  if (result == SQL_NO_DATA) return false;
  if (!Succeeded(result)) {
    Diagnosis diagnosis = Diagnose(SQL_HANDLE_STMT, statement_.get());
    if (session_.facts().server != Server::kPostgres) session_.Note(diagnosis);
    ThrowDiagnosis(what_, std::move(diagnosis));
  }
  return rows_in_block_ > 0;
}

bool RowStream::AnyCut() const {
  return std::any_of(columns_.begin(), columns_.end(), [&](const Column& column) {
    if (!column.bound) return false;
    for (SQLULEN row = 0; row < rows_in_block_; ++row) {
      const SQLLEN size = column.sizes[row];
      if (size == SQL_NO_TOTAL || size >= static_cast<SQLLEN>(column.cell_bytes)) return true;
    }
    return false;
  });
}

bool RowStream::Next() {
  unbound_loaded_ = false;
  if (row_in_block_ + 1 < rows_in_block_) {
    ++row_in_block_;
  } else {
    while (!FetchBlock()) {
      if (!Paged() || rows_in_page_ < page_rows_) {
        ended_ = true;
        return false;
      }
      if (has_unbound_)  // as many rows as are likely to fill a page
        page_rows_ = std::clamp<std::size_t>(
            kPageBytes * rows_in_page_ / std::max<std::size_t>(bytes_in_page_, 1), 1,
            kMostPageRows);
      Send();
    }
    if (AnyCut()) {
      // SQLite keeps to no declared length: the rows behind the last one passed are asked for anew,
      // without cells of fixed width.
      if (key_.empty())
        database::Throw(Code::kCorrupt, database::ErrorNumber::kOdbcCallFailed,
                        what_ + ": a value is longer than the server declared");
      PlanColumns(false);
      Send();
      return Next();
    }
  }
  ++rows_passed_;
  NoteKey();
  return true;
}

void RowStream::NoteKey() {
  if (!Paged()) return;
  ++rows_in_page_;
  if (has_unbound_) LoadUnbound();  // the page's size in bytes must be known
  last_key_.resize(key_columns_.size());
  for (std::size_t i = 0; i < key_columns_.size(); ++i) {
    if (!key_columns_[i].bound) {
      const auto place = static_cast<SQLUSMALLINT>(columns_.size() + i + 1);
      statement_.GetText(place, last_key_[i], what_);
    } else if (row_in_block_ + 1 == rows_in_block_) {
      last_key_[i] = CellText(key_columns_[i]);
    }
  }
}

void RowStream::LoadUnbound() {
  if (unbound_loaded_) return;
  unbound_loaded_ = true;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    if (column.bound || column.skipped) continue;
    column.is_null = !statement_.GetUtf8(static_cast<SQLUSMALLINT>(i + 1), column.text, what_);
    bytes_in_page_ += column.text.size() + 32;
  }
}

std::string_view RowStream::CellText(const Column& column) const noexcept {
  return {column.cells.data() + row_in_block_ * column.cell_bytes,
          static_cast<std::size_t>(column.sizes[row_in_block_])};
}

void RowStream::Read(std::size_t field, Value& out) {
  Column& column = columns_[field];
  out = Value::Null();
  if (column.skipped) return;
  std::string_view text;
  const TypeCode type = fields_[field].Type;
  if (column.bound) {
    if (column.sizes[row_in_block_] == SQL_NULL_DATA) return;
    text = CellText(column);
  } else {
    LoadUnbound();
    if (column.is_null) return;
    text = column.text;
  }
  if (values::IsText(type)) text = InAnsi(text, column);
  // What is no value of the type, or more than one, comes as the text it is.
  if (values::IsText(type) ||
      !values::ValueFormat::Neutral().Parse(text, type, out, column.scratch).ok() || out.IsNull() ||
      out.narrowed)
    out = Value::Text(text);
}

std::string_view RowStream::InAnsi(std::string_view text, Column& column) const {
  if (session_.facts().server == Server::kSqlite && text.starts_with(kHexMark)) {
    DecodeHex(text.substr(kHexMark.size()), column.decoded);
    text = column.decoded;
  }
  if (base::AnsiPage().is_utf8()) return text;
  column.scratch.clear();
  AppendAnsiText(text, column.scratch);
  return column.scratch;
}

}  // namespace kelvorin::database::odbc
