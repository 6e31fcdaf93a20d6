#include "settings/ini_file.h"

#include <doctest/doctest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/support/temp_folder.h"

using namespace kelvorin;
using namespace kelvorin::settings;
using tests::ReadWhole;
using tests::TempFolder;
using tests::WriteWhole;

namespace {

std::string Join(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += name + '|';
  return text;
}

}  // namespace

TEST_CASE("values as profile files read them") {
  TempFolder folder;
  IniFile ini(folder.File("a.ini"));
  WriteWhole(ini.path(),
             "[j]\nlead= 12abc\nneg=-1\nbad=abc\nempty=\nlow=-32768\nover=32768\nunder=-32769\n"
             "huge=99999999999999999999\nhex=0x10\nlong=" +
                 std::string(5000, 'v') + "\n");
  const std::pair<const char*, int> kNumbers[] = {{"lead", 12},  {"neg", -1},     {"bad", 0},
                                                  {"empty", 0},  {"low", -32768}, {"hex", 0},
                                                  {"missing", 7}};
  for (const auto& [key, number] : kNumbers) {
    CAPTURE(key);
    const Result<std::int16_t> read = ini.GetIniInt("J", key, 7);
    REQUIRE(read.ok());
    CHECK(*read == number);
    CHECK(*ini.GetIniBool("J", key, 7) == (number != 0));
  }
  for (const char* key : {"over", "under", "huge"}) {
    CAPTURE(key);
    CHECK(ini.GetIniInt("j", key, 0).status().code() == Code::kOutOfRange);
    CHECK(ini.GetIniBool("j", key, 0).status().code() == Code::kOutOfRange);
  }
  CHECK(ini.GetIniString("j", "LONG") == std::string(4095, 'v'));
  CHECK(ini.GetIniString("j", "empty", "other") == "");
  CHECK(ini.GetIniString("none", "x", "other") == "other");
  CHECK(IniFile(folder.File("none.ini")).GetIniString("j", "x", "other") == "other");
}

TEST_CASE("values are written, into folders made for them, and deleted") {
  TempFolder folder;
  IniFile ini(folder.File("sub/deep/a.ini"));
  REQUIRE(ini.WriteIniString("j", "x", "plain").ok());
  REQUIRE(ini.WriteIniInt("j", "n", -5).ok());
  REQUIRE(ini.WriteIniBool("j", "b", true).ok());
  CHECK(ReadWhole(ini.path()) == "[j]\nx=plain\nn=-5\nb=1\n");
  REQUIRE(ini.DeleteIniKey("J", "N").ok());
  CHECK(ReadWhole(ini.path()) == "[j]\nx=plain\nb=1\n");
}

TEST_CASE("what cannot be read as a whole is never replaced") {
  TempFolder folder;
  IniFile ini(folder.File("a.ini"));
  REQUIRE(ini.WriteIniString("j", "x", "1").ok());
  REQUIRE(truncate(ini.path().c_str(), 100 << 20) == 0);
  CHECK(ini.WriteIniString("j", "x", "1").code() == Code::kOutOfRange);
  CHECK(ini.GetIniString("j", "x", "other") == "other");
}

TEST_CASE("the list of settings and its odd ends") {
  TempFolder folder;
  IniFile ini(folder.File("a.ini"));
  std::string many = "[settings]\n";
  std::string fitting;
  for (int i = 0; i < 600; ++i) {
    const std::string name = (i == 0 ? "name9" : "name") + std::to_string(1000 + i);
    many += name + "=\n";
    // Names take their length and one character each, and one at the end, of 4096.
    if (i < 454) fitting += name + '|';
  }
  struct Row {
    const char* name;
    std::string text;
    std::string list;
    std::string exists;     // a name that is found
    std::string not_there;  // and one that is not
  };
  const Row kRows[] = {
      {"in file order, the last job hidden but there",
       "[Settings]\nB=\n__LastSetting__=\nA=x\n__LASTSETTING__ =\n", "B|A|__LASTSETTING__|",
       "__lastsetting__", "C"},
      {"no such section", "[other]\nB=\n", "", "", "B"},
      {"an empty section", "[settings]\n[x]\n", "", "", "Default"},
      {"a first name that hides all", "[settings]\nDefault report=\nB=\n", "", "",
       "Default report"},
      {"only with that case", "[settings]\ndefault report=\nB=\n", "default report|B|",
       "DEFAULT REPORT", "default"},
      {"only in front", "[settings]\nB=\nDefault=\n", "B|Default|", "default", "Def"},
      {"letters beyond ASCII", "[settings]\n\xC3\x84rger=\n", "\xC3\x84rger|", "\xC3\xA4RGER",
       "rger"},
      {"names beyond the buffer are lost", many, fitting, "NAME1453", "name1454"},
  };
  WriteWhole(ini.path(), many);
  CHECK(ini.HiddenNames() == 600 - 454);
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    WriteWhole(ini.path(), row.text);
    CHECK(Join(ini.FillSettingsList()) == row.list);
    if (!row.exists.empty()) CHECK(ini.SettingExists("settings", row.exists));
    CHECK_FALSE(ini.SettingExists("settings", row.not_there));
  }
}

TEST_CASE("a file that cannot be read is an error, not an empty one") {
  TempFolder folder;
  WriteWhole(folder.File("u.ini"), std::string("\xFF\xFE[\0s\0", 6));
  CHECK(IniFile(folder.File("u.ini")).TryLoad().status().code() == Code::kNotSupported);
  CHECK_FALSE(IniFile(folder.File("")).TryLoad().ok());  // a folder
  CHECK(IniFile(folder.File("none.ini")).TryLoad().ok());
}

TEST_CASE("a file that may be read only is not replaced, nor one beside the program used") {
  TempFolder folder;
  IniFile ini(folder.File("a.ini"));
  WriteWhole(ini.path(), "[j]\nx=1\n");
  REQUIRE(chmod(ini.path().c_str(), 0444) == 0);
  REQUIRE(chmod(folder.File("").c_str(), 0777) == 0);
  setenv("XDG_CONFIG_HOME", folder.File("config").c_str(), 1);
  const pid_t pid = fork();
  REQUIRE(pid >= 0);
  if (pid == 0) {
    // Permissions do not hold for the system's own user, and the program's folder is not nobody's.
    constexpr uid_t kNobody = 65534;
    const bool nobody = geteuid() == 0 && setuid(kNobody) == 0;
    const Status told = ini.WriteIniString("j", "x", "2");
    const bool refused = told.code() == Code::kReadOnly &&
                         told.message().find("may be read only") != std::string_view::npos;
    const bool own = !nobody || DefaultIniFile() == folder.File("config/Kelvorin/Kelvorin.Ini");
    _exit((refused ? 0 : 1) + (own ? 0 : 2));
  }
  int outcome = -1;
  REQUIRE(waitpid(pid, &outcome, 0) == pid);
  CHECK(outcome == 0);
  CHECK(ReadWhole(ini.path()) == "[j]\nx=1\n");
  unsetenv("XDG_CONFIG_HOME");
}

TEST_CASE("saves at the same time lose nothing, and fifty leave no trace") {
  TempFolder folder;
  const std::string path = folder.File("a.ini");
  WriteWhole(path, "; mine\n[x]\ny=1\n");
  const std::string before = ReadWhole(path);
  std::vector<pid_t> children;
  for (int child = 0; child < 4; ++child) {
    const pid_t pid = fork();
    REQUIRE(pid >= 0);
    if (pid == 0) {
      IniFile ini(path);
      bool all = true;
      for (int i = 0; i < 12; ++i)
        all = ini.WriteIniString("j" + std::to_string(child), "k" + std::to_string(i), "v").ok() &&
              all;
      _exit(all ? 0 : 1);
    }
    children.push_back(pid);
  }
  for (const pid_t pid : children) {
    int outcome = -1;
    REQUIRE(waitpid(pid, &outcome, 0) == pid);
    CHECK(outcome == 0);
  }
  IniFile ini(path);
  for (int child = 0; child < 4; ++child) {
    CHECK(ini.Load().Entries("j" + std::to_string(child)).size() == 12);
    REQUIRE(ini.DeleteIniSection("j" + std::to_string(child)).ok());
  }
  CHECK(ReadWhole(path) == before);
}

TEST_CASE("the user's own file wins over one beside the library") {
  TempFolder folder;
  setenv("XDG_CONFIG_HOME", folder.File("config").c_str(), 1);
  const std::string own = folder.File("config/Kelvorin/Kelvorin.Ini");
  CHECK(DefaultIniFile() != own);  // the library's folder can be written
  IniFile ini(own);
  REQUIRE(ini.WriteIniString("settings", "mine", "").ok());
  CHECK(DefaultIniFile() == own);
  unsetenv("XDG_CONFIG_HOME");
}
