#include "wizard/pasted_text.h"

#include <filesystem>
#include <random>
#include <system_error>

#include "base/M_FILE.h"
#include "base/code_page.h"

namespace kelvorin::wizard {
namespace {

constexpr int kMostTries = 100;

}  // namespace

Result<PastedText> PastedText::Keep(std::string_view text) {
  std::error_code failed;
  const std::filesystem::path all = std::filesystem::temp_directory_path(failed);
  std::random_device random;
  std::filesystem::path own;
  bool made = false;
  for (int i = 0; i < kMostTries && !made && !failed; ++i) {
    own = all / ("kelvorin-" + std::to_string(random()));
    made = std::filesystem::create_directory(own, failed);
  }
  if (made) std::filesystem::permissions(own, std::filesystem::perms::owner_all, failed);
  if (!made || failed)
    return Status(Code::kIo, "The text of the clipboard cannot be kept in '" + all.string() +
                                 "': " + failed.message());
  PastedText pasted((own / "clipboard.txt").string());
  std::string bytes;
  base::Converter(*base::FindCodePage(65001), base::AnsiPage()).Append(text, bytes);
  KV_TRY(base::WriteFileAtomically(pasted.path_, bytes));
  return pasted;
}

PastedText::~PastedText() {
  if (path_.empty()) return;
  std::error_code ignored;  // the system empties the folder in its own time
  std::filesystem::remove_all(std::filesystem::path(path_).parent_path(), ignored);
}

}  // namespace kelvorin::wizard
