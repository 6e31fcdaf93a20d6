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
  /// Bytes of the longest line.
  std::size_t width() const noexcept;

  /// Positions in ascending order.
  std::vector<std::uint16_t> Positions() const;
  bool Has(int position) const noexcept;

  // Each edit runs `on_change` when it changed something. Positions are from 1 on; in a UTF-8 page
  // those inside a character move to its start.
  bool Add(int position);
  bool Remove(int position);
  /// Drags a break. It is never dropped onto another.
  bool Move(int from, int to);
  bool Clear();
  bool Undo();
  bool CanUndo() const noexcept { return !undo_.empty(); }

  /// "4, 14, 21".
  std::string Text() const;
  /// Replaces the breaks by the numbers of the text; anything between digits separates them.
  void SetFromText(std::string_view text);

  /// Widths of the columns in twips; the text behind the last break is none.
  std::vector<int> UpdateColWidthsFromBreaks() const;
  /// The other way round: breaks at the columns' right edges.
  void UpdateBreaksFromColWidths(const std::vector<int>& widths);

  std::function<void()> on_change;

 private:
  int Snap(int position) const noexcept;
  void Remember();
  void Replace(const std::vector<std::uint16_t>& positions);

  textsource::BreakList& breaks_;
  std::vector<std::string> lines_;
  std::vector<textsource::BreakList> undo_;
};

}  // namespace kelvorin::wizard
