#include "textsource/layout_detection.h"

#include <doctest/doctest.h>

#include "tests/support/temp_folder.h"
#include "tests/textsource/slow_twin.h"
#include "textsource/cell_kinds.h"
#include "textsource/fixed_columns.h"
#include "textsource/layout_words.h"
#include "textsource/page_guess.h"

using namespace kelvorin;
using namespace kelvorin::tests;
using namespace kelvorin::textsource;

namespace {

// `lines` numbered lines: every "#" is the line's number, every "@" a letter that changes.
std::string Lines(const std::string& pattern, int lines = 12, const std::string& end = "\n") {
  std::string text;
  for (int i = 0; i < lines; ++i) {
    for (const char c : pattern) {
      if (c == '#') {
        text += std::to_string(10 + i);
      } else if (c == '@') {
        text += static_cast<char>('a' + i % 7);
      } else {
        text += c;
      }
    }
    text += end;
  }
  return text;
}

std::string Wide(const std::string& text) {  // ASCII as UTF-16 LE
  std::string wide;
  for (const char c : text) wide += {c, '\0'};
  return wide;
}

DetectedLayout Detect(const std::string& path, const std::string& text,
                      const GivenLayout& given = {}) {
  WriteWhole(path, text);
  auto found = DetectLayout(path, given);
  REQUIRE(found.ok());
  return *std::move(found);
}

// "delimited by comma, ...; 3 fields": the words, the fields, "?" below the sure certainty.
std::string Told(const DetectedLayout& layout) {
  std::string told = LayoutWords(layout) + "; " + std::to_string(layout.report.fields);
  if (layout.rule == CutRule::kDelimited && layout.delimiter == 0) told += " bare";
  if (layout.report.certainty_percent < kSureFrom) told += "?";
  return told;
}

}  // namespace

TEST_CASE("layouts are detected as a person would read them") {
  struct Row {
    const char* name;
    std::string text;
    const char* told;
  };
  const std::string lf = ", records end with LF";
  const Row kRows[] = {
      // Separators.
      {"comma", Lines("#,a,b@"), "delimited by comma, records end with LF; 3"},
      {"bars", Lines("#|x, y@|3"), "delimited by \"|\", records end with LF; 3"},
      {"tilde", Lines("#~x@"), "delimited by \"~\", records end with LF; 2"},
      {"caret", Lines("#^x, y@^1.5"), "delimited by \"^\", records end with LF; 3"},
      {"unit separator", Lines("#\x1Fx@"), "delimited by unit separator, records end with LF; 2"},
      {"colons", Lines("u#:x:#0:#0:V@,,,:/home/u#"), "delimited by \":\", records end with LF; 6"},
      {"runs of blanks", Lines("#   1.#  9#", 6) + Lines("# 1.#99999 9#", 6),
       "delimited by runs of space, records end with LF; 3"},
      {"decimal commas", Lines("1,#;4,#;5,50"), "delimited by semicolon, records end with LF; 3"},
      {"times and decimal commas", "t;v\n" + Lines("2024-03-01T10:#:00;0,5"),
       "delimited by semicolon, records end with LF, heading in line 1, data from line 2; 2"},
      {"a named separator that nothing else tells", "sep=:\n" + Lines("#,@,5:x"),
       "delimited by \":\", records end with LF, data from line 2; 2"},
      {"marks inside beside a named one", "sep=|\n" + Lines("x;#|y,z@"),
       "delimited by \"|\", records end with LF, data from line 2; 2"},
      {"units behind decimal commas", Lines("x@;1#,50 z\xC5\x82"),
       "delimited by semicolon, records end with LF; 2"},
      {"commas of a sentence behind columns",
       Lines("#   Well, it was @, so", 6) + Lines("#   No, she is here, @", 6),
       "fixed width, records end with LF; 2"},
      {"times beside words", Lines("#:15  Ulm@"), "fixed width, records end with LF; 2"},
      {"commas of thousands in columns", Lines("R@     #   1,2#.00"),
       "fixed width, records end with LF; 3"},
      {"commas of a sentence", "id;text\n" + Lines("#;Well, this, is, @, sentence"),
       "delimited by semicolon, records end with LF, heading in line 1, data from line 2; 2"},
      {"blanks behind commas", "n, city\n" + Lines("#, Ulm@"),
       "delimited by comma, records end with LF, heading in line 1, data from line 2; 2"},
      {"addresses hold marks", "url\thits\n" + Lines("http://h/a,b@;c=#\t#"),
       "delimited by tab, records end with LF, heading in line 1, data from line 2; 2"},
      {"the named separator", "sep=;\nN;W\n" + Lines("@x;#,5"),
       "delimited by semicolon, records end with LF, heading in line 2, data from line 3; 2"},
      // Delimiters and line ends.
      {"single quotes", Lines("#,'S@, H','U'"),
       "delimited by comma, texts in single quotes, records end with LF; 3"},
      {"an apostrophe is no quote", Lines("#;O'Neil@;d'@"),
       "delimited by semicolon, records end with LF; 3"},
      {"inches at a value's start", Lines("#\t\"# inch@\t3") + Lines("#\tx\t3"),
       "delimited by tab, records end with LF; 3 bare"},
      {"line ends in quotes", Lines("#,\"a\nb, @\",0", 12, "\r\n"),
       "delimited by comma, records end with CR LF; 3"},
      {"mixed line ends", Lines("#,@\r\n#,@"),
       "delimited by comma, records end with LF, CR LF or CR; 2"},
      {"CR alone", Lines("#,@", 12, "\r"), "delimited by comma, records end with CR; 2"},
      {"a first line of 70,000 letters", std::string(70000, 'x') + ",1\n" + Lines("y@,#"),
       "delimited by comma, records end with LF; 2?"},
      {"a first line of 4,000 letters", std::string(4000, 'x') + ",1\n" + Lines("y@,#"),
       "delimited by comma, records end with LF; 2"},
      // Above the table.
      {"titles", "Sales report\n\nRegion,Units,Sum\n" + Lines("R@,#,1.5"),
       "delimited by comma, records end with LF, heading in line 3, data from line 4; 3"},
      {"a title with separators", "Report;;\n;;\nid;name;v\n" + Lines("#;n@;1,5"),
       "delimited by semicolon, records end with LF, heading in line 3, data from line 4; 3"},
      {"rows of two above names", "Account;1\nFrom;x\n\nday;text;sum\n" + Lines("#.02.24;@;1,5"),
       "delimited by semicolon, records end with LF, heading in line 4, data from line 5; 3"},
      {"comments", "# roof, north\n# made # by, hand, x\nt,s\n" + Lines("#:00,S@"),
       "delimited by comma, records end with LF, heading in line 3, data from line 4; 2"},
      {"names in the comment", "# roof\n#t,s\n" + Lines("#:00,S@"),
       "delimited by comma, records end with LF, heading in line 2, data from line 3; 2"},
      {"a drawn line below names", "| a | b |\n|---|:-:|\n" + Lines("| x@ | y |"),
       "delimited by \"|\", records end with LF, heading in line 1, data from line 3; 4"},
      {"drawn lines around", "+--+--+\n|a |b |\n+--+--+\n" + Lines("|x@|#|") + "+--+--+\n",
       "delimited by \"|\", records end with LF, heading in line 2, data from line 4; 4?"},
      {"a comment between", Lines("#,@") + "# note, so\n" + Lines("#,@", 30),
       "delimited by comma, records end with LF; 2?"},
      {"a footer of one value", Lines("#,@,x") + "(12 rows)\n",
       "delimited by comma, records end with LF; 3?"},
      {"a footer that stands apart", "id;n;v\n" + Lines("@;#;1,5") + "\nSum;190;\n",
       "delimited by semicolon, records end with LF, heading in line 1, data from line 2; 3?"},
      {"one number is no title", "10\n" + Lines("#,@,x"),
       "delimited by comma, records end with LF; 3"},
      {"numbers with a mark are no comments", "#1,a\n#2,b\n" + Lines("#,@"),
       "delimited by comma, records end with LF; 2"},
      {"marked words are no comments", "#a,a,x\n#b,b,x\n" + Lines("@,#,x"),
       "delimited by comma, records end with LF; 3?"},
      {"a short first record is data", "1,2\n" + Lines("#,@,x"),
       "delimited by comma, records end with LF; 3"},
      {"names above words", "name;city\n" + Lines("B@b;Ulm"),
       "delimited by semicolon, records end with LF, heading in line 1, data from line 2; 2"},
      {"words of another shape", "Zug;Gleis\n" + Lines("R#;@ S#d"),
       "delimited by semicolon, records end with LF, heading in line 1, data from line 2; 2"},
      {"known names of the same shape", "name;city\n" + Lines("n@te;c@by"),
       "delimited by semicolon, records end with LF, heading in line 1, data from line 2; 2"},
      {"a word that stands below itself", "Bob;Rome;Zed\n" + Lines("A@b;Rome;A@b@"),
       "delimited by semicolon, records end with LF; 3"},
      {"words above words", "Bob;Rome\n" + Lines("B@b;Ulm@"),
       "delimited by semicolon, records end with LF; 2"},
      // Columns and rows.
      {"columns", Lines("#  Customer @    New York   1#.5"), "fixed width, records end with LF; 4"},
      {"accents", Lines("#  J\xC3\xA4ger      1#") + Lines("#  Joe       A1#"),
       "fixed width, records end with LF; 3"},
      {"a word that reaches over",
       Lines("#  Nut      @   1#") + Lines("#  Ring     @   1#") + Lines("#  Bolt big @   1#", 5),
       "fixed width, records end with LF; 4"},
      {"a number with its currency", Lines("@@@  1#,50 \xE2\x82\xAC  x"),
       "fixed width, records end with LF; 3"},
      {"a title beside the columns", "total 9\n" + Lines("file@          1#,50"),
       "fixed width, records end with LF, data from line 2; 2"},
      {"columns with a heading", "ID  Name@    Sum\n" + Lines("#  Joe @    1#"),
       "fixed width, records end with LF, heading in line 1, data from line 2; 3"},
      {"columns below dashes", "ID Name   Sum\n-- ------ ---\n" + Lines("# Joe A@ 1#"),
       "fixed width, records end with LF, heading in line 1, data from line 3; 3"},
      {"letters that meet digits", Lines("#00Miller@0099"), "fixed width, records end with LF; 3?"},
      {"rows of HTML", Lines("<tr><td>A@</td>\n<td>#</td></tr>"),
       "rows of HTML tags, records are rows of tables; 2"},
      {"a heading of HTML", "<tr><th>A</th></tr>" + Lines("<tr><td>#</td></tr>"),
       "rows of HTML tags, records are rows of tables, heading in line 1, data from line 2; 1"},
      {"th cells alone name", "<tr><th>w99</th></tr>" + Lines("<tr><td>w#</td></tr>"),
       "rows of HTML tags, records are rows of tables, heading in line 1, data from line 2; 1"},
      {"UTF-16 without a mark", Wide(Lines("@\t#", 20, "\r\n")),
       "delimited by tab, records end with CR LF, UTF-16; 2"},
      // A list is a table of one column; with one line there is nothing to compare.
      {"a list", Lines("word#"), "delimited by comma, records end with LF; 1"},
      {"one line", "a;b;c\n", "delimited by semicolon, records end with LF; 3?"},
      {"nothing", "\n \n", "delimited by comma, records end with LF; 0?"},
      {"ragged", Lines("#,@") + Lines("#,@,@", 9), "delimited by comma, records end with LF; 2?"},
  };
  TempFolder folder;
  for (const Row& row : kRows) {
    CAPTURE(std::string(row.name));
    CHECK(Told(Detect(folder.File("t.txt"), row.text)) == std::string(row.told));
  }
}

TEST_CASE("what is no table is not claimed") {
  const std::string kTexts[] = {
      Lines("Mar  1 00:12:# host@ sshd[1000]: Accepted password for u@ from 10.0.0.# port 4#"),
      Lines("10.0.0.# - - [10/Oct/2000:13:55:# -0700] \"GET /@ HTTP/1.0\" 200 #"),
      Lines("2024-03-01 10:11:#,1# INFO [main] com.foo.Bar - Message @ here"),
      Lines("Mar # 00:12:# host@ kernel: [1.#] usb 1-@: new device found"),
      Lines("[#,1,2,3,4,5,6,7,8,9,1,2,3,4,5,6,7,8,9,@]"),
      Lines("<p d='#,1,2,3,4,5,6,7,8,9,1,2,3,4,5,6,7,8,9,@'>"),
      Lines("{\"id\": #, \"name\": \"@\", \"v\": [1,2]}"),
      Lines("name: Joe @\nage: #"),
      Lines("<row id=\"#\"><name>@</name></row>"),
      "It was a day like any other, and Bob walked\nhome with two friends who\nsaid nothing at "
      "all, not "
      "even\na word about the\nweather or the long road\nthat lay before them.\n",
      Lines(std::string(76, 'x') + "@"),
  };
  TempFolder folder;
  for (const std::string& text : kTexts) {
    CAPTURE(text.substr(0, 60));
    CHECK(Detect(folder.File("t.txt"), text).report.certainty_percent < kSureFrom);
  }
}

TEST_CASE("a record over 1 MiB is not judged, and that is said") {
  TempFolder folder;
  const auto lines = [](std::size_t bytes) { return "1;" + std::string(bytes, 'x') + "\ny;2\n"; };
  const DetectedLayout judged = Detect(folder.File("t"), lines((1 << 20) - 8));
  CHECK(Told(judged) == "delimited by semicolon, records end with LF; 2?");
  const DetectedLayout left = Detect(folder.File("t"), lines(1 << 20));
  CHECK(Told(left) == "delimited by comma, records end with LF; 0?");
  CHECK(left.report.hint.find("longer than 1 MiB") != std::string::npos);
  CHECK(Detect(folder.File("t"), " \n").report.hint.empty());
}

TEST_CASE("what is given is taken, and the rest is found") {
  TempFolder folder;
  const std::string path = folder.File("t.txt");
  const std::string text = "a;1,5\n" + Lines("@;#,5");
  GivenLayout given;
  given.separators = ",";
  given.rule = CutRule::kDelimited;
  given.delimiter = '\0';
  const DetectedLayout comma = Detect(path, text, given);
  CHECK((comma.separators == "," && comma.delimiter == 0 && comma.format.code == 2));
  CHECK(Detect(path, text).runner_up.starts_with("delimited by comma: 13 of 13 lines"));
  given = {};
  given.records.emplace();
  given.records->code = separator_code::kCr;
  CHECK(Detect(path, text, given).format.code == separator_code::kCr);
  CHECK(Detect(path, text, given).format.quote == 0);
  CHECK(Detect(path, text).format.quote == '"');
}

TEST_CASE("pages are told by what the words look like") {
  struct Row {
    const char* text;
    int page;
  };
  const Row kRows[] = {{"M\xFCller;K\xF6ln;Stra\xDF"
                        "e",
                        1252},
                       {"M\x81ller;K\x94ln;Stra\xE1"
                        "e",
                        850},
                       {"\xC8\xE2\xE0\xED\xEE\xE2;\xCC\xEE\xF1\xEA\xE2\xE0", 1251},
                       {"\x88\xA2\xA0\xAD\xAE\xA2;\x8C\xAE\xE1\xAA\xA2\xA0", 866},
                       {"\xA3\xF3"
                        "d\x9F;\x9Cwi\xEA"
                        "ty;\xBF\xF3\xB3ty",
                        1250}};
  for (const Row& row : kRows) {
    CAPTURE(row.page);
    CHECK(GuessPage(row.text) == row.page);
  }
  CHECK(Utf8Fault("a\xC3\xA4\xC3", true) == std::string::npos);
  CHECK(Utf8Fault("a\xC3\xA4\xC3", false) == 3);
  CHECK(Utf8Fault("a\xE9z", true) == 1);
  // Wherever the block ends that the file is read in.
  TempFolder folder;
  std::string text = "x";
  while (text.size() < 600'000) text += "\xE2\x82\xAC\n";
  WriteWhole(folder.File("t"), text);
  CHECK(FindForeignText(folder.File("t"), true)->line == 0);
  WriteWhole(folder.File("t"), text + "K\xF6ln\n");
  CHECK(FindForeignText(folder.File("t"), true)->line == 150'001);
  const DetectedLayout guessed = Detect(folder.File("t"), Lines("M\xFCller@;#"));
  CHECK((guessed.page == 1252 && guessed.page_is_guessed && guessed.format.page == 1252));
}

TEST_CASE("values are known by their looks") {
  using enum CellKind;
  struct Row {
    const char* value;
    CellKind kind;
    bool cut;  // at a comma
  };
  const Row kRows[] = {
      {" 12 ", kNumber, false},
      {"-1.234,50", kNumber, false},
      {"1,234,567.8", kNumber, false},
      {"1e-7", kNumber, false},
      {"$12.50", kNumber, false},
      {"12 %", kNumber, false},
      {"1.2.3", kText, false},
      {"10.0.0.1", kText, false},
      {"1,2,3", kText, false},
      {"2024-03-01", kDate, false},
      {"1/2/24", kDate, false},
      {"2024-03-01T10:11:12.5Z", kDate, false},
      {"10:11", kTime, false},
      {"10:11:12 PM", kTime, false},
      {"", kEmpty, false},
      {"abc def", kText, false},
      {"21;8", kText, true},
      {"\"abc", kText, true},
      {"'abc'", kText, true},
      {"'tis", kText, true},
      {"f(x", kText, true},
      {"a:b:c", kText, true},
      {"a:b", kText, false},
      {"a; b", kText, false},
      {"a\nb", kText, true},
      {"http://a:b/c;d", kText, false},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.value);
    CHECK(KindOf(row.value) == row.kind);
    CHECK(LooksCut(row.value, ',') == row.cut);
  }
}
