#pragma once
// Records posted in groups against the same records sent one by one: same rows stored, same errors
// in the same order, whatever is wrong with the records and wherever the posting ends.

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "database/row_poster.h"
#include "tests/servers/test_server.h"

namespace kelvorin::tests {

/// Values from SQL literals as a test's tables have them: NULL, digits, quoted texts.
class LiteralRow {
 public:
  explicit LiteralRow(const std::vector<std::string>& literals);
  LiteralRow(const LiteralRow&) = delete;
  LiteralRow& operator=(const LiteralRow&) = delete;
  std::span<const values::Value> values() const noexcept { return values_; }

 private:
  std::vector<std::string> texts_;  // what the values point to
  std::vector<values::Value> values_;
};

/// A name in the quotes of the server.
std::string Quoted(const database::Database& database, std::string_view name);
/// Runs a statement; fails the test case when the server refuses it.
void Execute(database::Database& database, std::string_view sql);
/// All rows of a table in the server's order of `id`-s, one a line.
std::string DumpTable(database::Database& database, std::string_view table);

/// Random runs into tables of its own, made in the words of a server: 40, or as many as the
/// variable KELVORIN_RANDOM_RUNS says. Each names its seed on failure.
void CheckRandomPosting(database::Database& database, std::string_view server);

/// Posts rows of literals in groups and returns what was heard: "+1" for record 1 stored,
/// "-2[state number text]" for record 2 refused.
std::string PostGrouped(database::Database& database, std::string_view table,
                        const std::vector<std::string>& fields,
                        const std::vector<std::vector<std::string>>& records,
                        int stop_at_error = 1 << 30);
/// The same by one statement per record.
std::string PostSingly(database::Database& database, std::string_view table,
                       const std::vector<std::string>& fields,
                       const std::vector<std::vector<std::string>>& records);

/// Whether records for the table would go in groups.
bool GroupsRecords(database::Database& database, std::string_view table,
                   const std::vector<std::string>& fields);

/// Posts into `table` (id, t), which `block` makes unreachable, and gives up after a while: the
/// caller has its thread back at once, and is told of no record but those that may be stored, since
/// the server does not answer.
void CheckGivingUp(database::Database& database, std::string_view table, bool answers,
                   const std::function<void()>& block);

/// Ends the server in the middle of a posting, with a new start, for good, or by letting it stand
/// still: every record has one outcome, what was told stored is stored, what may be stored is
/// named, and nobody waits long.
void CheckLostServer(const std::string& connect, TestServer& server);

}  // namespace kelvorin::tests
