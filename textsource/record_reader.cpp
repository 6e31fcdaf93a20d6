#include "textsource/record_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/M_STRING.h"
#include "base/code_page.h"

namespace kelvorin::textsource {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

const char* Find(const char* from, const char* end, char wanted) noexcept {
  return static_cast<const char*>(std::memchr(from, wanted, static_cast<std::size_t>(end - from)));
}

std::string AtByte(std::uint64_t offset, const std::string& path) {
  return " at byte " + base::ToDecimal(static_cast<std::int64_t>(offset)) + " of " + path;
}

}  // namespace

RecordReader::RecordReader(base::InputFile file, RecordFormat format, ReaderLimits limits)
    : file_(std::move(file)), format_(std::move(format)), limits_(limits) {
  block_.resize(std::max<std::size_t>(limits_.block_bytes, 1));
}

Result<RecordReader> RecordReader::Open(const std::string& path, RecordFormat format,
                                        ReaderLimits limits) {
  Result<base::InputFile> file = base::InputFile::Open(path);
  if (!file.ok()) return file.status();
  RecordReader reader(*std::move(file), std::move(format), limits);
  if (base::AnsiPage().is_utf8()) {
    char start[kByteOrderMark.size()];
    const Result<std::size_t> got = reader.file_.ReadAt(0, start);
    if (!got.ok()) return got.status();
    if (std::string_view(start, *got) == kByteOrderMark) reader.block_offset_ = *got;
  }
  return reader;
}

Status RecordReader::ReadRecord(std::span<char>& record) {
  record = {};
  record_offset_ = position();
  if (format_.code == separator_code::kOther && format_.other.empty()) {
    return Status(Code::kInvalidArgument, "The record separator is an empty text");
  }
  if (format_.length < 0) {
    return Status(Code::kInvalidArgument,
                  "The record length is negative: " + base::ToDecimal(format_.length));
  }

  End end;
  std::size_t scanned = begin_;
  counted_to_ = begin_;
  quote_open_ = false;
  first_end_ = {};
  Ending ending = Ending::kNone;
  at_end_ = false;
  while ((ending = FindEnding(scanned, end)) == Ending::kNone) {
    scanned = end_;
    const bool too_far = first_end_.next != 0 && end_ - begin_ > limits_.max_quoted_bytes;
    if (!too_far) KV_TRY(Fill(scanned, at_end_));
    if (!too_far && !at_end_) continue;
    if (first_end_.next != 0) CountQuotes(end_);
    if (quote_open_ && first_end_.next != 0) {
      end = first_end_;
      at_end_ = false;
    } else {
      end = {end_ - begin_, end_};
    }
    break;
  }
  const std::size_t start = std::exchange(begin_, end.next);
  if (ending == Ending::kBrokenSeparator) {
    return Status(Code::kInvalidArgument,
                  "A record starts inside its separator" + AtByte(record_offset_, path()));
  }
  const auto length = static_cast<std::size_t>(format_.length);
  if (length != 0 && end.size > length) end.size = length;
  record = std::span<char>(block_.data() + start, end.size);
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
    return format_.quote == 0 || !InQuotes(at, end);
  };

  const char* at = block + scan_from;
  switch (format_.code) {
    case separator_code::kCrLf:
      for (; (at = Find(at, stop, '\n')) != nullptr; ++at) {
        if (at > start && at[-1] == '\r' && found(at, 1)) return Ending::kFound;
      }
      return Ending::kNone;
    case separator_code::kCr:
    case separator_code::kLf:
      for (; (at = Find(at, stop, format_.code == separator_code::kCr ? '\r' : '\n')) != nullptr;
           ++at) {
        if (found(at, 0)) return Ending::kFound;
      }
      return Ending::kNone;
    case separator_code::kOther: {
      const std::string& separator = format_.other;
      const std::size_t before = separator.size() - 1;
      for (; (at = Find(at, stop, separator.back())) != nullptr; ++at) {
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
      // The byte behind the record is passed over with it.
      const auto length = static_cast<std::size_t>(format_.length);
      if (end_ - begin_ <= length) return Ending::kNone;
      end = {length, begin_ + length + 1};
      return Ending::kFound;
    }
    default:
      return Ending::kNone;
  }
}

// Whether the line end at `at` stands inside quotes; the first one that does is remembered.
bool RecordReader::InQuotes(const char* at, const End& here) noexcept {
  CountQuotes(static_cast<std::size_t>(at - block_.data()));
  if (quote_open_ && first_end_.next == 0) first_end_ = here;
  return quote_open_;
}

void RecordReader::CountQuotes(std::size_t to) noexcept {
  const char* at = block_.data() + counted_to_;
  const char* const end = block_.data() + to;
  for (; (at = Find(at, end, format_.quote)) != nullptr; ++at) quote_open_ = !quote_open_;
  counted_to_ = to;
}

// Reads more of the file behind end_. `scanned` moves with the contents of the block.
Status RecordReader::Fill(std::size_t& scanned, bool& found_none) {
  KV_TRY(MakeRoom(scanned));
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
    counted_to_ -= begin_;
    if (first_end_.next != 0) first_end_.next -= begin_;
    begin_ = 0;
    return {};
  }
  if (end_ < block_.size()) return {};

  const auto length = static_cast<std::size_t>(format_.length);
  if (length != 0 && format_.code != separator_code::kLength && first_end_.next == 0) {
    // The record will be cut: hold its front and what a look back may need, forget the middle.
    const std::size_t look_back = format_.code == separator_code::kOther ? format_.other.size() : 1;
    if (end_ > length + look_back) {
      if (format_.quote != 0) CountQuotes(end_);
      std::memmove(block_.data() + length, block_.data() + end_ - look_back, look_back);
      const std::size_t forgotten = end_ - (length + look_back);
      block_offset_ += forgotten;
      end_ -= forgotten;
      scanned = counted_to_ = end_;
      return {};
    }
  }
  if (block_.size() > limits_.max_record_bytes) {
    return Status(Code::kOutOfRange,
                  "The record" + AtByte(record_offset_, path()) + " is longer than " +
                      base::ToDecimal(static_cast<std::int64_t>(limits_.max_record_bytes)) +
                      " bytes");
  }
  block_.resize(std::min(block_.size() * 2, limits_.max_record_bytes + 1));
  return {};
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
