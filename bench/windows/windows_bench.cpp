// What the windows cost, in CPU time of this process: opening the wizard, drawing a preview anew,
// and an import under the progress dialog against the same import without.
//
//   windows_bench [RECORDS]      best with QT_QPA_PLATFORM=offscreen

#include "control/kelvorin.h"
#include "database/drivers/register_drivers.h"
#include "database/engine.h"
#include "wizard/qt/qt_platform.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>

namespace {

double CpuMilliseconds() {
  return static_cast<double>(std::clock()) * 1000.0 / CLOCKS_PER_SEC;
}

void MakeTable(const std::string& folder) {
  kelvorin::database::DBEngine engine;
  kelvorin::database::RegisterDrivers(engine);
  auto opened = engine.OpenDatabase(folder, true, false, "FoxPro 2.6;");
  if (!opened.ok()) return;
  kelvorin::database::TableDef table;
  table.Name = "GOODS";
  for (const char* name : {"NAME", "AMOUNT", "CITY"}) {
    kelvorin::database::FieldDef field;
    field.Name = name;
    field.Size = 20;
    table.Fields.push_back(field);
  }
  if (!(*opened)->CreateTable(table).ok()) std::puts("the table cannot be made");
  static_cast<void>((*opened)->Close().ok());
}

// Runs `act` on the innermost window until it says that it is done.
void Drive(const std::function<bool(QWidget&)>& act, const std::function<void()>& open) {
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
    QWidget* window = QApplication::activeModalWidget();
    if (window != nullptr && act(*window)) timer.stop();
  });
  timer.start(1);
  open();
}

void Press(QWidget& window, const char* name) {
  if (auto* button = window.findChild<QAbstractButton*>(QLatin1String(name)))
    QTimer::singleShot(0, button, [button] { button->click(); });
}

using Prepare = std::function<void(kelvorin::Kelvorin&)>;

// An import by the mapping step's Finish; CPU milliseconds from the click to the end.
double UnderWizard(const Prepare& prepare, bool progress) {
  kelvorin::wizard::qt::QtPlatform platform;
  kelvorin::Kelvorin control(&platform);
  prepare(control);
  control.ShowProgress(progress);
  int step = 0;
  double begun = 0;
  Drive(
      [&](QWidget& window) {
        const char* const steps[] = {"BtnNext", "BtnNext", "BtnMapInOrder", "BtnFinish"};
        if (step == 3) begun = CpuMilliseconds();
        Press(window, steps[step]);
        return ++step == 4;
      },
      [&] { control.Execute(); });
  return CpuMilliseconds() - begun;
}

// What the wizard ran last, in a batch.
double Batch(const Prepare& prepare) {
  kelvorin::Kelvorin control;
  prepare(control);
  std::string setting = "__LastSetting__";
  const double begun = CpuMilliseconds();
  if (control.BatchImport(setting) != 0) std::printf("failed: %s\n", control.LastError().c_str());
  return CpuMilliseconds() - begun;
}

}  // namespace

int main(int argc, char** argv) {
  const long records = argc > 1 ? std::atol(argv[1]) : 1000000;
  QApplication application(argc, argv);
  const QTemporaryDir folder;
  const std::string path = folder.path().toStdString();
  const std::string file = path + "/in.csv";
  {
    std::ofstream out(file);
    for (long i = 0; i < records; ++i) out << "article " << i << ",12.50,Brunswick\r\n";
  }
  kelvorin::wizard::qt::QtPlatform platform;
  const auto prepare = [&](kelvorin::Kelvorin& control) {
    control.DataBaseName(path);
    control.ConnectString(kelvorin::contract::TypeConnect::FOXPRO26);
    control.tableName("GOODS");
    control.IniFile(path + "/k.ini");
    control.ImportDBName(file);
    control.ShowSummary(false);
    control.QuitAfterImport(true);
  };
  MakeTable(path);

  for (int turn = 0; turn < 3; ++turn) {
    kelvorin::Kelvorin control(&platform);
    prepare(control);
    const double begun = CpuMilliseconds();
    double shown = 0;
    Drive(
        [&](QWidget& window) {
          shown = CpuMilliseconds() - begun;
          window.close();
          return true;
        },
        [&] { control.Execute(); });
    std::printf("wizard on the screen after %.1f ms\n", shown);
  }

  {
    kelvorin::Kelvorin control(&platform);
    prepare(control);
    int step = 0;
    Drive(
        [&](QWidget& window) {
          if (step++ == 0) {
            Press(window, "BtnNext");
            return false;
          }
          auto* box = window.findChild<QAbstractButton*>(QStringLiteral("CBoxSpace"));
          if (box == nullptr || !box->isVisible()) return false;
          const double begun = CpuMilliseconds();
          for (int i = 0; i < 100; ++i) {
            box->click();
            QCoreApplication::processEvents();
          }
          std::printf("preview drawn anew in %.2f ms\n", (CpuMilliseconds() - begun) / 100);
          window.close();
          return true;
        },
        [&] { control.Execute(); });
  }

  // The same run three ways, turn by turn; the least of each counts, since the machine is shared.
  const char* const ways[] = {"without windows", "with windows, no dialog", "under the dialog"};
  double least[3] = {};
  for (int turn = 0; turn < 15; ++turn) {
    const int way = turn % 3;
    const double taken = way == 0 && turn > 0 ? Batch(prepare) : UnderWizard(prepare, way == 2);
    if (turn > 2 && (least[way] == 0 || taken < least[way])) least[way] = taken;
  }
  for (int way = 0; way < 3; ++way)
    std::printf("%ld records %s: %.0f ms (%.2f times without windows)\n", records, ways[way],
                least[way], least[way] / least[0]);

  kelvorin::Kelvorin control(&platform);
  prepare(control);
  int step = 0;
  QElapsedTimer answered;
  Drive(
      [&](QWidget& window) {
        const char* const steps[] = {"BtnNext", "BtnNext", "BtnMapInOrder", "BtnFinish"};
        if (step < 4) {
          Press(window, steps[step++]);
          return false;
        }
        if (window.objectName() == QStringLiteral("frmProgress")) {
          if (step++ == 10) Press(window, "Command1");
          return false;
        }
        auto* box = qobject_cast<QMessageBox*>(&window);
        if (box == nullptr) return false;
        answered.start();
        box->button(QMessageBox::Ok)->click();
        return true;
      },
      [&] { control.Execute(); });
  if (!answered.isValid()) {
    std::puts("the run ended before it could be stopped: give more records");
    return 1;
  }
  std::printf("stopped %lld ms after the answer, %ld of %ld records read\n",
              static_cast<long long>(answered.elapsed()), static_cast<long>(control.LastRun().read),
              records);
  return 0;
}
