#include "os/system.h"

#include "os/files.h"

#include <doctest/doctest.h>

#include <clocale>
#include <cstdlib>
#include <string>

using namespace kelvorin;

namespace {

void Put(const char* name, const char* value) {
  CHECK((value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name)) == 0);
}

}  // namespace

TEST_CASE("the charset follows the variables in their order, known to the system or not") {
  struct Row {
    const char* all;
    const char* ctype;
    const char* lang;
    const char* charset;
  };
  const Row rows[] = {
      {nullptr, nullptr, nullptr, "ANSI_X3.4-1968"},
      {"C", "xx_YY.KOI8-R", "C.UTF-8", "ANSI_X3.4-1968"},
      {nullptr, nullptr, "C.UTF-8", "UTF-8"},
      {"", "", "C.UTF-8", "UTF-8"},
      {nullptr, "xx_YY.ISO-8859-15@euro", "C.UTF-8", "ISO-8859-15"},
      {nullptr, "xx_YY", nullptr, "ANSI_X3.4-1968"},
  };
  const std::string process_locale = std::setlocale(LC_ALL, nullptr);
  for (const Row& row : rows) {
    Put("LC_ALL", row.all);
    Put("LC_CTYPE", row.ctype);
    Put("LANG", row.lang);
    CAPTURE(os::LocaleName("LC_CTYPE"));
    CHECK(os::LocaleCharset() == row.charset);
    CHECK(os::ReadLocaleFacts().decimal_point == ".");
  }
  CHECK(process_locale == std::setlocale(LC_ALL, nullptr));
}

TEST_CASE("the library's folder is where this program lies") {
  const std::string folder = os::LibraryFolder();
  CHECK((os::Facts(folder + "/os_test").kind != os::FileKind::kNone));
}

TEST_CASE("peak memory is this program's own") {
  CHECK(os::PeakMemoryKiB() > 500);
  CHECK(os::PeakMemoryKiB() < 1024 * 1024);
}
