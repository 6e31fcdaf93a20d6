#pragma once
// A database in memory behind the database interface: what the tests of every room above it import
// into and from. Tables outlive every opening; faults, passwords and answers to posts
// can be scripted, and everything asked of it can be logged.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/engine.h"

namespace kelvorin::tests {

/// How a server answers one post.
struct PostOutcome {
  Status status;                               // a failure, or ok
  std::vector<database::PendingError> errors;  // pending errors of a failure; may be empty
  std::int64_t affected = 1;                   // records changed when ok
};

/// The driver and, at the same time, the test's handle on what it stores. Copies share everything,
/// so a test keeps one and gives engines copies:
///
///   MemoryDriver memory;
///   memory.AddTable("shop", orders);
///   engine.Register(memory.Clone());
///
/// A database is found by the name given to `OpenDatabase` (exact), one of an ODBC connect string
/// by its DSN. Texts are compared byte by byte in indexes.
class MemoryDriver final : public database::Driver {
 public:
  /// `type_words`: connect-string words that lead here; the empty word is that of Access.
  explicit MemoryDriver(std::vector<std::string> type_words = {"", "Memory", "ODBC"});
  ~MemoryDriver() override;
  MemoryDriver(const MemoryDriver&);
  MemoryDriver& operator=(const MemoryDriver&) = delete;
  std::unique_ptr<database::Driver> Clone() const { return std::make_unique<MemoryDriver>(*this); }

  // --- What is stored. Names of databases and tables must exist unless they are being added.
  void AddDatabase(std::string_view database, std::string_view password = {});
  /// Adds the database too when it is new. A table that is not `Updatable` opens for reading only.
  void AddTable(std::string_view database, database::TableDef table);
  /// One text for each field, in neutral format; "<null>" is Null.
  void AddRow(std::string_view database, std::string_view table,
              const std::vector<std::string>& texts);
  /// All live rows in the order of storing, one neutral text for each field, "<null>" for Null.
  std::vector<std::vector<std::string>> Rows(std::string_view database,
                                             std::string_view table) const;

  // --- Posts. Databases opened with an ODBC connect string take records as values, one by one;
  // they are recorded, not carried out: "insert Key='k' Value=5", "update Value=5 where Key='k'",
  // "delete all".
  const std::vector<std::string>& Posts(std::string_view database) const;
  /// Answer to the `n`-th post (from 1) that the database gets; others change one record.
  void ScriptPost(std::string_view database, int n, PostOutcome outcome);

  // --- Faults. An operation is named as in the log, either by its word alone ("Update") or with
  // the field, table or database behind it ("WriteField Price", "OpenRecordset orders"). Reads are
  // "ReadField NAME".
  /// The `n`-th such operation from now on (from 1) fails once, before it does anything.
  void FailNext(std::string_view operation, int n, Status status,
                std::vector<database::PendingError> errors = {});
  /// Every reading of this field in the `record`-th stored row (from 1, deleted ones count) fails.
  void FailRead(std::string_view table, std::size_t record, std::string_view field, Status status);

  // --- Log of operations ("Seek = 5", "AddNew", "WriteField Price = 2.5", "Update").
  /// Begins an empty log, of one table's record sets and of database operations, or of everything.
  void StartLog(std::string_view table = {});
  const std::vector<std::string>& Log() const;

  // --- For the engine.
  std::string_view Name() const noexcept override { return "Memory"; }
  bool Handles(std::string_view type_word) const noexcept override;
  std::unique_ptr<database::Database> Open(database::DBEngine& engine,
                                           const database::OpenRequest& request,
                                           const database::ConnectString& connect) override;
  void Create(const database::OpenRequest& request,
              const database::ConnectString& connect) override;
  std::vector<database::DataSource> DataSources() override;

  struct Store;  // everything that copies share

 private:
  std::shared_ptr<Store> store_;  // shared: engines come and go, the tables stay
};

/// The rows as lines of fields joined by "|", for one comparison that reads well when it fails.
std::string Show(const std::vector<std::vector<std::string>>& rows);

}  // namespace kelvorin::tests
