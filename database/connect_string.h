#pragma once
// The engine's connect strings: a type word, then `KEY=value` pairs, all separated by ";"
// ("dBASE III;pwd=x;", "ODBC;DSN=Sales;UID=ann;PWD=pw;"). Built by the catalog, read by drivers.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvorin::database {

class ConnectString {
 public:
  /// Reads any text; nothing is refused. A value in braces may hold ";" (a closing brace inside is
  /// doubled). A part without "=" behind the type word is kept as a key with an empty value.
  static ConnectString Parse(std::string_view text);

  const std::string& type_word() const noexcept { return type_word_; }
  /// Value of the first pair with this key without regard to case.
  std::optional<std::string_view> Get(std::string_view key) const noexcept;
  /// The first "pwd" pair that is not empty, so that a password already in a stored string survives
  /// an empty one appended behind it. Empty when there is none.
  std::string_view password() const noexcept;
  const std::vector<std::pair<std::string, std::string>>& pairs() const noexcept { return pairs_; }

  void set_type_word(std::string_view word) { type_word_ = word; }
  /// Replaces the first pair of this key or appends one. The key holds neither "=" nor ";".
  void Set(std::string_view key, std::string_view value);
  /// The text again: the type word, ";", then each pair with its ";"; values that need braces get
  /// them.
  std::string Text() const;
  /// `Text` with every password replaced by "***", for messages and logs.
  std::string TextWithoutPassword() const;

 private:
  std::string Build(bool hide_password) const;
  std::string type_word_;
  std::vector<std::pair<std::string, std::string>> pairs_;
};

/// `value` as it stands in a connect string: in braces when it holds ";", "{", "}" or blanks at its
/// ends, else as it is.
std::string QuoteConnectValue(std::string_view value);

}  // namespace kelvorin::database
