#pragma once
// Reads a text file record by record. The import run, the preview, detection and the estimate use
// it with their own `RecordFormat`; it finds record ends in large blocks and hands out slices. It
// cuts nothing into fields and converts nothing.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/code_page.h"
#include "base/status.h"
#include "textsource/text_input.h"

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
  std::string other = {};
  /// Record length of code 4; with every code records are cut to this many characters. 0 cuts
  /// nothing (and makes every record of code 4 empty). In bytes, whatever the code page.
  std::int32_t length = 0;
  /// A text delimiter inside which line ends (codes 0 to 3) are data, or the character 0 for none.
  char quote = 0;
  /// The field separators, which tell where such a delimiter may stand. One of them may be a
  /// character of several bytes.
  std::string separators = {};
  /// Bytes passed over behind each record of code 4.
  std::int32_t gap = 1;
  /// CR LF, LF and CR all end a record; with code 2.
  bool any_line_end = false;
  /// Records are the rows of HTML tables (`tr`) and what is between them is passed over; the code
  /// does not count.
  bool html_rows = false;
  /// Code page of the file where it is another than the ANSI page; 0 the ANSI page. UTF-16 is
  /// found by itself.
  int page = 0;

  bool operator==(const RecordFormat&) const = default;
};

/// Sizes that only tests have a reason to change.
struct ReaderLimits {
  std::size_t block_bytes = std::size_t{256} * 1024;
  /// A longer record is refused, unless `RecordFormat::length` cuts it before it is held.
  std::size_t max_record_bytes = std::size_t{8} << 20;
  /// How far from the delimiter that opened a text its closing one may stand.
  std::size_t max_quoted_bytes = std::size_t{64} << 10;
  /// Where the file is taken to end; 0 where it does end.
  std::uint64_t stop_at = 0;
};

/// For who only looks at a file's first records: how far to look for their ends. A disk image has
/// none.
inline constexpr std::uint64_t kLookedThrough = std::uint64_t{64} << 20;

/// Reads records one after the other.
///
/// Code 0 ends a record at a LF directly behind a CR of the same record; single CR and LF are data.
/// Code 4 passes over the one byte that follows each record: kept as it is, files of such records
/// have a character there. A file that ends with a separator yields a last, empty record, because
/// the end is known only after a read that found nothing. NUL is data. A UTF-8 byte-order mark at
/// the very start is passed over when the text is UTF-8, and so is the character 1Ah at the very
/// end of a file of lines, which DOS programs put there. Compressed files and UTF-16 are read as
/// `TextInput` tells; what comes out is text of the ANSI page.
///
/// With `RecordFormat::quote` a delimiter at the very start of a field opens a text in which record
/// ends are data, up to the next delimiter that is not doubled. One that none closes within the
/// limit opened nothing: its record ends at its own line end. Where a text ends does not depend on
/// how the file is read in blocks.
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
  /// Characters of the file that the ANSI page does not have, in the records read so far.
  std::int64_t replaced_characters() const noexcept {
    return replaced_characters_ + file_.replaced_characters();
  }
  /// How the file's bytes become the bytes that offsets count.
  const TextInput& input() const noexcept { return file_; }
  const std::string& path() const noexcept { return file_.path(); }

 private:
  enum class Ending : std::uint8_t { kNone, kFound, kBrokenSeparator };
  /// A place where a record may end.
  struct End {
    std::size_t size = 0;  // of the record, without its separator
    std::size_t next = 0;  // where the next record starts in block_
  };

  /// Where the search stands between text delimiters.
  enum class Quoting : std::uint8_t {
    kOutside,
    kInside,
    kBehind,  // a delimiter that closes unless another one follows at once
  };

  RecordReader(TextInput file, RecordFormat format, ReaderLimits limits);
  Status Prepare();
  Status FindRecord(End& end, Ending& ending);
  Status FindHtmlRow(End& end);
  Ending FindEnding(std::size_t scan_from, End& end) noexcept;
  Ending FindAnyLineEnd(std::size_t scan_from, End& end) noexcept;
  bool Ends(std::size_t at) noexcept;
  void FollowQuotes(std::size_t to) noexcept;
  bool IsFieldStart(const char* at) const noexcept;
  void GiveQuoteUp() noexcept;
  Status Fill(std::size_t& scanned, bool& found_none);
  Status MakeRoom(std::size_t& scanned);
  bool ForgetMiddle(std::size_t& scanned) noexcept;
  Status TooLong() const;

  TextInput file_;
  RecordFormat format_;
  ReaderLimits limits_;
  std::vector<char> block_;
  std::size_t begin_ = 0;           // the next record starts here in block_
  std::size_t end_ = 0;             // bytes of block_ that hold contents of the file
  std::uint64_t block_offset_ = 0;  // position() - begin_
  std::uint64_t record_offset_ = 0;
  bool at_end_ = false;
  // Of the record being read, for RecordFormat::quote.
  std::size_t followed_to_ = 0;  // delimiters are known up to here in block_
  Quoting quoting_ = Quoting::kOutside;
  std::size_t opened_at_ = 0;    // the delimiter that opened, in block_
  std::size_t rescan_from_ = 0;  // where to look for line ends again, in block_; 0 for nowhere
  std::array<bool, 256> separates_{};
  std::string wide_separator_;  // of several bytes

  std::optional<base::Converter> converter_;  // from the file's page to the ANSI page
  std::string converted_;
  std::int64_t replaced_characters_ = 0;
};

}  // namespace kelvorin::textsource
