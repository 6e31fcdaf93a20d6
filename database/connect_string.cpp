#include "database/connect_string.h"

#include "base/M_STRING.h"
#include "base/status.h"

namespace kelvorin::database {
namespace {

bool IsPasswordKey(std::string_view key) noexcept {
  return base::EqualIgnoreCase(key, "pwd") || base::EqualIgnoreCase(key, "password");
}

// Takes the value that starts at `at` and moves `at` behind the ";" that ends it.
std::string TakeValue(std::string_view text, std::size_t& at) {
  std::string value;
  if (at < text.size() && text[at] == '{') {
    std::size_t i = at + 1;
    for (; i < text.size(); ++i) {
      if (text[i] != '}') {
        value += text[i];
      } else if (i + 1 < text.size() && text[i + 1] == '}') {
        value += '}';
        ++i;
      } else {
        break;
      }
    }
    if (i < text.size()) {  // a closing brace was found: the rest up to ";" is dropped
      const std::size_t end = text.find(';', i);
      at = end == std::string_view::npos ? text.size() : end + 1;
      return value;
    }
    value.clear();  // never closed: taken as it stands
  }
  const std::size_t end = text.find(';', at);
  value = text.substr(at, end == std::string_view::npos ? std::string_view::npos : end - at);
  at = end == std::string_view::npos ? text.size() : end + 1;
  return value;
}

}  // namespace

ConnectString ConnectString::Parse(std::string_view text) {
  ConnectString result;
  std::size_t at = 0;
  const std::size_t first_end = text.find(';');
  const std::string_view first = text.substr(0, first_end);
  if (first.find('=') == std::string_view::npos) {
    result.type_word_ = base::Trim(first);
    at = first_end == std::string_view::npos ? text.size() : first_end + 1;
  }
  while (at < text.size()) {
    const std::size_t stop = text.find_first_of("=;", at);
    if (stop == std::string_view::npos || text[stop] == ';') {
      const std::string_view key =
          base::Trim(text.substr(at, stop == std::string_view::npos ? stop : stop - at));
      if (!key.empty()) result.pairs_.emplace_back(std::string(key), std::string());
      at = stop == std::string_view::npos ? text.size() : stop + 1;
      continue;
    }
    std::string key(base::Trim(text.substr(at, stop - at)));
    at = stop + 1;
    std::string value = TakeValue(text, at);
    if (!key.empty()) result.pairs_.emplace_back(std::move(key), std::move(value));
  }
  return result;
}

std::optional<std::string_view> ConnectString::Get(std::string_view key) const noexcept {
  for (const auto& [name, value] : pairs_)
    if (base::EqualIgnoreCase(name, key)) return value;
  return std::nullopt;
}

std::string_view ConnectString::password() const noexcept {
  for (const auto& [name, value] : pairs_)
    if (!value.empty() && base::EqualIgnoreCase(name, "pwd")) return value;
  return {};
}

void ConnectString::Set(std::string_view key, std::string_view value) {
  KV_ASSERT(!key.empty() && key.find_first_of("=;") == std::string_view::npos,
            "a key that reads back as one");
  for (auto& [name, old] : pairs_) {
    if (base::EqualIgnoreCase(name, key)) {
      old = value;
      return;
    }
  }
  pairs_.emplace_back(std::string(key), std::string(value));
}

std::string ConnectString::Build(bool hide_password) const {
  std::string text = type_word_;
  text += ';';
  for (const auto& [name, value] : pairs_) {
    text += name;
    text += '=';
    text += hide_password && IsPasswordKey(name) ? std::string("***") : QuoteConnectValue(value);
    text += ';';
  }
  return text;
}

std::string ConnectString::Text() const {
  return Build(false);
}
std::string ConnectString::TextWithoutPassword() const {
  return Build(true);
}

std::string QuoteConnectValue(std::string_view value) {
  const bool plain = value.find_first_of(";{}") == std::string_view::npos &&
                     (value.empty() || (value.front() != ' ' && value.back() != ' '));
  if (plain) return std::string(value);
  std::string quoted = "{";
  for (char c : value) {
    quoted += c;
    if (c == '}') quoted += c;
  }
  return quoted + "}";
}

}  // namespace kelvorin::database
