// The form designer in this process: what a form stores of the control, and when it counts as
// changed.

#include "tests/windows/driver.h"

#include <QDesignerActionEditorInterface>
#include <QDesignerComponents>
#include <QDesignerFormEditorInterface>
#include <QDesignerFormWindowCursorInterface>
#include <QDesignerFormWindowInterface>
#include <QDesignerFormWindowManagerInterface>
#include <QDesignerIntegration>
#include <QDesignerObjectInspectorInterface>
#include <QDesignerPropertyEditorInterface>
#include <QDesignerPropertySheetExtension>
#include <QDesignerWidgetBoxInterface>
#include <QDir>
#include <QExtensionManager>
#include <QPluginLoader>
#include <QUndoStack>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

namespace kelvorin::tests {

namespace {

const char kForm[] =
    "<ui version=\"4.0\"><class>Form</class><widget class=\"QWidget\" name=\"Form\">"
    "<property "
    "name=\"geometry\"><rect><x>0</x><y>0</y><width>200</width><height>100</height></rect>"
    "</property><widget class=\"KelvorinControl\" name=\"kelvorin\"/></widget>"
    "<customwidgets><customwidget><class>KelvorinControl</class><extends>QWidget</extends>"
    "<header>control/qt/kelvorin_control.h</header></customwidget></customwidgets></ui>";

// One editor for all cases: it lives as long as the process.
QDesignerFormEditorInterface* Editor() {
  static QDesignerFormEditorInterface* editor = nullptr;
  if (editor != nullptr) return editor;
  auto* top = new QWidget;
  QDesignerComponents::initializeResources();
  QCoreApplication::addLibraryPath(QDir::cleanPath(QStringLiteral(KELVORIN_PLUGINS "/..")));
  editor = QDesignerComponents::createFormEditor(nullptr);
  editor->setTopLevel(top);
  editor->setWidgetBox(QDesignerComponents::createWidgetBox(editor, top));
  editor->setPropertyEditor(QDesignerComponents::createPropertyEditor(editor, top));
  editor->setObjectInspector(QDesignerComponents::createObjectInspector(editor, top));
  editor->setActionEditor(QDesignerComponents::createActionEditor(editor, top));
  new QDesignerIntegration(editor, editor);
  QDesignerComponents::initializePlugins(editor);
  return editor;
}

struct Designer {
  Designer() {
    editor = Editor();
    form = editor->formWindowManager()->createFormWindow();
    form->setContents(QString::fromLatin1(kForm));
    form->setDirty(false);
    editor->formWindowManager()->setActiveFormWindow(form);
    widget = form->findChild<QWidget*>(QStringLiteral("kelvorin"));
    REQUIRE(widget != nullptr);
    sheet = qt_extension<QDesignerPropertySheetExtension*>(editor->extensionManager(), widget);
    REQUIRE(sheet != nullptr);
  }
  ~Designer() { editor->formWindowManager()->removeFormWindow(form); }
  void Set(const char* name, const QVariant& value) {
    form->cursor()->setWidgetProperty(widget, QLatin1String(name), value);
    QTest::qWait(20);
  }
  QString Stored() { return form->contents(); }

  QDesignerFormEditorInterface* editor;
  QDesignerFormWindowInterface* form;
  QWidget* widget;
  QDesignerPropertySheetExtension* sheet;
};

}  // namespace

TEST_CASE("The plug-in is loaded and describes the control") {
  QPluginLoader loader(QStringLiteral(KELVORIN_PLUGINS "/libkelvorin-designer.so"));
  auto* plugin = qobject_cast<QDesignerCustomWidgetInterface*>(loader.instance());
  REQUIRE_MESSAGE(plugin != nullptr, loader.errorString().toStdString());
  CHECK(plugin->name() == "KelvorinControl");
  CHECK(plugin->domXml().contains("name=\"TableName\" type=\"singleline\" notr=\"true\""));
  CHECK_FALSE(plugin->domXml().contains("ImportCaption"));
  const std::unique_ptr<QWidget> made(plugin->createWidget(nullptr));
  CHECK(made != nullptr);
}

TEST_CASE("A form stores what differs from its default, in the control's order") {
  Designer designer;
  // The plug-in has a copy of the class of its own.
  CHECK(designer.widget->metaObject()->className() == std::string("KelvorinControl"));
  CHECK_FALSE(designer.Stored().contains("DataBaseName"));
  for (int i = 0; i < designer.sheet->count(); ++i)
    if (designer.sheet->propertyName(i) == "enabled") CHECK_FALSE(designer.sheet->isVisible(i));

  designer.Set("MultiTable", true);
  designer.Set("DataBaseName", QStringLiteral("shop"));
  CHECK(designer.form->isDirty());
  const QString stored = designer.Stored();
  CHECK(stored.contains("shop"));
  CHECK(stored.indexOf("DataBaseName") < stored.indexOf("MultiTable"));
  CHECK_FALSE(stored.contains("ImportCaption"));
  designer.Set("MultiTable", false);
  designer.Set("DataBaseName", QString());
  CHECK_FALSE(designer.Stored().contains("MultiTable"));
  CHECK_FALSE(designer.Stored().contains("DataBaseName"));
}

TEST_CASE("A change of ShowAdvancedOption alone does not mark the form") {
  Designer designer;
  REQUIRE_FALSE(designer.form->isDirty());
  designer.Set("ShowAdvancedOption", false);
  CHECK_FALSE(designer.form->isDirty());
  CHECK(designer.Stored().contains("ShowAdvancedOption"));
  designer.Set("ShowErrorsOption", false);
  CHECK(designer.form->isDirty());
}

}  // namespace kelvorin::tests
