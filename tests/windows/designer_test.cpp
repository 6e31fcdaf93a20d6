// The control on forms: what the form designer, run in this process, stores of it and when a form
// counts as changed; what generated code and the run-time loader make of such a form.

#include "contract/properties.h"
#include "control/qt/kelvorin_control.h"
#include "tests/support/places.h"
#include "tests/windows/driver.h"
#include "ui_import_form.h"

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
#include <QFile>
#include <QPluginLoader>
#include <QUiLoader>
#include <QUndoStack>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

#include <memory>

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
  explicit Designer(const QString& contents = QString::fromLatin1(kForm)) {
    editor = Editor();
    form = editor->formWindowManager()->createFormWindow();
    form->setContents(contents);
    form->setDirty(false);
    editor->formWindowManager()->setActiveFormWindow(form);
    widget = form->findChild<KelvorinControl*>();
    REQUIRE(widget != nullptr);
    sheet = qt_extension<QDesignerPropertySheetExtension*>(editor->extensionManager(), widget);
    REQUIRE(sheet != nullptr);
  }
  ~Designer() { editor->formWindowManager()->removeFormWindow(form); }
  void Set(const char* name, const QVariant& value) {
    form->cursor()->setWidgetProperty(widget, QLatin1String(name), value);
    QTest::qWait(20);
  }
  void Reset(const char* name) {
    sheet->reset(sheet->indexOf(QLatin1String(name)));
    QTest::qWait(20);
  }
  QString Stored() { return form->contents(); }

  QDesignerFormEditorInterface* editor;
  QDesignerFormWindowInterface* form;
  KelvorinControl* widget;
  QDesignerPropertySheetExtension* sheet;
};

}  // namespace

TEST_CASE("Generated code and the run-time loader give the control what its form stores") {
  KelvorinControl::SetDesignMode(false);
  QWidget generated;
  Ui::ImportForm code;
  code.setupUi(&generated);
  QUiLoader loader;
  loader.addPluginPath(QStringLiteral(KELVORIN_PLUGINS));
  QFile file(QString::fromStdString(SourceFolder() + "/tests/windows/import_form.ui"));
  REQUIRE(file.open(QIODevice::ReadOnly));
  const std::unique_ptr<QWidget> loaded(loader.load(&file));
  REQUIRE_MESSAGE(loaded != nullptr, loader.errorString().toStdString());

  for (QWidget* form : {&generated, loaded.get()}) {
    CAPTURE(form == &generated);
    auto* control = form->findChild<KelvorinControl*>();
    REQUIRE(control != nullptr);
    CHECK(control->DataBaseName() == "shop");
    CHECK(control->ConnectString() == KelvorinControl::ODBC);
    CHECK(control->DefaultSourceType() == KelvorinControl::THtmlTags);
    CHECK(control->ImportCaption() == "Customers");
    CHECK(control->HelpID() == 12);
    CHECK(control->tableName() == "CUST");
    CHECK_FALSE(control->ShowAdvancedOption());
    CHECK(control->ShowProgress());
    form->show();
    CHECK_FALSE(control->isVisible());
    CHECK(control->size() == control->sizeHint());
  }
  // A change of language leaves alone what the host has set.
  code.kelvorin->setTableName(QStringLiteral("ORDERS"));
  code.retranslateUi(&generated);
  CHECK(code.kelvorin->tableName() == "ORDERS");
}

TEST_CASE("All texts but the caption are marked as not for translation") {
  QPluginLoader loader(QStringLiteral(KELVORIN_PLUGINS "/libkelvorin-designer.so"));
  auto* plugin = qobject_cast<QDesignerCustomWidgetInterface*>(loader.instance());
  REQUIRE_MESSAGE(plugin != nullptr, loader.errorString().toStdString());
  CHECK(plugin->domXml().count("notr=\"true\"") == 10);
  CHECK_FALSE(plugin->domXml().contains("ImportCaption"));
}

TEST_CASE("A form stores what differs from its default, in the control's order") {
  Designer designer;
  CHECK(designer.widget->isVisibleTo(designer.widget->parentWidget()));
  const auto table = contract::PropertyTable();
  QStringList shown;
  for (int i = 0; i < designer.sheet->count(); ++i)
    if (designer.sheet->isVisible(i)) shown += designer.sheet->propertyName(i);
  CHECK(shown.size() == static_cast<int>(table.size()) + 2);  // and the name and the place

  for (auto row = table.rbegin(); row != table.rend(); ++row) {
    const QByteArray key(row->key.data(), static_cast<qsizetype>(row->key.size()));
    const QVariant now = designer.widget->property(key);
    QVariant other = 9;
    if (now.typeId() == QMetaType::QString) other = QStringLiteral("x < é");
    if (now.typeId() == QMetaType::Bool) other = !now.toBool();
    CHECK_FALSE(designer.Stored().contains(QLatin1String(key)));
    designer.Set(key, other);
  }
  CHECK(designer.form->isDirty());
  const QString stored = designer.Stored();
  qsizetype at = 0;
  for (const contract::PropertyInfo& info : table) {
    CAPTURE(info.key);
    const auto key = QString::fromLatin1(info.key.data(), static_cast<qsizetype>(info.key.size()));
    const qsizetype next = stored.indexOf("name=\"" + key + "\"", at);
    CHECK(next > at);
    at = next;
  }
  CHECK(stored.contains("<enum>KelvorinControl::DBase5</enum>"));

  Designer again(stored);
  CHECK(again.Stored() == stored);
  for (const contract::PropertyInfo& info : table) {
    CAPTURE(info.key);
    again.Reset(info.key.data());
    CHECK_FALSE(again.Stored().contains(QLatin1String(info.key.data())));
  }
  CHECK(again.widget->ImportCaption() == "Import Data");
  again.Set("DataBaseName", QStringLiteral("shop"));
  again.Set("DataBaseName", QString());
  CHECK_FALSE(again.Stored().contains("DataBaseName"));
}

TEST_CASE("A change of ShowAdvancedOption alone does not mark the form") {
  Designer designer;
  bool title_marked = false;
  QObject::connect(designer.form->commandHistory(), &QUndoStack::indexChanged, designer.form,
                   [&] { title_marked = designer.form->isDirty(); });
  const auto is_clean = [&] { return !designer.form->isDirty() && !title_marked; };
  designer.Set("ShowAdvancedOption", false);
  CHECK(is_clean());
  CHECK(designer.Stored().contains("ShowAdvancedOption"));
  designer.form->commandHistory()->undo();
  QTest::qWait(20);
  CHECK(is_clean());
  CHECK_FALSE(designer.Stored().contains("ShowAdvancedOption"));
  designer.Set("ShowErrorsOption", false);
  designer.Set("ShowAdvancedOption", false);
  CHECK(designer.form->isDirty());
}

}  // namespace kelvorin::tests
