#include "textsource/record_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/M_STRING.h"
#include "textsource/html_cells.h"

namespace kelvorin::textsource {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr char kDosEnd = '\x1A';
constexpr std::size_t kNowhere = std::string_view::npos;
constexpr const char* kRowStart = "tr";
constexpr const char* kRowEnd = "/tr";
constexpr const char* kTableEnd = "/table";
constexpr std::size_t kLongestTagStart = 8;  // the last of them with its signs

const char* Find(const char* from, const char* end, char wanted) noexcept {
  return static_cast<const char*>(std::memchr(from, wanted, static_cast<std::size_t>(end - from)));
}

std::string AtByte(std::uint64_t offset, const std::string& path) {
  return " at byte " + base::ToDecimal(static_cast<std::int64_t>(offset)) + " of " + path;
}

}  // namespace

RecordReader::RecordReader(TextInput file, RecordFormat format, ReaderLimits limits)
    : file_(std::move(file)), format_(std::move(format)), limits_(limits) {
  block_.resize(std::max<std::size_t>(limits_.block_bytes, 1));
}

Result<RecordReader> RecordReader::Open(const std::string& path, RecordFormat format,
                                        ReaderLimits limits) {
  Result<TextInput> file = TextInput::Open(path, format.code != separator_code::kLength);
  if (!file.ok()) return file.status();
  RecordReader reader(*std::move(file), std::move(format), limits);
  KV_TRY(reader.Prepare());
  return reader;
}

// Separators and the page of what is read, and the byte-order mark.
Status RecordReader::Prepare() {
  const base::CodePage& ansi = base::AnsiPage();
  const int number = file_.utf16_page() != 0 ? base::kUtf8Page : format_.page;
  const base::CodePage* page = number == 0 ? &ansi : base::FindCodePage(number);
  if (page == nullptr)
    return Status(Code::kNotSupported,
                  "'" + path() + "': unknown code page " + base::ToDecimal(number));
  if (page != &ansi) {
    converter_.emplace(*page, ansi);
    const base::Converter back(ansi, *page);
    for (std::string* text : {&format_.other, &format_.separators}) {
      std::string converted;
      if (back.Append(*text, converted) != 0)
        return Status(Code::kNotSupported, "'" + path() + "': the separator '" + *text +
                                               "' is not in the file's code page " +
                                               base::ToDecimal(number));
      *text = std::move(converted);
    }
  }
  for (std::size_t at = 0; at < format_.separators.size();) {
    const std::size_t from = at++;
    std::size_t behind = from;
    if (page->is_utf8() &&
        base::DecodeUtf8(format_.separators, behind) != base::kInvalidCharacter && behind > at) {
      at = behind;
      wide_separator_ = format_.separators.substr(from, behind - from);
    } else {
      separates_[static_cast<unsigned char>(format_.separators[from])] = true;
    }
  }
  // A delimiter that is a separator too quotes nothing.
  if (separates_[static_cast<unsigned char>(format_.quote)]) format_.quote = 0;
  if (!page->is_utf8() || file_.utf16_page() != 0) return {};
  char start[kByteOrderMark.size()];
  const Result<std::size_t> got = file_.ReadAt(0, start);
  if (!got.ok()) return got.status();
  if (std::string_view(start, *got) == kByteOrderMark) block_offset_ = *got;
  return {};
}

Status RecordReader::ReadRecord(std::span<char>& record) {
  record = {};
  record_offset_ = position();
  if (format_.code == separator_code::kOther && format_.other.empty()) {
    return Status(Code::kInvalidArgument, "The record separator is an empty text");
  }
  if (format_.length < 0 || format_.gap < 0) {
    return Status(
        Code::kInvalidArgument,
        "The record length is negative: " + base::ToDecimal(std::min(format_.length, format_.gap)));
  }

  End end;
  Ending ending = Ending::kNone;
  at_end_ = false;
  KV_TRY(format_.html_rows ? FindHtmlRow(end) : FindRecord(end, ending));
  const std::size_t start = std::exchange(begin_, end.next);
  if (ending == Ending::kBrokenSeparator) {
    return Status(Code::kInvalidArgument,
                  "A record starts inside its separator" + AtByte(record_offset_, path()));
  }
  const auto length = static_cast<std::size_t>(format_.length);
  if (length != 0 && end.size > length) end.size = length;
  record = std::span<char>(block_.data() + start, end.size);
  if (!converter_) return {};
  const std::string_view text(record.data(), record.size());
  if (base::AsciiPrefix(text) == text.size()) return {};
  converted_.clear();
  replaced_characters_ += static_cast<std::int64_t>(converter_->Append(text, converted_));
  record = converted_;
  return {};
}

Status RecordReader::FindRecord(End& end, Ending& ending) {
  std::size_t scanned = begin_;
  followed_to_ = begin_;
  quoting_ = Quoting::kOutside;
  rescan_from_ = 0;
  for (;;) {
    if (const std::size_t again = std::exchange(rescan_from_, 0); again != 0) scanned = again;
    ending = FindEnding(scanned, end);
    if (ending != Ending::kNone) {
      at_end_ = false;
      return {};
    }
    if (rescan_from_ != 0) continue;
    if (at_end_) {
      if (format_.quote != 0) FollowQuotes(end_);
      if (quoting_ == Quoting::kInside) GiveQuoteUp();
      if (rescan_from_ == 0) break;
      continue;
    }
    scanned = end_;
    KV_TRY(Fill(scanned, at_end_));
    // A CR that was the last byte may be an end by itself.
    if (format_.any_line_end && scanned > begin_) --scanned;
  }
  end = {end_ - begin_, end_};
  const bool text = format_.code >= separator_code::kCrLf && format_.code <= separator_code::kOther;
  if (text && end.size > 0 && block_[end_ - 1] == kDosEnd) --end.size;
  return {};
}

// Looks for the end of the record that starts at begin_, in the block from `scan_from` on. The
// search is for the separator's last character, then a look back that never leaves the record.
RecordReader::Ending RecordReader::FindEnding(std::size_t scan_from, End& end) noexcept {
  const char* const block = block_.data();
  const char* const start = block + begin_;
  const char* const stop = block + end_;
  const auto found = [&](const char* at, std::size_t separator_bytes_before) {
    end.size = static_cast<std::size_t>(at - start) - separator_bytes_before;
    end.next = static_cast<std::size_t>(at - block) + 1;
    return Ends(end.next - 1);
  };

  const char* at = block + scan_from;
  if (format_.any_line_end) return FindAnyLineEnd(scan_from, end);
  switch (format_.code) {
    case separator_code::kCrLf:
      for (; (at = Find(at, stop, '\n')) != nullptr && rescan_from_ == 0; ++at) {
        if (at > start && at[-1] == '\r' && found(at, 1)) return Ending::kFound;
      }
      return Ending::kNone;
    case separator_code::kCr:
    case separator_code::kLf:
      for (; (at = Find(at, stop, format_.code == separator_code::kCr ? '\r' : '\n')) != nullptr &&
             rescan_from_ == 0;
           ++at) {
        if (found(at, 0)) return Ending::kFound;
      }
      return Ending::kNone;
    case separator_code::kOther: {
      const std::string& separator = format_.other;
      const std::size_t before = separator.size() - 1;
      for (; (at = Find(at, stop, separator.back())) != nullptr && rescan_from_ == 0; ++at) {
        std::size_t matched = 0;
        while (matched < before && at - matched > start &&
               at[-1 - static_cast<std::ptrdiff_t>(matched)] == separator[before - 1 - matched]) {
          ++matched;
        }
        if (matched == before) {
          if (found(at, before)) return Ending::kFound;
        } else if (at - matched == start) {
          // Kept as it is: the comparison would need characters before the record's first one.
          end = {static_cast<std::size_t>(at - start), static_cast<std::size_t>(at - block) + 1};
          return Ending::kBrokenSeparator;
        }
      }
      return Ending::kNone;
    }
    case separator_code::kLength: {
      // The bytes behind the record are passed over with it.
      const auto length = static_cast<std::size_t>(format_.length);
      const auto gap = static_cast<std::size_t>(format_.gap);
      if (end_ - begin_ < length + std::max<std::size_t>(gap, 1)) return Ending::kNone;
      end = {length, begin_ + length + gap};
      return Ending::kFound;
    }
    default:
      return Ending::kNone;
  }
}

RecordReader::Ending RecordReader::FindAnyLineEnd(std::size_t scan_from, End& end) noexcept {
  constexpr std::ptrdiff_t kStep = 4096;  // so that no search for one kind runs far past the other
  const char* const block = block_.data();
  const char* const stop = block + end_;
  const char* from = block + scan_from;
  while (rescan_from_ == 0 && from != stop) {
    const char* const step_end = stop - from > kStep ? from + kStep : stop;
    const char* const lf = Find(from, step_end, '\n');
    const char* const cr = Find(from, lf != nullptr ? lf : step_end, '\r');
    const char* const at = cr != nullptr ? cr : lf;
    if (at == nullptr) {
      from = step_end;
      continue;
    }
    if (at == cr && at + 1 == stop && !at_end_) return Ending::kNone;
    const bool pair = at == cr && at + 1 != stop && at[1] == '\n';
    end.size = static_cast<std::size_t>(at - block) - begin_;
    end.next = static_cast<std::size_t>(at - block) + (pair ? 2 : 1);
    if (Ends(static_cast<std::size_t>(at - block))) return Ending::kFound;
    from = block + end.next;
  }
  return Ending::kNone;
}

// The next row of a table, however many lines it takes; what stands before it is passed over.
Status RecordReader::FindHtmlRow(End& end) {
  std::size_t row = kNowhere;  // from begin_
  std::size_t searched = 0;    // likewise
  for (;;) {
    const std::string_view text(block_.data() + begin_, end_ - begin_);
    if (row == kNowhere) {
      row = FindHtmlTag(text, kRowStart, searched);
      searched = row != kNowhere ? row + 1 : text.size() - std::min(text.size(), kLongestTagStart);
    }
    if (row != kNowhere) {
      std::size_t behind = kNowhere;
      // The row's own end comes last: where none stands, the next row keeps the search short.
      for (const char* const tag : {kRowStart, kTableEnd, kRowEnd}) {
        const std::size_t at = FindHtmlTag(text.substr(0, behind), tag, searched);
        if (at != kNowhere) behind = tag == kRowEnd ? HtmlTagEnd(text, at) : at;
      }
      if (behind == text.size() && !at_end_) behind = kNowhere;  // the tag goes on
      if (behind != kNowhere || at_end_) {
        end.next = begin_ + std::min(behind, text.size());
        begin_ += row;
        record_offset_ = position();
        end.size = end.next - begin_;
        at_end_ = at_end_ && end.next == end_;
        return {};
      }
      searched = std::max(row + 1, text.size() - std::min(text.size(), kLongestTagStart));
    } else {
      if (at_end_) {
        begin_ = end_;
        record_offset_ = position();
        end = {0, end_};
        return {};
      }
      begin_ += searched;
      searched = 0;
    }
    std::size_t scanned = end_;
    KV_TRY(Fill(scanned, at_end_));
  }
}

// Whether a line end at `at` ends the record, because it does not stand inside quotes.
bool RecordReader::Ends(std::size_t at) noexcept {
  if (format_.quote == 0) return true;
  FollowQuotes(at);
  if (quoting_ == Quoting::kInside && at - opened_at_ > limits_.max_quoted_bytes) GiveQuoteUp();
  return quoting_ != Quoting::kInside && rescan_from_ == 0;
}

void RecordReader::FollowQuotes(std::size_t to) noexcept {
  const char* const block = block_.data();
  while (followed_to_ < to && rescan_from_ == 0) {
    if (quoting_ == Quoting::kBehind) {
      const bool doubled = block[followed_to_] == format_.quote;
      quoting_ = doubled ? Quoting::kInside : Quoting::kOutside;
      if (doubled) ++followed_to_;
      continue;
    }
    const char* const at = Find(block + followed_to_, block + to, format_.quote);
    if (at == nullptr) {
      followed_to_ = to;
      return;
    }
    followed_to_ = static_cast<std::size_t>(at - block) + 1;
    if (quoting_ == Quoting::kInside) {
      quoting_ = Quoting::kBehind;
      if (followed_to_ - 1 - opened_at_ > limits_.max_quoted_bytes) GiveQuoteUp();
    } else if (IsFieldStart(at)) {
      quoting_ = Quoting::kInside;
      opened_at_ = followed_to_ - 1;
    }
  }
}

bool RecordReader::IsFieldStart(const char* at) const noexcept {
  const char* const start = block_.data() + begin_;
  if (at == start || separates_[static_cast<unsigned char>(at[-1])]) return true;
  return !wide_separator_.empty() &&
         std::string_view(start, static_cast<std::size_t>(at - start)).ends_with(wide_separator_);
}

// Nothing closed what a delimiter opened: it is an ordinary character, and line ends behind it are
// looked at anew.
void RecordReader::GiveQuoteUp() noexcept {
  quoting_ = Quoting::kOutside;
  followed_to_ = rescan_from_ = opened_at_ + 1;
}

// Reads more of the file behind end_. `scanned` moves with the contents of the block.
Status RecordReader::Fill(std::size_t& scanned, bool& found_none) {
  KV_TRY(MakeRoom(scanned));
  if (limits_.stop_at != 0 && block_offset_ + end_ >= limits_.stop_at) {
    found_none = true;
    return {};
  }
  const Result<std::size_t> got =
      file_.ReadAt(block_offset_ + end_, std::span<char>(block_).subspan(end_));
  if (!got.ok()) return got.status();
  end_ += *got;
  found_none = *got == 0;
  return {};
}

Status RecordReader::MakeRoom(std::size_t& scanned) {
  if (begin_ > 0) {
    // What was begun moves to the front, once for each record that crosses the block's end.
    std::memmove(block_.data(), block_.data() + begin_, end_ - begin_);
    block_offset_ += begin_;
    scanned -= begin_;
    end_ -= begin_;
    followed_to_ -= std::min(followed_to_, begin_);
    opened_at_ -= std::min(opened_at_, begin_);
    begin_ = 0;
    return {};
  }
  if (end_ < block_.size() || ForgetMiddle(scanned)) return {};
  if (block_.size() > limits_.max_record_bytes) return TooLong();
  // Grown by hand: a vector would keep room for twice as much.
  std::vector<char> larger(std::min(block_.size() * 2, limits_.max_record_bytes + 1));
  std::memcpy(larger.data(), block_.data(), end_);
  block_ = std::move(larger);
  return {};
}

// A record that will be cut needs its front and what a look back may need; the middle goes. False
// when nothing can be spared.
bool RecordReader::ForgetMiddle(std::size_t& scanned) noexcept {
  const auto length = static_cast<std::size_t>(format_.length);
  const bool cut = length != 0 && format_.code != separator_code::kLength && !format_.html_rows;
  if (!cut) return false;
  const std::size_t look_back =
      std::max({std::size_t{1}, format_.code == separator_code::kOther ? format_.other.size() : 0,
                wide_separator_.size()});
  if (end_ <= length + look_back) return false;
  if (format_.quote != 0) {
    FollowQuotes(end_);
    if (rescan_from_ != 0) return false;
    // What a delimiter opened may have to be read once more.
    if (quoting_ == Quoting::kInside) {
      if (end_ - opened_at_ <= limits_.max_quoted_bytes) return false;
      quoting_ = Quoting::kOutside;
    }
  }
  std::memmove(block_.data() + length, block_.data() + end_ - look_back, look_back);
  const std::size_t forgotten = end_ - (length + look_back);
  block_offset_ += forgotten;
  end_ -= forgotten;
  scanned = followed_to_ = end_;
  return true;
}

Status RecordReader::TooLong() const {
  return Status(Code::kOutOfRange,
                "The record" + AtByte(record_offset_, path()) + " is longer than " +
                    base::ToDecimal(static_cast<std::int64_t>(limits_.max_record_bytes)) +
                    " bytes: is its record separator another one?");
}

Status RecordReader::ReadRaw(std::uint64_t offset, std::uint64_t size, std::string& out) const {
  out.resize(static_cast<std::size_t>(size));
  const Result<std::size_t> got = file_.ReadAt(offset, out);
  if (!got.ok()) return got.status();
  if (*got == size) return {};
  out.resize(*got);
  return Status(Code::kIo, "Only " + base::ToDecimal(static_cast<std::int64_t>(*got)) +
                               " bytes are left" + AtByte(offset, path()));
}

}  // namespace kelvorin::textsource
