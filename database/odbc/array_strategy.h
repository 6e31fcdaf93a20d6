#pragma once
// PostgreSQL's fastest strategy: one prepared INSERT that takes a whole chunk as one array per
// field, so that neither the driver nor the server's parser looks at the values. Included by .cpp
// files of this room only.

#include <string>
#include <vector>

#include "database/odbc/sql_strategy.h"

namespace kelvorin::database::odbc {

class ArrayStrategy final : public SqlStrategy {
 public:
  /// `element_types`: for each field the type, without length, of its array's elements.
  ArrayStrategy(Session& session, const std::string& into, bool refuses_doubles, Limits limits,
                const std::vector<std::string>& element_types);

  PostFailure Send(const RecordBatch& batch, BatchRange range) override;

 protected:
  void ForgetStatements() override;

 private:
  struct Column {
    std::vector<char> array;  // "{1,2}" in the server's form, as far as `size`
    SQLLEN size = 0;
  };
  void Fill(const RecordBatch& batch, BatchRange range);
  void PrepareAndBind();

  std::string sql_;
  Statement prepared_;
  std::vector<Column> columns_;
};

}  // namespace kelvorin::database::odbc
