// What the windows cost, in CPU time of this process: opening the wizard, drawing a preview anew,
// and an import under the progress dialog against the same import without.
//
//   windows_bench [RECORDS [TURNS]]      best with QT_QPA_PLATFORM=offscreen

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

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <vector>

namespace {

// CPU time of this process and time on the wall, in milliseconds.
struct Times {
  double cpu = 0;
  double wall = 0;
  Times operator-(const Times& before) const { return {cpu - before.cpu, wall - before.wall}; }
};

Times Now() {
  using Clock = std::chrono::steady_clock;
  const auto wall = std::chrono::duration<double, std::milli>(Clock::now().time_since_epoch());
  return {static_cast<double>(std::clock()) * 1000.0 / CLOCKS_PER_SEC, wall.count()};
}

double CpuMilliseconds() {
  return Now().cpu;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
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

// Runs `act` on the innermost window until it says that it is done. Nobody is there to answer a
// message: unless one is `asked` for, it ends the program.
void Drive(const std::function<bool(QWidget&)>& act, const std::function<void()>& open,
           bool asked = false) {
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
    QWidget* window = QApplication::activeModalWidget();
    if (const auto* box = qobject_cast<QMessageBox*>(window); box != nullptr && !asked) {
      std::printf("a message came in between: %s\n", qPrintable(box->text()));
      std::exit(1);
    }
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

// An import by the mapping step's Finish, from the click to the end.
Times UnderWizard(const Prepare& prepare, bool progress) {
  kelvorin::wizard::qt::QtPlatform platform;
  kelvorin::Kelvorin control(&platform);
  prepare(control);
  control.ShowProgress(progress);
  int step = 0;
  Times begun;
  Drive(
      [&](QWidget& window) {
        const char* const steps[] = {"BtnNext", "BtnNext", "BtnMapInOrder", "BtnFinish"};
        if (step == 3) begun = Now();
        Press(window, steps[step]);
        return ++step == 4;
      },
      [&] { control.Execute(); });
  return Now() - begun;
}

// What the wizard ran last, in a batch.
Times Batch(const Prepare& prepare) {
  kelvorin::Kelvorin control;
  prepare(control);
  std::string setting = "__LastSetting__";
  const Times begun = Now();
  if (control.BatchImport(setting) != 0) std::printf("failed: %s\n", control.LastError().c_str());
  return Now() - begun;
}

// What the check of the rows shown costs, whatever the target holds: mapping all fields of a table
// with a memo, with few and with many records.
void MarkFields(const std::string& path) {
  const std::string file = path + "/marked.csv";
  {
    std::ofstream out(file);
    for (int i = 0; i < 20; ++i) out << "article " << i << ",a long remark\r\n";
  }
  struct Kind {
    kelvorin::contract::TypeConnect type;
    const char* connect;
    std::string database;
  };
  const Kind kinds[] = {{kelvorin::contract::TypeConnect::FOXPRO26, "FoxPro 2.6;", path},
                        {kelvorin::contract::TypeConnect::Access, "", path + "/marked.mdb"}};
  for (const Kind& kind : kinds)
    for (const long stored : {20L, 200000L}) {
      kelvorin::database::DBEngine engine;
      kelvorin::database::RegisterDrivers(engine);
      if (kind.database != path) static_cast<void>(engine.CreateDatabase(kind.database, {}).ok());
      auto opened = engine.OpenDatabase(kind.database, true, false, kind.connect);
      if (!opened.ok()) return;
      kelvorin::database::TableDef table;
      table.Name = "MARK" + std::to_string(stored);
      table.Fields.resize(2);
      table.Fields[0].Name = "NAME";
      table.Fields[0].Size = 20;
      table.Fields[1].Name = "REMARKS";
      table.Fields[1].Type = kelvorin::values::TypeCode::kMemo;
      if (!(*opened)->CreateTable(table).ok()) std::puts("the table cannot be made");
      auto rows = (*opened)->OpenRecordset(table.Name, kelvorin::database::RecordsetType::kTable);
      for (long i = 0; rows.ok() && i < stored; ++i) {
        bool stands = (*rows)->AddNew().ok() && (*rows)->Fields(0).SetText("axe").ok();
        stands = stands && (*rows)->Fields(1).SetText(std::string(200, 'x')).ok();
        if (!stands || !(*rows)->Update().ok()) return std::puts("no record"), void();
      }
      if (rows.ok()) static_cast<void>((*rows)->Close().ok());
      static_cast<void>((*opened)->Close().ok());
      kelvorin::wizard::qt::QtPlatform platform;
      kelvorin::Kelvorin control(&platform);
      control.DataBaseName(kind.database);
      control.ConnectString(kind.type);
      control.tableName(table.Name);
      control.IniFile(path + "/marked.ini");
      control.ImportDBName(file);
      int step = 0;
      std::vector<double> taken;
      Drive(
          [&](QWidget& window) {
            if (step < 2) {
              Press(window, "BtnNext");
              return ++step, false;
            }
            auto* button = window.findChild<QAbstractButton*>(QStringLiteral("BtnMapInOrder"));
            if (!button->isVisible()) return false;
            for (int i = 0; i < 50; ++i) {
              const Times begun = Now();
              button->click();
              taken.push_back((Now() - begun).wall);
            }
            // Nobody is asked what becomes of the mapping.
            QTimer::singleShot(0, &window, [&platform] { platform.Abandon(); });
            return true;
          },
          [&] { control.Execute(); });
      std::printf("%ld records in the %s table: fields mapped and marked in %.2f ms\n", stored,
                  kind.database == path ? "FoxPro" : "Access", Median(taken));
    }
}

}  // namespace

int main(int argc, char** argv) {
  const long records = argc > 1 ? std::atol(argv[1]) : 1000000;
  const int turns = argc > 2 ? std::atoi(argv[2]) : 10;
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

  // The same run three ways, turn by turn, since the machine is shared. The first of each warms up.
  const char* const ways[] = {"without windows", "with windows, no dialog", "under the dialog"};
  std::vector<double> cpu[3], wall[3];
  for (int turn = 0; turn < 3 * (turns + 1); ++turn) {
    const int way = (turn + 1) % 3;
    const Times taken = way == 0 ? Batch(prepare) : UnderWizard(prepare, way == 2);
    if (turn < 3) continue;
    cpu[way].push_back(taken.cpu);
    wall[way].push_back(taken.wall);
  }
  const auto least = [](const std::vector<double>& all) {
    return *std::min_element(all.begin(), all.end());
  };
  for (int way = 0; way < 3; ++way)
    std::printf(
        "%ld records %s: CPU least %.0f ms (%.2f times), median %.0f (%.2f), most %.0f; wall "
        "%.0f\n",
        records, ways[way], least(cpu[way]), least(cpu[way]) / least(cpu[0]), Median(cpu[way]),
        Median(cpu[way]) / Median(cpu[0]), *std::max_element(cpu[way].begin(), cpu[way].end()),
        Median(wall[way]));
  MarkFields(path);

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
      [&] { control.Execute(); }, true);
  if (!answered.isValid()) {
    std::puts("the run ended before it could be stopped: give more records");
    return 1;
  }
  std::printf("stopped %lld ms after the answer, %ld of %ld records read\n",
              static_cast<long long>(answered.elapsed()), static_cast<long>(control.LastRun().read),
              records);
  return 0;
}
