#include "wizard/break_editor.h"

#include <algorithm>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"

namespace kelvorin::wizard {
namespace {

constexpr std::size_t kUndoSteps = 200;
constexpr int kLastPosition = 65534;

}  // namespace

void BreakEditor::SetLines(std::vector<std::string> lines) {
  if (lines == lines_) return;
  lines_ = std::move(lines);
  undo_.clear();
}

std::size_t BreakEditor::width() const noexcept {
  std::size_t width = 0;
  for (const std::string& line : lines_) width = std::max(width, line.size());
  return width;
}

std::vector<std::uint16_t> BreakEditor::Positions() const {
  std::vector<std::uint16_t> positions;
  for (std::size_t slot = 0; slot < breaks_.count(); ++slot)
    if (breaks_[slot] != base::kNoBreak) positions.push_back(breaks_[slot]);
  std::sort(positions.begin(), positions.end());
  return positions;
}

bool BreakEditor::Has(int position) const noexcept {
  return position >= 0 && position <= kLastPosition &&
         breaks_.FixedBreakExist(static_cast<std::uint16_t>(position)) != base::kNoBreak;
}

// In UTF-8, a break stands before the first byte of a character of the longest line.
int BreakEditor::Snap(int position) const noexcept {
  position = std::clamp(position, 1, kLastPosition);
  if (!base::AnsiPage().is_utf8() || lines_.empty()) return position;
  const std::string& line = *std::max_element(
      lines_.begin(), lines_.end(),
      [](const std::string& a, const std::string& b) { return a.size() < b.size(); });
  while (position > 1 && static_cast<std::size_t>(position) < line.size() &&
         (line[static_cast<std::size_t>(position)] & 0xC0) == 0x80)
    --position;
  return position;
}

void BreakEditor::Remember() {
  if (undo_.size() == kUndoSteps) undo_.erase(undo_.begin());
  undo_.push_back(breaks_);
}

bool BreakEditor::Add(int position) {
  position = Snap(position);
  if (Has(position)) return false;
  Remember();
  if (!breaks_.AddFixedBreak(static_cast<std::uint16_t>(position)).ok()) {
    undo_.pop_back();  // full: 251 breaks
    return false;
  }
  if (on_change) on_change();
  return true;
}

bool BreakEditor::Remove(int position) {
  if (!Has(position)) return false;
  Remember();
  breaks_.DeleteFixedBreak(static_cast<std::uint16_t>(position));
  if (on_change) on_change();
  return true;
}

bool BreakEditor::Move(int from, int to) {
  to = Snap(to);
  if (from == to || !Has(from)) return false;
  const int slot = breaks_.FixedBreakExist(static_cast<std::uint16_t>(from));
  if (breaks_.FixedBreakExistButNoSelf(static_cast<std::uint16_t>(to), slot) != -1) return false;
  Remember();
  breaks_.DeleteFixedBreak(static_cast<std::uint16_t>(from));
  static_cast<void>(breaks_.AddFixedBreak(static_cast<std::uint16_t>(to)).ok());  // one was freed
  if (on_change) on_change();
  return true;
}

bool BreakEditor::Clear() {
  if (Positions().empty()) return false;
  Remember();
  breaks_.ClearBreakList();
  if (on_change) on_change();
  return true;
}

bool BreakEditor::Undo() {
  if (undo_.empty()) return false;
  breaks_ = undo_.back();
  undo_.pop_back();
  if (on_change) on_change();
  return true;
}

std::string BreakEditor::Text() const {
  std::string text;
  for (const std::uint16_t position : Positions()) {
    if (!text.empty()) text += ", ";
    base::AppendDecimal(position, text);
  }
  return text;
}

void BreakEditor::Replace(const std::vector<std::uint16_t>& positions) {
  if (positions == Positions()) return;
  Remember();
  breaks_.ClearBreakList();
  for (const std::uint16_t position : positions)
    if (!breaks_.AddFixedBreak(position).ok()) break;
  if (on_change) on_change();
}

void BreakEditor::SetFromText(std::string_view text) {
  std::vector<std::uint16_t> positions;
  for (std::size_t at = 0; at < text.size();) {
    if (!base::IsDigit(text[at])) {
      ++at;
      continue;
    }
    std::size_t end = at;
    while (end < text.size() && base::IsDigit(text[end])) ++end;
    const std::int64_t number = base::ParseInteger(text.substr(at, end - at));
    if (number >= 1 && number <= kLastPosition)
      positions.push_back(static_cast<std::uint16_t>(Snap(static_cast<int>(number))));
    at = end;
  }
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  Replace(positions);
}

std::vector<int> BreakEditor::UpdateColWidthsFromBreaks() const {
  std::vector<int> widths;
  int previous = 0;
  for (const int position : Positions()) {
    widths.push_back((position - previous) * kTwipsPerCharacter);
    previous = position;
  }
  return widths;
}

void BreakEditor::UpdateBreaksFromColWidths(const std::vector<int>& widths) {
  std::vector<std::uint16_t> positions;
  int position = 0;
  for (const int width : widths) {
    position += std::max(width / kTwipsPerCharacter, 1);
    if (position <= kLastPosition) positions.push_back(static_cast<std::uint16_t>(position));
  }
  Replace(positions);
}

}  // namespace kelvorin::wizard
