#pragma once
// Upper and lower case of texts in the ANSI page, by Unicode's simple case pairs (one character
// becomes one character, so a sharp s stays). Independent of the process's locale; in a single-byte
// page a letter whose pair is not in the page stays as it is.

#include <string>
#include <string_view>

namespace kelvorin::base {

/// Append the text in upper or lower case. `out` must not be the storage of `text`.
void AppendUpper(std::string_view text, std::string& out);
void AppendLower(std::string_view text, std::string& out);

/// Equal when all letters of the ANSI page are compared without regard to case.
bool EqualAnyCase(std::string_view a, std::string_view b);

/// Simple case pairs of single characters; the character itself when it has none.
char32_t UpperCharacter(char32_t character) noexcept;
char32_t LowerCharacter(char32_t character) noexcept;

}  // namespace kelvorin::base
