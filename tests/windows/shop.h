#pragma once
// A shop with one table, and a person who goes through the real wizard to fill it.

#include <cstdio>
#include <string>

#include "control/kelvorin.h"
#include "database/drivers/register_drivers.h"
#include "database/engine.h"
#include "tests/support/definitions.h"
#include "tests/support/temp_folder.h"
#include "tests/windows/driver.h"
#include "wizard/qt/qt_platform.h"

namespace kelvorin::tests {

inline database::TableDef Goods(std::string name) {
  database::TableDef table;
  table.Name = std::move(name);
  table.Fields = {MakeField("NAME", values::TypeCode::kText, 20),
                  MakeField("AMOUNT", values::TypeCode::kLong)};
  return table;
}

// A FoxPro table GOODS in a folder of its own.
struct Shop {
  Shop() {
    database::RegisterDrivers(engine);
    auto opened = engine.OpenDatabase(folder.path(), true, false, "FoxPro 2.6;");
    REQUIRE(opened.ok());
    REQUIRE((*opened)->CreateTable(Goods("GOODS")).ok());
    REQUIRE((*opened)->Close().ok());
    control.DataBaseName(folder.path());
    control.ConnectString(contract::TypeConnect::FOXPRO26);
    control.tableName("GOODS");
    control.IniFile(folder.File("k.ini"));
  }
  std::int64_t Count() {
    auto opened = engine.OpenDatabase(folder.path(), false, true, "FoxPro 2.6;");
    REQUIRE(opened.ok());
    auto rows = (*opened)->OpenRecordset("GOODS", database::RecordsetType::kTable);
    REQUIRE(rows.ok());
    const std::int64_t count = *(*rows)->RecordCount();
    CHECK((*rows)->Close().ok());
    return count;
  }
  // Makes a source file and names it to the control.
  std::string Source(const std::string& text) {
    const std::string file = folder.File("in.csv");
    WriteWhole(file, text);
    control.ImportDBName(file);
    control.ShowSummary(false);
    return file;
  }
  TempFolder folder;
  database::DBEngine engine;
  wizard::qt::QtPlatform platform;
  Kelvorin control{&platform};
};

// Through all steps of the wizard, with the fields in their order, until the import begins.
inline void Begin(Driver& drive) {
  for (const char* button : {"BtnNext", "BtnNext", "BtnMapInOrder", "BtnFinish"})
    drive.Click("frmKelvorin", button);
}

inline std::string Lines(int count, const char* format) {
  std::string text;
  char line[64];
  for (int i = 0; i < count; ++i) {
    std::snprintf(line, sizeof line, format, i, i % 100);
    text += line;
  }
  return text;
}

}  // namespace kelvorin::tests
