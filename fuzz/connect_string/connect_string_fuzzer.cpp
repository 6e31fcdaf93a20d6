// Any text is read as a connect string, what was read is written and read again unchanged, and no
// value placed into one by itself can become anything but that value.

#include <cstdint>
#include <string_view>

#include "database/connect_string.h"
#include "fuzz/require.h"

using kelvorin::database::ConnectString;
using kelvorin::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ConnectString read = ConnectString::Parse(text);
  const std::string written = read.Text();
  const ConnectString again = ConnectString::Parse(written);
  Require(again.type_word() == read.type_word(), "the type word stays", written);
  Require(again.pairs() == read.pairs(), "the pairs stay", written);
  Require(again.Text() == written, "the text stays", written);

  const ConnectString hidden = ConnectString::Parse(read.TextWithoutPassword());
  Require(hidden.pairs().size() == read.pairs().size(), "no pair is hidden", text);
  Require(read.Get("pwd").has_value() == (hidden.Get("pwd") == "***"), "a password is", text);

  ConnectString built = ConnectString::Parse("ODBC;DSN=d;PWD=;UID=u;");
  built.Set("PWD", text);
  const ConnectString back = ConnectString::Parse(built.Text());
  Require(back.pairs().size() == 3 && back.password() == text && back.Get("UID") == "u",
          "a value set stays one value", text);
  // The plain building of a connect string, with the value quoted.
  const std::string quoted = kelvorin::database::QuoteConnectValue(text);
  const ConnectString plain = ConnectString::Parse("dBASE IV;pwd=" + quoted + ";X=y;");
  Require(plain.pairs().size() == 2 && plain.password() == text && plain.Get("X") == "y",
          "a value quoted stays one value", text);
  return 0;
}
