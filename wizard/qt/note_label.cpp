#include "wizard/qt/note_label.h"

#include <QResizeEvent>

#include <algorithm>

namespace kelvorin::wizard::qt {

NoteLabel::NoteLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);  // it carries data
}

void NoteLabel::Wrap() {
  setWordWrap(true);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize NoteLabel::sizeHint() const {
  const QSize hint = QLabel::sizeHint();
  return wordWrap() ? QSize(hint.width(), std::max(heightForWidth(width()), 0)) : hint;
}

QSize NoteLabel::minimumSizeHint() const {
  const QSize hint = QLabel::minimumSizeHint();
  return wordWrap() ? QSize(hint.width(), sizeHint().height()) : hint;
}

void NoteLabel::resizeEvent(QResizeEvent* event) {
  QLabel::resizeEvent(event);
  if (wordWrap() && event->size().width() != event->oldSize().width()) updateGeometry();
}

}  // namespace kelvorin::wizard::qt
