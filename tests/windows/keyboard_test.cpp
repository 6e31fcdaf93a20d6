// A person at the keyboard, in front of the real windows: what is typed stands, what fails changes
// nothing, what is finished is not thrown away unasked.

#include "tests/windows/shop.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>

namespace kelvorin::tests {
namespace {

void Retype(QLineEdit& box, const QString& text) {
  box.setFocus();
  box.selectAll();
  QTest::keyClicks(&box, text);
}

// Answers a question that begins with `text` by a key.
void Answer(Driver& drive, const char* text, Qt::Key key) {
  drive.Do("QMessageBox", [=](QWidget& window) {
    const QString shown = dynamic_cast<QMessageBox&>(window).text();
    CAPTURE(shown.toStdString());
    CHECK(shown.startsWith(QLatin1String(text)));
    QTest::keyClick(&window, key);
  });
}

// A page of the options by its number.
void ShowPage(QWidget& options, int page) {
  Child<QTabBar>(options, "TabStrip1").setCurrentIndex(page);
}

}  // namespace

TEST_CASE(
    "Breaks stand as they are typed; a setting whose kind the host hides works all the same") {
  Shop shop;
  shop.Source("axe        3  red\r\nsaw       14  blue\r\npin      100  grey\r\n");
  Driver drive;
  drive.Do("frmKelvorin", [](QWidget& window) {
    QTest::keyClicks(&Child<QComboBox>(window, "CBoxTypeFormat"), "Fixed");
  });
  drive.Click("frmKelvorin", "BtnNext");
  drive.Do("frmKelvorin", [](QWidget& window) {
    auto& box = Child<QLineEdit>(window, "EdtBreaks");
    auto& note = Child<QLabel>(window, "LblStatus");
    Retype(box, "4, 14, 22, 30");
    CHECK(box.text() == "4, 14, 22, 30");
    Retype(box, "13,3 x 13");
    CHECK(note.text().startsWith("3 records with text behind the last break"));
    QTest::keyClick(&box, Qt::Key_Return);  // goes nowhere
    CHECK(box.text() == "3, 13");
    CHECK(Child<QWidget>(window, "PreviewFixed").isVisible());
    Retype(box, "10,10,3");
    QTest::keyClick(&box, Qt::Key_Tab);
    CHECK(box.text() == "3, 10");
    Retype(box, "3, 13");
  });
  drive.Click("frmKelvorin", "BtnNext");
  drive.Click("frmKelvorin", "BtnMapInOrder");
  drive.Click("frmKelvorin", "BtnSaveSetting");
  drive.Do("QInputDialog", [](QWidget& window) {
    QTest::keyClicks(window.findChild<QLineEdit*>(), "columns");
    QTest::keyClick(&window, Qt::Key_Return);
  });
  drive.Click("frmKelvorin", "BtnCancel");
  drive.Run([&] { shop.control.Execute(); });

  shop.control.AutoLoadSettingName("columns");
  shop.control.FilterType = [](contract::FileTypeFormat kind, bool& hide) {
    hide = kind == contract::FileTypeFormat::TFixed;
  };
  Driver hidden;
  hidden.Do("frmKelvorin", [](QWidget& window) {
    auto& kinds = Child<QComboBox>(window, "CBoxTypeFormat");
    CHECK(kinds.count() == 14);
    CHECK(kinds.currentText().isEmpty());
    CHECK(Child<QLabel>(window, "LblDetected").text().startsWith("Fixed-width text"));
  });
  hidden.Click("frmKelvorin", "BtnNext");
  hidden.Do("frmKelvorin", [](QWidget& window) {
    CHECK(Child<QLineEdit>(window, "EdtBreaks").text() == "3, 13");
  });
  hidden.Click("frmKelvorin", "BtnFinish");
  hidden.Click("frmKelvorin", "BtnCancel");
  hidden.Run([&] { shop.control.Execute(); });
  CHECK(shop.control.LastError() == "");
  CHECK(shop.Count() == 3);
}

TEST_CASE("Arrow keys go through all kinds of source and back, and Next says why it is off") {
  Shop shop;
  const std::string file = shop.Source("axe,3\r\n");
  Driver drive;
  drive.Do("frmKelvorin", [&](QWidget& window) {
    auto& kinds = Child<QComboBox>(window, "CBoxTypeFormat");
    auto& note = Child<QLabel>(window, "LblDetected");
    auto& next = Child<QPushButton>(window, "BtnNext");
    kinds.setFocus();
    kinds.setCurrentIndex(0);
    for (int kind = 1; kind < 15; ++kind) {
      CAPTURE(kind);
      QTest::keyClick(&kinds, Qt::Key_Down);
      CHECK(kinds.currentIndex() == kind);
      CHECK(next.isEnabled() == (kind < 3));
      CHECK(note.isVisible());
      CHECK_FALSE(note.text().isEmpty());
    }
    for (int kind = 14; kind > 0; --kind) QTest::keyClick(&kinds, Qt::Key_Up);
    CHECK(kinds.currentIndex() == 0);
    CHECK(Child<QLineEdit>(window, "EdtFileName").text().toStdString() == file);
    CHECK(next.isEnabled());
    QTest::keyClick(&window, Qt::Key_Escape);
  });
  drive.Run([&] { shop.control.Execute(); });
}

TEST_CASE("Esc asks before a mapping is thrown away, and Return keeps it") {
  Shop shop;
  shop.Source("axe,3\r\n");
  Driver drive;
  for (const char* button : {"BtnNext", "BtnNext", "BtnMapInOrder"})
    drive.Click("frmKelvorin", button);
  drive.Key("frmKelvorin", Qt::Key_Escape);
  Answer(drive, "The mapping of the fields was neither imported nor saved.", Qt::Key_Return);
  drive.Do("frmKelvorin", [](QWidget& window) {
    CHECK(Child<QLabel>(window, "LblMapped").text() == "2 of 2 fields mapped");
  });
  drive.Key("frmKelvorin", Qt::Key_Escape);
  drive.Do("QMessageBox", [](QWidget& window) {
    QTest::keyClick(dynamic_cast<QMessageBox&>(window).button(QMessageBox::Ok), Qt::Key_Space);
  });
  drive.Run([&] { shop.control.Execute(); });
  CHECK(shop.Count() == 0);
}

TEST_CASE("Boxes of the options and of a run with too many errors, the log's name, and help") {
  Shop shop;
  shop.Source("axe,x\r\nsaw,4\r\npin,y\r\nnut,z\r\n");
  const std::string log = shop.folder.File("run.log");
  int topic = 0;
  shop.control.HelpID(42);
  shop.control.HelpRequested = [&](std::int16_t number) { topic += number; };
  Driver drive;
  drive.Do("frmKelvorin", [](QWidget& window) { QTest::keyClick(&window, Qt::Key_F1); });
  drive.Click("frmKelvorin", "BtnHelp");
  drive.Click("frmKelvorin", "BtnAdvanced");
  drive.Do("frmAdvanced", [](QWidget& window) {
    ShowPage(window, 1);
    Child<QRadioButton>(window, "RBtnUpdateRecords").click();
    QTimer::singleShot(0, &window, [&] { Child<QRadioButton>(window, "RBtnUseIndex").click(); });
  });
  Answer(drive, "The table has no index", Qt::Key_Return);
  drive.Do("frmAdvanced", [](QWidget& window) {
    CHECK(Child<QRadioButton>(window, "RBtnTableOrder").isChecked());
    CHECK_FALSE(Child<QRadioButton>(window, "RBtnUseIndex").isChecked());
    CHECK(Child<QComboBox>(window, "CBoxIndexes").currentText() == "No index");
    CHECK_FALSE(Child<QComboBox>(window, "CBoxIndexes").isEnabled());
    Child<QRadioButton>(window, "RBtnAppendRecords").click();
    ShowPage(window, 2);
    Child<QAbstractButton>(window, "CBoxStopIfErrors").click();
    auto& most = Child<QLineEdit>(window, "EdtMaxErrors");
    CHECK(most.hasFocus());
    Retype(most, "32768");
    QTimer::singleShot(0, &window, [&] { QTest::keyClick(&most, Qt::Key_Return); });
  });
  Answer(drive, "The number of errors 32768 is too large", Qt::Key_Escape);
  drive.Do("frmAdvanced", [](QWidget& window) {
    auto& most = Child<QLineEdit>(window, "EdtMaxErrors");
    CHECK(most.text() == "32768");
    Retype(most, "a2");
    CHECK(most.text() == "2");
    Child<QRadioButton>(window, "RBtnTraceOn").click();
  });
  drive.Click("frmAdvanced", "BtnBrowseLog");
  drive.Do("QFileDialog", [&](QWidget& window) {
    Retype(Child<QLineEdit>(window, "fileNameEdit"), QString::fromStdString(log));
    QTest::keyClick(&window, Qt::Key_Return);
  });
  drive.Do("frmAdvanced", [&](QWidget& window) {
    CHECK(Child<QLineEdit>(window, "EdtLogFile").text().toStdString() == log);
    QTest::keyClick(&window, Qt::Key_Return);
  });
  Begin(drive);
  Answer(drive, "Error in assigning a value to  a field at line 1", Qt::Key_Return);
  Answer(drive, "Continue the import without displaying errors ?", Qt::Key_Escape);
  Answer(drive, "Error in assigning a value to  a field at line 3", Qt::Key_Return);
  Answer(drive, "Continue the import without displaying errors ?", Qt::Key_Escape);
  Answer(drive, "Max Number of errors (2) reached, stopping the process. ", Qt::Key_Return);
  drive.Do("frmKelvorin", [](QWidget& window) {
    CHECK(Child<QLabel>(window, "LblOutcome").text().startsWith("The import was stopped. 1 of 3 "));
    QTest::keyClick(&window, Qt::Key_Escape);
  });
  drive.Run([&] { shop.control.Execute(); });
  CHECK(topic == 84);
  CHECK(shop.Count() == 1);
  CHECK(ReadWhole(log).find("Max Number of errors (2) reached") != std::string::npos);
}

}  // namespace kelvorin::tests
