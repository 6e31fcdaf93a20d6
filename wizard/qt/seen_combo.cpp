#include "wizard/qt/seen_combo.h"

#include "wizard/qt/form_window.h"

#include <QAbstractItemView>
#include <QAccessibleWidget>
#include <QComboBox>

namespace kelvorin::wizard::qt {
namespace {

class SeenCombo final : public QAccessibleWidget {
 public:
  explicit SeenCombo(QComboBox* combo)
      : QAccessibleWidget(combo, QAccessible::ComboBox), combo_(*combo) {}

  QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Name) return combo_.accessibleName();
    if (kind == QAccessible::Value) return combo_.currentText();
    return QAccessibleWidget::text(kind);
  }
  int childCount() const override { return 1; }
  QAccessibleInterface* child(int index) const override {
    return index == 0 ? QAccessible::queryAccessibleInterface(combo_.view()) : nullptr;
  }
  int indexOfChild(const QAccessibleInterface* child) const override {
    return child->object() == combo_.view() ? 0 : -1;
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.expandable = true;
    state.expanded = combo_.view()->isVisible();
    state.hasPopup = true;
    return state;
  }
  QStringList actionNames() const override { return {showMenuAction(), pressAction()}; }
  void doAction(const QString& action) override {
    if (action != showMenuAction() && action != pressAction()) return;
    if (combo_.view()->isVisible()) {
      combo_.hidePopup();
    } else {
      combo_.showPopup();
    }
  }

 private:
  QComboBox& combo_;
};

QAccessibleInterface* See(const QString&, QObject* object) {
  auto* combo = qobject_cast<QComboBox*>(object);
  if (combo == nullptr || combo->isEditable()) return nullptr;
  return dynamic_cast<FormWindow*>(combo->window()) != nullptr ? new SeenCombo(combo) : nullptr;
}

}  // namespace

void SeeComboNames() {
  QAccessible::installFactory(See);
}

}  // namespace kelvorin::wizard::qt
