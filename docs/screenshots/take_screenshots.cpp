// Walks through the real windows and saves a picture of each, in light and dark colours.

#include "control/kelvorin.h"
#include "database/engine.h"
#include "examples/host_window.h"
#include "wizard/frm_odbc_logon.h"
#include "wizard/qt/qt_platform.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QEventLoop>
#include <QImage>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QStyleFactory>
#include <QTabBar>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <deque>
#include <functional>
#include <thread>

namespace {

using Step = std::function<void(QWidget&)>;

// Runs one step each time the windows have come to rest, on the innermost modal window.
class Tour {
 public:
  Tour(QString folder, QString suffix) : folder_(std::move(folder)), suffix_(std::move(suffix)) {
    timer_.setInterval(120);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { Next(); });
  }
  void Do(Step step) { steps_.push_back(std::move(step)); }
  void Press(const char* name) {
    Do([name](QWidget& window) {
      if (auto* button = window.findChild<QAbstractButton*>(QLatin1String(name))) {
        QTimer::singleShot(0, button, [button] { button->click(); });
      } else {
        std::fprintf(stderr, "no button %s in %s\n", name, qPrintable(window.objectName()));
      }
    });
  }
  void Take(const char* name) {
    Do([this, name](QWidget& window) { Save(window, name); });
  }
  // What the screen shows of a window, once that is what the window means to show.
  void Save(QWidget& window, const char* name) const {
    QImage shown;
    for (int tries = 0; tries < 250; ++tries) {
      QEventLoop pause;
      QTimer::singleShot(20, &pause, &QEventLoop::quit);
      pause.exec();
      shown = window.screen()->grabWindow(window.winId()).toImage();
      shown = shown.convertToFormat(QImage::Format_RGB32);
      if (shown == window.grab().toImage().convertToFormat(QImage::Format_RGB32)) break;
    }
    const QString path = folder_ + u'/' + QLatin1String(name) + suffix_ + QStringLiteral(".png");
    if (!shown.save(path)) std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
  }
  void Run(const std::function<void()>& open) {
    timer_.start();
    open();
    timer_.stop();
  }

 private:
  void Next() {
    QWidget* window = QApplication::activeModalWidget();
    if (window == nullptr || steps_.empty()) return;
    const Step step = std::move(steps_.front());
    steps_.pop_front();
    timer_.stop();
    step(*window);
    timer_.start();
  }
  QString folder_;
  QString suffix_;
  QTimer timer_;
  std::deque<Step> steps_;
};

template <typename T>
T& Child(QWidget& window, const char* name) {
  return *window.findChild<T*>(QLatin1String(name));
}

void Pick(QWidget& window, const char* name, const QString& entry) {
  auto& list = Child<QComboBox>(window, name);
  list.setCurrentText(entry);
  emit list.activated(list.currentIndex());
}

void Type(QWidget& window, const char* name, const QString& text) {
  auto& edit = Child<QLineEdit>(window, name);
  edit.setText(text);
  emit edit.textEdited(text);
}

void SetDark(bool dark) {
  QPalette palette = QStyleFactory::create(QStringLiteral("Fusion"))->standardPalette();
  if (dark) {
    palette = QPalette(QColor(76, 80, 83), QColor(58, 61, 64));
    palette.setColor(QPalette::Base, QColor(27, 29, 31));
    palette.setColor(QPalette::AlternateBase, QColor(58, 61, 64));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
      palette.setColor(QPalette::Disabled, role, QColor(140, 143, 146));
    palette.setColor(QPalette::Highlight, QColor(42, 130, 218));
    palette.setColor(QPalette::HighlightedText, Qt::white);
  }
  QApplication::setPalette(palette);
}

// A file nobody has prepared for, from the first look at it to the new table that holds it.
void Newcomer(kelvorin::Kelvorin& control, const QString& folder, const QString& suffix,
              const QString& name) {
  const QByteArray before = "newcomer-" + name.toLatin1();
  const QByteArray after = before + "-done";
  Tour tour(folder, suffix);
  tour.Press("BtnNewTable");
  tour.Take(before.constData());
  tour.Do([](QWidget& window) {
    for (const char* button : {"BtnSuggestion", "BtnNext"})
      if (Child<QAbstractButton>(window, button).isVisible())
        QTimer::singleShot(0, &window,
                           [&window, button] { Child<QAbstractButton>(window, button).click(); });
  });
  tour.Press("BtnNext");
  tour.Do([table = name.section(u'_', 0, 0) + suffix.left(2)](QWidget& window) {
    Type(window, "EdtTableName", QString(table).replace(u'-', u'_').toUpper());
  });
  tour.Press("BtnMake");
  tour.Press("BtnFinish");
  tour.Do([](QWidget& window) { window.close(); });  // the summary
  tour.Take(after.constData());
  tour.Press("BtnCancel");
  tour.Run([&] { control.Execute(); });
}

void Visit(const QString& folder, const QString& demo, bool dark) {
  SetDark(dark);
  kelvorin::wizard::qt::QtPlatform platform;
  const QString ini = demo + QStringLiteral("/pictures.ini");
  const QString suffix = dark ? QStringLiteral("-dark") : QString();
  QFile::remove(ini);
  const auto prepare = [&](kelvorin::Kelvorin& control, const QString& source) {
    control.DataBaseName(demo.toStdString());
    control.ConnectString(kelvorin::contract::TypeConnect::FOXPRO26);
    control.IniFile(ini.toStdString());
    control.MultiTable(true);
    control.tableName("CUSTOMERS");
    control.ImportDBName(source.toStdString());
  };

  kelvorin::Kelvorin control(&platform);
  prepare(control, demo + QStringLiteral("/customers.csv"));
  Tour tour(folder, suffix);
  tour.Take("target");
  tour.Press("BtnNext");
  tour.Take("source-text");
  tour.Press("BtnAdvanced");
  tour.Do([](QWidget& window) { Type(window, "EdtStartLine", QStringLiteral("2")); });
  tour.Take("advanced-general");
  for (const auto& [page, name] :
       {std::pair{1, "advanced-mode"}, {2, "advanced-errors"}, {3, "advanced-cleanup"}}) {
    tour.Do([page = page](QWidget& window) {
      if (page == 1) Child<QAbstractButton>(window, "RBtnUpdateRecords").click();
      if (page == 2) Child<QAbstractButton>(window, "RBtnTraceOn").click();
      Child<QTabBar>(window, "TabStrip1").setCurrentIndex(page);
    });
    tour.Take(name);
    if (page == 1)
      tour.Do([](QWidget& window) { Child<QAbstractButton>(window, "RBtnAppendRecords").click(); });
    if (page == 2)
      tour.Do([](QWidget& window) { Child<QAbstractButton>(window, "RBtnTraceOff").click(); });
  }
  tour.Press("bntOK");
  tour.Press("BtnNext");
  tour.Take("separators");
  tour.Press("BtnNext");
  tour.Press("BtnMapEqualNames");
  tour.Take("mapping");
  tour.Do([](QWidget& window) {  // opens a question: must not keep the tour waiting
    QTimer::singleShot(0, &window, [&window] {
      Pick(window, "CBoxSourceFields", QStringLiteral("(Ignore all)"));
    });
  });
  tour.Take("ignore-all");
  tour.Do([](QWidget& window) { window.close(); });
  tour.Press("BtnSaveSetting");
  tour.Do([](QWidget& window) {
    window.findChild<QLineEdit*>()->setText(QStringLiteral("weekly customers"));
  });
  tour.Take("save-setting");
  tour.Do([](QWidget& window) { static_cast<QDialog&>(window).accept(); });
  tour.Press("BtnSettings");
  tour.Take("settings");
  tour.Press("BtnCancel");
  tour.Press("BtnFinish");
  tour.Take("summary");
  tour.Do([](QWidget& window) { window.close(); });
  tour.Press("BtnCancel");
  tour.Run([&] { control.Execute(); });

  // A table as the source, then its logon.
  kelvorin::Kelvorin table(&platform);
  prepare(table, demo + QStringLiteral("/CUSTOMERS.DBF"));
  Tour second(folder, suffix);
  second.Press("BtnNext");
  second.Take("source-table");
  second.Do([](QWidget& window) { Pick(window, "CBoxTypeFormat", QStringLiteral("Access")); });
  second.Take("source-database");
  second.Press("BtnBrowseFiles");
  second.Take("logon-access");
  second.Press("cmdCancel");
  second.Do([](QWidget& window) { Pick(window, "CBoxTypeFormat", QStringLiteral("ODBC")); });
  second.Press("BtnBrowseFiles");
  second.Take("logon-odbc");
  second.Press("cmdCancel");
  second.Press("BtnCancel");
  second.Run([&] { table.Execute(); });

  // Columns, and a run with errors.
  const QString stock = demo + QStringLiteral("/stock.txt");
  QFile file(stock);
  if (!file.open(QIODevice::WriteOnly))
    std::fprintf(stderr, "cannot write %s\n", qPrintable(stock));
  for (int i = 0; i < 400000; ++i)
    file.write(
        QStringLiteral("%1 %2 %3 %4\r\n")
            .arg(10001 + i % 80000)
            .arg(i % 3 == 0 ? QStringLiteral("Hammer 300 g") : QStringLiteral("Saw, fine"), -20)
            .arg(i % 17 == 5 ? QStringLiteral("none") : QString::number(i % 90), 6)
            .arg(QStringLiteral("2026-01-%1").arg(i % 28 + 1, 2, 10, QLatin1Char('0')))
            .toUtf8());
  file.close();
  kelvorin::Kelvorin columns(&platform);
  prepare(columns, stock);
  columns.tableName("STOCK");
  // A host that takes its time, so that progress can be seen.
  columns.ValidateBeforePost = [count = 0](bool&, bool&) mutable {
    if (++count % 20 == 0) std::this_thread::sleep_for(std::chrono::microseconds(50));
  };
  Tour third(folder, suffix);
  third.Press("BtnNext");
  third.Do(
      [](QWidget& window) { Pick(window, "CBoxTypeFormat", QStringLiteral("Fixed-width text")); });
  third.Press("BtnNext");
  third.Do([](QWidget& window) { Type(window, "EdtBreaks", QStringLiteral("6, 26, 33, 44")); });
  third.Do([](QWidget& window) { Child<QWidget>(window, "PreviewFixed").setFocus(); });
  third.Take("columns");
  third.Press("BtnNext");
  third.Press("BtnMapInOrder");
  third.Press("BtnFinish");
  for (const char* question : {"error", "error-quiet"}) {
    third.Take(question);
    third.Do([](QWidget& window) {
      QAbstractButton* yes = static_cast<QMessageBox&>(window).button(QMessageBox::Yes);
      QTimer::singleShot(0, yes, [yes] { yes->click(); });
    });
  }
  for (int i = 0; i < 11; ++i) third.Do([](QWidget&) {});
  third.Take("progress");
  third.Press("Command1");
  third.Take("progress-question");
  third.Do([](QWidget& window) {
    static_cast<QDialog&>(window).findChildren<QPushButton*>().first()->click();
  });
  third.Do([](QWidget& window) { window.close(); });
  third.Press("BtnRejected");
  third.Take("rejected");
  third.Press("BtnClose");
  third.Press("BtnCancel");
  third.Run([&] { columns.Execute(); });

  // A file that nobody has prepared for, into a table that is not there yet.
  const QString report = demo + QStringLiteral("/sales.txt");
  QFile sales(report);
  if (sales.open(QIODevice::WriteOnly))
    sales.write(
        "Sales of May\r\n\r\nArticle|Code|Sold|Price|First sold\r\n"
        "Hammer 300 g|007|12|14.50|2026-05-02\r\nSaw, fine|012|3|22.00|2026-05-02\r\n"
        "Nails, 500|019|140|4.25|2026-05-04\r\nChisel|023|7|11.90|2026-05-05\r\n");
  sales.close();
  kelvorin::Kelvorin newcomer(&platform);
  prepare(newcomer, report);
  Tour sixth(folder, suffix);
  sixth.Press("BtnNewTable");
  sixth.Take("source-suggestion");
  sixth.Press("BtnSuggestion");
  sixth.Take("source-suggested");
  sixth.Press("BtnNext");
  sixth.Press("BtnNext");
  sixth.Do([dark](QWidget& window) {
    Type(window, "EdtTableName", dark ? QStringLiteral("SALES_D") : QStringLiteral("SALES"));
  });
  sixth.Take("new-table");
  sixth.Press("BtnMake");
  sixth.Press("BtnFinish");
  sixth.Do([](QWidget& window) { window.close(); });
  sixth.Take("outcome");
  sixth.Press("BtnCancel");
  sixth.Run([&] { newcomer.Execute(); });

  for (const char* sample : {"title_above.csv", "fixed_customers.txt", "eu_semicolon_1252.csv"})
    if (QFile::exists(demo + u'/' + QLatin1String(sample))) {
      kelvorin::Kelvorin stranger(&platform);
      prepare(stranger, demo + u'/' + QLatin1String(sample));
      Newcomer(stranger, folder, suffix, QString(QLatin1String(sample)).section(u'.', 0, 0));
    }

  kelvorin::wizard::frmDBPWD password;
  Tour fourth(folder, suffix);
  fourth.Do([](QWidget& window) { Type(window, "txtPassword", QStringLiteral("secret")); });
  fourth.Take("password");
  fourth.Press("cmdCancel");
  fourth.Run([&] { platform.ShowModal(password); });

  HostWindow host;
  for (const auto& [name, text] : {std::pair<const char*, QString>{"DataBaseName", demo},
                                   {"ConnectString", QStringLiteral("FOXPRO26")},
                                   {"TableName", QStringLiteral("CUSTOMERS")},
                                   {"IniFile", ini},
                                   {"AutoLoadSettingName", QStringLiteral("weekly customers")}})
    host.SetProperty(name, text);
  host.show();
  Child<QLineEdit>(host, "Setting").setText(QStringLiteral("weekly customers"));
  Child<QAbstractButton>(host, "BatchImport").click();
  tour.Save(host, "host");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: kelvorin-screenshots FOLDER DEMO_FOLDER\n");
    return 2;
  }
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
  QApplication::setCursorFlashTime(0);
  QDir().mkpath(QString::fromLocal8Bit(argv[1]));
  for (const bool dark : {false, true})
    Visit(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]), dark);
  return 0;
}
