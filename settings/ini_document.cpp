#include "settings/ini_document.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/M_STRING.h"
#include "base/case_map.h"

namespace kelvorin::settings {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::string_view TrimName(std::string_view text) noexcept {
  return base::Trim(text, base::kBlankOrTab);
}

/// What a line can hold of a name or value.
std::string_view FirstLine(std::string_view text) noexcept {
  return text.substr(0, text.find_first_of("\r\n"));
}

bool SameName(std::string_view a, std::string_view b) {
  if (base::EqualIgnoreCase(a, b)) return true;
  const bool ascii =
      std::all_of(a.begin(), a.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  return !ascii && base::EqualAnyCase(a, b);
}

bool IsQuoted(std::string_view value) noexcept {
  return value.size() >= 2 && value.front() == value.back() &&
         (value.front() == '"' || value.front() == '\'');
}

std::string_view WithoutQuotes(std::string_view value) noexcept {
  return IsQuoted(value) ? value.substr(1, value.size() - 2) : value;
}

std::string Encode(std::string_view value) {
  value = FirstLine(value);
  if (TrimName(value).size() == value.size() && !IsQuoted(value)) return std::string(value);
  return '"' + std::string(value) + '"';
}

/// Length of the line at the front of `text`, its end included.
std::size_t LineSize(std::string_view text) noexcept {
  const std::size_t end = text.find_first_of("\r\n");
  if (end == std::string_view::npos) return text.size();
  return text.substr(end).starts_with("\r\n") ? end + 2 : end + 1;
}

}  // namespace

IniDocument::IniDocument(std::string_view text) {
  if (text.starts_with(kUtf8Mark)) {
    byte_order_mark_ = kUtf8Mark;
    text.remove_prefix(kUtf8Mark.size());
  }
  const std::string_view first = text.substr(0, LineSize(text));
  const std::size_t end = first.find_first_of("\r\n");
  if (end != std::string_view::npos) line_end_ = first.substr(end);
  while (!text.empty()) {
    const std::size_t size = LineSize(text);
    lines_.push_back(MakeLine(text.substr(0, size)));
    text.remove_prefix(size);
  }
}

std::string IniDocument::Text() const {
  std::string text = byte_order_mark_;
  for (const Line& line : lines_) text += line.text;
  return text;
}

// A line in square brackets names a section, with anything behind the last bracket; but where that
// holds a "=" it is the key of a setting that was given such a name.
IniDocument::Line IniDocument::MakeLine(std::string_view text) {
  Line line;
  line.text = text;
  const std::string_view body = TrimName(FirstLine(line.text));
  const auto slice = [&line](std::string_view part, std::uint32_t& at, std::uint32_t& size) {
    at = static_cast<std::uint32_t>(part.data() - line.text.data());
    size = static_cast<std::uint32_t>(part.size());
  };
  line.comment_or_blank = body.empty() || body.front() == ';';
  if (line.comment_or_blank) return line;
  if (const std::size_t bracket = body.rfind(']');
      body.front() == '[' && bracket != std::string_view::npos) {
    const std::string_view behind = TrimName(body.substr(bracket + 1));
    if (behind.starts_with(';') || behind.find('=') == std::string_view::npos) {
      line.kind = LineKind::kSection;
      slice(TrimName(body.substr(1, bracket - 1)), line.name_at, line.name_size);
      return line;
    }
  }
  const std::size_t equals = body.find('=');
  if (equals == std::string_view::npos) {
    line.comment_or_blank = body.front() == '#';
    return line;
  }
  const std::string_view name = TrimName(body.substr(0, equals));
  if (name.empty()) return line;
  line.kind = LineKind::kKey;
  slice(name, line.name_at, line.name_size);
  std::string_view value = TrimName(body.substr(equals + 1));
  if (value.empty()) value = body.substr(equals + 1, 0);  // the place behind the sign
  slice(value, line.value_at, line.value_size);
  return line;
}

IniDocument::Line IniDocument::MakeSection(std::string_view name, std::string_view line_end) {
  return MakeLine('[' + std::string(FirstLine(name)) + ']' + std::string(line_end));
}

IniDocument::Line IniDocument::MakeKey(std::string_view key, std::string_view value,
                                       std::string_view line_end) {
  return MakeLine(std::string(FirstLine(key)) + '=' + Encode(value) + std::string(line_end));
}

std::size_t IniDocument::FindSection(std::string_view section, std::size_t from) const {
  section = TrimName(FirstLine(section));
  for (std::size_t at = from; at < lines_.size(); ++at) {
    if (lines_[at].kind == LineKind::kSection && SameName(lines_[at].name(), section)) return at;
  }
  return lines_.size();
}

std::size_t IniDocument::SectionEnd(std::size_t header) const noexcept {
  std::size_t at = header + 1;
  while (at < lines_.size() && lines_[at].kind != LineKind::kSection) ++at;
  return at;
}

std::size_t IniDocument::FindKey(std::string_view section, std::string_view key) const {
  key = TrimName(FirstLine(key));
  for (std::size_t header = FindSection(section); header < lines_.size();
       header = FindSection(section, header + 1)) {
    const std::size_t end = SectionEnd(header);
    for (std::size_t at = header + 1; at < end; ++at) {
      if (lines_[at].kind == LineKind::kKey && SameName(lines_[at].name(), key)) return at;
    }
  }
  return lines_.size();
}

std::optional<std::string_view> IniDocument::Value(std::string_view section,
                                                   std::string_view key) const {
  const std::size_t at = FindKey(section, key);
  if (at == lines_.size()) return std::nullopt;
  return WithoutQuotes(lines_[at].value());
}

std::vector<IniEntry> IniDocument::Entries(std::string_view section) const {
  std::vector<IniEntry> entries;
  for (std::size_t header = FindSection(section); header < lines_.size();
       header = FindSection(section, header + 1)) {
    const std::size_t end = SectionEnd(header);
    for (std::size_t at = header + 1; at < end; ++at) {
      if (lines_[at].kind == LineKind::kKey)
        entries.push_back({lines_[at].name(), WithoutQuotes(lines_[at].value())});
    }
  }
  return entries;
}

void IniDocument::EndLine(std::size_t at) {
  std::string& text = lines_[at].text;
  if (text.empty() || (text.back() != '\n' && text.back() != '\r')) text += line_end_;
}

std::size_t IniDocument::AppendSection(std::string_view section) {
  if (!lines_.empty()) {
    EndLine(lines_.size() - 1);
    if (!TrimName(FirstLine(lines_.back().text)).empty()) lines_.push_back(MakeLine(line_end_));
  }
  lines_.push_back(MakeSection(section, line_end_));
  return lines_.size() - 1;
}

void IniDocument::SetValue(std::string_view section, std::string_view key, std::string_view value) {
  if (TrimName(FirstLine(key)).empty()) return;
  if (const std::size_t at = FindKey(section, key); at < lines_.size()) {
    Line& line = lines_[at];
    if (WithoutQuotes(line.value()) == FirstLine(value)) return;
    line.text.replace(line.value_at, line.value_size, Encode(value));
    line = MakeLine(std::string(line.text));
    return;
  }
  std::size_t header = FindSection(section);
  if (header == lines_.size()) header = AppendSection(section);
  const std::size_t end = SectionEnd(header);
  std::size_t behind = header;
  for (std::size_t at = header + 1; at < end; ++at) {
    if (lines_[at].kind == LineKind::kKey) behind = at;
  }
  EndLine(behind);
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(behind) + 1,
                MakeKey(key, value, line_end_));
}

void IniDocument::DeleteKey(std::string_view section, std::string_view key) {
  for (std::size_t at = FindKey(section, key); at < lines_.size(); at = FindKey(section, key))
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(at));
}

void IniDocument::DeleteSection(std::string_view section) {
  section = TrimName(FirstLine(section));
  // The blank line that parts it from what stands before it goes with it.
  for (std::size_t at = FindSection(section); at < lines_.size();
       at = FindSection(section, at + 1)) {
    if (at == 0 || !TrimName(FirstLine(lines_[at - 1].text)).empty()) continue;
    --at;
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(at));
  }
  bool inside = false;
  std::erase_if(lines_, [&](const Line& line) {
    if (line.kind == LineKind::kSection) inside = SameName(line.name(), section);
    return inside && !line.comment_or_blank;
  });
}

void IniDocument::ReplaceSection(std::string_view section, std::span<const IniEntry> entries) {
  std::size_t header = FindSection(section);
  if (header == lines_.size()) header = AppendSection(section);
  const std::size_t end = SectionEnd(header);
  std::size_t place = header + 1;
  while (place < end && lines_[place].comment_or_blank) ++place;
  if (place == end) place = header + 1;
  EndLine(place - 1);

  // What stands before the new keys cannot lose a line any more, so `place` stays right.
  Lines behind(std::make_move_iterator(lines_.begin() + static_cast<std::ptrdiff_t>(place)),
               std::make_move_iterator(lines_.end()));
  lines_.resize(place);
  for (const IniEntry& entry : entries)
    lines_.push_back(MakeKey(entry.key, entry.value, line_end_));
  const std::string name(lines_[header].name());
  bool inside = true;
  for (Line& line : behind) {
    if (line.kind == LineKind::kSection) inside = SameName(line.name(), name);
    if (!inside || line.comment_or_blank) lines_.push_back(std::move(line));
  }
}

}  // namespace kelvorin::settings
