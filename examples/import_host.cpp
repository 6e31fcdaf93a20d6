// A host program with windows: a form with the control on it, its properties in a sheet, a button
// for each method, and a log of the events as they come.
//
//   import_host [PROPERTY=VALUE ...]

#include "control/qt/kelvorin_control.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QMetaProperty>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>

#include <cstdio>

namespace {

// The control's own properties, in their order.
QList<QMetaProperty> PropertiesOf(const KelvorinControl& control) {
  QList<QMetaProperty> properties;
  const QMetaObject* meta = control.metaObject();
  for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i)
    properties += meta->property(i);
  return properties;
}

QString Shown(const QMetaProperty& property, const QVariant& value) {
  if (!property.isEnumType()) return value.toString();
  return QString::fromLatin1(property.enumerator().valueToKey(value.toInt()));
}

class Host final : public QWidget {
 public:
  Host() : control(this) {
    setWindowTitle(QStringLiteral("Import host"));
    auto* all = new QVBoxLayout(this);
    auto* buttons = new QHBoxLayout;
    AddButton(buttons, QStringLiteral("&Execute"), [this] { control.Execute(); });
    AddButton(buttons, QStringLiteral("&Batch import..."), [this] { Batch(); });
    AddButton(buttons, QStringLiteral("&display"), [this] { control.display(); });
    AddButton(buttons, QStringLiteral("&Clear log"), [this] { log_.clear(); });
    buttons->addStretch(1);
    all->addLayout(buttons);
    auto* panes = new QSplitter;
    sheet_.setAccessibleName(QStringLiteral("Properties"));
    sheet_.setTabKeyNavigation(false);
    sheet_.setColumnCount(2);
    sheet_.setHorizontalHeaderLabels({QStringLiteral("Property"), QStringLiteral("Value")});
    sheet_.horizontalHeader()->setStretchLastSection(true);
    sheet_.verticalHeader()->hide();
    log_.setAccessibleName(QStringLiteral("Events"));
    log_.setReadOnly(true);
    log_.setTabChangesFocus(true);
    log_.setMaximumBlockCount(5000);
    panes->addWidget(&sheet_);
    panes->addWidget(&log_);
    all->addWidget(panes, 1);
    ShowProperties();
    QObject::connect(&sheet_, &QTableWidget::cellChanged, this,
                     [this](int row, int) { Take(row); });
    Listen();
    resize(900, 560);
  }

  KelvorinControl control;

  void ShowProperties() {
    const QSignalBlocker quiet(&sheet_);
    const QList<QMetaProperty> properties = PropertiesOf(control);
    sheet_.setRowCount(static_cast<int>(properties.size()));
    for (int row = 0; row < sheet_.rowCount(); ++row) {
      auto* name = new QTableWidgetItem(QString::fromLatin1(properties[row].name()));
      name->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
      sheet_.setItem(row, 0, name);
      sheet_.setItem(row, 1,
                     new QTableWidgetItem(Shown(properties[row], properties[row].read(&control))));
    }
    sheet_.resizeColumnToContents(0);
  }

 private:
  template <typename F>
  void AddButton(QBoxLayout* row, const QString& caption, F act) {
    auto* button = new QPushButton(caption);
    row->addWidget(button);
    QObject::connect(button, &QPushButton::clicked, this, act);
  }

  void Take(int row) {
    const QMetaProperty property = PropertiesOf(control)[row];
    const QString text = sheet_.item(row, 1)->text();
    property.write(&control, property.isEnumType()
                                 ? QVariant(property.enumerator().keyToValue(text.toLatin1()))
                                 : QVariant(text));
    ShowProperties();
  }

  void Batch() {
    const QString name = QInputDialog::getText(this, QStringLiteral("Batch import"),
                                               QStringLiteral("Name of the setting:"));
    if (name.isNull()) return;
    const int result = control.BatchImport(name);
    log_.appendPlainText(QStringLiteral("BatchImport: %1 %2").arg(result).arg(control.LastError()));
  }

  void Listen() {
    const auto note = [this](const QString& line) { log_.appendPlainText(line); };
    QObject::connect(&control, &KelvorinControl::PropertyChanged, this,
                     [=, this](const QString& key) {
                       note(QStringLiteral("changed: ") + key);
                       ShowProperties();
                     });
    QObject::connect(&control, &KelvorinControl::FilterTable, this,
                     [=](const QString& table, bool&) { note("FilterTable: " + table); });
    QObject::connect(&control, &KelvorinControl::FilterField, this,
                     [=](const QString& table, const QString& field, bool&) {
                       note("FilterField: " + table + "." + field);
                     });
    QObject::connect(&control, &KelvorinControl::BeforeFieldImport, this,
                     [=](const QString&, const QString& field, int, int, QString& value) {
                       value = value.trimmed();  // what a host may do with every value
                       note("BeforeFieldImport: " + field + " = " + value);
                     });
    QObject::connect(&control, &KelvorinControl::ValidateAfterPost, this,
                     [=](bool&) { note(QStringLiteral("ValidateAfterPost")); });
  }

  QTableWidget sheet_;
  QPlainTextEdit log_;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  Host host;
  for (int i = 1; i < argc; ++i) {
    const QString argument = QString::fromLocal8Bit(argv[i]);
    const QByteArray name = argument.section(u'=', 0, 0).toLatin1();
    const int at = host.control.metaObject()->indexOfProperty(name.constData());
    if (at < 0) {
      std::fprintf(stderr, "there is no property '%s'\n", name.constData());
      return 2;
    }
    const QMetaProperty property = host.control.metaObject()->property(at);
    const QString text = argument.section(u'=', 1);
    property.write(&host.control, property.isEnumType()
                                      ? QVariant(property.enumerator().keyToValue(text.toLatin1()))
                                      : QVariant(text));
  }
  host.ShowProperties();
  host.show();
  return QApplication::exec();
}
