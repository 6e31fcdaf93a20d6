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

  std::size_t size = 0;  // of the record in the block, without its separator
  std::size_t next = 0;  // where the next record starts
  std::size_t scanned = begin_;
  Ending ending = Ending::kNone;
  at_end_ = false;
  while ((ending = FindEnding(scanned, size, next)) == Ending::kNone) {
    scanned = end_;
    KV_TRY(Fill(scanned, at_end_));
    if (at_end_) {
      size = end_ - begin_;
      next = end_;
      break;
    }
  }
  const std::size_t start = std::exchange(begin_, next);
  if (ending == Ending::kBrokenSeparator) {
    return Status(Code::kInvalidArgument,
                  "A record starts inside its separator" + AtByte(record_offset_, path()));
  }
  const auto length = static_cast<std::size_t>(format_.length);
  if (length != 0 && size > length) size = length;
  record = std::span<char>(block_.data() + start, size);
  return {};
}

// Looks for the end of the record that starts at begin_, in the block from `scan_from` on. The
// search is for the separator's last character, then a look back that never leaves the record.
RecordReader::Ending RecordReader::FindEnding(std::size_t scan_from, std::size_t& size,
                                              std::size_t& next) const noexcept {
  const char* const block = block_.data();
  const char* const start = block + begin_;
  const char* const end = block + end_;
  const auto found = [&](const char* at, std::size_t separator_bytes_before) {
    size = static_cast<std::size_t>(at - start) - separator_bytes_before;
    next = static_cast<std::size_t>(at - block) + 1;
    return Ending::kFound;
  };

  const char* at = block + scan_from;
  switch (format_.code) {
    case separator_code::kCrLf:
      for (; (at = Find(at, end, '\n')) != nullptr; ++at) {
        if (at > start && at[-1] == '\r') return found(at, 1);
      }
      return Ending::kNone;
    case separator_code::kCr:
    case separator_code::kLf:
      at = Find(at, end, format_.code == separator_code::kCr ? '\r' : '\n');
      return at ? found(at, 0) : Ending::kNone;
    case separator_code::kOther: {
      const std::string& separator = format_.other;
      const std::size_t before = separator.size() - 1;
      for (; (at = Find(at, end, separator.back())) != nullptr; ++at) {
        std::size_t matched = 0;
        while (matched < before && at - matched > start &&
               at[-1 - static_cast<std::ptrdiff_t>(matched)] == separator[before - 1 - matched]) {
          ++matched;
        }
        if (matched == before) return found(at, before);
        if (at - matched == start) {
          // Kept as it is: the comparison would need characters before the record's first one.
          found(at, 0);
          return Ending::kBrokenSeparator;
        }
      }
      return Ending::kNone;
    }
    case separator_code::kLength: {
      // The byte behind the record is passed over with it.
      const auto length = static_cast<std::size_t>(format_.length);
      return end_ - begin_ > length ? found(start + length, 0) : Ending::kNone;
    }
    default:
      return Ending::kNone;
  }
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
    begin_ = 0;
    return {};
  }
  if (end_ < block_.size()) return {};

  const auto length = static_cast<std::size_t>(format_.length);
  if (length != 0 && format_.code != separator_code::kLength) {
    // The record will be cut: hold its front and what a look back may need, forget the middle.
    const std::size_t look_back = format_.code == separator_code::kOther ? format_.other.size() : 1;
    if (end_ > length + look_back) {
      std::memmove(block_.data() + length, block_.data() + end_ - look_back, look_back);
      const std::size_t forgotten = end_ - (length + look_back);
      block_offset_ += forgotten;
      end_ -= forgotten;
      scanned = end_;
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
