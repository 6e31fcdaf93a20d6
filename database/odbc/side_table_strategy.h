#pragma once
// SQLite's fastest strategy: a batch of records goes into a file of its own, and each chunk is one
// INSERT that copies from there. Included by .cpp files of this room only.

#include <memory>
#include <string>
#include <vector>

#include "database/odbc/side_table.h"
#include "database/odbc/sql_strategy.h"
#include "database/odbc/strategies.h"

namespace kelvorin::database::odbc {

class SideTableStrategy final : public SqlStrategy {
 public:
  /// Null where the database takes no second file: its texts are not UTF-8, too many are attached,
  /// or no temporary file can be had. The records then go as lists of values. `reads_digits`: for
  /// each field whether a text of digits is stored as the number that they are.
  static std::unique_ptr<PostStrategy> Make(Session& session, const std::string& into,
                                            bool refuses_doubles, const PostTarget& target,
                                            std::vector<bool> reads_digits);
  ~SideTableStrategy() override;

  PostFailure Send(const RecordBatch& batch, BatchRange range) override;

 private:
  SideTableStrategy(Session& session, const std::string& into, bool refuses_doubles,
                    const PostTarget& target, std::vector<bool> reads_digits);
  bool Attach();
  void Load(const RecordBatch& batch);
  bool AddPlain(std::string_view digits, std::size_t field);

  SideTable side_;
  std::string schema_;  // the name that the file is attached by
  std::string select_;  // up to the first row's number
  std::vector<bool> reads_digits_;
  std::vector<bool> takes_points_;  // fields of numbers that need not be whole
  std::string sql_;
  std::uint64_t generation_ = 0;  // of the batch that the file holds; 0: none
  std::vector<bool> unfit_;       // rows that the file could not take
};

}  // namespace kelvorin::database::odbc
