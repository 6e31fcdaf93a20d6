#pragma once
// Reads a text file record by record. The import run, the preview, detection and the estimate use
// it with their own `RecordFormat`; it finds record ends in large blocks and hands out slices. It
// cuts nothing into fields and converts nothing.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/M_FILE.h"
#include "base/status.h"

namespace kelvorin::textsource {

/// Where a record ends. The names follow the radio buttons of the options.
namespace separator_code {
inline constexpr std::int32_t kCrLf = 0;
inline constexpr std::int32_t kCr = 1;
inline constexpr std::int32_t kLf = 2;
inline constexpr std::int32_t kOther = 3;   // the text `RecordFormat::other`
inline constexpr std::int32_t kLength = 4;  // after `RecordFormat::length` characters
}  // namespace separator_code

/// How a file is cut into records.
struct RecordFormat {
  /// A `separator_code`; any other number makes the whole rest of the file one record.
  std::int32_t code = separator_code::kCrLf;
  /// The separator text of code 3, at least one character.
  std::string other;
  /// Record length of code 4; with every code records are cut to this many characters. 0 cuts
  /// nothing (and makes every record of code 4 empty). In bytes, whatever the code page.
  std::int32_t length = 0;
  /// A text delimiter inside which line ends (codes 0 to 3) are data, or the character 0 for none.
  char quote = 0;

  bool operator==(const RecordFormat&) const = default;
};

/// Sizes that only tests have a reason to change.
struct ReaderLimits {
  std::size_t block_bytes = std::size_t{256} * 1024;
  /// A longer record is refused, unless `RecordFormat::length` cuts it before it is held.
  std::size_t max_record_bytes = std::size_t{1} << 30;
  /// How far a text that a delimiter opened is followed; beyond it the delimiter opened nothing.
  std::size_t max_quoted_bytes = std::size_t{1} << 24;
};

/// Reads records one after the other.
///
/// Code 0 ends a record at a LF directly behind a CR of the same record; single CR and LF are data.
/// Code 4 passes over the one byte that follows each record: kept as it is, files of such records
/// have a character there. A file that ends with a separator yields a last, empty record, because
/// the end is known only after a read that found nothing. NUL is data. A UTF-8 byte-order mark at
/// the very start is passed over when the ANSI page is UTF-8.
///
/// With `RecordFormat::quote` a record goes on while it holds an odd number of delimiters: that is
/// where the splitter stands inside quotes. A delimiter that is never followed by another one opens
/// nothing: its record ends at the first line end, as without the option.
class RecordReader {
 public:
  static Result<RecordReader> Open(const std::string& path, RecordFormat format,
                                   ReaderLimits limits = {});

  /// Reads the next record, without its separator. The slice may be changed (unquoting in place);
  /// it lives until the next read. At the end of the file the record is what was left, perhaps
  /// empty.
  ///
  /// Fails with `kInvalidArgument` for an empty separator text (nothing is read then), for a record
  /// that holds only the tail of a separator of several characters where the comparison would need
  /// characters before the record's first (the offending character is passed over), and for a
  /// negative length; with `kOutOfRange` for a record beyond the limit; with `kIo`.
  Status ReadRecord(std::span<char>& record);

  /// Whether a read met the end of the file. False before the first read, also for an empty file.
  bool AtEnd() const noexcept { return at_end_; }

  /// Position in bytes of the last record read, and its size with separator: what `ReadRaw` takes.
  std::uint64_t record_offset() const noexcept { return record_offset_; }
  std::uint64_t record_raw_bytes() const noexcept { return position() - record_offset_; }
  /// Position in bytes of the next record.
  std::uint64_t position() const noexcept { return block_offset_ + begin_; }

  /// Reads bytes of the file as they are, e.g. a record that was rejected. Does not move the
  /// reader.
  Status ReadRaw(std::uint64_t offset, std::uint64_t size, std::string& out) const;

  Result<std::uint64_t> FileSize() const { return file_.Size(); }
  const std::string& path() const noexcept { return file_.path(); }

 private:
  enum class Ending : std::uint8_t { kNone, kFound, kBrokenSeparator };
  /// A place where a record may end.
  struct End {
    std::size_t size = 0;  // of the record, without its separator
    std::size_t next = 0;  // where the next record starts in block_
  };

  RecordReader(base::InputFile file, RecordFormat format, ReaderLimits limits);
  Ending FindEnding(std::size_t scan_from, End& end) noexcept;
  bool InQuotes(const char* at, const End& here) noexcept;
  void CountQuotes(std::size_t to) noexcept;
  Status Fill(std::size_t& scanned, bool& found_none);
  Status MakeRoom(std::size_t& scanned);

  base::InputFile file_;
  RecordFormat format_;
  ReaderLimits limits_;
  std::vector<char> block_;
  std::size_t begin_ = 0;           // the next record starts here in block_
  std::size_t end_ = 0;             // bytes of block_ that hold contents of the file
  std::uint64_t block_offset_ = 0;  // position() - begin_
  std::uint64_t record_offset_ = 0;
  bool at_end_ = false;
  // Of the record being read, for RecordFormat::quote.
  std::size_t counted_to_ = 0;  // delimiters are counted up to here in block_
  bool quote_open_ = false;     // their number so far is odd
  End first_end_;               // the first line end inside quotes; next is 0 for none
};

}  // namespace kelvorin::textsource
