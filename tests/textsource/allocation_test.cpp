// Counts what reading and cutting allocate: nothing per record, whatever the rule.

#include <doctest/doctest.h>

#include "tests/support/allocations.h"
#include "tests/support/temp_folder.h"
#include "textsource/field_splitter.h"
#include "textsource/record_reader.h"

namespace kelvorin::textsource {

TEST_CASE("reading and cutting allocate nothing per record") {
  tests::TempFolder folder;
  const std::string path = folder.File("many.txt");
  std::string file;
  for (int i = 0; i < 20000; ++i) {
    file += std::to_string(i) +
            ",\"quoted, \"\"text\"\"\",<td>cell of a table</td>,plain text here\r\n";
  }
  tests::WriteWhole(path, file);
  BreakList breaks;
  for (std::uint16_t p = 5; p < 50; p += 9) REQUIRE(breaks.AddFixedBreak(p).ok());

  for (const SplitRules& rules :
       {SplitRules::Delimited(",", '"'), SplitRules::Fixed(breaks), SplitRules::HtmlTags()}) {
    FieldValues fields;
    auto reader = RecordReader::Open(path, {0, "", 0});
    REQUIRE(reader.ok());
    std::size_t bytes = 0;
    std::size_t records = 0;
    const long before = tests::Allocations();
    while (!reader->AtEnd()) {
      std::span<char> record;
      if (!reader->ReadRecord(record).ok() || !rules.Split(record, fields).ok()) break;
      ++records;
      for (std::size_t i = 0; i < fields.count(); ++i) bytes += fields[i].size();
    }
    const long after = tests::Allocations();
    CHECK(after - before == 0);
    CHECK(records == 20001);
    CHECK(bytes > 20000);
  }
}

}  // namespace kelvorin::textsource
