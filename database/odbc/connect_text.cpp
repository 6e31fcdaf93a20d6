#include "database/odbc/connect_text.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "database/errors.h"

namespace kelvorin::database::odbc {
namespace {

struct Addition {
  std::string_view key;
  std::string_view value;
  bool always = false;  // whatever the connect string or the data source says
};

// Unknown keys are ignored by the drivers, so all are added whatever the driver is. Those that are
// ours always would else let a data source cut, convert or repeat values unseen.
constexpr Addition kAdditions[] = {
    {"Protocol", "7.4-2", true},         // PostgreSQL: a failing statement undoes only itself
    {"MaxVarcharSize", "100000", true},  // PostgreSQL: tells varchar from varchar(255)
    {"BoolsAsChar", "1", true},          // PostgreSQL: how truth values look
    {"TrueIsMinus1", "0", true},
    {"LFConversion", "0", true},   // PostgreSQL: line ends stay as they are
    {"ShowOidColumn", "0", true},  // PostgreSQL: no columns that the table has not
    {"RowVersioning", "0", true},
    {"ReadOnly", "0", true},       // PostgreSQL: its driver would refuse to set the session up
    {"BI", "0", true},             // PostgreSQL: a bigint is none of the smaller numbers
    {"CHARSET", "utf8mb4", true},  // MariaDB: text is UTF-8
    {"CONN_TIMEOUT", "15"},        // MariaDB knows no other login timeout; seconds
    {"OPTION", "2", true},         // MariaDB: an update counts the records it found
    {"READ_TIMEOUT", "600"},       // MariaDB: seconds for one answer, then the server is lost
    {"WRITE_TIMEOUT", "600"},
    {"KeepaliveTime", "60"},  // PostgreSQL: seconds of silence until the network is tried
    {"KeepaliveInterval", "10"},
    {"NoTXN", "0", true},    // SQLite: transactions
    {"StepAPI", "0", true},  // SQLite: no lock is held between two pages
    {"LongNames", "0", true},
    {"JDConv", "0", true},   // SQLite: dates as they are
    {"NoCreat", "1"},        // SQLite: a mistyped name makes no file
    {"Timeout", "1", true},  // SQLite: locks are waited for by this room, not its driver
    // PostgreSQL: the driver's own windows of a result crash it when the server goes away
    {"UseDeclareFetch", "0", true},
};

bool IsPlainPassword(std::string_view value) noexcept {
  return std::all_of(value.begin(), value.end(), [](char c) {
    return base::IsDigit(c) || (base::ToUpperAscii(c) >= 'A' && base::ToUpperAscii(c) <= 'Z') ||
           c == '_' || c == '.' || c == '-';
  });
}

void AppendBraced(std::string_view value, std::string& out) {
  out += '{';
  for (char c : value) {
    out += c;
    if (c == '}') out += c;
  }
  out += '}';
}

Status Refuse(std::string text) {
  return database::MakeStatus(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                              std::move(text));
}

Status AppendPair(std::string_view key, std::string_view value, std::string& out) {
  const bool password = base::EqualIgnoreCase(key, "PWD") || base::EqualIgnoreCase(key, "Password");
  if (key.find_first_of(std::string_view("{}\0\r\n", 5)) != std::string_view::npos ||
      value.find('\0') != std::string_view::npos)
    return Refuse("the connect string's key '" + std::string(key) +
                  "' holds a character that no driver takes");
  out += key;
  out += '=';
  if (password ? !IsPlainPassword(value) : base::EqualIgnoreCase(key, "DRIVER")) {
    AppendBraced(value, out);
  } else if (!password && (value.find(';') != std::string_view::npos || value.front() == '{')) {
    return Refuse("the value of '" + std::string(key) +
                  "' in the connect string holds ';' or begins with '{', which drivers cannot be "
                  "told");
  } else {
    out += value;
  }
  out += ';';
  return Status();
}

bool Has(const std::vector<std::pair<std::string, std::string>>& pairs, std::string_view key) {
  return std::any_of(pairs.begin(), pairs.end(),
                     [&](const auto& pair) { return base::EqualIgnoreCase(pair.first, key); });
}

}  // namespace

Result<std::string> DriverConnectText(const database::ConnectString& connect,
                                      const DataSourceHasKey& has_key) {
  std::vector<std::pair<std::string, std::string>> pairs;
  const auto ours = [](std::string_view key) {
    return std::any_of(std::begin(kAdditions), std::end(kAdditions), [&](const Addition& addition) {
      return addition.always && base::EqualIgnoreCase(addition.key, key);
    });
  };
  for (const auto& [key, value] : connect.pairs())
    if (!value.empty() && !Has(pairs, key) && !ours(key)) pairs.emplace_back(key, value);
  if (!Has(pairs, "DSN") && !Has(pairs, "DRIVER"))
    return Refuse("the connect string names no data source");

  for (const Addition& addition : kAdditions) {
    // What is ours always was left out above: if it is there, it was added.
    if (Has(pairs, addition.key)) continue;
    if (!addition.always && has_key && has_key(addition.key)) continue;
    pairs.emplace_back(addition.key, addition.value);
  }
  std::string ansi;
  for (const auto& [key, value] : pairs) KV_TRY(AppendPair(key, value, ansi));
  const base::CodePage& page = base::AnsiPage();
  if (page.is_utf8()) return ansi;
  std::string utf8;
  base::Converter(page, *base::FindCodePage(base::kUtf8Page)).Append(ansi, utf8);
  return utf8;
}

std::string DataSourceName(const database::ConnectString& connect) {
  for (const auto& [key, value] : connect.pairs())
    if (!value.empty() && base::EqualIgnoreCase(key, "DSN")) return value;
  return std::string(connect.Get("DRIVER").value_or(std::string_view()));
}

}  // namespace kelvorin::database::odbc
