#include "wizard/plain_path.h"

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"

namespace kelvorin::wizard {
namespace {

int HexDigit(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string Unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = i + 2 < text.size() && text[i] == '%' ? HexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? HexDigit(text[i + 2]) : -1;
    if (low < 0) {
      plain += text[i];
    } else {
      plain += static_cast<char>(high * 16 + low);
      i += 2;
    }
  }
  return plain;
}

}  // namespace

std::string PlainPath(std::string_view name) {
  if (base::FileExists(std::string(name))) return std::string(name);
  name = base::Trim(name);
  for (const char quote : {'"', '\''})
    if (name.size() >= 2 && name.front() == quote && name.back() == quote)
      name = name.substr(1, name.size() - 2);
  constexpr std::string_view kScheme = "file://";
  const std::size_t scheme = name.rfind(kScheme);
  if (scheme != std::string_view::npos) {
    std::string_view path = name.substr(scheme + kScheme.size());
    // A host may stand before the path: "file://localhost/tmp/a.csv".
    if (const std::size_t slash = path.find('/'); slash != std::string_view::npos)
      path = path.substr(slash);
    return Unescaped(path);
  }
  std::string path(name);
  if (!base::FileExists(path)) {
    if (const std::size_t second = path.rfind("//"); second != std::string::npos)
      path.erase(0, second + 1);
    if (const std::size_t home = path.rfind("/~/"); home != std::string::npos)
      path.erase(0, home + 1);
  }
  if (path.rfind("~/", 0) == 0)
    if (const auto home = base::Environment("HOME"); home && !home->empty())
      path.replace(0, 1, *home);
  return path;
}

}  // namespace kelvorin::wizard
