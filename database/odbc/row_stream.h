#pragma once
// The rows of one table, forward and with bounded memory where the driver allows it: PostgreSQL
// hands out pages of a cursor, SQLite pages along its row numbers; other drivers keep the result
// themselves. Used by this room's record set alone.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "database/odbc/catalog.h"
#include "database/odbc/page_key.h"
#include "database/odbc/session.h"
#include "database/odbc/sqlite_reads.h"
#include "database/table_def.h"
#include "values/value.h"

namespace kelvorin::database::odbc {

class RowStream {
 public:
  /// Reads nothing yet. `session` and `fields` outlive the stream.
  RowStream(Session& session, TableEntry table, const std::vector<database::FieldDef>& fields);

  /// For the connection that rows come from, where it is open already.
  void StopWhen(Waiting::Stop stop) { own_connection_.StopWhen(std::move(stop)); }
  /// Goes in front of the first row and asks for the rows anew.
  void Restart();
  /// On to the next row; false behind the last one.
  bool Next();
  /// Rows passed since the start, the current one included.
  std::int64_t rows_passed() const noexcept { return rows_passed_; }
  /// Whether `Next` came behind the last row; there is no current row then.
  bool ended() const noexcept { return ended_; }
  /// A field of the current row. What is no value of the field's type comes as the text it is, so
  /// that nothing a server stores is lost. Binary fields read Null. The text lives until `Next` or
  /// the next reading of the same field.
  void Read(std::size_t field, values::Value& out);

 private:
  struct Column {
    bool skipped = false;        // binary: never asked for
    bool bound = false;          // fetched in blocks into `cells`
    std::size_t cell_bytes = 0;  // width of one cell, terminator included
    std::vector<char> cells;
    std::vector<SQLLEN> sizes;  // bytes in each cell, or SQL_NULL_DATA
    std::string text;           // value of the current row when it is not bound
    bool is_null = false;
    std::string scratch;  // digits or converted text of the value handed out
    std::string decoded;  // a text that came in hexadecimal digits
  };

  void PlanColumns(bool bind);
  void Bind(Column& column, SQLUSMALLINT place);
  void LearnColumns();
  std::vector<std::string> TypesOf() const;
  std::vector<std::string> BitColumns() const;
  std::string SqliteColumn(const database::FieldDef& field, const std::string& name) const;
  void Connect();
  const Connection& connection() const noexcept {
    return own_connection_.open() ? own_connection_ : session_.connection();
  }
  bool KeepsLengths() const noexcept;
  std::string_view InAnsi(std::string_view text, Column& column) const;
  std::string SelectText() const;
  void Declare();
  bool Paged() const noexcept { return has_cursor_ || !key_.empty(); }
  void Send();
  bool FetchBlock();
  void NoteKey();
  bool AnyCut() const;
  void LoadUnbound();
  std::string_view CellText(const Column& column) const noexcept;

  Session& session_;
  TableEntry table_;
  const std::vector<database::FieldDef>& fields_;
  std::string what_;
  Connection own_connection_;          // where the cursor or the reading transaction lives
  std::optional<SqliteReads> reads_;   // on it; goes first
  std::vector<std::string> selected_;  // how each column is asked for; empty: not at all
  Statement statement_;
  std::vector<Column> columns_;
  bool has_unbound_ = false;
  bool unbound_loaded_ = false;
  std::size_t block_rows_ = 1;
  SQLULEN rows_in_block_ = 0;
  std::size_t row_in_block_ = 0;
  std::int64_t rows_passed_ = 0;
  bool ended_ = false;

  bool has_cursor_ = false;  // PostgreSQL: pages are asked of it
  PageKey key_;              // empty without a cursor: one statement reads it all
  std::vector<Column> key_columns_;
  std::vector<std::string> last_key_;  // of the page's last row; empty before the first page
  std::size_t page_rows_ = 0;
  std::size_t rows_in_page_ = 0;
  std::size_t bytes_in_page_ = 0;
};

}  // namespace kelvorin::database::odbc
