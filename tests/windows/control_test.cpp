// The control for Qt hosts: properties, signals that write back, size, and what happens where no
// window can be shown.

#include "contract/properties.h"
#include "control/qt/kelvorin_control.h"
#include "examples/host_window.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"
#include "tests/windows/driver.h"

#include <QComboBox>
#include <QMetaProperty>
#include <QProcess>
#include <QSignalSpy>

#include <memory>

namespace kelvorin::tests {

TEST_CASE(
    "The control has the properties in their order, with their defaults, and tells of changes") {
  KelvorinControl control;
  const QMetaObject* meta = control.metaObject();
  const auto table = contract::PropertyTable();
  REQUIRE(meta->propertyCount() - meta->propertyOffset() == static_cast<int>(table.size()));
  for (std::size_t i = 0; i < table.size(); ++i) {
    const QMetaProperty property = meta->property(meta->propertyOffset() + static_cast<int>(i));
    CAPTURE(property.name());
    CHECK(property.name() == table[i].key);
    CHECK(property.hasNotifySignal() == table[i].notifies_container);
    CHECK(property.isResettable());
    const QVariant before = property.read(&control);
    QVariant other = 9;
    if (before.typeId() == QMetaType::QString) other = QStringLiteral("xé");
    if (before.typeId() == QMetaType::Bool) other = !before.toBool();
    QSignalSpy told(&control, &KelvorinControl::PropertyChanged);
    CHECK(property.write(&control, other));
    CHECK(property.read(&control).toString() != before.toString());
    CHECK(told.count() == (table[i].notifies_container ? 1 : 0));
    CHECK(property.reset(&control));
    CHECK(property.read(&control) == before);
  }
  CHECK(control.ConnectString() == KelvorinControl::Access);
  CHECK(control.ImportCaption() == "Import Data");
}

TEST_CASE("The control keeps its size and is not seen at run time") {
  QWidget form;
  KelvorinControl control(&form);
  const QSize size = control.size();
  CHECK(size == QSize(qRound(340 * form.logicalDpiX() / 1440.0),
                      qRound(300 * form.logicalDpiX() / 1440.0)));
  control.resize(99, 99);
  control.setGeometry(0, 0, 200, 200);
  CHECK(control.size() == size);
  form.show();
  control.show();
  CHECK_FALSE(control.isVisible());
}

TEST_CASE("Signals write back, and the host may delete its form while the wizard is open") {
  TempFolder folder;
  auto control = std::make_unique<KelvorinControl>();
  control->setDataBaseName(QString::fromStdString(folder.path()));
  control->setConnectString(KelvorinControl::FOXPRO26);
  control->setIniFile(QString::fromStdString(folder.File("k.ini")));
  QList<int> offered;
  QObject::connect(control.get(), &KelvorinControl::FilterType, control.get(),
                   [&](int type, bool& hide) {
                     offered += type;
                     hide = type > 2;
                   });
  Driver drive;
  drive.Do("frmKelvorin", [&](QWidget& window) {
    CHECK(offered.size() == 14);
    CHECK(Child<QComboBox>(window, "CBoxTypeFormat").count() == 3);
    control->Execute();  // a second one at the same time
    CHECK(control->LastError() == "An import of this control is open already");
    control.reset();
  });
  drive.Run([&] { control->Execute(); });
  CHECK(control == nullptr);
}

TEST_CASE("The sample host shows every event and answers as its boxes say") {
  TempFolder folder;
  const QString shop = QString::fromStdString(folder.path());
  const QString csv = QString::fromStdString(SourceFolder() + "/examples/data/customers.csv");
  REQUIRE(QProcess::execute(KELVORIN_BIN "/kelvorin",
                            {"import", csv, "--into", "FOXPRO26:" + shop, "--table", "CUST",
                             "--create", "--start-line", "2", "--map-by-name", "--save-as",
                             "Customers", "--ini", shop + "/jobs.ini"}) == 0);
  HostWindow host;
  for (const auto& [name, text] : {std::pair<const char*, QString>{"DataBaseName", shop},
                                   {"ConnectString", "FOXPRO26"},
                                   {"TableName", "CUST"},
                                   {"IniFile", shop + "/jobs.ini"},
                                   {"AutoLoadSettingName", "Customers"}})
    CHECK(host.SetProperty(name, text));
  CHECK_FALSE(host.SetProperty("width", "9"));
  host.show();
  auto& log = Child<QPlainTextEdit>(host, "Log");
  const auto count = [&](const char* line) { return log.toPlainText().count(QLatin1String(line)); };
  for (QCheckBox* box : host.findChildren<QCheckBox*>())
    if (box->text().contains("skip every") || box->text().contains("REMARKS")) box->click();

  Child<QAbstractButton>(host, "BatchImport").click();
  CHECK(count("BeforeFieldImport   NAME = ") == 8);
  CHECK(count("REMARKS") == 1);
  CHECK(count("REMARKS  (hidden)") == 1);
  CHECK(count("ValidateBeforePost  skipped") == 2);
  CHECK(count("ValidateAfterPost   written") == 6);
  CHECK(log.toPlainText().endsWith("BatchImport has returned 0 "));

  log.clear();
  auto& sheet = Child<QTableWidget>(host, "Sheet");
  sheet.item(sheet.findItems("ImportCaption", Qt::MatchExactly).first()->row(), 1)->setText("Cust");
  CHECK(host.control.ImportCaption() == "Cust");
  Driver drive;
  drive.Click("frmKelvorin", "BtnNext");
  drive.Click("frmKelvorin", "BtnNext");
  drive.Click("frmKelvorin", "BtnFinish");
  drive.Do("QMessageBox", [](QWidget& window) { window.close(); });
  drive.Click("frmKelvorin", "BtnCancel");
  drive.Run([&] { Child<QAbstractButton>(host, "Execute").click(); });
  CHECK(count("FilterType") == 14);
  CHECK(count("ValidateAfterPost   written") == 6);
  CHECK(log.toPlainText().endsWith("Execute has returned "));
}

TEST_CASE("Without a window system Execute answers and the process lives") {
  struct Row {
    const char* variable;
    const char* value;
  };
  const Row kRows[] = {{"NOTHING", ""},
                       {"DISPLAY", ":4711"},
                       {"WAYLAND_DISPLAY", "none-0"},
                       {"QT_QPA_PLATFORM", "xcb"},
                       {"QT_QPA_PLATFORM", "nonsense"}};
  for (const Row& row : kRows) {
    CAPTURE(row.variable);
    CAPTURE(row.value);
    QProcess program;
    QProcessEnvironment environment;
    environment.insert(row.variable, row.value);
    program.setProcessEnvironment(environment);
    program.start(KELVORIN_BIN "/kelvorin-wizard", {});
    REQUIRE(program.waitForFinished(20000));
    CHECK(program.exitStatus() == QProcess::NormalExit);
    CHECK(program.exitCode() == 3);
    CHECK(
        program.readAllStandardError().startsWith("kelvorin: The import wizard cannot be shown: "));
  }
}

}  // namespace kelvorin::tests
