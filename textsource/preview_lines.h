#pragma once
// The first records of a text file as the preview and detection see them: twenty lines with two
// flags. Reading them is quiet; the wizard shows the wait cursor around it.

#include <array>
#include <cstdint>
#include <string>

#include "base/M_Const.h"
#include "base/status.h"
#include "textsource/record_reader.h"

namespace kelvorin::textsource {

/// Preview lines are cut to this many bytes, whatever the setting's record length says.
inline constexpr std::int32_t kPreviewLineBytes = 1024;

struct PreviewLines {
  /// The file name's box holds the name of a file that exists.
  bool file_present = false;
  /// The lines were read since the file was chosen.
  bool valid = false;

  /// Line 1 to 20.
  const std::string& Line(int number) const { return lines_[static_cast<std::size_t>(number - 1)]; }
  std::string& Line(int number) { return lines_[static_cast<std::size_t>(number - 1)]; }
  /// Sets all twenty lines to the empty text.
  void ClearLines();

  /// Fills the lines with the file's records from `start_record` (counted from 1) on, read with the
  /// format's separator and a record length of 1024. A file that ends before `start_record` leaves
  /// its last record in line 1. A failure clears `file_present`; lines read before it stay.
  Status ReadFileRecords(const std::string& file_name, const RecordFormat& format,
                         std::int32_t start_record);

 private:
  Status ReadLines(const std::string& file_name, RecordFormat format, std::int32_t start_record);

  std::array<std::string, base::kPreviewLines> lines_;
};

}  // namespace kelvorin::textsource
