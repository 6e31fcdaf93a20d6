#pragma once
// The fixed-width preview: ruler, characters and break lines, edited by mouse and keyboard. Draws
// from the form's break editor and changes nothing by itself.

#include <QAbstractScrollArea>
#include <QBasicTimer>

#include <functional>

#include "wizard/break_editor.h"

namespace kelvorin::wizard::qt {

class BreakView final : public QAbstractScrollArea {
 public:
  BreakView(QWidget* parent, BreakEditor& editor);

  /// Draws anew after lines or breaks have changed.
  void Refresh();
  /// Moves the caret and brings it into sight.
  void MoveCaret(int to);
  const BreakEditor& editor() const noexcept { return editor_; }
  /// Centre of a break position on the viewport.
  QPoint PointOf(int position) const;
  /// Runs an edit of the user.
  std::function<void(const std::function<void()>&)> by_user;

 private:
  int CellWidth() const;
  int RowHeight() const;
  int RulerHeight() const { return RowHeight() * 5 / 2; }
  void ShowCaret();
  void DragTo(int x);
  int PositionAt(int x) const;
  int BreakNear(int x) const;  // 0 for none
  void Edit(const std::function<void()>& act);
  void UpdateScrollBars();
  void DrawColumns(QPainter& painter) const;
  void DrawRuler(QPainter& painter) const;
  void DrawLine(QPainter& painter, const std::string& line, int top) const;

  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

  BreakEditor& editor_;
  QBasicTimer scroll_;  // while a break is dragged beyond the edge
  int drag_x_ = 0;
};

}  // namespace kelvorin::wizard::qt
