#include "wizard/qt/note_label.h"

#include <QResizeEvent>

#include <algorithm>

namespace kelvorin::wizard::qt {
namespace {

constexpr int kLongestWord = 24;

// Names of files and values may be long words, which would make the window as wide as they are:
// they may be broken anywhere, by blanks that are not seen.
QString Breakable(const QString& text) {
  QString broken;
  int run = 0;
  for (const QChar c : text) {
    run = c.isSpace() || c == QChar(0x200B) ? 0 : run + 1;
    if (run > kLongestWord && !c.isLowSurrogate() && !c.isMark()) {
      broken += QChar(0x200B);
      run = 1;
    }
    broken += c;
  }
  return broken;
}

}  // namespace

NoteLabel::NoteLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);  // it carries data
}

void NoteLabel::Show(const QString& text) {
  setText(wordWrap() ? Breakable(text) : text);
}

void NoteLabel::Wrap() {
  setWordWrap(true);
  setText(Breakable(text()));
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
