#pragma once
// Text between the ANSI page, in which everything outside this room works, and UTF-8, in which
// drivers are spoken to. Included by .cpp files of this room only.

#include <string>
#include <string_view>

#include "base/status.h"

namespace kelvorin::database::odbc {

/// Whether the text is all characters of ASCII other than code 0, the same in every page.
bool IsPlainText(std::string_view text) noexcept;
/// Text from the ANSI page to UTF-8; text that is no character of its page is refused with
/// kConversion, since not every server refuses it. Appends to `out`.
Status AppendUtf8Text(std::string_view text, std::string& out);
/// The same for names that the server itself told; nothing is refused.
std::string Utf8Name(const std::string& name);
/// Appends UTF-8 text of a driver as text of the ANSI page.
void AppendAnsiText(std::string_view utf8, std::string& out);

}  // namespace kelvorin::database::odbc
