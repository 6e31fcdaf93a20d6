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

/// Behind the reject file's name, the file of the records that may be stored. It is made when there
/// is such a record only.
inline constexpr std::string_view kDoubtfulEnd = ".doubtful";

/// `FILE` takes each record byte for byte; the lines of a text source before StartingLine stand at
/// its top, so that the same job can read it. `FILE.reasons` is CSV with the heading
/// Line,Field,Value,Reason. An earlier pair is replaced; without rejected records both stay empty.
/// A pair that is being read meanwhile is replaced at the end only: until then the new one bears
/// `.new` behind its names.
class RejectFile final : public RunObserver {
 public:
  /// `beside` tells that the file of this name is being read.
  static Result<std::unique_ptr<RejectFile>> Open(const std::string& path, bool beside,
                                                  base::FileSystem& files);

  /// The first bytes of `source` go to the top. To be told before the first rejected record.
  void SetPreface(std::string source, std::uint64_t size_bytes);
  Status OnReject(const RejectedRecord& record) override;
  /// With `to_disk` waits until both files are there; with `replace` a pair made beside takes the
  /// place of the old one.
  Status Close(bool to_disk, bool replace);
  /// Where the records are written.
  const std::string& path() const noexcept { return records_path_; }

 private:
  RejectFile(base::OutputFile records, base::OutputFile reasons, base::FileSystem& files)
      : files_(files),
        records_(std::move(records)),
        reasons_(std::move(reasons)),
        records_path_(records_.path()),
        reasons_path_(reasons_.path()) {}
  Status Begin();

  base::FileSystem& files_;
  base::OutputFile records_;
  base::OutputFile reasons_;
  std::string records_path_, reasons_path_;
  std::string preface_source_;
  std::uint64_t preface_bytes_ = 0;
  bool begun_ = false;
  std::string line_;
};

}  // namespace kelvorin::engine
