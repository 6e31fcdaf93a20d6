#include "settings/setting_store.h"

#include <doctest/doctest.h>

#include <string>

#include "tests/storage/support/fault_files.h"
#include "tests/support/temp_folder.h"

using namespace kelvorin;
using namespace kelvorin::settings;
using tests::ReadWhole;
using tests::TempFolder;
using tests::WriteWhole;
using textsource::BreakList;

namespace {

/// A settings file in a folder of its own, holding one section `[j]` with these lines.
struct Store {
  TempFolder folder;
  IniFile ini{folder.File("a.ini")};
  BreakList breaks;

  explicit Store(const std::string& lines = {}) {
    if (!lines.empty()) WriteWhole(ini.path(), "[j]\n" + lines);
  }
  ImportSetting Read(ImportSetting setting = {}) {
    setting.SettingName = "j";
    REQUIRE(ReadSetting(ini, setting, breaks).ok());
    return setting;
  }
  /// What a save leaves in the file.
  std::string Save(ImportSetting setting) {
    setting.SettingName = "j";
    REQUIRE(SaveSetting(ini, setting, breaks).ok());
    return ReadWhole(ini.path());
  }
};

std::string Show(const BreakList& breaks) {
  std::string text;
  for (std::uint16_t i = 0; i < breaks.count(); ++i) text += std::to_string(breaks[i]) + ' ';
  return text;
}

ImportSetting Filled() {
  ImportSetting s;
  s.SettingName = "j";
  s.TypeFormat = s.Delimiter = 1;
  SetSeparators(s, ",;#");
  s.RecSeparator = 3;
  s.RecSepOther = " \"x\" ";
  s.StartingLine = 3;
  s.MaxLines = 32767;
  s.OemConvert = s.Upper = s.Lower = s.UpdateIndex = s.KeyLookUp = s.AppendFields = s.AppendIfEof =
      s.LimitErrors = s.Trace = s.LogAppend = s.EmptyTarget = s.DeleteImportFile = true;
  s.AppendRecords = s.ShowErrors = s.AllLines = false;
  s.IndexName = "PK";
  s.nErrorStop = 9;
  s.LogFileName = "/tmp/a.log";
  s.SourceDBName = "/data/a b.txt ";
  s.SourceTableName = "T";
  s.FieldMap[0] = {"ID", 0, 3, -1, true, 2};
  s.FieldMap[1] = {"LEFT OUT", 0, 0, -1, false, -1};
  s.FieldMap[2] = {"NAME", 3, 7, 4, true, 0};
  s.FieldMap[3] = {"", 3, 7, 4, true, 0};  // past the table's last field
  s.FieldMap[250] = {"LAST", 10, 1, -1, true, 250};
  s.AnsiPage = 65001;
  s.OemPage = 850;
  s.ExactValues = 1;
  s.DateOrder = "dmy";
  s.Decimal = ",";
  s.NullText = " n/a";
  s.RejectFile = "r.txt";
  return s;
}

}  // namespace

TEST_CASE("a reset job, saved") {
  Store store;
  ImportSetting setting = Filled();
  CHECK(store.breaks.AddFixedBreak(5).ok());
  SetDefaultSetting(setting, store.breaks, 0);
  CHECK(store.breaks == BreakList());
  ImportSetting expected;
  const ImportSetting before = Filled();
  expected.SettingName = before.SettingName;
  expected.SepOtherText = before.SepOtherText;
  expected.FieldMap = before.FieldMap;
  expected.nErrorStop = before.nErrorStop;
  expected.EmptyTarget = expected.DeleteImportFile = expected.SepOther = true;
  CHECK(setting == expected);
  CHECK(store.Save(ImportSetting()) ==
        "[j]\nTypeFormat=0\nDelimiter=0\nSeparator1=0\nnbSeparators=1\nRecSeparator=0\n"
        "RecSepOther=\nRecLength=0\nMaxLines=0\nOemConvert=0\nUpper=0\nLower=0\nStartingLine=1\n"
        "AppendRecords=1\nUpdateIndex=0\nIndexName=\nKeyLookUp=0\nAppendFields=0\nAppendIfEof=0\n"
        "ShowErrors=1\nLimitErrors=0\nTrace=0\nLogFileName=\nLogAppend=0\nEmptyTarget=0\n"
        "DeleteImportFile=0\nnbFields=0\nnbBreaks=0\nSourceDBName=\nSourceTableName=\n"
        "\n[settings]\nj=\n");
}

TEST_CASE("a full job, saved and loaded") {
  Store store;
  for (const int position : {7, 30, 3})
    CHECK(store.breaks.AddFixedBreak(static_cast<std::uint16_t>(position)).ok());
  store.breaks.DeleteFixedBreak(30);
  const std::string first = store.Save(Filled());
  CHECK(
      first ==
      "[j]\nTypeFormat=1\nDelimiter=1\nSeparator1=0\nSeparator2=1\nSeparator3=35\n"
      "nbSeparators=3\nRecSeparator=3\nRecSepOther=\" \"x\" \"\nRecLength=0\nMaxLines=32767\n"
      "OemConvert=1\nUpper=1\nLower=1\nStartingLine=3\nAppendRecords=0\nUpdateIndex=1\n"
      "IndexName=PK\nKeyLookUp=1\nAppendFields=1\nAppendIfEof=1\nShowErrors=0\nLimitErrors=1\n"
      "nErrorStop=9\nTrace=1\nLogFileName=/tmp/a.log\nLogAppend=1\nEmptyTarget=1\n"
      "DeleteImportFile=1\nField0=2\nField2=0\nFieldInfo2=4\nField250=250\nnbFields=3\n"
      "Offset0=0\nLength0=3\nOffset2=3\nLength2=7\nOffset250=10\nLength250=1\nnbBreaks=2\n"
      "Break0=7\nBreak1=3\nSourceDBName=\"/data/a b.txt \"\nSourceTableName=T\nAnsiPage=65001\n"
      "OemPage=850\nExactValues=1\nDateOrder=dmy\nDecimal=,\nNullText=\" n/a\"\nRejectFile=r.txt\n"
      "\n[settings]\nj=\n");

  // The names of the fields are not stored; the table that is open has them.
  ImportSetting onto;
  for (const std::size_t i : {0u, 1u, 2u, 250u}) onto.FieldMap[i].Name = Filled().FieldMap[i].Name;
  ImportSetting expected = Filled();
  expected.FieldMap[3] = {};
  expected.nbFields = expected.nbSeparators = 3;
  expected.DelimiterChar = '\'';
  expected.UseDelimiter = false;
  store.breaks.ClearBreakList();
  const ImportSetting read = store.Read(onto);
  CHECK(read == expected);
  CHECK(Show(store.breaks) == "7 3 ");
  CHECK(store.Save(read) == first);
}

TEST_CASE("what is stored only sometimes") {
  Store store;
  ImportSetting setting;
  setting.RecSeparator = 4;
  setting.RecLength = 80;
  setting.RecSepOther = "x";
  setting.nErrorStop = 5;
  setting.MaxLines = 7;  // but all lines are wanted
  setting.TypeFormat = 14;
  setting.SourceConnectString = "ODBC;DSN=a;PWD=b;";
  std::string text = store.Save(setting);
  for (const char* line : {"\nRecSepOther=\n", "\nRecLength=80\n", "\nMaxLines=0\n"})
    CHECK_MESSAGE(text.find(line) != std::string::npos, line);
  CHECK(text.find("nErrorStop") == std::string::npos);
  CHECK(store.Read().SourceConnectString == "ODBC;DSN=a;PWD=b;");

  // The other flag without a text is counted but has no key, so it comes back as a comma.
  setting.TypeFormat = 0;
  SetSeparators(setting, "\t|");
  setting.SepOtherText.clear();
  text = store.Save(setting);
  CHECK(text.find("Separator1=3\nnbSeparators=2\n") != std::string::npos);
  CHECK(text.find("SourceConnectString") == std::string::npos);
  CHECK(store.Read().SeparatorSet == ",\t");
}

TEST_CASE("loading a job that nobody saved gives the defaults of missing keys") {
  Store store;
  CHECK(store.breaks.AddFixedBreak(3).ok());
  ImportSetting onto = Filled();
  onto.SourceConnectString = "kept";
  ImportSetting expected;
  expected.SettingName = "j";
  expected.RecSepOther = "";
  expected.SourceConnectString = "kept";
  expected.SepOtherChar = '#';
  expected.SepOtherText = "#";
  expected.FieldMap = onto.FieldMap;
  for (FieldMapEntry& entry : expected.FieldMap) entry = {entry.Name};
  CHECK(store.Read(onto) == expected);
  CHECK(store.breaks == BreakList());
}

TEST_CASE("what a load makes of odd lines") {
  struct Row {
    const char* lines;
    std::string separators;
    std::string breaks;
    std::string mapping;  // field=source of the mapped ones, with the offset when it is not 0
  };
  const Row kRows[] = {
      {"Separator1=59\n", ";", "", ""},
      {"nbSeparators=4\nSeparator1=3\nSeparator2=1\nSeparator3=2\nSeparator4=124\n", " \t;|", "",
       ""},
      {"nbSeparators=2\nSeparator1=124\nSeparator2=35\n", "#", "", ""},
      {"nbSeparators=2\nSeparator2=44\n", ",,", "", ""},
      {"nbSeparators=1\nSeparator1=1\nSeparator2=2\nSeparator01=3\n", ";", "", ""},
      {"nbSeparators=0\nSeparator1=1\n", "", "", ""},
      {"nbSeparators=30000\nSeparator29999=1\nSeparator7=x\n", ",;", "", ""},
      {"Separator1=233\n", "\xC3\xA9", "", ""},
      {"nbBreaks=3\nBreak0=7\nBreak1=3\nBreak2=7\n", ",", "7 3 ", ""},
      {"nbBreaks=3\nBreak0=7\nBreak2=9\n", ",", "7 0 9 ", ""},
      {"nbBreaks=32767\nBreak1=4\n", ",", "0 4 ", ""},
      {"nbBreaks=2\nBreak0=-1\nBreak2=4\n", ",", "0 ", ""},
      {"nbFields=1\nField3=5\nField251=1\nFieldInfo7=2\nOffset3=4\n", ",", "", "3=5 "},
      {"TypeFormat=1\nField3=5\nField2=-1\nOffset3=4\n", ",", "", "3=5@4 "},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.lines);
    Store store(row.lines);
    const ImportSetting setting = store.Read();
    CHECK(setting.SeparatorSet == row.separators);
    CHECK(Show(store.breaks) == row.breaks);
    std::string mapping;
    for (std::size_t i = 0; i < setting.FieldMap.size(); ++i) {
      const FieldMapEntry& entry = setting.FieldMap[i];
      if (!entry.Mapped) continue;
      mapping += std::to_string(i) + '=' + std::to_string(entry.Field);
      if (entry.Offset != 0) mapping += '@' + std::to_string(entry.Offset);
      mapping += ' ';
    }
    CHECK(mapping == row.mapping);
  }
  CHECK_FALSE(Store("Separator1=59\n").Read().SepSemicolon);  // a character like any other
  std::string many = "Delimiter=2\nMaxLines=5\nOemConvert=-1\nShowErrors=0x\nnbBreaks=300\n";
  for (int i = 0; i < 300; ++i)
    many += "Break" + std::to_string(i) + "=" + std::to_string(i + 1) + "\n";
  Store full(many);
  const ImportSetting setting = full.Read();
  CHECK(full.breaks.count() == 251);
  CHECK(setting.DelimiterChar == '\0');
  CHECK(!(setting.UseDelimiter || setting.AllLines || setting.ShowErrors));
  CHECK(setting.OemConvert);
}

TEST_CASE("a number that does not fit fails the whole load or save") {
  for (const char* line : {"MaxLines=32768\n", "Field250=-32769\n", "Upper=70000\n",
                           "Separator1=99999\n", "nbBreaks=1\nBreak0=40000\n"}) {
    CAPTURE(line);
    Store store(line);
    ImportSetting setting = Filled();
    CHECK(store.breaks.AddFixedBreak(3).ok());
    CHECK(ReadSetting(store.ini, setting, store.breaks).code() == Code::kOutOfRange);
    CHECK(setting == Filled());
    CHECK(Show(store.breaks) == "3 ");
  }
  Store store("kept=1\n");
  ImportSetting setting;
  setting.SettingName = "j";
  setting.StartingLine = 100000;
  CHECK(SaveSetting(store.ini, setting, store.breaks).message() ==
        "Setting 'j': the value 100000 of StartingLine lies outside -32768 to 32767");
  CHECK(ReadWhole(store.ini.path()) == "[j]\nkept=1\n");
  setting.StartingLine = 1;
  setting.NullText = std::string(4096, 'n');
  CHECK(SaveSetting(store.ini, setting, store.breaks).message().find("NullText has 4096 bytes") !=
        std::string_view::npos);
  CHECK(ReadWhole(store.ini.path()) == "[j]\nkept=1\n");
  setting.NullText.pop_back();
  CHECK(store.Save(setting).find("NullText=nn") != std::string::npos);
  CHECK(store.Read().NullText == setting.NullText);
  setting.SettingName = " ";
  CHECK(SaveSetting(store.ini, setting, store.breaks).code() == Code::kInvalidArgument);
  // The list itself is no setting.
  CHECK(DeleteSetting(store.ini, " SETTINGS").code() == Code::kInvalidArgument);
  REQUIRE(store.ini.WriteIniString(kIndexSection, "other", "").ok());
  REQUIRE(DeleteSetting(store.ini, "J").ok());
  CHECK(ReadWhole(store.ini.path()) == "\n[settings]\nother=\n");
}

TEST_CASE("A settings file under a failing disk is the old one or the new one, and it is said") {
  const std::string old_text = "[settings]\nj=\n[j]\nkept=1\n";
  const std::string new_text = [&] {
    Store store;
    WriteWhole(store.ini.path(), old_text);
    return store.Save(Filled());
  }();
  for (const tests::FaultKind& kind : tests::kFaultKinds) {
    if (kind.fault == tests::Fault::kShortRead) continue;  // which is no failure
    bool happened = true;
    for (int at = 1; happened; ++at) {
      CAPTURE(kind.name);
      CAPTURE(at);
      tests::MemoryFileSystem disk;
      disk.Put("/s/a.ini", old_text);
      tests::FaultFileSystem faults(disk, kind.fault, at);
      IniFile ini("/s/a.ini", faults);
      BreakList breaks;
      const Status saved = SaveSetting(ini, Filled(), breaks);
      happened = faults.fired();
      CHECK(saved.ok() == !happened);
      disk.Crash(kind.tail, static_cast<std::uint32_t>(at));
      const std::string now = disk.Contents("/s/a.ini");
      CHECK((now == new_text || (happened && now == old_text)));
    }
  }
}

TEST_CASE("separators that a line of the file cannot hold come back whole") {
  struct Row {
    std::string separators;
    std::string rec_sep;
    const char* line;  // one that is written
  };
  const Row kRows[] = {
      {"\xC2\xA7", "@\n@", "\nRecSepOtherEscaped=@\\n@\n"},  // the section sign has a code
      {"\xC2\xA7", std::string("\\\r\0x", 4), "\nSeparator1=167\n"},
      {",\xE2\x82\xAC", "#", "\nSeparator2=128\n"},
      {"\xE2\x80\x96", "a\\nb", "\nSepOtherText=\xE2\x80\x96\n"},
      {"|", "##", "\nRecSepOther=##\n"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.line);
    Store store;
    ImportSetting setting;
    setting.RecSeparator = 3;
    setting.RecSepOther = row.rec_sep;
    SetSeparators(setting, row.separators);
    CHECK(setting.SeparatorSet == row.separators);
    const std::string text = store.Save(setting);
    CHECK(text.find(row.line) != std::string::npos);
    CHECK(text.find("nbSeparators=" + std::string(row.separators[0] == ',' ? "2" : "1") + "\n") !=
          std::string::npos);
    const ImportSetting read = store.Read();
    CHECK(read.SeparatorSet == row.separators);
    CHECK(read.RecSepOther == row.rec_sep);
  }
}

TEST_CASE("what makes no sense is refused by name, and a length counts with its code only") {
  Store store;
  for (const char* code : {"256", "300", "-1", "99999"}) {
    CAPTURE(code);
    IniDocument document("[j]\nSeparator1=" + std::string(code) + "\n");
    ImportSetting setting;
    setting.SettingName = "j";
    const Status status = ReadSetting(document, setting, store.breaks);
    CHECK(status.code() == Code::kOutOfRange);
    CHECK(status.message().find(code) != std::string_view::npos);
    CHECK(setting.SeparatorSet == ",");
  }
  for (const char* name : {"settings", " SETTINGS ", "", "  ", "a=b", "a]", ";a", "[a", "a\nb"}) {
    CAPTURE(name);
    IniDocument document("[settings]\nold=\n[old]\nTypeFormat=1\n");
    ImportSetting setting;
    setting.SettingName = name;
    CHECK(SaveSetting(document, setting, store.breaks).code() == Code::kInvalidArgument);
    CHECK(document.Text() == "[settings]\nold=\n[old]\nTypeFormat=1\n");
  }
  IniDocument document("[j]\nRecLength=4\nField3=-7\n");
  ImportSetting setting;
  setting.SettingName = "j";
  REQUIRE(ReadSetting(document, setting, store.breaks).ok());
  CHECK(setting.RecLength == 0);
  CHECK((setting.FieldMap[3].Mapped && setting.FieldMap[3].Field == -7));
  CHECK_FALSE(setting.FieldMap[2].Mapped);
}
