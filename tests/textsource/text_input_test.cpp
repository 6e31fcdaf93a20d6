#include "textsource/text_input.h"

#include <doctest/doctest.h>

#include "base/code_page.h"
#include "tests/support/temp_folder.h"
#include "tests/textsource/slow_twin.h"

#if defined(KELVORIN_ZLIB)
#include <zlib.h>
#endif

using namespace kelvorin;
using namespace kelvorin::tests;
using namespace kelvorin::textsource;

namespace {

std::string Utf16(std::u16string_view text, bool little) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += little ? std::string{low, high} : std::string{high, low};
  }
  return bytes;
}

struct Text {
  Fields records;
  std::int64_t replaced = 0;
};

Text ReadText(const std::string& path, const RecordFormat& format) {
  auto reader = RecordReader::Open(path, format, {.block_bytes = 7});
  REQUIRE(reader.ok());
  Text text;
  while (!reader->AtEnd()) {
    std::span<char> record;
    REQUIRE(reader->ReadRecord(record).ok());
    text.records.emplace_back(record.data(), record.size());
  }
  text.replaced = reader->replaced_characters();
  return text;
}

}  // namespace

TEST_CASE("UTF-16 is read as UTF-8, with and without a mark") {
  TempFolder folder;
  const std::string path = folder.File("u.txt");
  for (const bool little : {true, false}) {
    for (const bool mark : {true, false}) {
      CAPTURE(little);
      CAPTURE(mark);
      WriteWhole(
          path,
          Utf16((mark ? u"\uFEFF" : u"") + std::u16string(u"name;\u00E4\r\nb;\U0001F600"), little));
      const Text text = ReadText(path, {0});
      CHECK(Show(text.records) == Show({"name;\xC3\xA4", "b;\xF0\x9F\x98\x80"}));
      CHECK(text.replaced == 0);
    }
  }
  // Halves without their partner, half a unit at the end.
  WriteWhole(path, Utf16(u"\uFEFF"
                         "a\xD83Dx\xDE00\n",
                         true) +
                       "z");
  const Text broken = ReadText(path, {2});
  CHECK(Show(broken.records) == Show({"a\xEF\xBF\xBDx\xEF\xBF\xBD", "\xEF\xBF\xBD"}));
  CHECK(broken.replaced == 3);
  // Not what only looks a little like it: a dump, zeros on both sides.
  for (const char* dump : {"a\0b\0c\0d\0\1\0", "a\0b\0c\0\0d\0e"}) {
    WriteWhole(path, std::string(dump, 10));
    CHECK(ReadText(path, {7}).records[0].size() == 10);
  }
  WriteWhole(path, Utf16(u"abcdefgh", true));
  CHECK(ReadText(path, {4, "", 16}).records[0].size() == 16);
  CHECK(ReadText(path, {2}).records[0].size() == 8);
}

TEST_CASE("text of another page is converted, and what is lost is counted") {
  TempFolder folder;
  const std::string path = folder.File("p.txt");
  RecordFormat format{3, "\xC2\xA7"};  // a section sign ends records
  format.page = 1252;
  WriteWhole(path, "K\xF6ln\xA7\x80\xA7");
  const Text text = ReadText(path, format);
  CHECK(Show(text.records) == Show({"K\xC3\xB6ln", "\xE2\x82\xAC", ""}));
  format.page = 28591;
  WriteWhole(path, "\xE9");
  CHECK(Show(ReadText(path, format).records) == Show({"\xC3\xA9"}));
  format.page = 866;
  CHECK(RecordReader::Open(path, format).status().code() == Code::kNotSupported);  // no such sign
  format.page = 12345;
  CHECK(RecordReader::Open(path, format).status().code() == Code::kNotSupported);
  REQUIRE(base::SetAnsiPage(1252).ok());
  WriteWhole(path, Utf16(u"\uFEFF\u0416\u00E4", true));
  const Text lost = ReadText(path, {2});
  REQUIRE(base::SetAnsiPage(65001).ok());
  CHECK((lost.records[0].ends_with("\xE4") && lost.replaced == 1));
}

#if defined(KELVORIN_ZLIB)
TEST_CASE("compressed files are unpacked, in members, and damage is told") {
  TempFolder folder;
  const std::string path = folder.File("t.gz");
  std::string text;
  for (int i = 0; i < 20'000; ++i) text += std::to_string(i) + ";x\n";
  for (const char* mode : {"wb", "ab"}) {
    gzFile out = gzopen(path.c_str(), mode);
    REQUIRE(gzwrite(out, text.data(), static_cast<unsigned>(text.size())) > 0);
    REQUIRE(gzclose(out) == Z_OK);
  }
  auto input = TextInput::Open(path, true);
  REQUIRE(input.ok());
  std::string all(2 * text.size() + 10, '?');
  CHECK(*input->ReadAt(0, all) == 2 * text.size());
  CHECK(all.substr(0, 2 * text.size()) == text + text);
  // Backwards, as rejected records are read, and ahead again.
  for (const std::size_t at :
       {std::size_t{5}, text.size() - 3, std::size_t{100}, 2 * text.size() - 9}) {
    std::string piece(6, '?');
    REQUIRE(*input->ReadAt(at, piece) == 6);
    CHECK(piece == (text + text).substr(at, 6));
  }
  const std::string whole = ReadWhole(path);
  const auto read_all = [&] {
    auto damaged = TextInput::Open(path, true);
    return damaged.ok() ? damaged->ReadAt(0, all).status().code() : damaged.status().code();
  };
  WriteWhole(path, whole.substr(0, whole.size() - 20));
  CHECK(read_all() == Code::kCorrupt);
  std::string flipped = whole;
  flipped[whole.size() / 2] ^= 0x55;
  WriteWhole(path, flipped);
  CHECK(read_all() == Code::kCorrupt);
  WriteWhole(path, whole + std::string(512, '\0'));
  CHECK(read_all() == Code::kOk);
}
#endif
