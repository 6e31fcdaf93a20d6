#include "wizard/break_editor.h"

#include <algorithm>
#include <utility>

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
  dragged_ = 0;
  width_ = 0;
  for (const std::string& line : lines_) width_ = std::max(width_, base::CountCharacters(line));
  MoveCaret(caret_);
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

void BreakEditor::Remember() {
  if (undo_.size() == kUndoSteps) undo_.erase(undo_.begin());
  undo_.push_back(breaks_);
}

bool BreakEditor::Add(int position) {
  position = std::clamp(position, 1, kLastPosition);
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
  to = std::clamp(to, 1, kLastPosition);
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

// --- By keyboard and mouse

void BreakEditor::MoveCaret(int to) {
  caret_ = std::clamp(to, 1, LastPosition());
}

void BreakEditor::Press(Key key) {
  const std::vector<std::uint16_t> breaks = Positions();
  switch (key) {
    case Key::kLeft:
    case Key::kRight:
      MoveCaret(caret_ + (key == Key::kLeft ? -1 : 1));
      return;
    case Key::kMoveLeft:
    case Key::kMoveRight: {
      const int to = caret_ + (key == Key::kMoveLeft ? -1 : 1);
      if (!Has(caret_) || Move(caret_, to)) MoveCaret(to);
      return;
    }
    case Key::kFirst:
      MoveCaret(1);
      return;
    case Key::kLast:
      MoveCaret(static_cast<int>(width_));
      return;
    case Key::kNextBreak: {
      const auto next = std::upper_bound(breaks.begin(), breaks.end(), caret_);
      if (next != breaks.end()) MoveCaret(*next);
      return;
    }
    case Key::kPreviousBreak: {
      const auto at = std::lower_bound(breaks.begin(), breaks.end(), caret_);
      if (at != breaks.begin()) MoveCaret(*std::prev(at));
      return;
    }
    case Key::kToggle:
      if (!Remove(caret_)) Add(caret_);
      return;
    case Key::kRemove:
      Remove(caret_);
      return;
    case Key::kUndo:
      Undo();
      return;
  }
}

void BreakEditor::BeginDrag(int position) {
  dragged_ = drag_to_ = Has(position) ? position : 0;
}

void BreakEditor::DragTo(int position) {
  position = std::clamp(position, 1, kLastPosition);
  if (dragging() && (position == dragged_ || !Has(position))) drag_to_ = position;
}

bool BreakEditor::Drop() {
  const int from = std::exchange(dragged_, 0);
  if (from == 0 || from == drag_to_) return false;
  MoveCaret(drag_to_);
  return Move(from, drag_to_);
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
  breaks_.ClearBreakList();
  for (const std::uint16_t position : positions)
    if (!breaks_.AddFixedBreak(position).ok()) break;
  if (on_change) on_change();
}

void BreakEditor::SetFromText(std::string_view text, bool goes_on) {
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
      positions.push_back(static_cast<std::uint16_t>(number));
    at = end;
  }
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  if (!goes_on) text_remembered_ = false;
  if (positions == Positions()) return;
  if (!std::exchange(text_remembered_, true)) Remember();
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

}  // namespace kelvorin::wizard
