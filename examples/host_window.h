#pragma once
// The window of the sample host: a form with the control on it, its properties in a sheet, a button
// for each method, what the host answers to the events, and a log of them as they come.

#include "control/qt/kelvorin_control.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMetaProperty>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>

#include <utility>

class HostWindow final : public QWidget {
 public:
  KelvorinControl control{this};  // what a form designer would have put here

  HostWindow() {
    setObjectName("HostWindow");
    setWindowTitle("Import host");
    auto* right = new QWidget;
    auto* column = new QVBoxLayout(right);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(Methods());
    column->addWidget(Answers());
    column->addWidget(Events(), 1);
    auto* panes = new QSplitter;
    panes->addWidget(Properties());
    panes->addWidget(right);
    panes->setStretchFactor(1, 1);
    panes->setChildrenCollapsible(false);
    panes->setSizes({400, 520});
    auto* all = new QVBoxLayout(this);
    all->addWidget(panes);
    ShowProperties();
    Connect();
    resize(940, 660);
  }

  /// Sets a property from text, enumerations by member name. False when there is none of that name.
  bool SetProperty(const QByteArray& name, const QString& text) {
    const int at = control.metaObject()->indexOfProperty(name);
    if (at < control.metaObject()->propertyOffset()) return false;
    const QMetaProperty property = control.metaObject()->property(at);
    const bool by_name = property.isEnumType();
    property.write(&control, by_name ? QVariant(property.enumerator().keyToValue(text.toLatin1()))
                                     : QVariant(text));
    return true;
  }

  void Note(const QString& line) { log_.appendPlainText(line); }

 private:
  QMetaProperty PropertyAt(int row) const {
    return control.metaObject()->property(control.metaObject()->propertyOffset() + row);
  }

  // --- The parts of the window.

  QWidget* Properties() {
    auto* box = new QGroupBox("Properties");
    auto* column = new QVBoxLayout(box);
    column->addWidget(&sheet_);
    sheet_.setObjectName("Sheet");
    sheet_.setAccessibleName("Properties");
    sheet_.setTabKeyNavigation(false);
    sheet_.setColumnCount(2);
    sheet_.setRowCount(control.metaObject()->propertyCount() -
                       control.metaObject()->propertyOffset());
    sheet_.setHorizontalHeaderLabels({"Property", "Value"});
    sheet_.horizontalHeader()->setStretchLastSection(true);
    sheet_.verticalHeader()->hide();
    sheet_.verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 8);
    sheet_.verticalHeader()->setMinimumSectionSize(1);
    for (int row = 0; row < sheet_.rowCount(); ++row) {
      const QMetaProperty property = PropertyAt(row);
      auto* name = new QTableWidgetItem(property.name());
      name->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
      auto* value = new QTableWidgetItem;
      sheet_.setItem(row, 0, name);
      sheet_.setItem(row, 1, value);
      if (property.typeId() == QMetaType::Bool)
        value->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
      if (!property.isEnumType()) continue;
      auto* list = new QComboBox;
      list->setAccessibleName(property.name());
      list->setFrame(false);
      for (int i = 0; i < property.enumerator().keyCount(); ++i)
        list->addItem(property.enumerator().key(i), property.enumerator().value(i));
      connect(list, &QComboBox::activated, this,
              [this, list, property] { property.write(&control, list->currentData()); });
      sheet_.setCellWidget(row, 1, list);
    }
    sheet_.resizeColumnToContents(0);
    sheet_.setColumnWidth(0, sheet_.columnWidth(0) * 5 / 4);  // room for bold names
    connect(&sheet_, &QTableWidget::cellChanged, this, [this](int row, int) { Take(row); });
    return box;
  }

  QWidget* Methods() {
    auto* box = new QGroupBox("Methods");
    auto* grid = new QGridLayout(box);
    const auto add = [&](const char* caption, const char* tip, auto act) {
      auto* button = new QPushButton(caption);
      button->setObjectName(QString(caption).remove('&'));
      button->setToolTip(tip);
      connect(button, &QPushButton::clicked, this, act);
      grid->addWidget(button, 0, grid->count());
    };
    add("&Execute", "Opens the import wizard", [this] {
      records_ = posted_ = 0;
      control.Execute();
      Note("Execute has returned " + Error());
    });
    add("&BatchImport", "Runs the setting named below, without dialogs", [this] {
      records_ = posted_ = 0;
      const int result = control.BatchImport(setting_.text());
      Note("BatchImport has returned " + QString::number(result) + " " + Error());
    });
    add("&display", "Shows a message box", [this] { control.display(); });
    auto* label = new QLabel("&Setting:");
    label->setBuddy(&setting_);
    setting_.setObjectName("Setting");
    setting_.setText("Customers");
    grid->addWidget(label, 1, 0, Qt::AlignRight);
    grid->addWidget(&setting_, 1, 1, 1, 2);
    return box;
  }

  QWidget* Answers() {
    auto* box = new QGroupBox("What this host answers");
    auto* column = new QVBoxLayout(box);
    for (const auto& [answer, caption] :
         {std::pair{&upper_, "BeforeFieldImport: values in &upper case"},
          {&hide_tables_, "FilterTable: hide &tables that begin with C"},
          {&hide_kinds_, "FilterType: hide all &kinds but text"},
          {&hide_remarks_, "FilterField: hide the field &REMARKS"},
          {&skip_, "ValidateBeforePost: skip every t&hird record"},
          {&stop_, "ValidateAfterPost: stop after fi&ve records"}}) {
      answer->setText(caption);
      column->addWidget(answer);
    }
    return box;
  }

  QWidget* Events() {
    auto* box = new QGroupBox("Events");
    auto* column = new QVBoxLayout(box);
    log_.setObjectName("Log");
    log_.setAccessibleName("Events");
    log_.setReadOnly(true);
    log_.setTabChangesFocus(true);
    log_.setLineWrapMode(QPlainTextEdit::NoWrap);
    log_.setMaximumBlockCount(5000);
    log_.setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    auto* clear = new QPushButton("&Clear");
    connect(clear, &QPushButton::clicked, &log_, &QPlainTextEdit::clear);
    column->addWidget(&log_, 1);
    column->addWidget(clear, 0, Qt::AlignRight);
    return box;
  }

  // --- Properties and the sheet.

  void ShowProperties() {
    const QSignalBlocker quiet(&sheet_);
    const KelvorinControl fresh;
    for (int row = 0; row < sheet_.rowCount(); ++row) {
      const QMetaProperty property = PropertyAt(row);
      const QVariant value = property.read(&control);
      QFont font = sheet_.font();
      font.setBold(value != property.read(&fresh));  // not at its default: a form stores it
      sheet_.item(row, 0)->setFont(font);
      QTableWidgetItem& cell = *sheet_.item(row, 1);
      if (auto* list = qobject_cast<QComboBox*>(sheet_.cellWidget(row, 1))) {
        list->setCurrentIndex(list->findData(value.toInt()));
      } else if (property.typeId() == QMetaType::Bool) {
        cell.setCheckState(value.toBool() ? Qt::Checked : Qt::Unchecked);
      } else {
        cell.setText(value.toString());
        cell.setToolTip(value.toString());
      }
    }
  }

  void Take(int row) {
    const QMetaProperty property = PropertyAt(row);
    const QTableWidgetItem& cell = *sheet_.item(row, 1);
    if (property.typeId() == QMetaType::Bool) {
      property.write(&control, cell.checkState() == Qt::Checked);
    } else {
      property.write(&control, cell.text());
    }
    ShowProperties();
  }

  QString Error() const {
    return control.LastError().isEmpty() ? QString() : "(" + control.LastError() + ")";
  }

  // --- Events: parameters taken by reference are the host's answer.

  void Connect() {
    connect(&control, &KelvorinControl::PropertyChanged, this, [this](const QString& key) {
      Note("PropertyChanged     " + key);
      ShowProperties();
    });
    connect(&control, &KelvorinControl::FilterTable, this,
            [this](const QString& table, bool& hide) {
              hide = hide_tables_.isChecked() && table.startsWith('C', Qt::CaseInsensitive);
              Note("FilterTable         " + table + Hidden(hide));
            });
    connect(&control, &KelvorinControl::FilterType, this, [this](int type, bool& hide) {
      hide = hide_kinds_.isChecked() && type > KelvorinControl::THtmlTags;
      const auto kinds = QMetaEnum::fromType<KelvorinControl::FileTypeFormat>();
      Note("FilterType          " + QString(kinds.valueToKey(type)) + Hidden(hide));
    });
    connect(&control, &KelvorinControl::FilterField, this,
            [this](const QString& table, const QString& field, bool& hide) {
              hide = hide_remarks_.isChecked() && field == "REMARKS";
              Note("FilterField         " + table + "." + field + Hidden(hide));
            });
    connect(&control, &KelvorinControl::BeforeFieldImport, this,
            [this](const QString&, const QString& field, int, int, QString& value) {
              if (upper_.isChecked()) value = value.toUpper();
              Note("BeforeFieldImport   " + field + " = " + value);
            });
    connect(&control, &KelvorinControl::ValidateBeforePost, this, [this](bool& skip, bool&) {
      skip = skip_.isChecked() && ++records_ % 3 == 0;
      Note(QString("ValidateBeforePost  ") + (skip ? "skipped" : "accepted"));
    });
    connect(&control, &KelvorinControl::ValidateAfterPost, this, [this](bool& stop) {
      stop = stop_.isChecked() && ++posted_ % 5 == 0;
      Note(QString("ValidateAfterPost   ") + (stop ? "stopped" : "written"));
    });
  }

  static QString Hidden(bool hide) { return hide ? "  (hidden)" : ""; }

  QTableWidget sheet_;
  QPlainTextEdit log_;
  QLineEdit setting_;
  QCheckBox upper_, hide_tables_, hide_kinds_, hide_remarks_, skip_, stop_;
  int records_ = 0;
  int posted_ = 0;
};
