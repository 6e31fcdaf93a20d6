#pragma once
// Writes rejected records to a file that can be imported again, and the reasons to a second one
// beside it. The run makes one when its setting names a file.

#include <cstdint>
#include <memory>
#include <string>

#include "base/M_FILE.h"
#include "base/status.h"
#include "engine/import_run.h"

namespace kelvorin::engine {

/// `FILE` takes each record byte for byte; the lines of a text source before StartingLine stand at
/// its top, so that the same job can read it. `FILE.reasons` is CSV with the heading
/// Line,Field,Value,Reason. An earlier pair is replaced; without rejected records both stay empty.
class RejectFile final : public RunObserver {
 public:
  static Result<std::unique_ptr<RejectFile>> Open(const std::string& path);

  /// The first bytes of `source` go to the top. To be told before the first rejected record.
  void SetPreface(std::string source, std::uint64_t size_bytes);
  Status OnReject(const RejectedRecord& record) override;
  Status Close();

 private:
  RejectFile(base::OutputFile records, base::OutputFile reasons)
      : records_(std::move(records)), reasons_(std::move(reasons)) {}
  Status Begin();

  base::OutputFile records_;
  base::OutputFile reasons_;
  std::string preface_source_;
  std::uint64_t preface_bytes_ = 0;
  bool begun_ = false;
  std::string line_;
};

}  // namespace kelvorin::engine
