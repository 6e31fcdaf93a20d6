// Any text is read as a connect string, what was read is written and read again unchanged, and no
// value placed into one by itself can become anything but that value.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "database/api/connect_string.h"

using kelvorin::database::ConnectString;

namespace {
void Require(bool holds) {
  if (!holds) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ConnectString read = ConnectString::Parse(text);
  const std::string written = read.Text();
  const ConnectString again = ConnectString::Parse(written);
  Require(again.type_word() == read.type_word());
  Require(again.pairs() == read.pairs());
  Require(again.Text() == written);
  Require(again.password() == read.password());

  const ConnectString hidden = ConnectString::Parse(read.TextWithoutPassword());
  Require(hidden.pairs().size() == read.pairs().size());
  Require(read.Get("pwd").has_value() == (hidden.Get("pwd") == "***"));

  ConnectString built = ConnectString::Parse("ODBC;DSN=d;PWD=;UID=u;");
  built.Set("PWD", text);
  const ConnectString back = ConnectString::Parse(built.Text());
  Require(back.pairs().size() == 3 && back.password() == text && back.Get("UID") == "u");
  return 0;
}
