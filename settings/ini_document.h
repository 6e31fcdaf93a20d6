#pragma once
// The text of an INI file that can be read, changed and written back. Any bytes are taken; lines
// that are not changed stay byte for byte as they were: comments, blank lines, foreign sections,
// order and line ends. Knows no files; `IniFile` puts it on disk.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvorin::settings {

/// A key with its value, as read or to be written.
struct IniEntry {
  std::string_view key;
  std::string_view value;
};

class IniDocument {
 public:
  IniDocument() = default;
  explicit IniDocument(std::string_view text);

  /// The whole file as it is now.
  std::string Text() const;

  // Names of sections and keys compare without regard to case and to blanks around them. Sections
  // of equal name count as one; of two equal keys the first one is read. Views point into the
  // document and live until it is changed.

  /// Value of a key without the blanks and one pair of quotes around it; nothing when it is
  /// missing.
  std::optional<std::string_view> Value(std::string_view section, std::string_view key) const;
  /// All keys of a section in file order, doubles included.
  std::vector<IniEntry> Entries(std::string_view section) const;

  /// Replaces the value where the key stands, else adds the key behind the section's last one, the
  /// section at the end of the file. A value that would not read back the same is put in double
  /// quotes. Names and values end at their first CR or LF.
  void SetValue(std::string_view section, std::string_view key, std::string_view value);
  /// Removes every line of the key.
  void DeleteKey(std::string_view section, std::string_view key);
  /// Removes a section with all its keys and the blank line before it; comments and other blank
  /// lines stay.
  void DeleteSection(std::string_view section);
  /// Puts `entries` in place of all keys that the section has; it stays where it was.
  void ReplaceSection(std::string_view section, std::span<const IniEntry> entries);

 private:
  enum class LineKind : std::uint8_t { kOther, kSection, kKey };
  struct Line {
    std::string text;  // with its line end; the file's last line may have none
    LineKind kind = LineKind::kOther;
    bool comment_or_blank = false;
    // Slices of `text`: the name of a section or key, and a key's value with its quotes.
    std::uint32_t name_at = 0, name_size = 0, value_at = 0, value_size = 0;

    std::string_view name() const noexcept { return {text.data() + name_at, name_size}; }
    std::string_view value() const noexcept { return {text.data() + value_at, value_size}; }
  };
  using Lines = std::vector<Line>;

  static Line MakeLine(std::string_view text);
  static Line MakeSection(std::string_view name, std::string_view line_end);
  static Line MakeKey(std::string_view key, std::string_view value, std::string_view line_end);
  /// Index of the section's header at or behind `from`, or the number of lines.
  std::size_t FindSection(std::string_view section, std::size_t from = 0) const;
  /// Index of the first line behind the section that begins at `header`.
  std::size_t SectionEnd(std::size_t header) const noexcept;
  /// Index of the first line of the key in the section, or the number of lines.
  std::size_t FindKey(std::string_view section, std::string_view key) const;
  /// Adds a section at the end of the file and returns the index of its header.
  std::size_t AppendSection(std::string_view section);
  /// Gives the line a line end unless it has one.
  void EndLine(std::size_t at);

  std::string byte_order_mark_;  // the mark of UTF-8 when the file began with it
  std::string line_end_ = "\n";  // of the file's first line
  Lines lines_;
};

}  // namespace kelvorin::settings
