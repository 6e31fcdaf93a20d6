#include "textsource/preview_lines.h"

#include <span>
#include <utility>

namespace kelvorin::textsource {

void PreviewLines::ClearLines() {
  for (std::string& line : lines_) line.clear();
}

Status PreviewLines::ReadFileRecords(const std::string& file_name, const RecordFormat& format,
                                     std::int32_t start_record) {
  Status status = ReadLines(file_name, format, start_record);
  if (!status.ok()) file_present = false;
  return status;
}

Status PreviewLines::ReadLines(const std::string& file_name, RecordFormat format,
                               std::int32_t start_record) {
  format.length = kPreviewLineBytes;
  // All that the lines can hold, so that a look at a file does not read much of it.
  constexpr std::size_t kBlockBytes = std::size_t{kPreviewLineBytes} * base::kPreviewLines;
  Result<RecordReader> reader = RecordReader::Open(
      file_name, std::move(format), {.block_bytes = kBlockBytes, .stop_at = kLookedThrough});
  if (!reader.ok()) return reader.status();
  ClearLines();

  const auto read_into = [&](std::string& line) -> Status {
    std::span<char> record;
    KV_TRY(reader->ReadRecord(record));
    line.assign(record.data(), record.size());
    return {};
  };
  for (std::int32_t n = 2; n <= start_record && !reader->AtEnd(); ++n) KV_TRY(read_into(lines_[0]));
  for (std::string& line : lines_) {
    if (reader->AtEnd()) break;
    KV_TRY(read_into(line));
  }
  return {};
}

}  // namespace kelvorin::textsource
