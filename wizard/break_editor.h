#pragma once
// Edits the breaks of a fixed-width source over the preview lines: setting, dragging, removing,
// taking back, and the same list as text. Windows draw from it and call it; the list of breaks
// itself belongs to the form.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "textsource/break_list.h"

namespace kelvorin::wizard {

class BreakEditor {
 public:
  /// Width of one character in the grid's measure.
  static constexpr int kTwipsPerCharacter = 120;

  explicit BreakEditor(textsource::BreakList& breaks) : breaks_(breaks) {}

  /// The preview lines; forgets what could be taken back.
  void SetLines(std::vector<std::string> lines);
  const std::vector<std::string>& lines() const noexcept { return lines_; }
  /// Characters of the longest line.
  std::size_t width() const noexcept { return width_; }

  /// Positions in ascending order.
  std::vector<std::uint16_t> Positions() const;
  bool Has(int position) const noexcept;

  // Each edit runs `on_change` when it changed something. Positions count characters, from 1 on.
  bool Add(int position);
  bool Remove(int position);
  /// Drags a break. It is never dropped onto another.
  bool Move(int from, int to);
  bool Clear();
  bool Undo();
  bool CanUndo() const noexcept { return !undo_.empty(); }

  // --- By keyboard: a caret between the characters, from 1 on.
  enum class Key : std::uint8_t {
    kLeft,
    kRight,
    kFirst,
    kLast,
    kNextBreak,
    kPreviousBreak,
    kToggle,
    kRemove,
    kMoveLeft,  // the break at the caret, else the caret
    kMoveRight,
    kUndo,
  };
  void Press(Key key);
  int caret() const noexcept { return caret_; }
  void MoveCaret(int to);
  /// Where the caret can stand last.
  int LastPosition() const noexcept { return static_cast<int>(width_ == 0 ? 1 : width_) + 1; }

  // --- By mouse: a break follows the pointer until it is dropped; nothing is changed before.
  void BeginDrag(int position);
  void DragTo(int position);
  bool Drop();
  void CancelDrag() noexcept { dragged_ = 0; }
  bool dragging() const noexcept { return dragged_ != 0; }
  /// Where a break is to be drawn.
  int DrawnAt(int position) const noexcept { return position == dragged_ ? drag_to_ : position; }

  /// "4, 14, 21".
  std::string Text() const;
  /// Replaces the breaks by the numbers of the text; anything between digits separates them. An
  /// edit that goes on is taken back together with the one before it.
  void SetFromText(std::string_view text, bool goes_on = false);

  /// Widths of the columns in twips; the text behind the last break is none.
  std::vector<int> UpdateColWidthsFromBreaks() const;

  std::function<void()> on_change;

 private:
  void Remember();
  void Replace(const std::vector<std::uint16_t>& positions);

  textsource::BreakList& breaks_;
  std::vector<std::string> lines_;
  std::vector<textsource::BreakList> undo_;
  std::size_t width_ = 0;
  int caret_ = 1;
  int dragged_ = 0;  // 0 for none
  int drag_to_ = 0;
  bool text_remembered_ = false;  // what stood before the edit of the text
};

}  // namespace kelvorin::wizard
