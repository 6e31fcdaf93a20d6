#include "control/designer/property_sheet.h"

#include "contract/properties.h"
#include "control/qt/kelvorin_control.h"

#include <QDesignerFormEditorInterface>
#include <QDesignerFormWindowInterface>
#include <QDesignerPropertyEditorInterface>
#include <QExtensionManager>
#include <QPointer>
#include <QTimer>
#include <QUndoStack>

namespace kelvorin::designer {

void InstallPropertySheet(QDesignerFormEditorInterface* editor) {
  QExtensionManager* manager = editor->extensionManager();
  manager->registerExtensions(new SheetFactory(manager),
                              QStringLiteral("org.qt-project.Qt.Designer.PropertySheet"));
}

QObject* SheetFactory::createExtension(QObject* object, const QString& iid, QObject* parent) const {
  auto* control = qobject_cast<KelvorinControl*>(object);
  if (control == nullptr || asking_) return nullptr;
  asking_ = true;
  auto* inner =
      qobject_cast<QDesignerPropertySheetExtension*>(extensionManager()->extension(object, iid));
  asking_ = false;
  return inner == nullptr ? nullptr : new PropertySheet(control, inner, parent);
}

PropertySheet::PropertySheet(QObject* control, QDesignerPropertySheetExtension* inner,
                             QObject* parent)
    : QObject(parent), control_(control), inner_(inner) {}

bool PropertySheet::IsOurs(int index) const {
  return contract::FindProperty(inner_->propertyName(index).toStdString()) != nullptr;
}

bool PropertySheet::isVisible(int index) const {
  const QString name = inner_->propertyName(index);
  return IsOurs(index) || name == u"objectName" || name == u"geometry";
}

bool PropertySheet::isChanged(int index) const {
  const QString name = inner_->propertyName(index);
  if (!IsOurs(index)) return name == u"geometry" && inner_->isChanged(index);
  const contract::Properties defaults;
  const contract::PropertyValue value =
      contract::GetProperty(defaults, *contract::FindProperty(name.toStdString()));
  const QVariant now = control_->property(name.toUtf8().constData());
  if (const auto* text = std::get_if<std::string>(&value))
    return now.toString() != QString::fromStdString(*text);
  if (const auto* number = std::get_if<std::int16_t>(&value)) return now.toInt() != *number;
  return now.toBool() != std::get<bool>(value);
}

void PropertySheet::setProperty(int index, const QVariant& value) {
  inner_->setProperty(index, value);
  AfterChange(index);
}

bool PropertySheet::reset(int index) {
  const bool done = inner_->reset(index);
  AfterChange(index);
  return done;
}

void PropertySheet::AfterChange(int index) {
  auto* form = QDesignerFormWindowInterface::findFormWindow(control_);
  if (form == nullptr) return;
  // A change of this one property alone does not mark the form as changed.
  const bool stays_clean = inner_->propertyName(index) == u"ShowAdvancedOption" && !form->isDirty();
  // Later, when the command of which this is a part has ended.
  QTimer::singleShot(0, this, [this, index, stays_clean, form = QPointer(form)] {
    if (!form) return;
    if (stays_clean) {
      QUndoStack* done = form->commandHistory();
      done->setClean();
      form->setDirty(false);
      emit done->indexChanged(done->index());  // on which the window's title follows
    }
    // The editor takes every property that was set for one that is not at its default.
    auto* editor = form->core()->propertyEditor();
    if (editor != nullptr && editor->object() == control_)
      editor->setPropertyValue(propertyName(index), property(index), isChanged(index));
  });
}

}  // namespace kelvorin::designer
