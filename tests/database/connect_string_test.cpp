#include "database/connect_string.h"

#include <doctest/doctest.h>

namespace kelvorin::database {
namespace {

// "word | key=value | ..." with every value as it is meant.
std::string Show(const ConnectString& connect) {
  std::string text = connect.type_word();
  for (const auto& [key, value] : connect.pairs()) text += " | " + key + "=" + value;
  return text;
}

struct Row {
  std::string name;
  std::string text;
  std::string parts;
  std::string again;  // `Text()` of what was read
};

const Row kRows[] = {
    {"Access without a password", ";pwd=;", " | pwd=", ";pwd=;"},
    {"nothing at all", "", "", ";"},
    {"type word and password", "Paradox 3.x;pwd=x;", "Paradox 3.x | pwd=x", "Paradox 3.x;pwd=x;"},
    {"blanks around word and key", " FoxPro 2.5 ; PWD =x;", "FoxPro 2.5 | PWD=x",
     "FoxPro 2.5;PWD=x;"},
    {"no type word", "DSN=Sales;UID=ann", " | DSN=Sales | UID=ann", ";DSN=Sales;UID=ann;"},
    {"empty parts", "ODBC;;DSN=a;;;", "ODBC | DSN=a", "ODBC;DSN=a;"},
    {"a key without value", "ODBC;trusted;DSN=a", "ODBC | trusted= | DSN=a",
     "ODBC;trusted=;DSN=a;"},
    {"a value without key", "ODBC;=lost;DSN=a", "ODBC | DSN=a", "ODBC;DSN=a;"},
    {"equal signs in a value", "ODBC;PWD=a=b==;", "ODBC | PWD=a=b==", "ODBC;PWD=a=b==;"},
    {"blanks in a value are its own", "ODBC;PWD= a b ;", "ODBC | PWD= a b ", "ODBC;PWD={ a b };"},
    {"braces hold a separator", "ODBC;PWD={a;b};UID=u;", "ODBC | PWD=a;b | UID=u",
     "ODBC;PWD={a;b};UID=u;"},
    {"doubled closing brace", "ODBC;PWD={k;el}}v};", "ODBC | PWD=k;el}v", "ODBC;PWD={k;el}}v};"},
    {"what follows a closing brace is dropped", "ODBC;PWD={a}UID=x;DSN=d;", "ODBC | PWD=a | DSN=d",
     "ODBC;PWD=a;DSN=d;"},
    {"a brace never closed is a character", "ODBC;PWD={a;UID=u;", "ODBC | PWD={a | UID=u",
     "ODBC;PWD={{a};UID=u;"},
    {"a brace inside is a character", "ODBC;PWD=a{b;", "ODBC | PWD=a{b", "ODBC;PWD={a{b};"},
};

TEST_CASE("connect strings are read and written again") {
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    const ConnectString connect = ConnectString::Parse(row.text);
    CHECK(Show(connect) == row.parts);
    CHECK(connect.Text() == row.again);
  }
}

TEST_CASE("passwords: the first that is not empty counts, none is shown") {
  CHECK(ConnectString::Parse("ODBC;PWD=kept;pwd=;").password() == "kept");
  CHECK(ConnectString::Parse("ODBC;PWD=;pwd=later;").password() == "later");
  CHECK(ConnectString::Parse("ODBC;DSN=a;").password() == "");
  CHECK(ConnectString::Parse("ODBC;PWD={s;t};Password=u;UID=pwd;").TextWithoutPassword() ==
        "ODBC;PWD=***;Password=***;UID=pwd;");
}

}  // namespace
}  // namespace kelvorin::database
