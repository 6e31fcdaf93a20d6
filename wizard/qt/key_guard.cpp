#include "wizard/qt/key_guard.h"

#include <QKeyEvent>

namespace kelvorin::wizard::qt {

bool RepeatsPress(const QEvent& event) {
  if (event.type() != QEvent::KeyPress && event.type() != QEvent::ShortcutOverride) return false;
  const auto& key = static_cast<const QKeyEvent&>(event);
  if (!key.isAutoRepeat()) return false;
  if ((key.modifiers() & Qt::AltModifier) != 0) return true;
  return key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter || key.key() == Qt::Key_Space;
}

bool KeyGuard::eventFilter(QObject* object, QEvent* event) {
  if (!RepeatsPress(*event)) return QObject::eventFilter(object, event);
  event->accept();
  return true;
}

}  // namespace kelvorin::wizard::qt
