#pragma once
// The language that people see. Texts stand in the sources in English; whoever shows forms puts a
// function in force that knows them in another language. Only texts of the product are asked for:
// names, values and messages of databases are data, and are put in afterwards. What is stored,
// compared, logged or left in `LastError` is never translated.

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace kelvorin::base {

/// Gives the text of the product in the user's language, in the ANSI page; the text itself where it
/// has none. Called by the thread that shows forms or runs an import.
using Translation = std::string (*)(std::string_view text);

/// Null: everything stays as it is. Captions are taken when their form is made.
void SetTranslation(Translation translation) noexcept;

/// A text in the user's language.
std::string Tr(std::string_view text);
/// A text with "%1" to "%9" for what is put in, which is not translated.
using Fillings = std::initializer_list<std::string_view>;
std::string Tr(std::string_view pattern, Fillings data);
/// The same in the language of the sources.
std::string Fill(std::string_view pattern, Fillings data);
/// One pattern for 1 and one for every other number; "%1" is the number.
std::string TrCount(std::int64_t number, std::string_view one, std::string_view many);

/// The sentences, with "%1" to "%9" for their data, in which the rooms below the forms give their
/// reasons. They compose them in the language of the sources, for logs and rules.
std::span<const std::string_view> ReasonPatterns() noexcept;
/// A composed reason in the user's language: one of the sentences above is taken apart and put
/// together again around its data; any other text, such as the word of a server, stays.
std::string TrReason(std::string_view reason);

/// A message that is stored in the language of the sources and shown in the user's.
struct Message {
  Message() = default;
  /// Of something that was composed elsewhere: a reason, or the word of a database.
  Message(std::string text)  // NOLINT(*-explicit-*)
      : plain(std::move(text)), shown(TrReason(plain)) {}
  Message(std::string_view pattern, Fillings data)
      : plain(Fill(pattern, data)), shown(Tr(pattern, data)) {}
  std::string plain;
  std::string shown;
};

}  // namespace kelvorin::base
