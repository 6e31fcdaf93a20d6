#include "database/odbc/sqlite_reads.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace kelvorin::database::odbc {
namespace {

struct Uses {
  std::mutex mutex;
  std::vector<SqliteReads*> reads;
  std::vector<std::string> written;  // one entry for each writer
};

Uses& AllUses() {
  static Uses uses;
  return uses;
}

}  // namespace

SqliteReads::SqliteReads(Connection& connection, std::string file)
    : connection_(connection), file_(std::move(file)) {
  Uses& uses = AllUses();
  const std::lock_guard lock(uses.mutex);
  if (file_.empty() ||
      std::find(uses.written.begin(), uses.written.end(), file_) != uses.written.end())
    return;
  connection_.SetAutocommit(false);
  open_ = true;
  uses.reads.push_back(this);
}

SqliteReads::~SqliteReads() {
  Uses& uses = AllUses();
  const std::lock_guard lock(uses.mutex);
  std::erase(uses.reads, this);
  End();
}

void SqliteReads::End() noexcept {
  if (!open_) return;
  open_ = false;
  connection_.Rollback();
  try {
    connection_.SetAutocommit(true);
  } catch (...) {
    // a connection that is gone holds no lock
  }
}

SqliteWriter::SqliteWriter(std::string file) : file_(std::move(file)) {
  if (file_.empty()) return;
  Uses& uses = AllUses();
  const std::lock_guard lock(uses.mutex);
  uses.written.push_back(file_);
  for (SqliteReads* const reads : uses.reads)
    if (reads->file_ == file_) reads->End();
}

SqliteWriter::~SqliteWriter() {
  Uses& uses = AllUses();
  const std::lock_guard lock(uses.mutex);
  const auto at = std::find(uses.written.begin(), uses.written.end(), file_);
  if (at != uses.written.end()) uses.written.erase(at);
}

}  // namespace kelvorin::database::odbc
