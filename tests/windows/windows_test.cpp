// The real windows, driven: what the user does reaches the form, what the form says is shown.

#include "control/qt/kelvorin_control.h"
#include "tests/windows/shop.h"
#include "wizard/break_editor.h"
#include "wizard/frm_odbc_logon.h"
#include "wizard/frm_settings.h"
#include "wizard/qt/break_view.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QClipboard>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QTableWidget>

#include <memory>
#include <thread>

namespace kelvorin::tests {

using wizard::qt::QtPlatform;

TEST_CASE("A whole import through the real windows, from the first click to the summary") {
  Shop shop;
  shop.control.MultiTable(true);
  const std::string file = shop.folder.File("in.csv");
  WriteWhole(file, "Name;Amount\r\n" + Lines(500, "article %d;%d\r\n"));
  Driver drive;
  drive.Click("frmKelvorin", "BtnNext");
  drive.Do("frmKelvorin", [&](QWidget& window) {
    auto& box = Child<QLineEdit>(window, "EdtFileName");
    CHECK(box.hasFocus());
    for (const std::string& name :
         {"'" + file + "'", "file://" + file, "/usr/share/" + file, file}) {
      CAPTURE(name);
      box.selectAll();
      QTest::keyClicks(&box, QString::fromStdString(name));
      QTest::keyClick(&box, Qt::Key_Return);  // takes the name and goes nowhere
      CHECK(box.isVisible());
      const QString shown = Child<QPlainTextEdit>(window, "PreviewText").toPlainText();
      CHECK(shown.startsWith("Name;Amount\n"));
      CHECK(Child<QLabel>(window, "LblDetected").text().contains("semicolon"));
    }
    box.selectAll();
    QTest::keyClick(&box, Qt::Key_Delete);
    QMimeData dropped;
    dropped.setUrls({QUrl::fromLocalFile(QString::fromStdString(file))});
    const QPoint at = box.mapTo(&window, box.rect().center());
    QDragEnterEvent enter(at, Qt::CopyAction, &dropped, Qt::LeftButton, {});
    CHECK_FALSE(box.acceptDrops());  // the window takes it, for the box too
    QCoreApplication::sendEvent(&window, &enter);
    CHECK(enter.isAccepted());
    QDropEvent drop(at, Qt::CopyAction, &dropped, Qt::LeftButton, {});
    QCoreApplication::sendEvent(&window, &drop);
    CHECK(box.text().toStdString() == file);
  });
  drive.Click("frmKelvorin", "BtnAdvanced");
  drive.Do("frmAdvanced", [](QWidget& window) {
    auto& box = Child<QLineEdit>(window, "EdtStartLine");
    box.selectAll();
    QApplication::clipboard()->setText("1a 2");
    box.paste();
    CHECK(box.text() == "12");
    box.selectAll();
    QTest::keyClicks(&box, "x2");
    CHECK(box.text() == "2");
    for (const bool focused : {true, false}) {
      QTest::mouseClick(&Child<QAbstractButton>(window, "CBoxAllImport"), Qt::LeftButton, {},
                        {5, 8});
      CHECK(Child<QLineEdit>(window, "EdtNbLineMax").hasFocus() == focused);
    }
    QTest::keyClick(&window, Qt::Key_PageDown, Qt::ControlModifier);
    CHECK(Child<QWidget>(window, "Frame1_1").isVisible());
    CHECK_FALSE(Child<QWidget>(window, "Frame1_0").isVisible());
    QTest::mouseClick(&Child<QRadioButton>(window, "RBtnUpdateRecords"), Qt::LeftButton, {},
                      {5, 8});
    CHECK_FALSE(Child<QRadioButton>(window, "RBtnAppendRecords").isChecked());
    CHECK(Child<QRadioButton>(window, "RBtnTableOrder").isChecked());  // another group
    QTest::mouseClick(&Child<QRadioButton>(window, "RBtnAppendRecords"), Qt::LeftButton, {},
                      {5, 8});
  });
  drive.Click("frmAdvanced", "bntOK");
  drive.Click("frmKelvorin", "BtnNext");
  drive.Do("frmKelvorin", [](QWidget& window) {
    auto& grid = Child<QTableWidget>(window, "PreviewGrid");
    CHECK(grid.columnCount() == 2);
    CHECK(grid.horizontalHeaderItem(1)->text() == "Amount");
    QTest::mouseClick(&Child<QAbstractButton>(window, "CBoxSemiColon"), Qt::LeftButton, {}, {5, 8});
    CHECK(grid.columnCount() == 1);
    QTest::mouseClick(&Child<QAbstractButton>(window, "CBoxSemiColon"), Qt::LeftButton, {}, {5, 8});
    CHECK(grid.columnCount() == 2);
    auto& comma = Child<QAbstractButton>(window, "CBoxComma");
    for (const bool checked : {true, false}) {  // the letter is a list's on another step
      QTest::keyClick(&window, Qt::Key_C, Qt::AltModifier);
      CHECK(QTest::qWaitFor([&] { return comma.isChecked() == checked; }, 2000));
    }
  });
  drive.Click("frmKelvorin", "BtnNext");
  drive.Do("frmKelvorin", [](QWidget& window) {
    auto& grid = Child<QTableWidget>(window, "GrdMapping");
    auto& chooser = Child<QComboBox>(window, "CBoxSourceFields");
    CHECK(chooser.isVisible());
    CHECK(chooser.geometry() == grid.visualRect(grid.model()->index(0, 5)));
    QTest::keyClicks(&chooser, "n");
    QTest::keyClick(&chooser, Qt::Key_Down, Qt::ControlModifier);
    CHECK(grid.item(1, 0)->text() == "->");
    CHECK(grid.item(0, 0)->text().isEmpty());
    CHECK(chooser.geometry() == grid.visualRect(grid.model()->index(1, 5)));
    // Columns are as wide as the form says; what the window has more goes to those with long texts.
    const int twips[] = {210, 300, 1230, 765, 480, 1230, 570};
    int before_growth[7];
    for (int c = 0; c < 7; ++c) {
      before_growth[c] = grid.columnWidth(c);
      CHECK(before_growth[c] >= qRound(twips[c] * window.logicalDpiX() / 1440.0));
    }
    window.resize(window.width() + 200, window.height());
    QCoreApplication::processEvents();
    for (int c = 0; c < 7; ++c) {
      CAPTURE(c);
      CHECK((grid.columnWidth(c) > before_growth[c]) == (c == 2 || c > 4));
    }
    CHECK(chooser.geometry() == grid.visualRect(grid.model()->index(1, 5)));
    QWheelEvent wheel({5, 5}, chooser.mapToGlobal(QPointF(5, 5)), {}, {0, -120}, Qt::NoButton, {},
                      Qt::NoScrollPhase, false);
    const int before = chooser.currentIndex();
    QCoreApplication::sendEvent(&chooser, &wheel);
    CHECK(chooser.currentIndex() == before);
  });
  drive.Click("frmKelvorin", "BtnMapEqualNames");
  drive.Do("frmKelvorin", [](QWidget& window) {
    auto& grid = Child<QTableWidget>(window, "GrdMapping");
    CHECK(grid.item(0, 5)->text() == "Name");
    CHECK(grid.item(1, 5)->text() == "Amount");
    CHECK(Child<QLabel>(window, "LblMapped").text() == "2 of 2 fields mapped");
  });
  drive.Click("frmKelvorin", "BtnFinish");
  drive.Do("QMessageBox", [](QWidget& window) {
    const auto& box = dynamic_cast<QMessageBox&>(window);
    CHECK(box.windowTitle() == "Information");
    CHECK(box.text() == "End of import\nNumber of imported records : 500");
    CHECK(box.textFormat() == Qt::PlainText);
    QTest::keyClick(&window, Qt::Key_Return);
  });
  drive.Do("frmKelvorin", [](QWidget& window) { QTest::keyClick(&window, Qt::Key_Escape); });
  drive.Run([&] { shop.control.Execute(); });
  CHECK(shop.control.LastError().empty());
  CHECK(shop.control.LastRun().imported == 500);
  CHECK(shop.Count() == 500);
}

TEST_CASE("Cancelling a run: Esc asks, the other answer goes on, OK stops it") {
  Shop shop;
  shop.Source(Lines(200000, "article %d,%d\r\n"));
  shop.control.QuitAfterImport(true);
  std::int64_t first = 0;
  Driver drive;
  Begin(drive);
  drive.Do("frmProgress", [](QWidget& window) {
    QTimer::singleShot(0, &window, [&] { QTest::keyClick(&window, Qt::Key_Escape); });
  });
  drive.Do("QMessageBox", [&](QWidget& window) {
    const auto& box = dynamic_cast<QMessageBox&>(window);
    CHECK(box.text() == "Are you sure that you want to stop the import process?");
    CHECK(box.windowTitle() == "Confirmation");
    QTest::keyClick(&window, Qt::Key_Escape);
  });
  drive.Do("frmProgress", [&](QWidget& window) {
    CHECK(Child<QLabel>(window, "LblRecords").text().contains(" out of "));
    CHECK(Child<QProgressBar>(window, "ProgressBar").maximum() > 100000);
    first = Child<QLabel>(window, "LblRecords").text().section(' ', 0, 0).toLongLong();
    QTimer::singleShot(0, &window, [&] { window.close(); });
  });
  drive.Do("QMessageBox", [](QWidget& window) { QTest::keyClick(&window, Qt::Key_Return); });
  drive.Run([&] { shop.control.Execute(); });
  CHECK(shop.control.LastRun().cancelled);
  CHECK(shop.control.LastRun().read >= first);
  CHECK(shop.control.LastRun().read < 200000);
  CHECK(shop.Count() == shop.control.LastRun().imported);
}

namespace {

// A key as it comes while it is held down.
void Repeat(QWidget* widget, int key, Qt::KeyboardModifiers with = {}) {
  for (const QEvent::Type type : {QEvent::ShortcutOverride, QEvent::KeyPress}) {
    QKeyEvent event(type, key, with, QStringLiteral("\r"), true);
    QCoreApplication::sendEvent(widget, &event);
  }
}

}  // namespace

TEST_CASE("Return imports once: not again from the summary, not from the grid, not while held") {
  Shop shop;
  shop.Source(Lines(8, "article %d,%d\r\n"));
  shop.control.ShowSummary(true);
  Driver drive;
  for (const char* button : {"BtnNext", "BtnNext", "BtnMapInOrder"})
    drive.Click("frmKelvorin", button);
  drive.Do("frmKelvorin", [](QWidget& window) {
    auto& grid = Child<QTableWidget>(window, "GrdMapping");
    auto& chooser = Child<QComboBox>(window, "CBoxSourceFields");
    grid.setFocus();
    for (int i = 0; i < 5; ++i) Repeat(&grid, Qt::Key_Return);
    Repeat(&window, Qt::Key_Return);
    Repeat(&window, Qt::Key_F, Qt::AltModifier);
    CHECK_FALSE(chooser.view()->isVisible());
    QTest::keyClick(&grid, Qt::Key_Return);
    CHECK(chooser.view()->isVisible());
    CHECK(chooser.accessibleName() == "Source field for NAME");
    chooser.hidePopup();
    // One step down from the last but one entry does not throw the mapping away.
    QTest::keyClick(&chooser, Qt::Key_End);
    CHECK(chooser.currentText() == "(Ignored)");
    for (int i = 0; i < 3; ++i) QTest::keyClick(&chooser, Qt::Key_Down);
    CHECK(chooser.currentText() == "(Ignored)");
    QTest::keyClick(&chooser, Qt::Key_Home);
    CHECK(grid.item(0, 5)->text() == "Field 1");
    auto& finish = Child<QPushButton>(window, "BtnFinish");
    CHECK(finish.isDefault());
    QTimer::singleShot(0, &window, [&] { QTest::keyClick(&window, Qt::Key_Return); });
  });
  drive.Do("QMessageBox", [](QWidget& window) {
    Repeat(&window, Qt::Key_Return);
    for (auto* button : window.findChildren<QPushButton*>()) Repeat(button, Qt::Key_Return);
    CHECK(window.isVisible());
    QTest::keyClick(&window, Qt::Key_Return);
  });
  drive.Do("frmKelvorin", [&](QWidget& window) {
    CHECK_FALSE(Child<QPushButton>(window, "BtnFinish").isDefault());
    CHECK(Child<QPushButton>(window, "BtnCancel").text() == "Close");
    CHECK(Child<QPushButton>(window, "BtnCancel").accessibleName() == "Close");
    CHECK(Child<QLabel>(window, "LblOutcome").text() == "8 of 8 records imported.");
    QTest::keyClick(&window, Qt::Key_Return);
    CHECK(window.isVisible());
    CHECK(shop.control.properties().LastError.empty());
    QTest::keyClick(&window, Qt::Key_Escape);
  });
  drive.Run([&] { shop.control.Execute(); });
  CHECK(shop.Count() == 8);
}

TEST_CASE("A message fits on the screen, whatever it holds, and shows all of it in a pane") {
  QtPlatform platform;
  std::string text = "Cannot assign value '";
  for (int i = 0; i < 300; ++i) text += "line " + std::to_string(i) + "\r\n";
  text += std::string(100000, 'x') + "'\r\nthe reason\r\nContinue the import ?";
  Driver drive;
  drive.Do("QMessageBox", [](QWidget& window) {
    const auto& box = dynamic_cast<QMessageBox&>(window);
    CHECK(window.height() < 600);
    CHECK(window.width() < window.screen()->availableGeometry().width());
    CHECK(box.text().startsWith("Cannot assign value 'line 0\nline 1"));
    CHECK(box.text().endsWith("the reason\nContinue the import ?"));
    CHECK(box.detailedText().contains("line 299\nxxx"));
    QTest::keyClick(&window, Qt::Key_Return);
  });
  drive.Run([&] {
    platform.Ask({text, "Error", contract::Icon::kExclamation, contract::Buttons::kYesNo});
  });
}

TEST_CASE("Breaks by mouse and by keyboard, and as they are heard") {
  textsource::BreakList breaks;
  wizard::BreakEditor editor(breaks);
  editor.SetLines({"abcdefghijklmnopqrstuvwxyz", "0123456789"});
  wizard::qt::BreakView view(nullptr, editor);
  view.resize(700, 200);
  view.show();
  REQUIRE(QTest::qWaitForWindowExposed(&view));
  QWidget* port = view.viewport();
  QTest::mouseClick(port, Qt::LeftButton, {}, view.PointOf(7));
  QTest::mouseClick(port, Qt::LeftButton, {}, view.PointOf(12));
  CHECK(editor.Text() == "7, 12");
  const auto drag = [&](int from, int to) {
    QTest::mousePress(port, Qt::LeftButton, {}, view.PointOf(from));
    QTest::mouseMove(port, view.PointOf(to));
    QTest::mouseRelease(port, Qt::LeftButton, {}, view.PointOf(to));
  };
  drag(7, 9);
  CHECK(editor.Text() == "9, 12");
  drag(9, 12);  // never onto another
  CHECK(editor.Text() == "9, 12");
  QTest::mousePress(port, Qt::LeftButton, {}, view.PointOf(9));
  QTest::mouseMove(port, view.PointOf(10));
  QTest::keyClick(&view, Qt::Key_Escape);  // ends the drag and nothing else
  QTest::mouseRelease(port, Qt::LeftButton, {}, view.PointOf(10));
  CHECK(editor.Text() == "9, 12");
  QTest::mouseDClick(port, Qt::LeftButton, {}, view.PointOf(12));
  CHECK(editor.Text() == "9");
  struct Row {
    Qt::Key key;
    Qt::KeyboardModifiers with;
    const char* breaks;
    int caret;
  };
  const Row kRows[] = {
      {Qt::Key_Home, {}, "9", 1},
      {Qt::Key_Right, {}, "9", 2},
      {Qt::Key_Space, {}, "2, 9", 2},
      {Qt::Key_PageDown, {}, "2, 9", 9},
      {Qt::Key_Left, Qt::ControlModifier, "2, 8", 8},
      {Qt::Key_PageUp, {}, "2, 8", 2},
      {Qt::Key_Delete, {}, "8", 2},
      {Qt::Key_Z, Qt::ControlModifier, "2, 8", 2},
      {Qt::Key_End, {}, "2, 8", 26},
      {Qt::Key_Space, {}, "2, 8, 26", 26},
      {Qt::Key_Space, {}, "2, 8", 26},
  };
  for (const Row& row : kRows) {
    CAPTURE(static_cast<int>(row.key));
    QTest::keyClick(&view, row.key, row.with);
    CHECK(editor.Text() == row.breaks);
    CHECK(editor.caret() == row.caret);
  }
  // A drag beyond the edge takes the text along.
  editor.SetLines({std::string(400, 'a')});
  view.Refresh();
  editor.Add(20);
  QTest::mousePress(port, Qt::LeftButton, {}, view.PointOf(20));
  QTest::mouseMove(port, QPoint(port->width() + 30, 40));
  CHECK(QTest::qWaitFor([&] { return editor.DrawnAt(20) > 120; }, 10000));
  QTest::keyClick(&view, Qt::Key_Escape);
  editor.SetLines({"abcdefghijklmnopqrstuvwxyz", "0123456789"});
  view.Refresh();
  // What people hear who do not see the window.
  view.MoveCaret(8);
  QAccessibleInterface* seen = QAccessible::queryAccessibleInterface(&view);
  REQUIRE(seen != nullptr);
  CHECK(seen->role() == QAccessible::Slider);
  CHECK(seen->text(QAccessible::Value) == "Break at 8");
  REQUIRE(seen->valueInterface() != nullptr);
  seen->valueInterface()->setCurrentValue(99);
  CHECK(seen->valueInterface()->currentValue().toInt() == 27);
}

TEST_CASE("Settings and password windows") {
  QtPlatform platform;
  TempFolder folder;
  WriteWhole(folder.File("k.ini"), "[settings]\na=\nb=\nc=\n[a]\n[b]\n[c]\n");
  struct Caller final : wizard::SettingsCaller {
    void SetChosenSetting(std::string name) override { chosen = std::move(name); }
    const std::string& CurrentSettingName() const override { return chosen; }
    const std::string& WizardCaption() const override { return chosen; }
    void ResetCaption() override {}
    void SettingRenamed(const std::string&) override {}
    std::string chosen;
  } caller;
  wizard::frmSettings list(platform, settings::IniFile(folder.File("k.ini")));
  list.SetCaller(caller);
  list.Form_Load();
  Driver drive;
  drive.Do("frmSettings", [](QWidget& window) {
    auto& box = Child<QListWidget>(window, "LBoxSettings");
    REQUIRE(box.count() == 3);
    QTimer::singleShot(0, &window, [&] { QTest::keyClick(&window, Qt::Key_Delete); });
  });
  drive.Do("QMessageBox", [](QWidget& window) { QTest::keyClick(&window, Qt::Key_Return); });
  drive.Do("frmSettings", [](QWidget& window) {
    auto& box = Child<QListWidget>(window, "LBoxSettings");
    REQUIRE(box.count() == 2);
    CHECK(box.currentRow() == 0);
    // The entry under the mouse, though another one is selected.
    const QPoint at = box.visualItemRect(box.item(1)).center();
    QTest::mouseClick(box.viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(box.viewport(), Qt::LeftButton, {}, at);
  });
  drive.Run([&] { platform.ShowModal(list); });
  CHECK(caller.chosen == "c");

  wizard::frmDBPWD password;
  password.txtPassword.SetText("old");
  Driver second;
  second.Do("frmDBPWD", [](QWidget& window) {
    auto& box = Child<QLineEdit>(window, "txtPassword");
    CHECK(box.selectedText().size() == 3);
    QTest::keyClicks(&box, "new");
    QTest::keyClick(&box, Qt::Key_Return);
  });
  second.Run([&] { platform.ShowModal(password); });
  CHECK(password.password() == "new");
}

TEST_CASE("Questions are answered by their keys and never taken for rich text") {
  using contract::Answer;
  using contract::Buttons;
  struct Row {
    Buttons buttons;
    Qt::Key key;
    Answer answer;
    bool careful = false;
  };
  const Row kRows[] = {{Buttons::kOk, Qt::Key_Return, Answer::kOk},
                       {Buttons::kOkCancel, Qt::Key_Return, Answer::kCancel, true},
                       {Buttons::kYesNo, Qt::Key_Return, Answer::kNo, true},
                       {Buttons::kOkCancel, Qt::Key_Return, Answer::kOk},
                       {Buttons::kOkCancel, Qt::Key_Escape, Answer::kCancel},
                       {Buttons::kYesNo, Qt::Key_Return, Answer::kYes},
                       {Buttons::kYesNo, Qt::Key_Escape, Answer::kNo}};
  QtPlatform platform;
  for (const Row& row : kRows) {
    Driver drive;
    Answer answer{};
    drive.Do("QMessageBox", [&](QWidget& window) {
      CHECK(dynamic_cast<QMessageBox&>(window).text() == "value '<b>x</b>'\nnext");
      QTest::keyClick(&window, row.key);
    });
    drive.Run([&] {
      answer = platform.Ask({"value '<b>x</b>'\r\nnext", "Error", contract::Icon::kQuestion,
                             row.buttons, row.careful});
    });
    CHECK(answer == row.answer);
  }
}

TEST_CASE("Errors during a run are asked about; rejected records are shown, saved and read again") {
  Shop shop;
  shop.Source("axe,3\r\npen,x\r\nsaw,4\r\npin,y\r\n");
  const std::string saved = shop.folder.File("again.csv");
  Driver drive;
  Begin(drive);
  for (const char* text : {"Continue the import ?", "Continue the import without displaying"})
    drive.Do("QMessageBox", [text](QWidget& window) {
      const auto& box = dynamic_cast<QMessageBox&>(window);
      CHECK(box.text().contains(QLatin1String(text)));
      CHECK(box.detailedText() == (box.text().contains("AMOUNT") ? "'x' is no number" : ""));
      for (const QWidget* other : QApplication::topLevelWidgets())
        if (other->objectName() == "frmKelvorin")
          other->findChild<QAbstractButton*>("BtnFinish")->click();  // runs nothing
      QTest::keyClick(&window, Qt::Key_Return);
    });
  drive.Click("frmKelvorin", "BtnRejected");
  drive.Do("frmRejected", [](QWidget& window) {
    const auto& grid = Child<QTableWidget>(window, "GrdRejected");
    REQUIRE(grid.rowCount() == 2);
    QStringList cells;
    for (int c = 0; c < 3; ++c) cells += grid.item(1, c)->text();
    CHECK(cells == QStringList{"4", "AMOUNT", "y"});
    CHECK(grid.item(1, 3)->text().contains("y"));
  });
  QSize given;
  drive.Do("frmRejected", [&](QWidget& window) {
    window.resize(window.size() - QSize(60, 40));
    given = window.size();
  });
  drive.Click("frmRejected", "BtnSaveRejected");
  drive.Do("QFileDialog", [&](QWidget& window) {
    Child<QLineEdit>(window, "fileNameEdit").setText(QString::fromStdString(saved));
    QTest::keyClick(&window, Qt::Key_Return);
  });
  drive.Do("frmRejected", [](QWidget& window) { QTest::keyClick(&window, Qt::Key_Escape); });
  drive.Click("frmKelvorin", "BtnRejected");
  drive.Do("frmRejected", [&](QWidget& window) {
    CHECK(window.size() == given);
    QTest::keyClick(&window, Qt::Key_Escape);
  });
  drive.Click("frmKelvorin", "BtnCancel");
  drive.Run([&] { shop.control.Execute(); });
  CHECK(shop.Count() == 2);  // one run, though Finish was pressed again
  CHECK(ReadWhole(saved) == "pen,x\r\npin,y\r\n");

  WriteWhole(saved, "pen,1\r\npin,2\r\n");  // mended
  shop.control.ImportDBName(saved);
  std::string last = "__LastSetting__";
  CHECK(shop.control.BatchImport(last) == 0);
  CHECK(shop.Count() == 4);
}

TEST_CASE("The host closes its form while an import runs, with its dialog or without one") {
  for (const bool progress : {true, false}) {
    CAPTURE(progress);
    Shop shop;
    const std::string file = shop.Source(Lines(300000, "article %d,%d\r\n"));
    auto host = std::make_unique<QWidget>();
    auto* control = new KelvorinControl(host.get());
    control->setDataBaseName(QString::fromStdString(shop.folder.path()));
    control->setConnectString(KelvorinControl::FOXPRO26);
    control->setTableName("GOODS");
    control->setIniFile(QString::fromStdString(shop.folder.File("k.ini")));
    control->setImportDBName(QString::fromStdString(file));
    control->setShowProgress(progress);
    int converted = 0;
    QObject::connect(control, &KelvorinControl::BeforeFieldImport, control,
                     [&](const QString&, const QString& field, int, int, QString& value) {
                       if (field == "NAME") value = "x";
                       if (++converted == 2001 && !progress)
                         QTimer::singleShot(0, qApp, [&] { host.reset(); });
                     });
    Driver drive;
    Begin(drive);
    if (progress) drive.Do("frmProgress", [&](QWidget&) { host.reset(); });
    drive.Run([&] { control->Execute(); });
    CHECK(host == nullptr);
    const std::int64_t stored = shop.Count();
    CHECK(stored < 300000);
    CHECK(stored <= converted / 2);
    CHECK(QApplication::activeModalWidget() == nullptr);
  }
}

TEST_CASE("The wizard is refused to another thread than the windows'") {
  QtPlatform platform;
  Kelvorin control(&platform);
  std::thread([&] { control.Execute(); }).join();
  CHECK(control.LastError() ==
        "The import wizard cannot be shown: it must be opened from the thread of the windows");
}

}  // namespace kelvorin::tests
