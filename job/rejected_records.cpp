#include "job/rejected_records.h"

#include "base/M_FILE.h"

namespace kelvorin::job {

void RejectedRecords::Begin(std::string preface) {
  preface_ = std::move(preface);
  records_.clear();
  count_ = 0;
}

Status RejectedRecords::OnReject(const engine::RejectedRecord& record) {
  ++count_;
  if (records_.size() < kMost)
    records_.push_back({record.line_number, std::string(record.field), std::string(record.value),
                        std::string(record.reason), std::string(record.raw)});
  return Status();
}

Status RejectedRecords::Save(const std::string& path) const {
  std::string contents = preface_;
  for (const Record& record : records_) contents += record.raw;
  return base::WriteFileAtomically(path, contents);
}

}  // namespace kelvorin::job
