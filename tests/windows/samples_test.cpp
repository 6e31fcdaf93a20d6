// A newcomer at the real windows: each sample text becomes a new table with what the wizard
// suggests, and every value arrives.

#include "control/kelvorin.h"
#include "database/drivers/register_drivers.h"
#include "database/engine.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"
#include "tests/windows/driver.h"
#include "wizard/qt/qt_platform.h"

#include <nlohmann/json.hpp>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>

#include <cstdlib>
#include <fstream>
#include <memory>

namespace kelvorin::tests {
namespace {

using Rows = std::vector<std::vector<std::string>>;

Rows Stored(database::Database& database, const std::string& table) {
  auto opened = database.OpenRecordset(table, database::RecordsetType::kTable);
  REQUIRE(opened.ok());
  database::Recordset& set = **opened;
  Rows rows;
  while (!set.Eof()) {
    std::vector<std::string>& row = rows.emplace_back(set.FieldCount());
    bool is_null = false;
    for (std::size_t i = 0; i < row.size(); ++i) CHECK(set.Fields(i).GetText(row[i], is_null).ok());
    REQUIRE(set.MoveNext().ok());
  }
  CHECK(set.Close().ok());
  return rows;
}

// A number or a time of day may be written otherwise, but says the same.
bool Same(const std::string& stored, std::string expected) {
  if (stored == expected) return true;
  if (expected.size() > 10 && expected[10] == 'T') expected[10] = ' ';
  if (stored == expected || stored + " 00:00:00" == expected) return true;
  char* end = nullptr;
  char* other = nullptr;
  const double a = std::strtod(stored.c_str(), &end);
  const double b = std::strtod(expected.c_str(), &other);
  return !stored.empty() && *end == '\0' && *other == '\0' && !expected.empty() && a == b &&
         expected.find_first_of(" eE") == std::string::npos;
}

void Type(QWidget& window, const char* name, const std::string& text) {
  auto& box = Child<QLineEdit>(window, name);
  box.setFocus();
  box.selectAll();
  QTest::keyClick(&box, Qt::Key_Delete);
  box.setText(QString::fromStdString(text));
  emit box.textEdited(box.text());
  QTest::keyClick(&box, Qt::Key_Return);
}

// What was offered on the way.
struct Way {
  int boxes = 0;
  int suggestions = 0;
};

// What a newcomer does with a file: names it, follows the suggestion, and goes on.
void Import(Driver& drive, const std::string& file, const std::string& table, Way& way) {
  drive.Click("frmKelvorin", "BtnNewTable");
  drive.Do("frmKelvorin", [file](QWidget& window) {
    QTest::keyClicks(&Child<QComboBox>(window, "CBoxTypeFormat"), "Delimited");
    Type(window, "EdtFileName", file);
  });
  drive.Do("frmKelvorin", [&way](QWidget& window) {
    auto& header = Child<QCheckBox>(window, "CBoxHeader");
    auto& suggestion = Child<QAbstractButton>(window, "BtnSuggestion");
    // The names first, by the box; whatever else is suggested then stays on offer.
    if (header.isVisible() && !header.isChecked() && header.toolTip().startsWith("The detection")) {
      CHECK(suggestion.isVisible());
      QTest::mouseClick(&header, Qt::LeftButton, {}, {5, header.height() / 2});
      CHECK(header.isChecked());
      ++way.boxes;
    }
    if (suggestion.isVisible()) {
      QTest::mouseClick(&suggestion, Qt::LeftButton);
      CHECK_FALSE(suggestion.isVisible());
      ++way.suggestions;
    }
  });
  // Next until the proposal of a table opens.
  drive.Do("frmKelvorin", [](QWidget& window) {
    auto* const timer = new QTimer(&window);
    QObject::connect(timer, &QTimer::timeout, timer, [&window, timer] {
      auto& next = Child<QAbstractButton>(window, "BtnNext");
      if (QApplication::activeModalWidget() != &window || !next.isEnabled()) {
        timer->stop();
        return;
      }
      QTest::mouseClick(&next, Qt::LeftButton);
    });
    timer->start(1);
  });
  drive.Do("frmNewTable", [table](QWidget& window) {
    auto& box = Child<QLineEdit>(window, "EdtTableName");
    box.selectAll();
    QTest::keyClicks(&box, QString::fromStdString(table));
  });
  drive.Click("frmNewTable", "BtnMake");
  drive.Click("frmKelvorin", "BtnFinish");
  drive.Do("frmKelvorin", [](QWidget& window) {
    const std::string outcome = Child<QLabel>(window, "LblOutcome").text().toStdString();
    CAPTURE(outcome);
    CHECK(Child<QLabel>(window, "LblOutcome").isVisible());
    CHECK(outcome.find("imported.") + 9 == outcome.size());  // and nothing lost, cut or refused
    QTest::keyClick(&window, Qt::Key_Escape);
  });
}

}  // namespace

TEST_CASE("A newcomer imports each sample into a new table, and every value arrives" *
          doctest::skip(!HasSamples("text") || !qEnvironmentVariableIsEmpty("QT_FONT_DPI"))) {
  const std::string folder = SamplesRoot() + "/text/";
  std::ifstream file(folder + "expected.json");
  const nlohmann::json expected = nlohmann::json::parse(file);
  TempFolder own;
  database::DBEngine engine;
  database::RegisterDrivers(engine);
  const std::string shop = own.File("shop.mdb");
  REQUIRE(engine.CreateDatabase(shop, {}).ok());
  wizard::qt::QtPlatform platform;
  int number = 0;
  Way way;
  for (const auto& [name, what] : expected.items()) {
    if (what["kind"] == "none") continue;
    CAPTURE(name);
    const std::string table = "T" + std::to_string(++number);
    {
      Kelvorin control(&platform);
      control.DataBaseName(shop);
      control.DefaultSourceType(contract::FileTypeFormat::TAccess);
      control.MultiTable(true);
      control.IniFile(own.File("k.ini"));
      control.ShowSummary(false);
      Driver drive;
      Import(drive, folder + name, table, way);
      drive.Run([&] { control.Execute(); });
      CHECK(control.LastError() == "");
    }
    auto database = engine.OpenDatabase(shop, false, true, {});
    REQUIRE(database.ok());
    const Rows rows = Stored(**database, table);
    REQUIRE((*database)->Close().ok());
    const auto& wanted = what["rows"];
    REQUIRE(rows.size() == wanted.size());
    int wrong = 0;
    for (std::size_t r = 0; r < rows.size(); ++r)
      for (std::size_t c = 0; c < wanted[r].size(); ++c) {
        const std::string value = wanted[r][c].get<std::string>();
        const bool right = c < rows[r].size() && Same(rows[r][c], value);
        if (!right && wrong++ == 0)
          FAIL_CHECK("record " << r + 1 << ", column " << c + 1 << ": '"
                               << (c < rows[r].size() ? rows[r][c] : "none") << "' is not '"
                               << value << "'");
      }
    CHECK(wrong == 0);
  }
  CHECK(number > 25);
  CHECK(way.boxes > 10);
  CHECK(way.suggestions > 10);
}

}  // namespace kelvorin::tests
