#include "wizard/qt/break_view.h"

#include "base/code_page.h"
#include "base/language.h"
#include "wizard/qt/text.h"

#include <QAccessibleWidget>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>

namespace kelvorin::wizard::qt {
namespace {

constexpr int kLeft = 4;  // pixels before the first character

QString Visible(char32_t character) {
  // Control characters as their pictures.
  if (character < 0x20) return QString(QChar(static_cast<char16_t>(0x2400 + character)));
  return QString::fromUcs4(&character, 1);
}

// The break editor as assistive programs see it: a value that arrow keys move, the caret's
// position, with the breaks in its description.
class SeenBreaks final : public QAccessibleWidget, public QAccessibleValueInterface {
 public:
  explicit SeenBreaks(BreakView* view)
      : QAccessibleWidget(view, QAccessible::Slider), view_(*view) {}

  void* interface_cast(QAccessible::InterfaceType type) override {
    if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
  }
  QString text(QAccessible::Text kind) const override {
    if (kind != QAccessible::Value) return QAccessibleWidget::text(kind);
    const QString at = QString::number(view_.editor().caret());
    return view_.editor().Has(view_.editor().caret())
               ? ToText(base::Tr("Break at %1", {at.toStdString()}))
               : at;
  }
  QVariant currentValue() const override { return view_.editor().caret(); }
  void setCurrentValue(const QVariant& value) override { view_.MoveCaret(value.toInt()); }
  QVariant minimumValue() const override { return 1; }
  QVariant maximumValue() const override { return view_.editor().LastPosition(); }
  QVariant minimumStepSize() const override { return 1; }

 private:
  BreakView& view_;
};

QAccessibleInterface* SeeBreaks(const QString&, QObject* object) {
  auto* view = dynamic_cast<BreakView*>(object);
  return view != nullptr ? new SeenBreaks(view) : nullptr;
}

}  // namespace

BreakView::BreakView(QWidget* parent, BreakEditor& editor)
    : QAbstractScrollArea(parent), editor_(editor) {
  setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  setFocusPolicy(Qt::StrongFocus);
  QAccessible::installFactory(SeeBreaks);  // a second time changes nothing
  viewport()->setMouseTracking(true);
  viewport()->setBackgroundRole(QPalette::Base);
  viewport()->setAutoFillBackground(true);
}

int BreakView::CellWidth() const {
  return std::max(fontMetrics().horizontalAdvance(u'0'), 4);
}
int BreakView::RowHeight() const {
  return fontMetrics().height();
}

QPoint BreakView::PointOf(int position) const {
  return {kLeft + position * CellWidth() - horizontalScrollBar()->value(), RowHeight() * 3};
}

int BreakView::PositionAt(int x) const {
  return (x - kLeft + horizontalScrollBar()->value() + CellWidth() / 2) / CellWidth();
}

int BreakView::BreakNear(int x) const {
  const int zone = std::max(CellWidth() * 4 / 10, 3);
  for (const int position : editor_.Positions())
    if (std::abs(PointOf(position).x() - x) <= zone) return position;
  return 0;
}

void BreakView::Refresh() {
  UpdateScrollBars();
  viewport()->update();
  QAccessibleEvent changed(this, QAccessible::DescriptionChanged);
  QAccessible::updateAccessibility(&changed);
}

void BreakView::UpdateScrollBars() {
  const int width = kLeft * 2 + static_cast<int>(editor_.width() + 4) * CellWidth();
  const int height = static_cast<int>(editor_.lines().size() + 1) * RowHeight() + RulerHeight();
  horizontalScrollBar()->setRange(0, std::max(width - viewport()->width(), 0));
  horizontalScrollBar()->setPageStep(viewport()->width());
  horizontalScrollBar()->setSingleStep(CellWidth());
  verticalScrollBar()->setRange(0, std::max(height - viewport()->height(), 0));
  verticalScrollBar()->setPageStep(viewport()->height());
  verticalScrollBar()->setSingleStep(RowHeight());
}

void BreakView::resizeEvent(QResizeEvent* event) {
  QAbstractScrollArea::resizeEvent(event);
  UpdateScrollBars();
}

void BreakView::Edit(const std::function<void()>& act) {
  if (by_user) {
    by_user(act);
  } else {
    act();
  }
  viewport()->update();
}

// --- Drawing

void BreakView::DrawRuler(QPainter& painter) const {
  const int cell = CellWidth();
  const int bottom = RulerHeight();
  const int first = std::max(horizontalScrollBar()->value() / cell, 0);
  const int last = first + viewport()->width() / cell + 1;
  painter.fillRect(0, 0, viewport()->width(), bottom, palette().window());
  painter.setPen(palette().color(QPalette::WindowText));
  for (int at = first; at <= last; ++at) {
    const int x = PointOf(at).x();
    painter.drawLine(x, bottom, x, bottom - (at % 10 == 0 ? 6 : at % 5 == 0 ? 4 : 2));
    if (at % 10 == 0 && at > 0)
      painter.drawText(QRect(x - cell * 4, RowHeight(), cell * 8, RowHeight()), Qt::AlignCenter,
                       QString::number(at));
  }
  // The number of each column over it.
  QFont bold = painter.font();
  bold.setBold(true);
  painter.setFont(bold);
  int left = PointOf(0).x();
  int number = 0;
  for (const int position : editor_.Positions()) {
    const int right = PointOf(editor_.DrawnAt(position)).x();
    painter.drawText(QRect(left, 0, std::max(right - left, 0), RowHeight()), Qt::AlignCenter,
                     QString::number(++number));
    left = right;
  }
}

// Every other column is shaded, so that narrow ones are told apart.
void BreakView::DrawColumns(QPainter& painter) const {
  int left = PointOf(0).x();
  bool shaded = false;
  for (const int position : editor_.Positions()) {
    const int right = PointOf(editor_.DrawnAt(position)).x();
    if (shaded)
      painter.fillRect(QRect(left, RulerHeight(), right - left, viewport()->height()),
                       palette().alternateBase());
    shaded = !shaded;
    left = right;
  }
}

void BreakView::DrawLine(QPainter& painter, const std::string& line, int top) const {
  const base::CodePage& page = base::AnsiPage();
  const int cell = CellWidth();
  const auto first =
      static_cast<std::size_t>(std::max(horizontalScrollBar()->value() / cell - 8, 0));
  const std::size_t last = first + static_cast<std::size_t>(viewport()->width() / cell) + 16;
  std::size_t cell_no = 0;
  for (std::size_t at = 0; at < line.size() && cell_no < last; ++cell_no) {
    const char32_t character = page.is_utf8()
                                   ? base::DecodeUtf8(line, at)
                                   : page.ToUnicode(static_cast<unsigned char>(line[at++]));
    if (cell_no < first || character == U' ') continue;
    painter.drawText(PointOf(static_cast<int>(cell_no)).x(), top + fontMetrics().ascent(),
                     Visible(character));
  }
}

void BreakView::paintEvent(QPaintEvent*) {
  QPainter painter(viewport());
  const int ruler = RulerHeight();
  DrawColumns(painter);
  painter.setPen(palette().color(QPalette::Text));
  int top = ruler + 2 - verticalScrollBar()->value();
  for (const std::string& line : editor_.lines()) {
    if (top + RowHeight() > ruler && top < viewport()->height()) DrawLine(painter, line, top);
    top += RowHeight();
  }
  DrawRuler(painter);
  const auto draw = [&](int position, QPalette::ColorRole role, int width) {
    const int x = PointOf(position).x();
    painter.setPen(QPen(palette().color(role), width));
    painter.drawLine(x, ruler - 2, x, viewport()->height());
  };
  for (const int position : editor_.Positions())
    draw(editor_.DrawnAt(position), QPalette::Highlight, 2);
  if (hasFocus()) {
    const int x = PointOf(editor_.caret()).x();
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Text));
    const QPoint mark[] = {{x - 4, ruler - 8}, {x + 4, ruler - 8}, {x, ruler}};
    painter.drawPolygon(mark, 3);
  }
}

// --- Mouse

void BreakView::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  const int x = qRound(event->position().x());
  const int near = BreakNear(x);
  const int position = near != 0 ? near : PositionAt(x);
  if (position < 1) return;
  MoveCaret(position);
  if (near != 0) {
    editor_.BeginDrag(near);
  } else {
    Edit([&] { editor_.Add(position); });
  }
}

void BreakView::mouseMoveEvent(QMouseEvent* event) {
  const int x = qRound(event->position().x());
  if (!editor_.dragging()) {
    viewport()->setCursor(BreakNear(x) != 0 ? Qt::SplitHCursor : Qt::ArrowCursor);
    return;
  }
  DragTo(x);
}

void BreakView::DragTo(int x) {
  drag_x_ = x;
  const bool outside = x < 0 || x >= viewport()->width();
  if (outside && !scroll_.isActive()) scroll_.start(40, this);
  if (!outside) scroll_.stop();
  editor_.DragTo(
      std::clamp(PositionAt(std::clamp(x, 0, viewport()->width())), 1, editor_.LastPosition()));
  viewport()->update();
}

// A break that is held beyond the edge takes the text along.
void BreakView::timerEvent(QTimerEvent* event) {
  if (event->timerId() != scroll_.timerId()) return QAbstractScrollArea::timerEvent(event);
  if (!editor_.dragging()) return scroll_.stop();
  const int step = drag_x_ < 0 ? -CellWidth() : CellWidth();
  horizontalScrollBar()->setValue(horizontalScrollBar()->value() + step);
  DragTo(drag_x_);
}

void BreakView::mouseReleaseEvent(QMouseEvent*) {
  scroll_.stop();
  if (editor_.dragging()) Edit([&] { editor_.Drop(); });
}

void BreakView::mouseDoubleClickEvent(QMouseEvent* event) {
  // The first click of the two may have added the break; two clicks remove it again.
  const int position = BreakNear(qRound(event->position().x()));
  editor_.CancelDrag();
  if (position != 0) Edit([&] { editor_.Remove(position); });
}

// --- Keyboard

void BreakView::MoveCaret(int to) {
  editor_.MoveCaret(to);
  ShowCaret();
}

void BreakView::ShowCaret() {
  QAccessibleValueChangeEvent moved(this, editor_.caret());
  QAccessible::updateAccessibility(&moved);
  const int x = kLeft + editor_.caret() * CellWidth();
  if (x < horizontalScrollBar()->value()) horizontalScrollBar()->setValue(x - CellWidth() * 4);
  if (x > horizontalScrollBar()->value() + viewport()->width() - CellWidth())
    horizontalScrollBar()->setValue(x - viewport()->width() + CellWidth() * 4);
  viewport()->update();
}

void BreakView::keyPressEvent(QKeyEvent* event) {
  using Key = BreakEditor::Key;
  const bool control = (event->modifiers() & Qt::ControlModifier) != 0;
  if (event->key() == Qt::Key_Escape && editor_.dragging()) {
    scroll_.stop();
    editor_.CancelDrag();
    viewport()->update();
    return;
  }
  const std::pair<int, Key> keys[] = {
      {Qt::Key_Left, control ? Key::kMoveLeft : Key::kLeft},
      {Qt::Key_Right, control ? Key::kMoveRight : Key::kRight},
      {Qt::Key_Home, Key::kFirst},
      {Qt::Key_End, Key::kLast},
      {Qt::Key_PageDown, Key::kNextBreak},
      {Qt::Key_PageUp, Key::kPreviousBreak},
      {Qt::Key_Space, Key::kToggle},
      {Qt::Key_Delete, Key::kRemove},
      {event->matches(QKeySequence::Undo) ? event->key() : 0, Key::kUndo},
  };
  for (const auto& [key, action] : keys) {
    if (event->key() != key) continue;
    Edit([&, what = action] { editor_.Press(what); });
    return ShowCaret();
  }
  QAbstractScrollArea::keyPressEvent(event);
}

}  // namespace kelvorin::wizard::qt
