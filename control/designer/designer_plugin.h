#pragma once
// The plug-in by which form designers and the run-time loader of forms know the control.

#include <QObject>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

namespace kelvorin::designer {

class DesignerPlugin final : public QObject, public QDesignerCustomWidgetInterface {
  Q_OBJECT
  Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QDesignerCustomWidgetInterface")
  Q_INTERFACES(QDesignerCustomWidgetInterface)
 public:
  QString name() const override { return QStringLiteral("KelvorinControl"); }
  QString group() const override { return QStringLiteral("Data"); }
  QString toolTip() const override { return QStringLiteral("Imports data into a table"); }
  QString whatsThis() const override { return toolTip(); }
  QString includeFile() const override { return QStringLiteral("control/qt/kelvorin_control.h"); }
  QIcon icon() const override;
  bool isContainer() const override { return false; }
  QWidget* createWidget(QWidget* parent) override;
  bool isInitialized() const override { return initialized_; }
  /// Called by form designers only: the control is shown from now on.
  void initialize(QDesignerFormEditorInterface* editor) override;
  QString domXml() const override;

 private:
  bool initialized_ = false;
};

}  // namespace kelvorin::designer
