#include "wizard/qt/break_view.h"

#include "base/code_page.h"
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
    const QString at = QString::number(view_.caret());
    return view_.AtBreak() ? Caption("Break at") + u' ' + at : at;
  }
  QVariant currentValue() const override { return view_.caret(); }
  void setCurrentValue(const QVariant& value) override { view_.MoveCaret(value.toInt()); }
  QVariant minimumValue() const override { return 1; }
  QVariant maximumValue() const override { return view_.LastPosition(); }
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

bool BreakView::AtBreak() const {
  return editor_.Has(caret_);
}
int BreakView::LastPosition() const {
  return static_cast<int>(std::max<std::size_t>(editor_.width(), 1)) + 1;
}

void BreakView::Refresh() {
  UpdateScrollBars();
  viewport()->update();
  QAccessibleEvent changed(this, QAccessible::DescriptionChanged);
  QAccessible::updateAccessibility(&changed);
}

void BreakView::UpdateScrollBars() {
  const int width = kLeft * 2 + static_cast<int>(editor_.width() + 4) * CellWidth();
  const int height = static_cast<int>(editor_.lines().size() + 2) * RowHeight();
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
  const int bottom = RowHeight() * 3 / 2;
  const int first = std::max(horizontalScrollBar()->value() / cell, 0);
  const int last = first + viewport()->width() / cell + 1;
  painter.fillRect(0, 0, viewport()->width(), bottom, palette().window());
  painter.setPen(palette().color(QPalette::WindowText));
  for (int at = first; at <= last; ++at) {
    const int x = PointOf(at).x();
    painter.drawLine(x, bottom, x, bottom - (at % 10 == 0 ? 6 : at % 5 == 0 ? 4 : 2));
    if (at % 10 == 0 && at > 0)
      painter.drawText(QRect(x - cell * 4, 0, cell * 8, RowHeight()), Qt::AlignCenter,
                       QString::number(at));
  }
}

void BreakView::DrawLine(QPainter& painter, const std::string& line, int top) const {
  const base::CodePage& page = base::AnsiPage();
  const int cell = CellWidth();
  const auto first =
      static_cast<std::size_t>(std::max(horizontalScrollBar()->value() / cell - 8, 0));
  const std::size_t last = first + static_cast<std::size_t>(viewport()->width() / cell) + 16;
  for (std::size_t at = 0; at < line.size() && at < last;) {
    const std::size_t start = at;
    const char32_t character = page.is_utf8()
                                   ? base::DecodeUtf8(line, at)
                                   : page.ToUnicode(static_cast<unsigned char>(line[at++]));
    if (at < first || character == U' ') continue;
    painter.drawText(PointOf(static_cast<int>(start)).x(), top + fontMetrics().ascent(),
                     Visible(character));
  }
}

void BreakView::paintEvent(QPaintEvent*) {
  QPainter painter(viewport());
  const int ruler = RowHeight() * 3 / 2;
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
    draw(dragged_ == position && drag_to_ > 0 ? drag_to_ : position, QPalette::Highlight, 2);
  if (hasFocus()) {
    const int x = PointOf(caret_).x();
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
  dragged_ = BreakNear(x);
  drag_to_ = dragged_;
  const int position = PositionAt(x);
  if (dragged_ == 0 && position >= 1) {
    MoveCaret(position);
    Edit([&] { editor_.Add(position); });
  } else if (dragged_ != 0) {
    MoveCaret(dragged_);
  }
}

void BreakView::mouseMoveEvent(QMouseEvent* event) {
  const int x = qRound(event->position().x());
  if (dragged_ == 0) {
    viewport()->setCursor(BreakNear(x) != 0 ? Qt::SplitHCursor : Qt::ArrowCursor);
    return;
  }
  const int to = std::max(PositionAt(x), 1);
  if (to == dragged_ || !editor_.Has(to)) drag_to_ = to;  // never onto another
  viewport()->update();
}

void BreakView::mouseReleaseEvent(QMouseEvent*) {
  const int from = std::exchange(dragged_, 0);
  if (from == 0 || from == drag_to_) return;
  MoveCaret(drag_to_);
  Edit([&] { editor_.Move(from, drag_to_); });
}

void BreakView::mouseDoubleClickEvent(QMouseEvent* event) {
  // The first click of the two may have added the break; two clicks remove it again.
  const int position = BreakNear(qRound(event->position().x()));
  dragged_ = 0;
  if (position != 0) Edit([&] { editor_.Remove(position); });
}

// --- Keyboard

void BreakView::MoveCaret(int to) {
  caret_ = std::clamp(to, 1, LastPosition());
  QAccessibleValueChangeEvent moved(this, caret_);
  QAccessible::updateAccessibility(&moved);
  const int x = kLeft + caret_ * CellWidth();
  if (x < horizontalScrollBar()->value()) horizontalScrollBar()->setValue(x - CellWidth() * 4);
  if (x > horizontalScrollBar()->value() + viewport()->width() - CellWidth())
    horizontalScrollBar()->setValue(x - viewport()->width() + CellWidth() * 4);
  viewport()->update();
}

void BreakView::keyPressEvent(QKeyEvent* event) {
  const bool control = (event->modifiers() & Qt::ControlModifier) != 0;
  const int step = event->key() == Qt::Key_Left ? -1 : 1;
  const std::vector<std::uint16_t> breaks = editor_.Positions();
  switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
      if (control && editor_.Has(caret_)) {
        const int from = caret_;
        Edit([&] { editor_.Move(from, from + step); });
        if (!editor_.Has(from)) MoveCaret(from + step);
      } else {
        MoveCaret(caret_ + step);
      }
      return;
    case Qt::Key_Home:
      MoveCaret(1);
      return;
    case Qt::Key_End:
      MoveCaret(static_cast<int>(editor_.width()));
      return;
    case Qt::Key_PageDown: {
      const auto next = std::upper_bound(breaks.begin(), breaks.end(), caret_);
      if (next != breaks.end()) MoveCaret(*next);
      return;
    }
    case Qt::Key_PageUp: {
      const auto at = std::lower_bound(breaks.begin(), breaks.end(), caret_);
      if (at != breaks.begin()) MoveCaret(*std::prev(at));
      return;
    }
    case Qt::Key_Space:
      Edit([&] {
        if (!editor_.Remove(caret_)) editor_.Add(caret_);
      });
      return;
    case Qt::Key_Delete:
      Edit([&] { editor_.Remove(caret_); });
      return;
    default:
      break;
  }
  if (event->matches(QKeySequence::Undo)) {
    Edit([&] { editor_.Undo(); });
    return;
  }
  QAbstractScrollArea::keyPressEvent(event);
}

}  // namespace kelvorin::wizard::qt
