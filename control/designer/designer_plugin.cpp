#include "control/designer/designer_plugin.h"

#include "control/designer/property_sheet.h"
#include "control/qt/kelvorin_control.h"

#include <QIcon>

namespace kelvorin::designer {

QIcon DesignerPlugin::icon() const {
  KelvorinControl control;
  return QIcon(control.grab());
}

QWidget* DesignerPlugin::createWidget(QWidget* parent) {
  return new KelvorinControl(parent);
}

void DesignerPlugin::initialize(QDesignerFormEditorInterface* editor) {
  if (initialized_) return;
  initialized_ = true;
  KelvorinControl::SetDesignMode(true);
  InstallPropertySheet(editor);
}

// Texts are kept as they are: a change of language at run time must not write them again. The
// caption alone is for people.
QString DesignerPlugin::domXml() const {
  QString texts;
  for (const char* name : {"DataBaseName", "DSN", "UserName", "Password", "IniFile", "ImportTable",
                           "ImportDBName", "TableName", "AutoLoadSettingName"})
    texts += QStringLiteral(
                 "<stringpropertyspecification name=\"%1\" type=\"singleline\" notr=\"true\"/>")
                 .arg(QLatin1String(name));
  texts += QStringLiteral(
      "<stringpropertyspecification name=\"LastError\" type=\"multiline\" notr=\"true\"/>");
  return QStringLiteral(
             "<ui language=\"c++\"><widget class=\"KelvorinControl\" name=\"kelvorin\"/>"
             "<customwidgets><customwidget><class>KelvorinControl</class>"
             "<extends>QWidget</extends><header>control/qt/kelvorin_control.h</header>"
             "<propertyspecifications>%1</propertyspecifications>"
             "</customwidget></customwidgets></ui>")
      .arg(texts);
}

}  // namespace kelvorin::designer
