#include "wizard/qt/note_label.h"

#include <QEvent>

namespace kelvorin::wizard::qt {

NoteLabel::NoteLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);  // it carries data
}

bool NoteLabel::event(QEvent* event) {
  const bool done = QLabel::event(event);
  // A new text asks for a layout, a new layout for a height.
  if (wordWrap() && (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest ||
                     event->type() == QEvent::Polish || event->type() == QEvent::FontChange))
    KeepHeight();
  return done;
}

void NoteLabel::KeepHeight() {
  const int height = text().isEmpty() ? 0 : heightForWidth(width());
  if (height >= 0 && minimumHeight() != height) setMinimumHeight(height);
}

}  // namespace kelvorin::wizard::qt
