#include "textsource/text_input.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "textsource/gzip_reader.h"

namespace kelvorin::textsource {
namespace {

constexpr std::size_t kSniffBytes = 4096;
constexpr std::size_t kPieceBytes = std::size_t{32} * 1024;
constexpr char32_t kReplacement = 0xFFFD;

unsigned ToByte(char c) noexcept {
  return static_cast<unsigned char>(c);
}

char16_t UnitAt(std::string_view bytes, std::size_t at, bool little) noexcept {
  const unsigned first = ToByte(bytes[at]);
  const unsigned second = ToByte(bytes[at + 1]);
  return static_cast<char16_t>(little ? first | second << 8 : first << 8 | second);
}

bool IsHighHalf(char16_t unit) noexcept {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLowHalf(char16_t unit) noexcept {
  return unit >= 0xDC00 && unit < 0xE000;
}

/// Whether every unit is one that text has: halves in pairs, no control character but Tab, LF, CR.
bool IsUtf16Text(std::string_view bytes, bool little) noexcept {
  bool open = false;  // behind the first half of a pair
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const char16_t unit = UnitAt(bytes, at, little);
    if (open != IsLowHalf(unit)) return false;
    open = IsHighHalf(unit);
    if (unit < 0x20 && unit != '\t' && unit != '\n' && unit != '\r') return false;
  }
  return true;
}

}  // namespace

int Utf16Page(std::string_view start, bool unmarked) noexcept {
  if (start.starts_with("\xFF\xFE")) return kUtf16LittleEndianPage;
  if (start.starts_with("\xFE\xFF")) return kUtf16BigEndianPage;
  constexpr std::size_t kFewest = 8;
  if (!unmarked || start.size() < kFewest) return 0;
  std::size_t zeros[2] = {0, 0};  // at even and at odd places
  for (std::size_t at = 0; at < start.size(); ++at) zeros[at % 2] += start[at] == '\0' ? 1u : 0u;
  const bool little = zeros[0] < zeros[1];
  // A third of the characters are ASCII even where most letters are not: blanks, digits, line ends.
  const bool mixed = std::min(zeros[0], zeros[1]) * 8 > std::max(zeros[0], zeros[1]);
  const std::size_t most = std::max(zeros[0], zeros[1]);
  if (mixed || most * 6 < start.size() || !IsUtf16Text(start, little)) return 0;
  return little ? kUtf16LittleEndianPage : kUtf16BigEndianPage;
}

/// The bytes from the front on, one piece behind the other.
class TextInput::Stream {
 public:
  Stream(const base::InputFile& file, bool compressed, int utf16_page)
      : file_(file), little_(utf16_page == kUtf16LittleEndianPage), utf16_(utf16_page != 0) {
    if (compressed) gzip_ = std::make_unique<GzipReader>(file);
  }

  std::uint64_t position() const noexcept { return position_; }
  std::int64_t replaced() const noexcept { return replaced_; }

  Result<std::size_t> Read(std::span<char> out) {
    std::size_t done = 0;
    while (done < out.size()) {
      if (!utf16_) {
        const Result<std::size_t> got = ReadRaw(out.subspan(done));
        if (!got.ok()) return got.status();
        done += *got;
        break;
      }
      if (text_at_ == text_.size()) {
        KV_TRY(Convert());
        if (text_.empty()) break;
      }
      const std::size_t size = std::min(text_.size() - text_at_, out.size() - done);
      std::memcpy(out.data() + done, text_.data() + text_at_, size);
      text_at_ += size;
      done += size;
    }
    position_ += done;
    return done;
  }

  Status SkipTo(std::uint64_t offset) {
    std::array<char, kPieceBytes> passed;
    while (position_ < offset) {
      const auto wanted = std::min<std::uint64_t>(passed.size(), offset - position_);
      const Result<std::size_t> got =
          Read(std::span<char>(passed).first(static_cast<std::size_t>(wanted)));
      if (!got.ok()) return got.status();
      if (*got == 0) break;
    }
    return Status();
  }

 private:
  Result<std::size_t> ReadRaw(std::span<char> out) {
    if (gzip_) return gzip_->Read(out);
    Result<std::size_t> got = file_.ReadAt(file_at_, out);
    if (got.ok()) file_at_ += *got;
    return got;
  }

  // Fills text_ with the next piece as UTF-8; empty at the end.
  Status Convert() {
    text_.clear();
    text_at_ = 0;
    std::array<char, kPieceBytes> units;
    const Result<std::size_t> got = ReadRaw(units);
    if (!got.ok()) return got.status();
    std::size_t at = 0;
    if (half_byte_ && *got > 0) {
      const char pair[2] = {*half_byte_, units[at++]};
      Take(UnitAt({pair, 2}, 0, little_));
      half_byte_.reset();
    }
    for (; at + 1 < *got; at += 2) Take(UnitAt({units.data(), *got}, at, little_));
    if (at < *got) half_byte_ = units[at];
    if (*got == units.size()) return Status();
    if (high_half_ != 0 || half_byte_) Lost();
    high_half_ = 0;
    half_byte_.reset();
    return Status();
  }

  void Take(char16_t unit) {
    const bool first = std::exchange(first_, false);
    if (first && unit == 0xFEFF) return;  // the byte-order mark
    if (high_half_ != 0) {
      const char16_t high = std::exchange(high_half_, u'\0');
      if (IsLowHalf(unit)) {
        base::AppendUtf8(0x10000u + ((high - 0xD800u) << 10) + (unit - 0xDC00u), text_);
        return;
      }
      Lost();
    }
    if (IsHighHalf(unit)) {
      high_half_ = unit;
    } else if (IsLowHalf(unit)) {
      Lost();
    } else {
      base::AppendUtf8(unit, text_);
    }
  }
  void Lost() {
    ++replaced_;
    base::AppendUtf8(kReplacement, text_);
  }

  const base::InputFile& file_;
  std::unique_ptr<GzipReader> gzip_;
  std::uint64_t file_at_ = 0;
  std::uint64_t position_ = 0;
  bool little_;
  bool utf16_;
  bool first_ = true;
  std::string text_;  // UTF-8 that was not handed out yet, from text_at_ on
  std::size_t text_at_ = 0;
  char16_t high_half_ = 0;
  std::optional<char> half_byte_;
  std::int64_t replaced_ = 0;
};

TextInput::TextInput(base::InputFile file) noexcept : file_(std::move(file)) {}
TextInput::TextInput(TextInput&& other) noexcept
    : file_(std::move(other.file_)),
      compressed_(other.compressed_),
      utf16_page_(other.utf16_page_) {}
TextInput& TextInput::operator=(TextInput&& other) noexcept {
  // Streams read from the other object's file: they begin anew.
  front_.reset();
  behind_.reset();
  file_ = std::move(other.file_);
  compressed_ = other.compressed_;
  utf16_page_ = other.utf16_page_;
  return *this;
}
TextInput::~TextInput() = default;

Result<TextInput> TextInput::Open(const std::string& path, bool unmarked_utf16) {
  Result<base::InputFile> file = base::InputFile::Open(path);
  if (!file.ok()) return file.status();
  TextInput input(*std::move(file));
  std::array<char, kSniffBytes> start;
  Result<std::size_t> got = input.file_.ReadAt(0, start);
  if (!got.ok()) return got.status();
  input.compressed_ = IsGzip({start.data(), *got});
  if (input.compressed_) {
    got = Stream(input.file_, true, 0).Read(start);
    if (!got.ok()) return got.status();
  }
  input.utf16_page_ = Utf16Page({start.data(), *got}, unmarked_utf16);
  return input;
}

Result<std::uint64_t> TextInput::Size() const {
  Result<std::uint64_t> size = file_.Size();
  if (!size.ok() || plain()) return size;
  constexpr std::uint64_t kUsualRatio = 4;  // of text to its compressed form
  const std::uint64_t unpacked = compressed_ ? *size * kUsualRatio : *size;
  return utf16_page_ != 0 ? unpacked / 2 : unpacked;
}

Result<std::size_t> TextInput::ReadAt(std::uint64_t offset, std::span<char> out) const {
  if (plain()) return file_.ReadAt(offset, out);
  if (!front_) front_ = std::make_unique<Stream>(file_, compressed_, utf16_page_);
  std::unique_ptr<Stream>* stream = &front_;
  if (front_->position() > offset) {
    stream = &behind_;
    if (!behind_ || behind_->position() > offset)
      behind_ = std::make_unique<Stream>(file_, compressed_, utf16_page_);
  }
  KV_TRY((*stream)->SkipTo(offset));
  return (*stream)->Read(out);
}

std::int64_t TextInput::replaced_characters() const noexcept {
  return front_ ? front_->replaced() : 0;
}

}  // namespace kelvorin::textsource
