#pragma once
// The records that a run could not import, kept in memory: where they stand, why they were refused,
// and a way to save them raw so that the same job can import them.

#include <cstdint>
#include <string>
#include <vector>

#include "engine/import_run.h"

namespace kelvorin::job {

/// Keeps the rejected records of a run, the first `kMost` of them.
class RejectedRecords final : public engine::RunObserver {
 public:
  static constexpr std::size_t kMost = 10000;
  struct Record {
    std::int64_t line = 0;
    std::string field, value, reason, raw;
  };

  /// A run is about to begin. `preface` are the lines that the job passes over.
  void Begin(std::string preface);
  Status OnReject(const engine::RejectedRecord& record) override;
  std::int64_t count() const noexcept { return count_; }
  const std::vector<Record>& records() const noexcept { return records_; }
  /// Writes preface and records; an earlier file is replaced as a whole, or stays.
  Status Save(const std::string& path) const;

 private:
  std::string preface_;
  std::vector<Record> records_;
  std::int64_t count_ = 0;
};

}  // namespace kelvorin::job
