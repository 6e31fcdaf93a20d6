#pragma once
// The property sheet that a form designer shows for the control: its 22 properties, the name and
// the place, with "changed" meaning "not at its default". Installed by the plug-in.

#include <QDesignerPropertySheetExtension>
#include <QExtensionFactory>
#include <QVariant>

class QDesignerFormEditorInterface;

namespace kelvorin::designer {

/// Makes the designer use this sheet for every KelvorinControl.
void InstallPropertySheet(QDesignerFormEditorInterface* editor);

class SheetFactory final : public QExtensionFactory {
  Q_OBJECT
 public:
  explicit SheetFactory(QExtensionManager* manager) : QExtensionFactory(manager) {}

 protected:
  QObject* createExtension(QObject* object, const QString& iid, QObject* parent) const override;

 private:
  mutable bool asking_ = false;  // for the built-in sheet behind ours
};

/// Forwards to the designer's own sheet.
class PropertySheet final : public QObject, public QDesignerPropertySheetExtension {
  Q_OBJECT
  Q_INTERFACES(QDesignerPropertySheetExtension)
 public:
  PropertySheet(QObject* control, QDesignerPropertySheetExtension* inner, QObject* parent);

  int count() const override { return inner_->count(); }
  int indexOf(const QString& name) const override { return inner_->indexOf(name); }
  QString propertyName(int index) const override { return inner_->propertyName(index); }
  QString propertyGroup(int index) const override { return inner_->propertyGroup(index); }
  void setPropertyGroup(int index, const QString& group) override {
    inner_->setPropertyGroup(index, group);
  }
  bool hasReset(int index) const override { return inner_->hasReset(index); }
  bool reset(int index) override;
  bool isVisible(int index) const override;
  void setVisible(int index, bool visible) override { inner_->setVisible(index, visible); }
  bool isAttribute(int index) const override { return inner_->isAttribute(index); }
  void setAttribute(int index, bool attribute) override { inner_->setAttribute(index, attribute); }
  QVariant property(int index) const override { return inner_->property(index); }
  void setProperty(int index, const QVariant& value) override;
  bool isChanged(int index) const override;
  void setChanged(int index, bool changed) override { inner_->setChanged(index, changed); }
  bool isEnabled(int index) const override { return inner_->isEnabled(index); }

 private:
  bool IsOurs(int index) const;
  void AfterChange(int index);
  QObject* control_;
  QDesignerPropertySheetExtension* inner_;
};

}  // namespace kelvorin::designer
