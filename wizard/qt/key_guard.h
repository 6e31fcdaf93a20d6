#pragma once
// A key that is held down counts once where it starts or answers something: the repeats of Return,
// Space and Alt with a letter are taken away from windows and buttons. Used by every window and
// message box.

#include <QObject>

class QEvent;

namespace kelvorin::wizard::qt {

/// Whether the event is the repeat of a held key that would press a button.
bool RepeatsPress(const QEvent& event);

/// Swallows such repeats for the objects that it is installed on.
class KeyGuard final : public QObject {
 public:
  using QObject::QObject;
  bool eventFilter(QObject* object, QEvent* event) override;
};

}  // namespace kelvorin::wizard::qt
