#pragma once
// The strategy that hands a prepared INSERT whole columns of values, MariaDB's fastest. Included by
// .cpp files of this room only.

#include <string>
#include <vector>

#include "database/odbc/sql_strategy.h"

namespace kelvorin::database::odbc {

class ParameterStrategy final : public SqlStrategy {
 public:
  ParameterStrategy(Session& session, const std::string& into, bool refuses_doubles, Limits limits,
                    std::size_t field_count);

  PostFailure Send(const RecordBatch& batch, BatchRange range) override;

 protected:
  void ForgetStatements() override;

 private:
  struct Column {
    std::size_t cell_bytes = 0;
    std::vector<char> cells;
    std::vector<SQLLEN> sizes;
  };
  bool Fill(const RecordBatch& batch, BatchRange range);
  void Bind(std::size_t records);
  void Prepare();
  void RunTransaction(const char* sql);
  PostFailure Abandon(PostFailure failure);

  Statement prepared_;
  Statement transaction_;
  std::vector<Column> columns_;
};

}  // namespace kelvorin::database::odbc
