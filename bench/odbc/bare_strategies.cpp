#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/odbc/records.h"
#include "bench/odbc/strategies_to_try.h"
#include "database/odbc/side_table.h"

namespace kelvorin::bench {
namespace {

SQLCHAR* Chars(const std::string& text) {
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.data()));
}
SQLPOINTER Number(std::size_t value) {
  return reinterpret_cast<SQLPOINTER>(value);
}

class Bare {
 public:
  explicit Bare(const std::string& connect) {
    SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &environment_);
    SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, Number(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_);
    Require(SQLDriverConnect(connection_, nullptr, Chars(connect), SQL_NTS, nullptr, 0, nullptr,
                             SQL_DRIVER_NOPROMPT),
            SQL_HANDLE_DBC, connection_);
    SQLAllocHandle(SQL_HANDLE_STMT, connection_, &statement_);
  }
  ~Bare() {
    SQLFreeHandle(SQL_HANDLE_STMT, statement_);
    SQLDisconnect(connection_);
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
  }
  void Autocommit(bool on) {
    SQLSetConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT, Number(on ? 1 : 0), 0);
  }
  void Commit() { SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_COMMIT); }
  void Send(const std::string& sql) {
    SQLFreeStmt(statement_, SQL_CLOSE);
    Require(SQLExecDirect(statement_, Chars(sql), static_cast<SQLINTEGER>(sql.size())),
            SQL_HANDLE_STMT, statement_);
  }
  void Require(SQLRETURN result, SQLSMALLINT type, SQLHANDLE handle) {
    if (result == SQL_SUCCESS || result == SQL_SUCCESS_WITH_INFO || result == SQL_NO_DATA) return;
    SQLCHAR state[6], text[1000];
    SQLINTEGER number = 0;
    SQLSMALLINT size = 0;
    SQLGetDiagRec(type, handle, 1, state, &number, text, sizeof text, &size);
    std::fprintf(stderr, "bare strategy: %s %s\n", reinterpret_cast<char*>(state),
                 reinterpret_cast<char*>(text));
    std::exit(1);
  }
  SQLHSTMT statement() { return statement_; }
  void RequireStatement(SQLRETURN result) { Require(result, SQL_HANDLE_STMT, statement_); }

 private:
  SQLHENV environment_ = nullptr;
  SQLHDBC connection_ = nullptr;
  SQLHSTMT statement_ = nullptr;
};

std::string Columns() {
  std::string columns = "(";
  for (const char* name : kFieldNames) columns += std::string(columns == "(" ? "" : ",") + name;
  return columns + ")";
}

/// Hands each record and its number in the chunk to `add`, and each chunk's size to `send`.
template <typename Add, typename Send>
void InChunks(const std::string& records, std::size_t chunk, const Add& add, const Send& send) {
  std::size_t count = 0;
  ForEachRecord(records, [&](const Fields& fields) {
    add(fields, count);
    if (++count != chunk) return;
    send(count);
    count = 0;
  });
  if (count != 0) send(count);
}

void SendValues(Bare& bare, const std::string& records, std::size_t chunk, bool group) {
  const std::string into = "INSERT INTO people " + Columns() + " VALUES ";
  std::string sql = into;
  std::size_t total = 0;
  if (group) bare.Autocommit(false);
  const auto add = [&](const Fields& fields, std::size_t count) {
    if (count != 0) sql += ',';
    sql += '(';
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      if (i != 0) sql += ',';
      AppendSql(fields[i], kIsNumber[i], sql);
    }
    sql += ')';
  };
  InChunks(records, chunk, add, [&](std::size_t count) {
    bare.Send(sql);
    sql = into;
    total += count;
    if (group && total % 10000 == 0) bare.Commit();
  });
  if (group) bare.Commit();
}

constexpr const char* kElementTypes[kFieldCount] = {"int4",    "varchar", "varchar", "varchar",
                                                    "int4",    "numeric", "date",    "varchar",
                                                    "varchar", "int4"};

void AppendElement(std::string_view value, bool is_number, bool doubled, std::string& out) {
  if (is_number) {
    out += value;
    return;
  }
  out += '"';
  for (char c : value) {
    if (c == '"' || c == '\\') out += '\\';
    if (c == '\'' && doubled) out += c;
    out += c;
  }
  out += '"';
}

void SendUnnest(Bare& bare, const std::string& records, std::size_t chunk) {
  std::vector<std::string> arrays(kFieldCount);
  const auto add = [&](const Fields& fields, std::size_t count) {
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      if (count != 0) arrays[i] += ',';
      AppendElement(fields[i], kIsNumber[i], true, arrays[i]);
    }
  };
  InChunks(records, chunk, add, [&](std::size_t) {
    std::string sql = "INSERT INTO people " + Columns() + " SELECT * FROM unnest(";
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      if (i != 0) sql += ',';
      sql += "'{" + arrays[i] + "}'::" + kElementTypes[i] + "[]";
      arrays[i].clear();
    }
    bare.Send(sql + ")");
  });
}

// The same with one bound text per column, so that the server's parser never sees the values, in
// the list of targets, where the arrays run side by side.
void SendArrayParameters(Bare& bare, const std::string& records, std::size_t chunk) {
  std::vector<std::string> arrays(kFieldCount, "{");
  std::vector<SQLLEN> sizes(kFieldCount);
  std::string sql = "INSERT INTO people " + Columns() + " SELECT ";
  for (std::size_t i = 0; i < kFieldCount; ++i)
    sql += std::string(i == 0 ? "" : ",") + "unnest(?::" + kElementTypes[i] + "[])";
  bare.RequireStatement(SQLPrepare(bare.statement(), Chars(sql), SQL_NTS));
  const auto add = [&](const Fields& fields, std::size_t count) {
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      if (count != 0) arrays[i] += ',';
      AppendElement(fields[i], kIsNumber[i], false, arrays[i]);
    }
  };
  InChunks(records, chunk, add, [&](std::size_t) {
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      arrays[i] += '}';
      sizes[i] = static_cast<SQLLEN>(arrays[i].size());
      bare.RequireStatement(SQLBindParameter(
          bare.statement(), static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT, SQL_C_CHAR,
          SQL_LONGVARCHAR, arrays[i].size(), 0, arrays[i].data(), sizes[i], &sizes[i]));
    }
    bare.RequireStatement(SQLExecute(bare.statement()));
    for (std::string& array : arrays) array = "{";
  });
}

void SendBoundArrays(Bare& bare, const std::string& records, std::size_t chunk) {
  constexpr std::size_t kCell = 64;
  std::vector<std::vector<char>> cells(kFieldCount, std::vector<char>(kCell * chunk));
  std::vector<std::vector<SQLLEN>> sizes(kFieldCount, std::vector<SQLLEN>(chunk));
  const std::string sql = "INSERT INTO people " + Columns() + " VALUES (?,?,?,?,?,?,?,?,?,?)";
  bare.RequireStatement(SQLPrepare(bare.statement(), Chars(sql), SQL_NTS));
  for (std::size_t i = 0; i < kFieldCount; ++i)
    bare.RequireStatement(SQLBindParameter(bare.statement(), static_cast<SQLUSMALLINT>(i + 1),
                                           SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, kCell, 0,
                                           cells[i].data(), kCell, sizes[i].data()));
  const auto add = [&](const Fields& fields, std::size_t count) {
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      std::memcpy(cells[i].data() + count * kCell, fields[i].data(), fields[i].size());
      sizes[i][count] = static_cast<SQLLEN>(fields[i].size());
    }
  };
  InChunks(records, chunk, add, [&](std::size_t count) {
    SQLSetStmtAttr(bare.statement(), SQL_ATTR_PARAMSET_SIZE, Number(count), 0);
    bare.RequireStatement(SQLExecute(bare.statement()));
  });
}

// A file of records attached to the database, copied from by one statement a chunk. With
// `reads_digits` numbers with a point are texts that their columns make numbers of.
void SendSideFile(Bare& bare, const std::string& records, std::size_t chunk, bool reads_digits) {
  database::odbc::SideTable side(kFieldCount);
  bare.Send("ATTACH DATABASE '" + side.path() + "' AS side");
  const std::string debt = reads_digits ? "c5" : "CAST(c5 AS TEXT)+0.0";
  const std::string sql = "INSERT INTO people " + Columns() + " SELECT c0,c1,c2,c3,c4," + debt +
                          ",c6,c7,c8,c9 FROM side.r";
  const auto add = [&](const Fields& fields, std::size_t) {
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      std::int64_t number = 0;
      const char* const end = fields[i].data() + fields[i].size();
      if (kIsNumber[i] && std::from_chars(fields[i].data(), end, number).ptr == end) {
        side.AddInteger(number);
      } else if (kIsNumber[i] && !reads_digits) {
        side.AddBytes(fields[i]);
      } else {
        side.AddText(fields[i]);
      }
    }
    side.EndRow();
  };
  InChunks(records, chunk, add, [&](std::size_t) {
    side.Write();
    bare.Send(sql);  // its own transaction
    side.Clear();
  });
  bare.Send("DETACH DATABASE side");
}

}  // namespace

void SendBarely(const Place& place, const std::string& records, const std::string& strategy,
                std::size_t chunk) {
  Bare bare(place.connect);
  if (strategy == "values") {
    SendValues(bare, records, chunk, place.kind == "sqlite");
  } else if (strategy == "unnest") {
    SendUnnest(bare, records, chunk);
  } else if (strategy.starts_with("side file")) {
    SendSideFile(bare, records, chunk, strategy != "side file");
  } else if (strategy == "array parameters") {
    SendArrayParameters(bare, records, chunk);
  } else {
    SendBoundArrays(bare, records, chunk);
  }
}

void FetchBarely(const Place& place) {
  constexpr std::size_t kRows = 500, kCell = 128;
  Bare bare(place.connect);
  SQLSetStmtAttr(bare.statement(), SQL_ATTR_ROW_ARRAY_SIZE, Number(kRows), 0);
  std::vector<char> cells(kFieldCount * kRows * kCell);
  std::vector<SQLLEN> sizes(kFieldCount * kRows);
  bare.Send("SELECT * FROM people");
  for (std::size_t i = 0; i < kFieldCount; ++i)
    bare.RequireStatement(SQLBindCol(bare.statement(), static_cast<SQLUSMALLINT>(i + 1), SQL_C_CHAR,
                                     &cells[i * kRows * kCell], kCell, &sizes[i * kRows]));
  SQLRETURN result = SQL_SUCCESS;
  while ((result = SQLFetch(bare.statement())) != SQL_NO_DATA) bare.RequireStatement(result);
}

void RunSql(const Place& place, const std::string& sql) {
  Bare(place.connect).Send(sql);
}

long CountRows(const Place& place) {
  Bare bare(place.connect);
  bare.Send("SELECT COUNT(*) FROM people");
  SQLFetch(bare.statement());
  SQLBIGINT count = 0;
  SQLGetData(bare.statement(), 1, SQL_C_SBIGINT, &count, 0, nullptr);
  return static_cast<long>(count);
}

}  // namespace kelvorin::bench
