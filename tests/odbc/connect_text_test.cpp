#include "database/odbc/connect_text.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using database::ConnectString;

// The text without the keys that the driver adds by itself, or the refusal.
std::string Rebuilt(const char* connect) {
  const auto every_key = [](std::string_view) { return true; };
  const auto text = database::odbc::DriverConnectText(ConnectString::Parse(connect), every_key);
  // Behind the keys of the caller come those that are always the driver's own.
  return text.ok() ? text->substr(0, text->find("Protocol="))
                   : "refused: " + std::string(text.status().message());
}

}  // namespace

TEST_CASE("connect strings are written anew so that no value means another") {
  struct Row {
    const char* name;
    const char* connect;
    const char* expected;
  };
  const Row kRows[] = {
      {"the type word goes", "ODBC;DSN=Sales;UID=u;PWD=p;", "DSN=Sales;UID=u;PWD=p;"},
      {"empty parts and values go", "ODBC;;DSN=Sales;UID=;PWD=;;", "DSN=Sales;"},
      {"the first value that is not empty wins", "ODBC;DSN=a;PWD=;PWD=x;pwd=y;", "DSN=a;PWD=x;"},
      {"a stored password survives an empty one", "ODBC;DSN=a;PWD=x;pwd=;", "DSN=a;PWD=x;"},
      {"odd passwords go into braces", "ODBC;DSN=a;PWD={k;el}}v};", "DSN=a;PWD={k;el}}v};"},
      {"percent and blank too", "ODBC;DSN=a;PWD=a%b c;", "DSN=a;PWD={a%b c};"},
      {"a driver instead of a source", "ODBC;DRIVER=SQLite3;Database=/x y;",
       "DRIVER={SQLite3};Database=/x y;"},
      {"no source at all", "ODBC;UID=u;", "refused: the connect string names no data source"},
      {"an empty source", "ODBC;DSN=;UID=;PWD=;",
       "refused: the connect string names no data source"},
      {"a user that would end early", "ODBC;DSN=a;UID={x;y};",
       "refused: the value of 'UID' in the connect string holds ';' or begins with '{', which "
       "drivers cannot be told"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    CHECK(Rebuilt(row.connect) == row.expected);
  }
}

TEST_CASE("keys that make drivers safe are added only where nobody set them") {
  const auto has = [](std::string_view key) { return key == "NoCreat"; };
  const std::string plain = *database::odbc::DriverConnectText(
      ConnectString::Parse("ODBC;DSN=a;charset=latin1;UseDeclareFetch=1"), has);
  CHECK(plain.find("Protocol=7.4-2;") != std::string::npos);
  CHECK(plain.find("CHARSET=utf8mb4;") != std::string::npos);  // text would come as another
  CHECK(plain.find("latin1") == std::string::npos);
  CHECK(plain.find("NoCreat") == std::string::npos);  // the data source says it
  CHECK(plain.find("UseDeclareFetch=1") == std::string::npos);
}

}  // namespace kelvorin::tests
