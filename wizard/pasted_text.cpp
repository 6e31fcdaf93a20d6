#include "wizard/pasted_text.h"

#include "base/code_page.h"

namespace kelvorin::wizard {

Result<PastedText> PastedText::Keep(std::string_view text) {
  Result<base::PrivateFolder> folder = base::PrivateFolder::Make("kelvorin-");
  if (!folder.ok())
    return Status(Code::kIo, "The text of the clipboard cannot be kept in " +
                                 std::string(folder.status().message()));
  PastedText pasted(*std::move(folder));
  std::string bytes;
  base::Converter(*base::FindCodePage(65001), base::AnsiPage()).Append(text, bytes);
  KV_TRY(base::WriteFileAtomically(pasted.path(), bytes));
  return pasted;
}

}  // namespace kelvorin::wizard
