#pragma once
// The trace log of a run: a text file of entries. In append mode every entry is followed by CR LF
// and runs are set apart by an empty line; otherwise an older file is replaced and entries stand
// exactly as built. A relative name is taken from the current directory.

#include <optional>
#include <string>
#include <string_view>

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/status.h"
#include "values/value_format.h"

namespace kelvorin::engine {

/// Name of the log when the setting has none.
inline constexpr std::string_view kDefaultLogName = "Import.log";

class TraceLog {
 public:
  /// A log that is not open takes entries and drops them.
  TraceLog() = default;
  Status Open(std::string_view file_name, bool append, base::FileSystem& files);
  bool is_open() const noexcept { return file_.has_value(); }

  Status Header(std::string_view import_file, std::string_view table, std::string_view date_time);
  /// Any other entry, exactly as it shall stand.
  Status Write(std::string_view entry);
  Status Footer(std::string_view date_time, std::int64_t imported);
  /// With `to_disk` waits until the log is there. Harmless when not open.
  Status Close(bool to_disk);

 private:
  std::optional<base::OutputFile> file_;
  bool append_ = false;
};

/// A moment in the general date-and-time format of `format`.
std::string GeneralDate(const base::LocalTime& time, const values::ValueFormat& format);

}  // namespace kelvorin::engine
