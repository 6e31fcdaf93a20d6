// cluster_load CONNECT TABLE RECORDS: posts records in groups, one key in a thousand twice, then
// tells records per second and outcomes. What the examples of several servers load with.

#include <cstdio>
#include <cstdlib>

#include "database/odbc/odbc_driver.h"
#include "database/row_poster.h"
#include "os/system.h"

namespace {

using namespace kelvorin;

class Counter final : public database::RowReceiver {
 public:
  void Stored(std::int64_t) override { ++stored; }
  bool Refused(std::int64_t, const Status& status) override {
    if (refused++ == 0) first_error = status.message();
    return true;
  }
  long stored = 0, refused = 0;
  std::string first_error;
};

int Fail(const Status& status) {
  std::fprintf(stderr, "%s\n", std::string(status.message()).c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const long count = std::atol(argv[3]);
  database::DBEngine engine;
  engine.Register(database::odbc::MakeOdbcDriver());
  auto opened = engine.OpenDatabase("", false, false, argv[1]);
  if (!opened.ok()) return Fail(opened.status());
  Counter counter;
  auto inserter = database::AsRowDatabase(**opened)->MakeRowPoster(
      argv[2], {"id", "name", "city", "debt", "born"}, counter, {});
  if (!inserter.ok()) return Fail(inserter.status());

  const std::int64_t started = os::MonotonicMilliseconds();
  for (long i = 1; i <= count; ++i) {
    const std::string name = "Name " + std::to_string(i * 7919 % 100003) + " O'Neil";
    const std::string town = "Town " + std::to_string(i % 5000);
    const std::string debt = std::to_string(i % 9000) + ".25";
    const std::string born = "19" + std::to_string(30 + i % 70) + "-0" + std::to_string(1 + i % 9) +
                             "-1" + std::to_string(i % 9);
    using values::Value;
    const Value row[] = {Value::Integer(i % 1000 == 999 ? i - 1 : i), Value::Text(name),
                         Value::Text(town), Value::Double(0, debt), Value::Text(born)};
    if (Status added = (*inserter)->Add(i, row); !added.ok()) return Fail(added);
  }
  if (Status flushed = (*inserter)->Flush(); !flushed.ok()) return Fail(flushed);
  const double seconds = static_cast<double>(os::MonotonicMilliseconds() - started) / 1e3;
  std::printf("%s: %ld stored, %ld refused in %.2f s (%.0f a second)%s%s\n", argv[2],
              counter.stored, counter.refused, seconds, static_cast<double>(count) / seconds,
              counter.refused != 0 ? "; first: " : "", counter.first_error.c_str());
  return counter.stored + counter.refused == count ? 0 : 1;
}
